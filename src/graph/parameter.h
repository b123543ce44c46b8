// Parameters of classes and nodes, and the attachments that wire them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "graph/annotation.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace GRAPH {

class Graph_node;

// One end of a wire. On an input: target_node is the source and target_name its output path.
// On an output: target_node is the consumer and target_name its full input path. A null
// target_node stands for the interface of the surrounding compound.
struct Attachment {
    std::string member_name;  // the part of the local parameter fed; empty for all of it
    Graph_node* target_node = nullptr;
    std::string target_name;
};

class Parameter : public SYNTAX_TREE::Named_type {
public:
    Parameter();
    // type gives code, array size, members and (as type name) its name; the value is zeroed.
    Parameter(const char* name, const SYNTAX_TREE::Type& type);
    Parameter(const char* name, uint8_t code, uint32_t array_size = 1, const char* type_name = nullptr);
    Parameter(const Parameter& other);
    Parameter(Parameter&& other) noexcept;
    Parameter& operator=(const Parameter& other);
    Parameter& operator=(Parameter&& other) noexcept;
    ~Parameter() override;

    // Replaces the value by a deep copy of bytes laid out by this type, or zeroes for null.
    void set_value(const void* bytes);
    // Code, array size, name, annotations and value (not exposure or attachments).
    bool equals(const Parameter& other) const;
    // Same layout of value: code, array size and, for structs, type name and size.
    bool same_layout(const SYNTAX_TREE::Type& other) const;

    std::vector<Attachment> attachments;
    // Owned; a small value points into the parameter itself, so the address changes when the
    // parameter moves (a vector that grows, a swap).
    void* value = nullptr;
    Annotation_list annotations;
    uint32_t exposure = 2;  // 0 global, 1 always exposed, 2 decided when linking

private:
    // Scalars, vectors, colours, texts and unsized arrays fit: most values need no block.
    static constexpr uint32_t LOCAL_VALUE_SIZE = 16;

    void take_from(Parameter& other) noexcept;
    void drop_value();

    alignas(8) unsigned char local_value_[LOCAL_VALUE_SIZE] = {};
};

using Parameter_list = std::vector<Parameter>;

// A unit keeps a struct member of struct type without members of its own. This gives each such
// member, at any depth, the members of its struct, found through find by type name (null for an
// unknown name, which leaves the member empty). Nesting stops at MAX_STRUCT_NESTING levels and
// at MAX_COMPLETED_MEMBERS members, as a type made by a host may name itself.
using Struct_lookup = std::function<const SYNTAX_TREE::Type*(const char* type_name)>;
constexpr int MAX_STRUCT_NESTING = 32;
constexpr size_t MAX_COMPLETED_MEMBERS = 1u << 16;
void complete_struct_members(SYNTAX_TREE::Type& type, const Struct_lookup& find);
// With the struct types that unit knows, its imports' included.
void complete_struct_members(SYNTAX_TREE::Type& type, const SYNTAX_TREE::Compilation_unit& unit);

// Index of the first parameter of the name, or -1; a null name is taken as "".
int32_t find_parameter(const Parameter_list& list, const char* name);

// find_parameter for many names over one list, each in constant time: a loop over the
// parameters of one list that looks each up in another would otherwise cost the product of
// their lengths. Answers for the list as it was made; it must not change meanwhile.
class Parameter_index {
public:
    explicit Parameter_index(const Parameter_list& list);
    int32_t find(const char* name) const;
    const Parameter* find_in(const Parameter_list& list, const char* name) const
    {
        int32_t index = find(name);
        return index < 0 ? nullptr : &list[size_t(index)];
    }

private:
    std::unordered_map<std::string_view, int32_t> first_;
};

}  // namespace GRAPH
}  // namespace QZ

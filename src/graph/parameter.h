// Parameters of classes and nodes, and the attachments that wire them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "graph/annotation.h"
#include "syntax_tree/type.h"

namespace QZ {
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
    void* value = nullptr;  // owned
    Annotation_list annotations;
    uint32_t exposure = 2;  // 0 global, 1 always exposed, 2 decided when linking

private:
    void take_from(Parameter& other) noexcept;
};

using Parameter_list = std::vector<Parameter>;

// Index of the first parameter of the name, or -1; a null name is taken as "".
int32_t find_parameter(const Parameter_list& list, const char* name);

}  // namespace GRAPH
}  // namespace QZ

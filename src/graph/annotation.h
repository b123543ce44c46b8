// Named metadata on classes, parameters and nodes: display_name("x"), shader_type("light"), ...
// An annotation is a struct type named after it, one member per argument, and a value of that
// struct.
#pragma once

#include <cstdint>
#include <vector>

#include "syntax_tree/type.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
class Compilation_unit;
}

namespace GRAPH {

class Graph_node;

class Annotation : public SYNTAX_TREE::Named_type {
public:
    explicit Annotation(const char* name = nullptr);
    Annotation(const Annotation& other);
    Annotation(Annotation&& other) noexcept;
    Annotation& operator=(const Annotation& other);
    Annotation& operator=(Annotation&& other) noexcept;
    ~Annotation() override;

    // The annotation's name lives in the type name field; "" when unset.
    const char* annotation_name() const { return type_name() ? type_name() : ""; }

    // Same name, same argument types and equal values.
    bool equals(const Annotation& other) const;

    void* value = nullptr;  // owned, laid out as this struct; null without arguments

private:
    void take_from(Annotation& other) noexcept;
};

using Annotation_list = std::vector<Annotation>;

// Index of the first annotation of the name, or -1. A null name finds nothing.
int32_t find_annotation(const Annotation_list& list, const char* name);

// One annotation from a FUNCTION_CALL_EXPRESSION of an ANNOTATION_BLOCK: arguments typed by
// their type index in unit (or, for a constant the passes left untyped, by its kind) and
// evaluated as constants into the value.
Annotation annotation_from_call(const SYNTAX_TREE::St_node& call, const SYNTAX_TREE::Compilation_unit& unit);
// Appends one annotation per child of block; a null block adds nothing.
void read_annotation_block(const SYNTAX_TREE::St_node* block, const SYNTAX_TREE::Compilation_unit& unit,
                           Annotation_list& list);

// The node's annotation of the name, else its class's; null for none.
const Annotation* annotation_on_node(const Graph_node& node, const char* name);
// The first word of the value of "shader_type", found as above; null when absent or not text.
const char* shader_type(const Graph_node& node);

// List edits for the facade. add makes an annotation of name with one member per type and a
// copy of bytes (laid out as that struct; text members are duplicated; null bytes leave zeroes);
// a null name adds nothing and gives false. remove shifts the rest down; false out of range.
bool add_annotation(Annotation_list& list, const char* name, const std::vector<const SYNTAX_TREE::Type*>& types,
                    const void* bytes);
bool remove_annotation(Annotation_list& list, uint32_t index);

// Lists compare by count, then pairwise by position.
bool annotation_lists_equal(const Annotation_list& a, const Annotation_list& b);

}  // namespace GRAPH
}  // namespace QZ

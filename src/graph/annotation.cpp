#include "graph/annotation.h"

#include <cstring>
#include <string>
#include <utility>

#include "graph/constant_value.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph/value_block.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

Annotation::Annotation(const char* name) : Named_type(nullptr, TYPE_STRUCT, 1, name) {}

Annotation::Annotation(const Annotation& other) : Named_type(other), value(copy_value(other, other.value)) {}

Annotation::Annotation(Annotation&& other) noexcept : Named_type() { take_from(other); }

Annotation& Annotation::operator=(const Annotation& other)
{
    if (this != &other) {
        Annotation copy(other);
        take_from(copy);
    }
    return *this;
}

Annotation& Annotation::operator=(Annotation&& other) noexcept
{
    if (this != &other)
        take_from(other);
    return *this;
}

Annotation::~Annotation() { free_value(*this, value); }

// Swaps every field, so that other's destructor frees what this held.
void Annotation::take_from(Annotation& other) noexcept
{
    swap_type_fields(other);
    std::swap(value, other.value);
}

bool Annotation::equals(const Annotation& other) const
{
    if (std::strcmp(annotation_name(), other.annotation_name()) != 0)
        return false;
    const Type* a = first_member();
    const Type* b = other.first_member();
    for (; a && b; a = a->next_member(), b = b->next_member())
        if (a->code() != b->code() || a->array_size() != b->array_size())
            return false;
    return !a && !b && values_equal(*this, value, other.value);
}

int32_t find_annotation(const Annotation_list& list, const char* name)
{
    if (!name)
        return -1;
    for (size_t i = 0; i < list.size(); ++i)
        if (std::strcmp(list[i].annotation_name(), name) == 0)
            return int32_t(i);
    return -1;
}

Annotation annotation_from_call(const St_node& call, const Compilation_unit& unit)
{
    Annotation annotation(std::string(call.text_view()).c_str());
    const St_node* arguments = call.find_child(NODE_FUNCTION_CALL_PARAMETERS);
    if (!arguments)
        return annotation;
    for (const St_node* argument = arguments->first_child; argument; argument = argument->next_sibling) {
        std::unique_ptr<Type> type = constant_type(*argument, unit);
        // An argument of no known type keeps its place as an empty member.
        const char* word = type ? language_word(type->code()) : nullptr;
        Named_type* member = new Named_type(nullptr, type ? type->code() : uint8_t(TYPE_ILLEGAL),
                                            type ? type->array_size() : 1,
                                            type && type->is_struct() ? type->name() : word);
        if (type && type->first_member())
            member->set_first_member(type->first_member()->clone());
        annotation.append_member(member);
    }
    annotation.value = allocate_value(annotation);
    if (!annotation.value)
        return annotation;
    uint32_t offset = 0;
    const Type* member = annotation.first_member();
    for (const St_node* argument = arguments->first_child; argument && member;
         argument = argument->next_sibling, member = member->next_member()) {
        uint32_t alignment = member->alignment();
        offset = alignment ? (offset + alignment - 1) / alignment * alignment : offset;
        evaluate_constant(argument, *member, unit, static_cast<uint8_t*>(annotation.value) + offset);
        offset += member->size();
    }
    return annotation;
}

void read_annotation_block(const St_node* block, const Compilation_unit& unit, Annotation_list& list)
{
    if (!block)
        return;
    for (const St_node* call = block->first_child; call; call = call->next_sibling)
        list.push_back(annotation_from_call(*call, unit));
}

const Annotation* annotation_on_node(const Graph_node& node, const char* name)
{
    int32_t index = find_annotation(node.annotations, name);
    if (index >= 0)
        return &node.annotations[size_t(index)];
    if (!node.node_class())
        return nullptr;
    index = find_annotation(node.node_class()->annotations, name);
    return index >= 0 ? &node.node_class()->annotations[size_t(index)] : nullptr;
}

const char* shader_type(const Graph_node& node)
{
    const Annotation* annotation = annotation_on_node(node, "shader_type");
    if (!annotation || !annotation->value || !annotation->first_member() ||
        !owns_text(annotation->first_member()->code()) || annotation->first_member()->array_size() != 1)
        return nullptr;
    return *static_cast<const char* const*>(annotation->value);
}

bool add_annotation(Annotation_list& list, const char* name, const std::vector<const Type*>& types,
                    const void* bytes)
{
    if (!name)
        return false;
    Annotation annotation(name);
    for (const Type* type : types) {
        if (!type)
            return false;
        Named_type* member = new Named_type(nullptr, type->code(), type->array_size(), type->name());
        if (type->first_member())
            member->set_first_member(type->first_member()->clone());
        annotation.append_member(member);
    }
    annotation.value = bytes ? copy_value(annotation, bytes) : allocate_value(annotation);
    list.push_back(std::move(annotation));
    return true;
}

bool remove_annotation(Annotation_list& list, uint32_t index)
{
    if (index >= list.size())
        return false;
    list.erase(list.begin() + index);
    return true;
}

bool annotation_lists_equal(const Annotation_list& a, const Annotation_list& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!a[i].equals(b[i]))
            return false;
    return true;
}

}  // namespace GRAPH
}  // namespace QZ

#include "graph/parameter.h"

#include <cstring>
#include <utility>

#include "graph/value_block.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

Parameter::Parameter() = default;

Parameter::Parameter(const char* name, const Type& type)
    : Named_type(name, type.code(), type.array_size(), type.name())
{
    if (type.first_member())
        set_first_member(type.first_member()->clone());
    value = allocate_value(*this);
}

Parameter::Parameter(const char* name, uint8_t code, uint32_t array_size, const char* type_name)
    : Named_type(name, code, array_size, type_name ? type_name : language_word(code) ? language_word(code) : type_code_name(code))
{
    value = allocate_value(*this);
}

Parameter::Parameter(const Parameter& other)
    : Named_type(other),
      attachments(other.attachments),
      value(copy_value(other, other.value)),
      annotations(other.annotations),
      exposure(other.exposure)
{
}

Parameter::Parameter(Parameter&& other) noexcept : Named_type() { take_from(other); }

Parameter& Parameter::operator=(const Parameter& other)
{
    if (this != &other) {
        Parameter copy(other);
        take_from(copy);
    }
    return *this;
}

Parameter& Parameter::operator=(Parameter&& other) noexcept
{
    if (this != &other)
        take_from(other);
    return *this;
}

Parameter::~Parameter() { free_value(*this, value); }

// Swaps every field, so that other's destructor frees what this held.
void Parameter::take_from(Parameter& other) noexcept
{
    swap_type_fields(other);
    std::swap(attachments, other.attachments);
    std::swap(value, other.value);
    std::swap(annotations, other.annotations);
    std::swap(exposure, other.exposure);
}

void Parameter::set_value(const void* bytes)
{
    void* fresh = bytes ? copy_value(*this, bytes) : allocate_value(*this);
    free_value(*this, value);
    value = fresh;
}

bool Parameter::same_layout(const Type& other) const
{
    if (code() != other.code() || array_size() != other.array_size())
        return false;
    if (code() != TYPE_STRUCT)
        return true;
    return size() == other.size() && std::strcmp(type_name_text(), other.type_name_text()) == 0;
}

bool Parameter::equals(const Parameter& other) const
{
    return code() == other.code() && array_size() == other.array_size() &&
           std::strcmp(name() ? name() : "", other.name() ? other.name() : "") == 0 &&
           annotation_lists_equal(annotations, other.annotations) && same_layout(other) &&
           values_equal(*this, value, other.value);
}

int32_t find_parameter(const Parameter_list& list, const char* name)
{
    const char* wanted = name ? name : "";
    for (size_t i = 0; i < list.size(); ++i)
        if (std::strcmp(list[i].name() ? list[i].name() : "", wanted) == 0)
            return int32_t(i);
    return -1;
}

}  // namespace GRAPH
}  // namespace QZ

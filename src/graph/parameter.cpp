#include "graph/parameter.h"

#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "graph/value_block.h"
#include "syntax_tree/compilation_unit.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

Parameter::Parameter() = default;

Parameter::Parameter(const char* name, const Type& type)
    : Named_type(name, type.code(), type.array_size(), type.name())
{
    if (type.first_member())
        set_first_member(type.first_member()->clone());
    set_value(nullptr);
}

Parameter::Parameter(const char* name, uint8_t code, uint32_t array_size, const char* type_name)
    : Named_type(name, code, array_size, type_name ? type_name : language_word(code) ? language_word(code) : type_code_name(code))
{
    set_value(nullptr);
}

Parameter::Parameter(const Parameter& other)
    : Named_type(other), attachments(other.attachments), annotations(other.annotations), exposure(other.exposure)
{
    if (other.value)
        set_value(other.value);
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

Parameter::~Parameter() { drop_value(); }

// Swaps every field, so that other's destructor frees what this held. A value held inside a
// parameter moves with the bytes and is pointed at in its new place.
void Parameter::take_from(Parameter& other) noexcept
{
    const bool mine_local = value == local_value_;
    const bool theirs_local = other.value == other.local_value_;
    swap_type_fields(other);
    std::swap(attachments, other.attachments);
    std::swap(value, other.value);
    std::swap(local_value_, other.local_value_);
    std::swap(annotations, other.annotations);
    std::swap(exposure, other.exposure);
    if (theirs_local)
        value = local_value_;
    if (mine_local)
        other.value = other.local_value_;
}

void Parameter::drop_value()
{
    if (!value)
        return;
    release_value(*this, value);
    if (value != local_value_)
        std::free(value);
    value = nullptr;
}

void Parameter::set_value(const void* bytes)
{
    const uint32_t bytes_needed = size();
    if (bytes_needed == 0 || bytes_needed > MAX_VALUE_SIZE) {
        drop_value();
        return;
    }
    if (bytes_needed > LOCAL_VALUE_SIZE) {
        void* fresh = bytes ? copy_value(*this, bytes) : allocate_value(*this);
        drop_value();
        value = fresh;
        return;
    }
    // Made aside first: bytes may be this parameter's own value.
    alignas(8) unsigned char fresh[LOCAL_VALUE_SIZE] = {};
    if (bytes)
        copy_value_into(*this, bytes, fresh);
    drop_value();
    std::memcpy(local_value_, fresh, sizeof fresh);
    value = local_value_;
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

void complete_struct_members(Type& type, const Struct_lookup& find)
{
    // Level by level from a work list: the depth of a type costs no stack.
    std::vector<std::pair<Type*, int>> work{{&type, 0}};
    size_t visited = 0;
    while (!work.empty()) {
        auto [at, depth] = work.back();
        work.pop_back();
        if (!at->is_struct() || depth >= MAX_STRUCT_NESTING)
            continue;
        if (!at->first_member()) {
            const Type* found = find ? find(at->type_name_text()) : nullptr;
            if (found && found != at && found->is_struct() && found->first_member())
                at->set_first_member(found->first_member()->clone());
        }
        for (Type* member = at->first_member(); member; member = member->next_member()) {
            if (++visited > MAX_COMPLETED_MEMBERS)
                return;
            work.push_back({member, depth + 1});
        }
    }
}

void complete_struct_members(Type& type, const Compilation_unit& unit)
{
    complete_struct_members(type, [&unit](const char* name) -> const Type* {
        if (!name)
            return nullptr;
        if (const Type* found = unit.type_at(unit.lookup_type(name)))
            return found;
        int32_t position = unit.find_named_type(name);
        return position >= 0 ? unit.named_type_at(position) : nullptr;
    });
}

int32_t find_parameter(const Parameter_list& list, const char* name)
{
    const char* wanted = name ? name : "";
    for (size_t i = 0; i < list.size(); ++i)
        if (std::strcmp(list[i].name() ? list[i].name() : "", wanted) == 0)
            return int32_t(i);
    return -1;
}

Parameter_index::Parameter_index(const Parameter_list& list)
{
    first_.reserve(list.size());
    for (size_t i = 0; i < list.size(); ++i)
        first_.emplace(std::string_view(list[i].name() ? list[i].name() : ""), int32_t(i));
}

int32_t Parameter_index::find(const char* name) const
{
    auto found = first_.find(std::string_view(name ? name : ""));
    return found == first_.end() ? -1 : found->second;
}

}  // namespace GRAPH
}  // namespace QZ

#include "host/type_facade.h"

#include <cstring>
#include <vector>

#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace HOST {

using SYNTAX_TREE::Type;

namespace {

// Host kinds by type code. ORDER: the codes of the type table.
const int8_t kind_of_code[SYNTAX_TREE::TYPE_CODE_COUNT] = {
    0,  4,  0,  0,  3,  0,  2,  5,  6,  7,  // 0-9: Bool 4, Int 3, Scalar 2, Vector2..4 5..7
    0,  0,  0,  0,  0,  0,  0,  0,  22, 0,  // 10-19: Matrix4x4 22
    0,  0,  8,  0,  9,  0,  0,  0,  0,  0,  // 20-29: String 8, Color 9
    0,  0,  1,  0,  10, 11, 12, 13, 14, 15,  // 30-39: struct 1, Vector2i..4b 10..15
    16, 17, 18, 19, 20, 21, 23, 24, 25, 26,  // 40-49: the RxC matrices, Texture1d, Texture2d
    27, 28, 0,  0,                           // 50-53: Texture3d, Texture_cube
};

uint32_t value_block_size(const Type& type)
{
    // Strings and textures are pointers; an unsized array of them a count and a pointer.
    uint32_t code = type.code();
    if (code == SYNTAX_TREE::TYPE_STRING || SYNTAX_TREE::is_texture(code))
        return type.array_size() == 0 ? 16 : type.array_size() * 8;
    return type.size();
}

}  // namespace

int32_t Type_wrapper::host_kind(uint32_t code)
{
    return code < SYNTAX_TREE::TYPE_CODE_COUNT ? kind_of_code[code] : 0;
}

uint8_t Type_wrapper::type_code(int32_t host_kind)
{
    if (host_kind <= 0)
        return SYNTAX_TREE::TYPE_ILLEGAL;
    for (uint32_t code = 0; code < SYNTAX_TREE::TYPE_CODE_COUNT; ++code)
        if (kind_of_code[code] == host_kind)
            return uint8_t(code);
    return SYNTAX_TREE::TYPE_ILLEGAL;
}

Type_wrapper::Type_wrapper(const Type* type, std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit)
    : type_(type), writable_(nullptr), unit_(std::move(unit)), valid_(type != nullptr)
{
}

Type_wrapper::Type_wrapper(Type* type, std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit)
    : type_(type), writable_(type), unit_(std::move(unit)), valid_(type != nullptr)
{
}

struct Type_wrapper::Type_store {
    std::unique_ptr<Type> root;
    // Links unlinked by edits stay until the last view goes: a view may still show one.
    std::vector<std::unique_ptr<Type>> unlinked;
};

Type_wrapper* Type_wrapper::standalone(Type* type, bool writable)
{
    auto store = std::make_shared<Type_store>();
    store->root.reset(type);
    Type_wrapper* wrapper =
        writable ? new Type_wrapper(type, nullptr) : new Type_wrapper(static_cast<const Type*>(type), nullptr);
    wrapper->store_ = std::move(store);
    return wrapper;
}

Type_wrapper* Type_wrapper::of_index(int32_t index, const std::shared_ptr<SYNTAX_TREE::Compilation_unit>& unit)
{
    const Type* type = unit ? unit->type_at(index) : nullptr;
    if (type && unit->owns_type_index(index))
        return new Type_wrapper(const_cast<Type*>(type), unit);
    return new Type_wrapper(type, unit);
}

// A view of a linked type is as writable as this one.
Type_wrapper* Type_wrapper::linked(const Type* type)
{
    if (!type)
        return nullptr;
    Type_wrapper* view =
        writable_ ? new Type_wrapper(const_cast<Type*>(type), unit_) : new Type_wrapper(type, unit_);
    view->store_ = store_;
    return view;
}

bool Type_wrapper::equals(vorn::IType* other)
{
    auto* wrapper = dynamic_cast<Type_wrapper*>(other);
    return type_ && wrapper && wrapper->type_ && type_->equals(*wrapper->type_);
}

const char* Type_wrapper::get_name() { return type_ ? type_->name() : nullptr; }

void Type_wrapper::set_name(const char* name)
{
    if (writable_)
        writable_->set_name(name);
}

const char* Type_wrapper::get_display_name()
{
    auto* named = dynamic_cast<const SYNTAX_TREE::Named_type*>(type_);
    return named ? named->type_name() : nullptr;
}

void Type_wrapper::set_display_name(const char* name)
{
    if (auto* named = dynamic_cast<SYNTAX_TREE::Named_type*>(writable_))
        named->set_type_name(name);
}

int32_t Type_wrapper::get_kind() { return type_ ? host_kind(type_->code()) : 0; }

void Type_wrapper::set_kind(int32_t kind)
{
    if (writable_)
        writable_->set_code(type_code(kind));
}

uint32_t Type_wrapper::get_array_size() { return type_ ? type_->array_size() : 0; }

void Type_wrapper::set_array_size(uint32_t size)
{
    if (writable_)
        writable_->set_array_size(size);
}

vorn::IType* Type_wrapper::get_first_type() { return type_ ? linked(type_->first_member()) : nullptr; }

vorn::IType* Type_wrapper::get_second_type() { return type_ ? linked(type_->next_member()) : nullptr; }

void Type_wrapper::set_first_type(vorn::IType* type) { set_link(type, true); }

void Type_wrapper::set_second_type(vorn::IType* type) { set_link(type, false); }

void Type_wrapper::set_link(vorn::IType* type, bool first)
{
    if (!writable_ || (!unit_ && !store_))
        return;
    auto* source = dynamic_cast<Type_wrapper*>(type);
    if (type && (!source || !source->type_))
        return;
    // The copy is made before anything is unlinked: the source may be the very link replaced.
    Type* copy = nullptr;
    if (source) {
        copy = source->type_->clone();
        delete copy->take_next_member();  // the type with its members, not the list it stands in
    }
    Type* unlinked = first ? writable_->take_first_member() : writable_->take_next_member();
    if (unit_)
        unit_->keep_unlinked_type(unlinked);
    else
        store_->unlinked.emplace_back(unlinked);
    if (first)
        writable_->set_first_member(copy);
    else
        writable_->set_next_member(copy);
}

uint32_t Type_wrapper::get_size_of() { return type_ ? value_block_size(*type_) : 0; }

uint32_t Type_wrapper::get_alignment() { return type_ ? type_->alignment() : 0; }

uint32_t Type_wrapper::get_packed_size() { return type_ ? type_->packed_size() : 0; }

vorn::IType* Type_wrapper::find_member(const char* name, uint32_t* position, uint32_t* size)
{
    if (!type_ || !name)
        return nullptr;
    uint32_t offset = 0, bytes = 0;
    const Type* member = type_->find_member(name, &offset, &bytes);
    if (!member)
        return nullptr;
    if (position)
        *position = offset;
    if (size)
        *size = bytes;
    return linked(member);
}

const SYNTAX_TREE::Enum_type* Type_wrapper::enum_type() const
{
    if (auto* as_enum = dynamic_cast<const SYNTAX_TREE::Enum_type*>(type_))
        return as_enum;
    // A unit lists an enum among its named types as an Int type of the enum's name.
    if (!type_ || !unit_ || !type_->name() || type_->code() != SYNTAX_TREE::TYPE_INT32)
        return nullptr;
    return unit_->enum_at(unit_->find_enum(type_->name()));
}

uint32_t Type_wrapper::get_enumerator_count()
{
    const SYNTAX_TREE::Enum_type* type = enum_type();
    return type ? uint32_t(type->values().size()) : 0;
}

const char* Type_wrapper::get_enumerator_name(uint32_t index)
{
    const SYNTAX_TREE::Enum_type* type = enum_type();
    if (!type || index >= type->values().size())
        return nullptr;
    return std::next(type->values().begin(), index)->first.c_str();
}

int32_t Type_wrapper::get_enumerator_value(uint32_t index)
{
    const SYNTAX_TREE::Enum_type* type = enum_type();
    if (!type || index >= type->values().size())
        return 0;
    return std::next(type->values().begin(), index)->second;
}

// Sizes, alignments and member places are computed whenever they are asked for; what an edit
// leaves behind is the unit's lookup of its types by name and array size.
void Type_wrapper::finish()
{
    if (writable_ && unit_)
        unit_->reindex_types();
}

}  // namespace HOST
}  // namespace QZ

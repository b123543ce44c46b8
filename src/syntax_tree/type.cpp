#include "syntax_tree/type.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "log/mod_log.h"
#include "serial/serializer.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// ORDER: one row per Type_code, in code order.
const Type_code_info type_code_table[TYPE_CODE_COUNT] = {
    {"<illegal>", 0, 0, 0},
    {"boolean", 1, 1, 1},
    {"int8", 1, 2, 1},
    {"int16", 1, 3, 2},
    {"int32", 1, 4, 4},
    {"int64", 1, 5, 8},
    {"scalar", 1, 6, 4},
    {"vector2", 2, 6, 4},
    {"vector3", 3, 6, 4},
    {"vector4", 4, 6, 4},
    {"dscalar", 1, 10, 8},
    {"dvector2", 2, 10, 8},
    {"dvector3", 3, 10, 8},
    {"dvector4", 4, 10, 8},
    {"gscalar", 1, 14, 4},
    {"gvector2", 2, 14, 4},
    {"gvector3", 3, 14, 4},
    {"gvector4", 4, 14, 4},
    {"matrix", 16, 6, 4},
    {"dmatrix", 16, 10, 8},
    {"gmatrix", 16, 14, 4},
    {"quaternion", 4, 6, 4},
    {"string", 1, 22, 8},
    {"tag", 1, 23, 4},
    {"color", 4, 6, 4},
    {"rgb", 3, 2, 1},
    {"rgba", 4, 2, 1},
    {"rgbe", 4, 2, 1},
    {"rgbea", 5, 2, 1},
    {"rgb_16", 3, 3, 2},
    {"rgba_16", 4, 3, 2},
    {"rgb_fp", 3, 6, 4},
    {"struct", 0, 0, 0},
    {"rle_uint_ptr", 1, 33, 8},
    {"vector2i", 2, 4, 4},
    {"vector3i", 3, 4, 4},
    {"vector4i", 4, 4, 4},
    {"vector2b", 2, 1, 1},
    {"vector3b", 3, 1, 1},
    {"vector4b", 4, 1, 1},
    {"matrix2x2", 4, 6, 4},
    {"matrix2x3", 6, 6, 4},
    {"matrix3x2", 6, 6, 4},
    {"matrix3x3", 9, 6, 4},
    {"matrix4x3", 12, 6, 4},
    {"matrix3x4", 12, 6, 4},
    {"matrix4x2", 8, 6, 4},
    {"matrix2x4", 8, 6, 4},
    {"texture1d", 1, 22, 8},
    {"texture2d", 1, 22, 8},
    {"texture3d", 1, 22, 8},
    {"texture_cube", 1, 22, 8},
    {"brdf", 1, 22, 8},
    {"light", 1, 23, 4},
};

struct Language_word {
    const char* word;
    Type_code code;
};

const Language_word language_words[] = {
    {"Bool", TYPE_BOOLEAN},         {"Int", TYPE_INT32},           {"Scalar", TYPE_SCALAR},
    {"Vector2", TYPE_VECTOR2},      {"Vector3", TYPE_VECTOR3},     {"Vector4", TYPE_VECTOR4},
    {"String", TYPE_STRING},        {"Color", TYPE_COLOR},         {"Vector2i", TYPE_VECTOR2I},
    {"Vector3i", TYPE_VECTOR3I},    {"Vector4i", TYPE_VECTOR4I},   {"Vector2b", TYPE_VECTOR2B},
    {"Vector3b", TYPE_VECTOR3B},    {"Vector4b", TYPE_VECTOR4B},   {"Matrix4x4", TYPE_MATRIX},
    {"Matrix2x2", TYPE_MATRIX2X2},  {"Matrix2x3", TYPE_MATRIX2X3}, {"Matrix3x2", TYPE_MATRIX3X2},
    {"Matrix3x3", TYPE_MATRIX3X3},  {"Matrix4x3", TYPE_MATRIX4X3}, {"Matrix3x4", TYPE_MATRIX3X4},
    {"Matrix4x2", TYPE_MATRIX4X2},  {"Matrix2x4", TYPE_MATRIX2X4}, {"Texture1d", TYPE_TEXTURE1D},
    {"Texture2d", TYPE_TEXTURE2D},  {"Texture3d", TYPE_TEXTURE3D}, {"Texture_cube", TYPE_TEXTURE_CUBE},
    {"void", TYPE_ILLEGAL},
};

// Matrix codes by rows and columns, 2 to 4 each.
const Type_code matrix_codes[3][3] = {
    {TYPE_MATRIX2X2, TYPE_MATRIX2X3, TYPE_MATRIX2X4},
    {TYPE_MATRIX3X2, TYPE_MATRIX3X3, TYPE_MATRIX3X4},
    {TYPE_MATRIX4X2, TYPE_MATRIX4X3, TYPE_MATRIX},
};

// Structs nest through their members; a deeper nesting than this is taken as a fault (a cycle
// made through the host interface, or a corrupt stream) and measures as nothing.
constexpr int MAX_TYPE_NESTING = 64;

// Names never change once made, so copies of a type share them: a copy of a unit's parameter
// list costs no allocation per name. The count sits in front of the text.
struct Shared_text_header {
    std::atomic<uint32_t> count;
};
constexpr size_t SHARED_TEXT_OFFSET = alignof(std::max_align_t) > sizeof(Shared_text_header)
                                          ? alignof(std::max_align_t)
                                          : sizeof(Shared_text_header);

Shared_text_header* shared_header(const char* text)
{
    return reinterpret_cast<Shared_text_header*>(const_cast<char*>(text) - SHARED_TEXT_OFFSET);
}

char* duplicate(const char* text)
{
    if (!text)
        return nullptr;
    size_t length = strlen(text);
    char* block = new char[SHARED_TEXT_OFFSET + length + 1];
    new (block) Shared_text_header{{1}};
    char* copy = block + SHARED_TEXT_OFFSET;
    memcpy(copy, text, length + 1);
    return copy;
}

// Another holder of a text made by duplicate.
char* share(char* text)
{
    if (text)
        shared_header(text)->count.fetch_add(1, std::memory_order_relaxed);
    return text;
}

void release(char* text)
{
    if (!text)
        return;
    Shared_text_header* header = shared_header(text);
    if (header->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        header->~Shared_text_header();
        delete[] reinterpret_cast<char*>(header);
    }
}

bool same_text(const char* a, const char* b)
{
    if (!a || !b)
        return a == b;
    return strcmp(a, b) == 0;
}

uint64_t round_up(uint64_t offset, uint32_t alignment)
{
    return (offset + alignment - 1) / alignment * alignment;
}

uint32_t saturate(uint64_t value)
{
    return value > UINT32_MAX ? UINT32_MAX : uint32_t(value);
}

// Measures value blocks. Nesting deeper than the limit is reported once per measurement.
class Layout {
public:
    explicit Layout(bool packed) : packed_(packed) {}

    uint32_t alignment(const Type& type, int depth)
    {
        if (type.array_size() == 0)
            return 8;
        if (type.code() == TYPE_STRUCT)
            return struct_alignment(type, depth);
        uint32_t size = type_code_info(type.code()).component_size;
        return size ? size : 1;
    }

    uint64_t size(const Type& type, int depth)
    {
        // An unsized array is a 32-bit count and a pointer to the elements.
        if (type.array_size() == 0)
            return 16;
        uint64_t element;
        if (type.code() == TYPE_STRUCT) {
            element = struct_size(type, depth);
        } else {
            const Type_code_info& info = type_code_info(type.code());
            element = uint64_t(info.components) * info.component_size;
        }
        return saturate(element * type.array_size());
    }

    // The offset of a member after the one that ends at offset.
    uint64_t place(uint64_t offset, const Type& member, int depth)
    {
        return packed_ ? offset : round_up(offset, alignment(member, depth));
    }

private:
    bool too_deep(int depth)
    {
        if (depth <= MAX_TYPE_NESTING)
            return false;
        if (!reported_ && LOG::mod_log)
            LOG::mod_log->error(SYSTEM::MODULE_SYNT, LOG::CAT_PLUG, 1,
                                "struct types nested deeper than %d levels; the inner ones count as empty",
                                MAX_TYPE_NESTING);
        reported_ = true;
        return true;
    }

    uint32_t struct_alignment(const Type& type, int depth)
    {
        uint32_t result = 1;
        if (too_deep(depth))
            return result;
        for (const Type* m = type.first_member(); m; m = m->next_member())
            result = std::max(result, alignment(*m, depth + 1));
        return result;
    }

    uint64_t struct_size(const Type& type, int depth)
    {
        if (too_deep(depth))
            return 0;
        uint64_t offset = 0;
        for (const Type* m = type.first_member(); m; m = m->next_member())
            offset = saturate(place(offset, *m, depth + 1) + size(*m, depth + 1));
        return packed_ ? offset : saturate(round_up(offset, struct_alignment(type, depth)));
    }

    bool packed_;
    bool reported_ = false;
};

// Type's written form. Flags: 1 brief (no name), 2 name, 4 first member, 8 next member,
// 16 array size 0, 32 array size 2 or more, which is then written.
void write_type_node(const Type& type, SERIAL::Serializer& out, bool brief)
{
    uint8_t flags = 0;
    if (brief)
        flags |= 1;
    else if (type.name())
        flags |= 2;
    if (type.first_member())
        flags |= 4;
    if (type.next_member())
        flags |= 8;
    if (type.array_size() == 0)
        flags |= 16;
    else if (type.array_size() >= 2)
        flags |= 32;
    out.write_uint8(flags);
    if (flags & 2)
        out.write_string(type.name());
    out.write_uint8(type.code());
    for (int i = 0; i < 3; ++i)
        out.write_bool(type.modifier(i) != 0);
    if (flags > 31)
        out.write_uint32(type.array_size());
}

uint8_t read_type_node(Type& type, SERIAL::Deserializer& in)
{
    uint8_t flags = 0;
    in.read_uint8(&flags);
    if (flags & 2) {
        char* name = nullptr;
        in.read_string(&name);
        type.set_name(name);
        delete[] name;
    }
    uint8_t code = 0;
    in.read_uint8(&code);
    type.set_code(code);
    for (int i = 0; i < 3; ++i) {
        bool modifier = false;
        in.read_bool(&modifier);
        type.set_modifier(i, modifier ? 1 : 0);
    }
    uint32_t array_size = 1;
    if (flags & 16)
        array_size = 0;
    if (flags > 31)
        in.read_uint32(&array_size);
    type.set_array_size(array_size);
    return flags;
}

const Named_type* as_named(const Type* type)
{
    return dynamic_cast<const Named_type*>(type);
}

// Named_type's written form. Flags: 1 first member, 2 next member (each only if it is a
// Named_type), 4 array size 0, 8 array size 2 or more, 16 and 32 repeat 1 and 2.
void write_named_node(const Named_type& type, SERIAL::Serializer& out)
{
    uint8_t flags = 0;
    if (as_named(type.first_member()))
        flags |= 1 | 16;
    if (as_named(type.next_member()))
        flags |= 2 | 32;
    if (type.array_size() == 0)
        flags |= 4;
    else if (type.array_size() >= 2)
        flags |= 8;
    out.write_uint8(flags);
    out.write_string(type.name());
    out.write_sint32(type.code());
    out.write_bool(type.modifier(0) != 0);
    out.write_bool(type.modifier(1) != 0);
    out.write_bool(false);
    if (flags & 8)
        out.write_uint32(type.array_size());
    out.write_string(type.type_name());
}

uint8_t read_named_node(Named_type& type, SERIAL::Deserializer& in)
{
    uint8_t flags = 0;
    in.read_uint8(&flags);
    char* text = nullptr;
    in.read_string(&text);
    type.set_name(text);
    delete[] text;
    int32_t code = 0;
    in.read_sint32(&code);
    type.set_code(uint8_t(code));
    bool modifier = false;
    in.read_bool(&modifier);
    type.set_modifier(0, modifier ? 1 : 0);
    in.read_bool(&modifier);
    type.set_modifier(1, modifier ? 1 : 0);
    in.read_bool(&modifier);  // always written false
    type.set_modifier(2, 0);
    uint32_t array_size = 1;
    if (flags & 4)
        array_size = 0;
    if (flags & 8)
        in.read_uint32(&array_size);
    type.set_array_size(array_size);
    text = nullptr;
    in.read_string(&text);
    type.set_type_name(text);
    delete[] text;
    return flags;
}

// Both forms are written depth first: a node, its first member's whole list, then its next
// member. An explicit stack keeps long member lists and deep nesting off the call stack.
void write_tree(const Type& root, SERIAL::Serializer& out, bool named, bool brief)
{
    std::vector<const Type*> stack{&root};
    while (!stack.empty()) {
        const Type* type = stack.back();
        stack.pop_back();
        const Type* first = type->first_member();
        const Type* next = type->next_member();
        if (named) {
            write_named_node(static_cast<const Named_type&>(*type), out);
            first = as_named(first);
            next = as_named(next);
        } else {
            write_type_node(*type, out, brief);
        }
        if (next)
            stack.push_back(next);
        if (first)
            stack.push_back(first);
    }
}

void read_tree(Type& root, SERIAL::Deserializer& in, bool named)
{
    struct Slot {
        Type* parent;
        bool first;
    };
    std::vector<Slot> stack;
    auto read_node = [&](Type& type) {
        uint8_t flags = named ? read_named_node(static_cast<Named_type&>(type), in) : read_type_node(type, in);
        bool has_first = named ? (flags & 1) : (flags & 4);
        bool has_next = named ? (flags & 2) : (flags & 8);
        // A failed stream reads zeros; stop growing the tree rather than trust its flags.
        if (!in.good())
            return;
        if (has_next)
            stack.push_back({&type, false});
        if (has_first)
            stack.push_back({&type, true});
    };
    read_node(root);
    while (!stack.empty()) {
        Slot slot = stack.back();
        stack.pop_back();
        Type* child = named ? new Named_type : new Type;
        if (slot.first)
            slot.parent->set_first_member(child);
        else
            slot.parent->set_next_member(child);
        read_node(*child);
    }
}

}  // namespace

const Type_code_info& type_code_info(uint32_t code)
{
    return type_code_table[code < TYPE_CODE_COUNT ? code : 0];
}

bool is_scalar(uint32_t code)
{
    return code == TYPE_BOOLEAN || code == TYPE_INT32 || code == TYPE_SCALAR;
}

bool is_vector(uint32_t code)
{
    return (code >= TYPE_VECTOR2 && code <= TYPE_VECTOR4) || code == TYPE_COLOR ||
           (code >= TYPE_VECTOR2I && code <= TYPE_VECTOR4B);
}

bool is_matrix(uint32_t code)
{
    return code == TYPE_MATRIX || (code >= TYPE_MATRIX2X2 && code <= TYPE_MATRIX2X4);
}

bool is_texture(uint32_t code)
{
    return code >= TYPE_TEXTURE1D && code <= TYPE_TEXTURE_CUBE;
}

bool matrix_shape(uint32_t code, uint32_t* rows, uint32_t* columns)
{
    for (uint32_t r = 0; r < 3; ++r) {
        for (uint32_t c = 0; c < 3; ++c) {
            if (matrix_codes[r][c] == code) {
                *rows = r + 2;
                *columns = c + 2;
                return true;
            }
        }
    }
    return false;
}

Type_code matrix_code(uint32_t rows, uint32_t columns)
{
    if (rows < 2 || rows > 4 || columns < 2 || columns > 4)
        return TYPE_ILLEGAL;
    return matrix_codes[rows - 2][columns - 2];
}

Type_code vector_code(Type_code scalar, uint32_t n)
{
    if (n == 1 && is_scalar(scalar))
        return scalar;
    if (n < 2 || n > 4)
        return TYPE_ILLEGAL;
    if (scalar == TYPE_BOOLEAN)
        return Type_code(TYPE_VECTOR2B + n - 2);
    if (scalar == TYPE_INT32)
        return Type_code(TYPE_VECTOR2I + n - 2);
    if (scalar == TYPE_SCALAR)
        return Type_code(TYPE_VECTOR2 + n - 2);
    return TYPE_ILLEGAL;
}

int32_t language_word_code(const char* word)
{
    if (!word)
        return -1;
    for (const Language_word& entry : language_words)
        if (strcmp(entry.word, word) == 0)
            return entry.code;
    return -1;
}

const char* language_word(uint32_t code)
{
    for (const Language_word& entry : language_words)
        if (entry.code == code)
            return entry.word;
    return nullptr;
}

// Type

Type::Type(const char* name, uint8_t code, uint32_t array_size)
    : name_(duplicate(name)), code_(code), array_size_(array_size)
{
}

Type* Type::builtin(uint8_t code, uint32_t array_size)
{
    const char* word = language_word(code);
    return new Type(word ? word : type_code_name(code), code, array_size);
}

Type::Type(const Type& other)
{
    copy_fields_from(other);
    copy_links(*this, other);
}

Type& Type::operator=(const Type& other)
{
    if (this != &other) {
        clear_type();
        copy_fields_from(other);
        copy_links(*this, other);
    }
    return *this;
}

Type::~Type()
{
    clear_type();
}

void Type::clear_type()
{
    release(name_);
    name_ = nullptr;
    // Members are freed from a work list: a long list or a deep nesting costs no stack.
    std::vector<Type*> work;
    if (first_member_)
        work.push_back(first_member_);
    if (next_member_)
        work.push_back(next_member_);
    first_member_ = nullptr;
    next_member_ = nullptr;
    while (!work.empty()) {
        Type* type = work.back();
        work.pop_back();
        if (type->first_member_)
            work.push_back(type->first_member_);
        if (type->next_member_)
            work.push_back(type->next_member_);
        type->first_member_ = nullptr;
        type->next_member_ = nullptr;
        delete type;
    }
}

void Type::copy_fields_from(const Type& other)
{
    char* name = share(other.name_);
    release(name_);
    name_ = name;
    code_ = other.code_;
    memcpy(modifiers_, other.modifiers_, sizeof modifiers_);
    array_size_ = other.array_size_;
}

void Type::copy_links(Type& target, const Type& source)
{
    // Most types have no members: no work list to make then.
    if (!source.first_member_ && !source.next_member_)
        return;
    std::vector<std::pair<Type*, const Type*>> work{{&target, &source}};
    while (!work.empty()) {
        auto [to, from] = work.back();
        work.pop_back();
        if (const Type* first = from->first_member_) {
            to->set_first_member(first->clone_node());
            work.push_back({to->first_member_, first});
        }
        if (const Type* next = from->next_member_) {
            to->set_next_member(next->clone_node());
            work.push_back({to->next_member_, next});
        }
    }
}

Type* Type::clone_node() const
{
    Type* type = new Type;
    type->copy_fields_from(*this);
    return type;
}

Type* Type::clone() const
{
    Type* type = clone_node();
    copy_links(*type, *this);
    return type;
}

void Type::set_name(const char* name)
{
    char* copy = duplicate(name);
    release(name_);
    name_ = copy;
}

void Type::set_first_member(Type* member)
{
    if (member == first_member_)
        return;
    Type* old = first_member_;
    first_member_ = member;
    delete old;
}

void Type::set_next_member(Type* member)
{
    if (member == next_member_)
        return;
    Type* old = next_member_;
    next_member_ = member;
    delete old;
}

void Type::append_member(Type* member)
{
    if (!first_member_) {
        first_member_ = member;
        return;
    }
    Type* last = first_member_;
    while (last->next_member_)
        last = last->next_member_;
    last->next_member_ = member;
}

uint32_t Type::member_count() const
{
    uint32_t count = 0;
    for (const Type* m = first_member_; m; m = m->next_member_)
        ++count;
    return count;
}

const Type* Type::find_member(const char* name, uint32_t* offset, uint32_t* size) const
{
    if (!name)
        return nullptr;
    Layout layout(false);
    uint64_t position = 0;
    for (const Type* m = first_member_; m; m = m->next_member_) {
        position = layout.place(position, *m, 1);
        uint64_t member_size = layout.size(*m, 1);
        if (m->name_ && strcmp(m->name_, name) == 0) {
            if (offset)
                *offset = saturate(position);
            if (size)
                *size = saturate(member_size);
            return m;
        }
        position = saturate(position + member_size);
    }
    return nullptr;
}

const char* Type::type_name_text() const
{
    if (name_)
        return name_;
    const char* word = language_word(code_);
    return word ? word : type_code_name(code_);
}

bool Type::equals(const Type& other) const
{
    if (code_ != other.code_ || array_size_ != other.array_size_)
        return false;
    return code_ != TYPE_STRUCT || same_text(type_name_text(), other.type_name_text());
}

uint32_t Type::size() const
{
    return saturate(Layout(false).size(*this, 0));
}

uint32_t Type::alignment() const
{
    return Layout(false).alignment(*this, 0);
}

uint32_t Type::packed_size() const
{
    return saturate(Layout(true).size(*this, 0));
}

std::string Type::text() const
{
    std::string text = code_ == TYPE_STRUCT ? std::string("struct ") : std::string();
    text += type_name_text();
    if (array_size_ != 1) {
        char suffix[16];
        snprintf(suffix, sizeof suffix, "[%u]", array_size_);
        text += suffix;
    }
    return text;
}

void Type::serialize(SERIAL::Serializer& out) const
{
    write_tree(*this, out, false, false);
}

void Type::serialize_brief(SERIAL::Serializer& out) const
{
    write_tree(*this, out, false, true);
}

void Type::deserialize(SERIAL::Deserializer& in)
{
    clear_type();
    read_tree(*this, in, false);
}

// Named_type

Named_type::Named_type(const char* name, uint8_t code, uint32_t array_size, const char* type_name)
    : Type(name, code, array_size), type_name_(duplicate(type_name))
{
}

Named_type::Named_type(const Named_type& other) : Type(other), type_name_(share(other.type_name_)) {}

Named_type& Named_type::operator=(const Named_type& other)
{
    if (this != &other) {
        Type::operator=(other);
        char* copy = share(other.type_name_);
        release(type_name_);
        type_name_ = copy;
    }
    return *this;
}

Named_type::~Named_type()
{
    release(type_name_);
}

void Named_type::set_type_name(const char* name)
{
    char* copy = duplicate(name);
    release(type_name_);
    type_name_ = copy;
}

const char* Named_type::type_name_text() const
{
    if (type_name_)
        return type_name_;
    // A member without a type name prints as its code's word, not as the member's own name.
    if (code_ != TYPE_STRUCT && language_word(code_))
        return language_word(code_);
    return Type::type_name_text();
}

Type* Named_type::clone_node() const
{
    Named_type* type = new Named_type;
    type->copy_fields_from(*this);
    type->type_name_ = share(type_name_);
    return type;
}

Type* Named_type::clone() const
{
    Type* type = clone_node();
    copy_links(*type, *this);
    return type;
}

void Named_type::serialize(SERIAL::Serializer& out) const
{
    write_tree(*this, out, true, false);
}

void Named_type::deserialize(SERIAL::Deserializer& in)
{
    clear_type();
    set_type_name(nullptr);
    read_tree(*this, in, true);
}

// Enum_type

Enum_type::Enum_type(const char* name) : Type(name, TYPE_INT32) {}

Type* Enum_type::clone_node() const
{
    Enum_type* type = new Enum_type;
    type->copy_fields_from(*this);
    type->values_ = values_;
    return type;
}

Type* Enum_type::clone() const
{
    Type* type = clone_node();
    copy_links(*type, *this);
    return type;
}

bool Enum_type::find_value(const std::string& name, int32_t* value) const
{
    auto found = values_.find(name);
    if (found == values_.end())
        return false;
    *value = found->second;
    return true;
}

void Enum_type::serialize(SERIAL::Serializer& out) const
{
    // The count is one byte; as with a unit's named types, only that many go out.
    uint8_t count = uint8_t(values_.size());
    out.write_uint8(count);
    auto value = values_.begin();
    for (uint32_t i = 0; i < count; ++i, ++value) {
        out.write_string(value->first.c_str());
        out.write_sint32(value->second);
    }
    out.write_string(name_);
    out.write_string(nullptr);  // reserved
}

void Enum_type::deserialize(SERIAL::Deserializer& in)
{
    clear_type();
    values_.clear();
    code_ = TYPE_INT32;
    array_size_ = 1;
    uint8_t count = 0;
    in.read_uint8(&count);
    for (uint32_t i = 0; i < count && in.good(); ++i) {
        char* name = nullptr;
        in.read_string(&name);
        int32_t value = 0;
        in.read_sint32(&value);
        values_[name ? name : ""] = value;
        delete[] name;
    }
    char* text = nullptr;
    in.read_string(&text);
    set_name(text);
    delete[] text;
    text = nullptr;
    in.read_string(&text);
    delete[] text;
}

// Conversion

bool convertible(const Type* from, const Type* to)
{
    if (!from || !to)
        return false;
    uint8_t f = from->code();
    uint8_t t = to->code();
    if (from->array_size() == 1 && to->array_size() == 1) {
        if (f == TYPE_INT32 && t == TYPE_SCALAR)
            return true;
        if (f == TYPE_STRING && is_texture(t))
            return true;
        if ((f == TYPE_VECTOR4 && t == TYPE_COLOR) || (f == TYPE_COLOR && t == TYPE_VECTOR4))
            return true;
        // Two distinct plain types share a code only when one is an enum (an Int type) or both
        // are structs; enums and Int pass, structs only under the same name.
        return f == t && from->equals(*to);
    }
    // An array of n converts to an unsized array; otherwise sizes must agree, and elements
    // never convert.
    bool sized_to_unsized = from->array_size() > 1 && to->array_size() == 0;
    if (!sized_to_unsized && from->array_size() != to->array_size())
        return false;
    if (f != t)
        return false;
    return f != TYPE_STRUCT || same_text(from->type_name_text(), to->type_name_text());
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

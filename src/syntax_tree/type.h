// The type model: type codes and their table, the language's type words, and the Type,
// Named_type and Enum_type classes that units keep in their tables.
#pragma once

#include <utility>
#include <cstdint>
#include <map>
#include <string>

#include "db/element.h"
#include "serial/serializable.h"

namespace QZ {
namespace SYNTAX_TREE {

// One byte; shared with the render side, of which the language uses a subset.
// ORDER: type_code_table in type.cpp follows these numbers.
enum Type_code : uint8_t {
    TYPE_ILLEGAL = 0,
    TYPE_BOOLEAN = 1,
    TYPE_INT8 = 2,
    TYPE_INT16 = 3,
    TYPE_INT32 = 4,
    TYPE_INT64 = 5,
    TYPE_SCALAR = 6,
    TYPE_VECTOR2 = 7,
    TYPE_VECTOR3 = 8,
    TYPE_VECTOR4 = 9,
    TYPE_DSCALAR = 10,
    TYPE_DVECTOR2 = 11,
    TYPE_DVECTOR3 = 12,
    TYPE_DVECTOR4 = 13,
    TYPE_GSCALAR = 14,
    TYPE_GVECTOR2 = 15,
    TYPE_GVECTOR3 = 16,
    TYPE_GVECTOR4 = 17,
    TYPE_MATRIX = 18,
    TYPE_DMATRIX = 19,
    TYPE_GMATRIX = 20,
    TYPE_QUATERNION = 21,
    TYPE_STRING = 22,
    TYPE_TAG = 23,
    TYPE_COLOR = 24,
    TYPE_RGB = 25,
    TYPE_RGBA = 26,
    TYPE_RGBE = 27,
    TYPE_RGBEA = 28,
    TYPE_RGB_16 = 29,
    TYPE_RGBA_16 = 30,
    TYPE_RGB_FP = 31,
    TYPE_STRUCT = 32,
    TYPE_RLE_UINT_PTR = 33,
    TYPE_VECTOR2I = 34,
    TYPE_VECTOR3I = 35,
    TYPE_VECTOR4I = 36,
    TYPE_VECTOR2B = 37,
    TYPE_VECTOR3B = 38,
    TYPE_VECTOR4B = 39,
    TYPE_MATRIX2X2 = 40,
    TYPE_MATRIX2X3 = 41,
    TYPE_MATRIX3X2 = 42,
    TYPE_MATRIX3X3 = 43,
    TYPE_MATRIX4X3 = 44,
    TYPE_MATRIX3X4 = 45,
    TYPE_MATRIX4X2 = 46,
    TYPE_MATRIX2X4 = 47,
    TYPE_TEXTURE1D = 48,
    TYPE_TEXTURE2D = 49,
    TYPE_TEXTURE3D = 50,
    TYPE_TEXTURE_CUBE = 51,
    TYPE_BRDF = 52,
    TYPE_LIGHT = 53,
};

constexpr uint32_t TYPE_CODE_COUNT = 54;

struct Type_code_info {
    const char* name;
    uint8_t components;
    uint8_t component_code;
    uint8_t component_size;  // bytes of one component
};

// The table row of a code; codes beyond the table give the row of TYPE_ILLEGAL.
const Type_code_info& type_code_info(uint32_t code);
inline const char* type_code_name(uint32_t code) { return type_code_info(code).name; }
inline uint32_t component_count(uint32_t code) { return type_code_info(code).components; }

// The classification of the language, by code alone.
bool is_scalar(uint32_t code);   // Bool, Int, Scalar
bool is_vector(uint32_t code);   // vectors of all three kinds, and Color
bool is_matrix(uint32_t code);   // Matrix4x4 and the eight RxC shapes
bool is_texture(uint32_t code);  // Texture1d to Texture_cube

// Matrix shape: "Matrix3x2" has 3 rows of Vector2. False for a code that is no matrix.
bool matrix_shape(uint32_t code, uint32_t* rows, uint32_t* columns);
// The matrix code of a shape, or TYPE_ILLEGAL outside 2..4.
Type_code matrix_code(uint32_t rows, uint32_t columns);
// Vector of n in 2..4 components of a scalar kind (Bool, Int or Scalar); n = 1 gives the scalar.
Type_code vector_code(Type_code scalar, uint32_t n);

// The language's type words ("Int", "Matrix3x2", "void"...), and back.
// -1 for a text that is no type word.
int32_t language_word_code(const char* word);
// The word of a code, or null for a code without one. Code 0 gives "void".
const char* language_word(uint32_t code);

class Type : public SERIAL::Serializable {
public:
    Type() = default;
    Type(const char* name, uint8_t code, uint32_t array_size = 1);
    // A built-in type by its code, named by its language word.
    static Type* builtin(uint8_t code, uint32_t array_size = 1);

    // Copies duplicate the name and the whole member list.
    Type(const Type& other);
    Type& operator=(const Type& other);
    ~Type() override;

    SERIAL::Class_id get_class_id() const override { return DB::_BNT; }
    void serialize(SERIAL::Serializer& out) const override;
    void deserialize(SERIAL::Deserializer& in) override;
    // The brief form leaves names out, for every type written.
    void serialize_brief(SERIAL::Serializer& out) const;

    // A new object of the same class with the same fields, member list included.
    virtual Type* clone() const;

    const char* name() const { return name_; }
    void set_name(const char* name);
    uint8_t code() const { return code_; }
    void set_code(uint8_t code) { code_ = code; }
    uint8_t modifier(int index) const { return modifiers_[index]; }
    void set_modifier(int index, uint8_t value) { modifiers_[index] = value; }
    // 1: no array; 0: unsized (x[]); n > 1: n elements.
    uint32_t array_size() const { return array_size_; }
    void set_array_size(uint32_t size) { array_size_ = size; }
    bool is_array() const { return array_size_ != 1; }

    // Struct members hang from first_member and follow each other through next_member.
    // The links are owned.
    Type* first_member() const { return first_member_; }
    Type* next_member() const { return next_member_; }
    void set_first_member(Type* member);  // frees the old list
    void set_next_member(Type* member);   // frees the old rest of the list
    // Unlink a list without freeing it; the caller owns what comes back.
    Type* take_first_member()
    {
        Type* taken = first_member_;
        first_member_ = nullptr;
        return taken;
    }
    Type* take_next_member()
    {
        Type* taken = next_member_;
        next_member_ = nullptr;
        return taken;
    }
    void append_member(Type* member);
    uint32_t member_count() const;
    // The first member of the name, in order of declaration, or null; with its byte offset and
    // size in a value block when asked.
    const Type* find_member(const char* name, uint32_t* offset = nullptr, uint32_t* size = nullptr) const;

    bool is_scalar() const { return SYNTAX_TREE::is_scalar(code_); }
    bool is_vector() const { return SYNTAX_TREE::is_vector(code_); }
    bool is_matrix() const { return SYNTAX_TREE::is_matrix(code_); }
    bool is_texture() const { return SYNTAX_TREE::is_texture(code_); }
    bool is_struct() const { return code_ == TYPE_STRUCT; }
    uint32_t component_count() const { return SYNTAX_TREE::component_count(code_); }

    // The name under which a struct type compares and prints.
    virtual const char* type_name_text() const;
    // Equal code and array size; structs also by name, case sensitive.
    bool equals(const Type& other) const;

    // Bytes of a value block of this type. An unsized array is a 32-bit count and a pointer
    // (16 bytes); a string or texture is a pointer. Struct members are placed at their
    // alignment and the struct is padded to its own.
    uint32_t size() const;
    // Unsized arrays 8; structs the largest member alignment, at least 1; else the component size.
    uint32_t alignment() const;
    // As size, without the padding between and after struct members.
    uint32_t packed_size() const;

    // Readable form: the name; "struct Name" for a struct; arrays add "[%u]".
    std::string text() const;

protected:
    // The node's own fields, without links; used by clone and copying.
    virtual Type* clone_node() const;
    void copy_fields_from(const Type& other);
    // Copies the member lists of source under target, node by node, keeping each node's class.
    static void copy_links(Type& target, const Type& source);
    // Frees the name and both lists, iteratively.
    void clear_type();

    char* name_ = nullptr;
    uint8_t code_ = TYPE_ILLEGAL;
    uint8_t modifiers_[3] = {0, 0, 0};
    uint32_t array_size_ = 1;
    Type* first_member_ = nullptr;
    Type* next_member_ = nullptr;
};

// The form kept in a unit's tables: a struct with its members, a member, a parameter. The name
// is the declared name; type_name, the second name, is the name of the member's type.
class Named_type : public Type {
public:
    Named_type() = default;
    Named_type(const char* name, uint8_t code, uint32_t array_size = 1, const char* type_name = nullptr);
    Named_type(const Named_type& other);
    Named_type& operator=(const Named_type& other);
    ~Named_type() override;

    SERIAL::Class_id get_class_id() const override { return DB::NAMED_TYPE_CLASS_ID; }
    // Links that are not Named_type objects are not written and do not come back.
    void serialize(SERIAL::Serializer& out) const override;
    void deserialize(SERIAL::Deserializer& in) override;
    Type* clone() const override;

    const char* type_name() const { return type_name_; }
    void set_type_name(const char* name);

    const char* type_name_text() const override;

protected:
    // Trades every field of the type with other's, so that a derived value can move by swapping.
    void swap_type_fields(Named_type& other) noexcept
    {
        std::swap(name_, other.name_);
        std::swap(code_, other.code_);
        std::swap(modifiers_, other.modifiers_);
        std::swap(array_size_, other.array_size_);
        std::swap(first_member_, other.first_member_);
        std::swap(next_member_, other.next_member_);
        std::swap(type_name_, other.type_name_);
    }
    Type* clone_node() const override;

    char* type_name_ = nullptr;
};

// An enum: an Int type with named values. Value names carry their scope prefix.
class Enum_type : public Type {
public:
    explicit Enum_type(const char* name = nullptr);

    SERIAL::Class_id get_class_id() const override { return DB::_EnT; }
    // The enumerators, sorted, at most 255 of them (the count is one byte); then the name and a
    // reserved second text.
    void serialize(SERIAL::Serializer& out) const override;
    void deserialize(SERIAL::Deserializer& in) override;
    Type* clone() const override;

    std::map<std::string, int32_t>& values() { return values_; }
    const std::map<std::string, int32_t>& values() const { return values_; }
    // False for an unknown name; the value is left alone then.
    bool find_value(const std::string& name, int32_t* value) const;

protected:
    Type* clone_node() const override;

    std::map<std::string, int32_t> values_;
};

// Implicit conversion of an argument of type from to a parameter of type to; null stands for
// an unknown type (a negative type index). Not symmetric: Int to Scalar, String to a texture,
// Color and Vector4 both ways, an array of n to an unsized one. An enum and Int, both code 4,
// convert too. The caller asks only for types that differ, and only for "in" parameters.
bool convertible(const Type* from, const Type* to);

}  // namespace SYNTAX_TREE
}  // namespace QZ

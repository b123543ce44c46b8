#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "serial/memory_stream.h"
#include "syntax_tree/type.h"
#include "support/test_support.h"

using namespace QZ::SYNTAX_TREE;
using QZ::SERIAL::Memory_deserializer;
using QZ::SERIAL::Memory_serializer;

namespace {

std::unique_ptr<Type> word_type(const char* word, uint32_t array_size = 1)
{
    int32_t code = language_word_code(word);
    EXPECT_GE(code, 0) << word;
    return std::unique_ptr<Type>(Type::builtin(uint8_t(code), array_size));
}

bool converts(const char* from, uint32_t from_size, const char* to, uint32_t to_size)
{
    return convertible(word_type(from, from_size).get(), word_type(to, to_size).get());
}

// struct { Bool flag; Scalar value; Bool last; }
std::unique_ptr<Named_type> padded_struct()
{
    auto s = std::make_unique<Named_type>("Padded", TYPE_STRUCT);
    s->append_member(new Named_type("flag", TYPE_BOOLEAN, 1, "Bool"));
    s->append_member(new Named_type("value", TYPE_SCALAR, 1, "Scalar"));
    s->append_member(new Named_type("last", TYPE_BOOLEAN, 1, "Bool"));
    return s;
}

std::vector<uint8_t> written(const QZ::SERIAL::Serializable& object)
{
    Memory_serializer out;
    object.serialize(out);
    return out.take_bytes();
}

}  // namespace

TEST(TypesTable, RowsAndClassification)
{
    const Type_code_info& rgbea = type_code_info(TYPE_RGBEA);
    EXPECT_STREQ(rgbea.name, "rgbea");
    EXPECT_EQ(rgbea.components, 5);
    EXPECT_EQ(rgbea.component_code, TYPE_INT8);
    EXPECT_EQ(rgbea.component_size, 1);
    EXPECT_STREQ(type_code_name(TYPE_MATRIX), "matrix");
    EXPECT_EQ(component_count(TYPE_MATRIX), 16u);
    EXPECT_EQ(type_code_info(TYPE_DMATRIX).component_size, 8);
    EXPECT_EQ(type_code_info(TYPE_RGBA_16).component_code, TYPE_INT16);
    EXPECT_EQ(type_code_info(TYPE_VECTOR3I).component_code, TYPE_INT32);
    EXPECT_EQ(type_code_info(TYPE_TEXTURE_CUBE).component_code, TYPE_STRING);
    EXPECT_STREQ(type_code_name(TYPE_LIGHT), "light");
    EXPECT_EQ(type_code_info(TYPE_LIGHT).component_code, TYPE_TAG);
    EXPECT_STREQ(type_code_name(TYPE_MATRIX2X4), "matrix2x4");
    EXPECT_EQ(component_count(TYPE_MATRIX4X2), 8u);
    EXPECT_STREQ(type_code_name(54), "<illegal>");
    EXPECT_STREQ(type_code_name(255), "<illegal>");

    const std::set<uint32_t> scalars{1, 4, 6};
    const std::set<uint32_t> vectors{7, 8, 9, 24, 34, 35, 36, 37, 38, 39};
    const std::set<uint32_t> matrices{18, 40, 41, 42, 43, 44, 45, 46, 47};
    const std::set<uint32_t> textures{48, 49, 50, 51};
    for (uint32_t code = 0; code < 256; ++code) {
        EXPECT_EQ(is_scalar(code), scalars.count(code) == 1) << code;
        EXPECT_EQ(is_vector(code), vectors.count(code) == 1) << code;
        EXPECT_EQ(is_matrix(code), matrices.count(code) == 1) << code;
        EXPECT_EQ(is_texture(code), textures.count(code) == 1) << code;
    }
}

TEST(TypesTable, LanguageWordsAndShapes)
{
    const std::pair<const char*, int32_t> words[] = {
        {"Bool", 1},       {"Int", 4},        {"Scalar", 6},     {"Vector2", 7},     {"Vector3", 8},
        {"Vector4", 9},    {"String", 22},    {"Color", 24},     {"Vector2i", 34},   {"Vector3i", 35},
        {"Vector4i", 36},  {"Vector2b", 37},  {"Vector3b", 38},  {"Vector4b", 39},   {"Matrix4x4", 18},
        {"Matrix2x2", 40}, {"Matrix2x3", 41}, {"Matrix3x2", 42}, {"Matrix3x3", 43},  {"Matrix4x3", 44},
        {"Matrix3x4", 45}, {"Matrix4x2", 46}, {"Matrix2x4", 47}, {"Texture1d", 48},  {"Texture2d", 49},
        {"Texture3d", 50}, {"Texture_cube", 51}, {"void", 0},
    };
    for (const auto& [word, code] : words) {
        EXPECT_EQ(language_word_code(word), code) << word;
        EXPECT_STREQ(language_word(uint32_t(code)), word);
    }
    EXPECT_EQ(language_word_code("int"), -1);
    EXPECT_EQ(language_word_code("Matrix"), -1);
    EXPECT_EQ(language_word_code(nullptr), -1);
    EXPECT_EQ(language_word(TYPE_RGB), nullptr);

    uint32_t rows = 0;
    uint32_t columns = 0;
    ASSERT_TRUE(matrix_shape(TYPE_MATRIX3X2, &rows, &columns));
    EXPECT_EQ(rows, 3u);
    EXPECT_EQ(columns, 2u);
    ASSERT_TRUE(matrix_shape(TYPE_MATRIX, &rows, &columns));
    EXPECT_EQ(rows * columns, 16u);
    EXPECT_FALSE(matrix_shape(TYPE_VECTOR4, &rows, &columns));
    EXPECT_EQ(matrix_code(2, 4), TYPE_MATRIX2X4);
    EXPECT_EQ(matrix_code(4, 4), TYPE_MATRIX);
    EXPECT_EQ(matrix_code(1, 4), TYPE_ILLEGAL);
    EXPECT_EQ(vector_code(TYPE_INT32, 3), TYPE_VECTOR3I);
    EXPECT_EQ(vector_code(TYPE_BOOLEAN, 1), TYPE_BOOLEAN);
    EXPECT_EQ(vector_code(TYPE_SCALAR, 5), TYPE_ILLEGAL);
}

TEST(TypesConvertible, PlainValues)
{
    EXPECT_TRUE(converts("Int", 1, "Scalar", 1));
    EXPECT_FALSE(converts("Scalar", 1, "Int", 1));
    // A scalar does not widen by itself.
    EXPECT_FALSE(converts("Int", 1, "Vector2", 1));
    EXPECT_FALSE(converts("Scalar", 1, "Vector3", 1));
    EXPECT_FALSE(converts("Bool", 1, "Int", 1));
    EXPECT_FALSE(converts("Bool", 1, "Scalar", 1));
    EXPECT_FALSE(converts("Vector3", 1, "Color", 1));
    EXPECT_FALSE(converts("Vector3i", 1, "Vector3", 1));
    EXPECT_TRUE(converts("Color", 1, "Vector4", 1));
    EXPECT_TRUE(converts("Vector4", 1, "Color", 1));
    EXPECT_TRUE(converts("String", 1, "Texture2d", 1));
    EXPECT_TRUE(converts("String", 1, "Texture_cube", 1));
    EXPECT_FALSE(converts("Texture2d", 1, "String", 1));
    EXPECT_FALSE(converts("Texture1d", 1, "Texture2d", 1));
    // An unknown type (a negative index) converts to nothing and takes nothing.
    auto scalar = word_type("Scalar");
    EXPECT_FALSE(convertible(nullptr, scalar.get()));
    EXPECT_FALSE(convertible(scalar.get(), nullptr));
}

TEST(TypesConvertible, ArraysStructsAndEnums)
{
    // Scalar[] accepts Scalar[4]; Scalar[4] accepts neither Scalar[3] nor Scalar[].
    EXPECT_TRUE(converts("Scalar", 4, "Scalar", 0));
    EXPECT_FALSE(converts("Scalar", 4, "Scalar", 3));
    EXPECT_FALSE(converts("Scalar", 0, "Scalar", 4));
    EXPECT_TRUE(converts("Scalar", 4, "Scalar", 4));
    EXPECT_FALSE(converts("Scalar", 1, "Scalar", 0));
    EXPECT_FALSE(converts("Scalar", 4, "Scalar", 1));
    // No element conversion inside arrays.
    EXPECT_FALSE(converts("Int", 4, "Scalar", 4));
    EXPECT_FALSE(converts("Vector4", 2, "Color", 0));

    Type a("Light", TYPE_STRUCT, 2);
    Type b("Light", TYPE_STRUCT, 0);
    Type c("light", TYPE_STRUCT, 0);
    EXPECT_TRUE(convertible(&a, &b));
    EXPECT_FALSE(convertible(&a, &c));  // names compare case sensitive
    Type plain_a("S", TYPE_STRUCT);
    Type plain_b("T", TYPE_STRUCT);
    EXPECT_FALSE(convertible(&plain_a, &plain_b));

    // An enum is an Int type: it passes to Int and on to Scalar.
    Enum_type e("Mode");
    auto int_type = word_type("Int");
    EXPECT_TRUE(convertible(&e, int_type.get()));
    EXPECT_TRUE(convertible(&e, word_type("Scalar").get()));
    EXPECT_FALSE(convertible(&e, word_type("Bool").get()));
}

TEST(TypesLayout, SizesOfValues)
{
    EXPECT_EQ(word_type("Scalar")->size(), 4u);
    EXPECT_EQ(word_type("Bool")->size(), 1u);
    EXPECT_EQ(word_type("Vector3")->size(), 12u);
    EXPECT_EQ(word_type("Vector3b")->size(), 3u);
    EXPECT_EQ(word_type("Color")->size(), 16u);
    EXPECT_EQ(word_type("Matrix4x4")->size(), 64u);
    EXPECT_EQ(word_type("Matrix3x2")->size(), 24u);
    // Strings and textures are pointers; an unsized array is a count and a pointer.
    EXPECT_EQ(word_type("String")->size(), 8u);
    EXPECT_EQ(word_type("Texture2d", 3)->size(), 24u);
    EXPECT_EQ(word_type("String", 0)->size(), 16u);
    EXPECT_EQ(word_type("Scalar", 0)->size(), 16u);
    EXPECT_EQ(word_type("Vector3", 256)->size(), 3072u);
    EXPECT_EQ(Type("odd", TYPE_RGBEA, 1).size(), 5u);

    EXPECT_EQ(word_type("Bool")->alignment(), 1u);
    EXPECT_EQ(word_type("Vector3")->alignment(), 4u);
    EXPECT_EQ(word_type("String")->alignment(), 8u);
    EXPECT_EQ(word_type("Bool", 0)->alignment(), 8u);
}

TEST(TypesLayout, StructsPadToTheirMembers)
{
    auto s = padded_struct();
    EXPECT_EQ(s->alignment(), 4u);
    EXPECT_EQ(s->size(), 12u);  // 1, pad 3, 4, 1, pad 3
    EXPECT_EQ(s->packed_size(), 6u);
    uint32_t offset = 99;
    uint32_t size = 99;
    const Type* value = s->find_member("value", &offset, &size);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->code(), TYPE_SCALAR);
    EXPECT_EQ(offset, 4u);
    EXPECT_EQ(size, 4u);
    ASSERT_NE(s->find_member("last", &offset, &size), nullptr);
    EXPECT_EQ(offset, 8u);
    EXPECT_EQ(s->find_member("missing"), nullptr);
    EXPECT_EQ(s->member_count(), 3u);

    // A struct member inside a struct, with a pointer member that raises the alignment.
    auto outer = std::make_unique<Named_type>("Outer", TYPE_STRUCT);
    outer->append_member(new Named_type("tag", TYPE_BOOLEAN));
    Type* inner = padded_struct().release();
    inner->set_name("inner");
    outer->append_member(inner);
    outer->append_member(new Named_type("label", TYPE_STRING));
    EXPECT_EQ(outer->alignment(), 8u);
    EXPECT_EQ(outer->size(), 24u);  // 1, pad 3, 12 to 16, 8 to 24, already a multiple of 8
    ASSERT_NE(outer->find_member("label", &offset, nullptr), nullptr);
    EXPECT_EQ(offset, 16u);
    EXPECT_EQ(outer->packed_size(), 1u + 6u + 8u);

    // An empty struct and an array of structs.
    EXPECT_EQ(Named_type("Empty", TYPE_STRUCT).size(), 0u);
    EXPECT_EQ(Named_type("Empty", TYPE_STRUCT).alignment(), 1u);
    auto array = padded_struct();
    array->set_array_size(3);
    EXPECT_EQ(array->size(), 36u);
}

TEST(TypesLayout, NestingBeyondTheLimitIsReportedNotFollowed)
{
    vorn_test::Log_capture log;
    auto root = std::make_unique<Named_type>("Deep", TYPE_STRUCT);
    Type* level = root.get();
    for (int i = 0; i < 100000; ++i) {
        Type* next = new Named_type("level", TYPE_STRUCT);
        level->set_first_member(next);
        level = next;
    }
    level->set_first_member(new Named_type("x", TYPE_SCALAR));
    EXPECT_EQ(root->size(), 0u);
    EXPECT_TRUE(log.contains("nested deeper than")) << log.lines().size();
    // Copies and destruction walk the nesting without recursion.
    Named_type copy(*root);
    EXPECT_EQ(copy.first_member()->first_member()->name(), std::string("level"));
}

TEST(TypesText, ReadableForms)
{
    EXPECT_EQ(word_type("Scalar")->text(), "Scalar");
    EXPECT_EQ(word_type("Scalar", 4)->text(), "Scalar[4]");
    EXPECT_EQ(word_type("Scalar", 0)->text(), "Scalar[0]");
    EXPECT_EQ(Type("Light", TYPE_STRUCT).text(), "struct Light");
    EXPECT_EQ(Type("Light", TYPE_STRUCT, 2).text(), "struct Light[2]");
    EXPECT_EQ(Named_type("offset", TYPE_VECTOR3).text(), "Vector3");
    EXPECT_EQ(Named_type("lights", TYPE_STRUCT, 3, "Light").text(), "struct Light[3]");
    EXPECT_EQ(Type(nullptr, TYPE_RGB).text(), "rgb");
    EXPECT_TRUE(Type("S", TYPE_STRUCT).equals(Type("S", TYPE_STRUCT)));
    EXPECT_FALSE(Type("S", TYPE_STRUCT).equals(Type("s", TYPE_STRUCT)));
    EXPECT_FALSE(Type("S", TYPE_STRUCT).equals(Type("S", TYPE_STRUCT, 2)));
}

TEST(TypesCopy, CopiesAreDeepAndKeepClasses)
{
    auto original = padded_struct();
    Named_type copy(*original);
    ASSERT_NE(copy.first_member(), original->first_member());
    ASSERT_NE(dynamic_cast<Named_type*>(copy.first_member()), nullptr);
    EXPECT_STREQ(static_cast<Named_type*>(copy.first_member())->type_name(), "Bool");
    copy.first_member()->set_name("changed");
    EXPECT_STREQ(original->first_member()->name(), "flag");
    EXPECT_STREQ(copy.name(), "Padded");
    // Names are shared between copies, never changed in place: renaming or ending the original
    // leaves the copy's name as it was.
    Named_type survivor(*original);
    original->set_name("Renamed");
    EXPECT_STREQ(copy.name(), "Padded");
    {
        Named_type short_lived(copy);
        short_lived.set_type_name("Other");
    }
    EXPECT_STREQ(survivor.name(), "Padded");

    Type assigned;
    assigned = *original;
    EXPECT_EQ(assigned.member_count(), 3u);
    assigned = assigned;
    EXPECT_EQ(assigned.member_count(), 3u);

    std::unique_ptr<Type> clone(original->clone());
    EXPECT_NE(dynamic_cast<Named_type*>(clone.get()), nullptr);

    Enum_type e("Mode");
    e.values()["A"] = 0;
    e.values()["B"] = 5;
    std::unique_ptr<Type> enum_clone(e.clone());
    int32_t value = 0;
    ASSERT_NE(dynamic_cast<Enum_type*>(enum_clone.get()), nullptr);
    EXPECT_TRUE(static_cast<Enum_type*>(enum_clone.get())->find_value("B", &value));
    EXPECT_EQ(value, 5);
}

TEST(TypesWrittenForm, TypeBytesFollowTheFlags)
{
    // flag 2 (name), "Scalar", code, three modifier bytes; array size 1 needs no bytes.
    Type plain("Scalar", TYPE_SCALAR);
    EXPECT_EQ(written(plain), (std::vector<uint8_t>{2, 6, 0, 0, 0, 'S', 'c', 'a', 'l', 'a', 'r', 6, 0, 0, 0}));
    // Unsized: flag 16, still no size bytes.
    Type unsized(nullptr, TYPE_INT32, 0);
    EXPECT_EQ(written(unsized), (std::vector<uint8_t>{16, 4, 0, 0, 0}));
    // Sized: flag 32, the size follows.
    Type sized(nullptr, TYPE_BOOLEAN, 300);
    EXPECT_EQ(written(sized), (std::vector<uint8_t>{32, 1, 0, 0, 0, 44, 1, 0, 0}));
    // Brief form: flag 1 and no name.
    Memory_serializer out;
    plain.serialize_brief(out);
    EXPECT_EQ(out.bytes(), (std::vector<uint8_t>{1, 6, 0, 0, 0}));
}

TEST(TypesWrittenForm, TypeRoundTripWithMembersAndArraySizes)
{
    Type root("Outer", TYPE_STRUCT, 1);
    root.append_member(new Type("a", TYPE_SCALAR, 0));
    Type* nested = new Type("b", TYPE_STRUCT, 1);
    nested->append_member(new Type("c", TYPE_VECTOR3, 7));
    nested->append_member(new Type("d", TYPE_BOOLEAN, 1));
    root.append_member(nested);
    root.append_member(new Type(nullptr, TYPE_COLOR, 2));
    root.set_modifier(2, 1);

    std::vector<uint8_t> bytes = written(root);
    Memory_deserializer in(bytes);
    Type back;
    back.deserialize(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.bytes_remaining(), 0u);
    EXPECT_STREQ(back.name(), "Outer");
    EXPECT_EQ(back.modifier(2), 1);
    ASSERT_EQ(back.member_count(), 3u);
    const Type* a = back.first_member();
    EXPECT_EQ(a->array_size(), 0u);
    const Type* b = a->next_member();
    EXPECT_STREQ(b->name(), "b");
    ASSERT_EQ(b->member_count(), 2u);
    EXPECT_EQ(b->first_member()->array_size(), 7u);
    EXPECT_EQ(b->first_member()->code(), TYPE_VECTOR3);
    EXPECT_EQ(b->first_member()->next_member()->array_size(), 1u);
    const Type* third = b->next_member();
    EXPECT_EQ(third->name(), nullptr);
    EXPECT_EQ(third->array_size(), 2u);
    EXPECT_EQ(written(back), bytes);
}

TEST(TypesWrittenForm, NamedTypeBytesAndRoundTrip)
{
    // flags, name, code as 4 bytes, two modifiers and a false byte, the second name.
    Named_type member("x", TYPE_SCALAR, 1, "Scalar");
    EXPECT_EQ(written(member), (std::vector<uint8_t>{0, 1, 0, 0, 0, 'x', 6, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 'S', 'c',
                                                     'a', 'l', 'a', 'r'}));
    Named_type many("m", TYPE_INT32, 5);
    std::vector<uint8_t> many_bytes = written(many);
    EXPECT_EQ(many_bytes[0], 8);
    Named_type none("n", TYPE_INT32, 0);
    EXPECT_EQ(written(none)[0], 4);

    auto s = padded_struct();
    s->first_member()->set_array_size(0);
    s->first_member()->next_member()->set_array_size(4);
    std::vector<uint8_t> bytes = written(*s);
    EXPECT_EQ(bytes[0], 1 | 16);
    Memory_deserializer in(bytes);
    Named_type back;
    back.deserialize(in);
    ASSERT_TRUE(in.good());
    EXPECT_EQ(in.bytes_remaining(), 0u);
    EXPECT_STREQ(back.name(), "Padded");
    EXPECT_EQ(back.code(), TYPE_STRUCT);
    ASSERT_EQ(back.member_count(), 3u);
    auto* flag = dynamic_cast<const Named_type*>(back.find_member("flag"));
    ASSERT_NE(flag, nullptr);
    EXPECT_STREQ(flag->type_name(), "Bool");
    EXPECT_EQ(flag->array_size(), 0u);
    EXPECT_EQ(back.find_member("value")->array_size(), 4u);
    EXPECT_EQ(back.find_member("last")->array_size(), 1u);
    EXPECT_EQ(written(back), bytes);
}

TEST(TypesWrittenForm, NamedTypeDropsLinksOfOtherClasses)
{
    Named_type s("S", TYPE_STRUCT);
    s.append_member(new Named_type("kept", TYPE_SCALAR));
    s.first_member()->set_next_member(new Type("plain", TYPE_SCALAR));
    std::vector<uint8_t> bytes = written(s);
    Memory_deserializer in(bytes);
    Named_type back;
    back.deserialize(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(back.member_count(), 1u);
    EXPECT_STREQ(back.first_member()->name(), "kept");
}

TEST(TypesWrittenForm, EnumRoundTrip)
{
    Enum_type e("Shader::Mode");
    e.values()["Shader::B"] = 5;
    e.values()["Shader::A"] = 0;
    e.values()["Shader::C"] = -6;
    Memory_serializer out;
    e.serialize(out);
    Memory_deserializer in(out.bytes());
    Enum_type back;
    back.deserialize(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.bytes_remaining(), 0u);
    EXPECT_STREQ(back.name(), "Shader::Mode");
    EXPECT_EQ(back.code(), TYPE_INT32);
    EXPECT_EQ(back.values(), e.values());
    // The count is a byte, in sorted order, so the first name out is the smallest.
    EXPECT_EQ(out.bytes()[0], 3);
    EXPECT_EQ(out.bytes()[5], 'S');
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&out.bytes()[5]), 9), "Shader::A");
}

TEST(TypesWrittenForm, TruncatedInputFailsCleanly)
{
    auto s = padded_struct();
    std::vector<uint8_t> named = written(*s);
    Type plain_root("Outer", TYPE_STRUCT, 3);
    plain_root.append_member(new Type("a", TYPE_SCALAR, 9));
    std::vector<uint8_t> plain = written(plain_root);
    Enum_type e("E");
    e.values()["A"] = 1;
    std::vector<uint8_t> enum_bytes = written(e);

    for (size_t cut = 0; cut < named.size(); ++cut) {
        Memory_deserializer in(named.data(), cut);
        Named_type back;
        back.deserialize(in);
        EXPECT_FALSE(in.good()) << cut;
        EXPECT_LE(back.member_count(), 3u);
    }
    for (size_t cut = 0; cut < plain.size(); ++cut) {
        Memory_deserializer in(plain.data(), cut);
        Type back;
        back.deserialize(in);
        EXPECT_FALSE(in.good()) << cut;
    }
    for (size_t cut = 0; cut < enum_bytes.size(); ++cut) {
        Memory_deserializer in(enum_bytes.data(), cut);
        Enum_type back;
        back.deserialize(in);
        EXPECT_FALSE(in.good()) << cut;
    }
    // Garbage that claims a huge name: an error, and nothing hangs off the type.
    const uint8_t garbage[] = {2 | 4 | 8, 0xFF, 0xFF, 0xFF, 0x7F, 'x'};
    Memory_deserializer in(garbage, sizeof garbage);
    Type back;
    back.deserialize(in);
    EXPECT_FALSE(in.good());
    EXPECT_EQ(back.name(), nullptr);
    EXPECT_EQ(back.first_member(), nullptr);
}

TEST(TypesWrittenForm, LongMemberListsNeedNoRecursion)
{
    Named_type s("Wide", TYPE_STRUCT);
    Type* last = nullptr;
    for (int i = 0; i < 200000; ++i) {
        Type* member = new Named_type("m", TYPE_SCALAR);
        if (last)
            last->set_next_member(member);
        else
            s.set_first_member(member);
        last = member;
    }
    std::vector<uint8_t> bytes = written(s);
    Memory_deserializer in(bytes);
    Named_type back;
    back.deserialize(in);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(back.member_count(), 200000u);
    Named_type copy(back);
    EXPECT_EQ(copy.size(), 800000u);
}

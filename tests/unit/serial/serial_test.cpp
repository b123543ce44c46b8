#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "serial/deserialization_manager.h"
#include "serial/memory_stream.h"

using namespace QZ::SERIAL;

namespace {

// Records each primitive call, so the composites can be checked against the primitives they
// must be made of.
class Recording_serializer : public Serializer {
public:
    std::vector<std::string> calls;

    void write_float64(double v) override { calls.push_back("f64 " + std::to_string(v)); }
    void write_float32(float v) override { calls.push_back("f32 " + std::to_string(v)); }
    void write_sint64(int64_t v) override { calls.push_back("s64 " + std::to_string(v)); }
    void write_sint32(int32_t v) override { calls.push_back("s32 " + std::to_string(v)); }
    void write_sint16(int16_t v) override { calls.push_back("s16 " + std::to_string(v)); }
    void write_sint8(int8_t v) override { calls.push_back("s8 " + std::to_string(v)); }
    void write_uint64(uint64_t v) override { calls.push_back("u64 " + std::to_string(v)); }
    void write_uint32(uint32_t v) override { calls.push_back("u32 " + std::to_string(v)); }
    void write_uint16(uint16_t v) override { calls.push_back("u16 " + std::to_string(v)); }
    void write_uint8(uint8_t v) override { calls.push_back("u8 " + std::to_string(v)); }
    void write_bool(bool v) override { calls.push_back(v ? "bool 1" : "bool 0"); }
    void write_bytes(const void*, uint32_t length) override { calls.push_back("bytes " + std::to_string(length)); }
};

std::vector<std::string> recorded(void (*write)(Serializer&))
{
    Recording_serializer out;
    write(out);
    return out.calls;
}

// A stream that cannot tell how much is left, as a file or network stream may be.
class Unsized_deserializer : public Memory_deserializer {
public:
    using Memory_deserializer::Memory_deserializer;
    uint64_t bytes_remaining() const override { return UNKNOWN_REMAINING; }
};

}  // namespace

TEST(SerialComposites, StringsAreALengthThenOneByteEach)
{
    EXPECT_EQ(recorded([](Serializer& s) { s.write_string("abc"); }),
              (std::vector<std::string>{"u32 3", "u8 97", "u8 98", "u8 99"}));
    // A null text and an empty one look the same.
    EXPECT_EQ(recorded([](Serializer& s) { s.write_string(nullptr); }), (std::vector<std::string>{"u32 0"}));
    EXPECT_EQ(recorded([](Serializer& s) { s.write_string(""); }), (std::vector<std::string>{"u32 0"}));
}

TEST(SerialComposites, TagsVectorsAndMatricesUseThePrimitives)
{
    EXPECT_EQ(recorded([](Serializer& s) { s.write_tag(77); }), (std::vector<std::string>{"u32 77"}));
    EXPECT_EQ(recorded([](Serializer& s) {
                  const float v[3] = {1, 2, 3};
                  s.write_vector3(v);
              }),
              (std::vector<std::string>{"f32 1.000000", "f32 2.000000", "f32 3.000000"}));
    std::vector<std::string> matrix = recorded([](Serializer& s) {
        double m[16];
        for (int i = 0; i < 16; ++i)
            m[i] = i;
        s.write_matrix_float64(m);
    });
    ASSERT_EQ(matrix.size(), 16u);
    EXPECT_EQ(matrix[0], "f64 0.000000");
    EXPECT_EQ(matrix[15], "f64 15.000000");
    EXPECT_EQ(recorded([](Serializer& s) {
                  float m[16] = {};
                  s.write_matrix_float32(m);
              }).size(),
              16u);
}

TEST(SerialMemoryStream, PrimitivesRoundTripLittleEndian)
{
    Memory_serializer out;
    out.write_uint32(0x01020304);
    EXPECT_EQ(out.bytes(), (std::vector<uint8_t>{4, 3, 2, 1}));

    out.write_sint64(std::numeric_limits<int64_t>::min());
    out.write_sint32(-5);
    out.write_sint16(-300);
    out.write_sint8(-7);
    out.write_uint64(~uint64_t(0));
    out.write_uint16(0xBEEF);
    out.write_uint8(200);
    out.write_bool(true);
    out.write_float64(-0.0);
    out.write_float32(std::numeric_limits<float>::infinity());
    const uint8_t raw[3] = {9, 8, 7};
    out.write_bytes(raw, 3);
    out.write_string("text");
    const float v4[4] = {1.5f, -2, 3, 4};
    out.write_vector4(v4);

    Memory_deserializer in(out.bytes().data(), out.bytes().size());
    uint32_t u32 = 0;
    int64_t s64 = 0;
    int32_t s32 = 0;
    int16_t s16 = 0;
    int8_t s8 = 0;
    uint64_t u64 = 0;
    uint16_t u16 = 0;
    uint8_t u8 = 0;
    bool b = false;
    double f64 = 1;
    float f32 = 0;
    uint8_t bytes[3] = {};
    char* text = nullptr;
    float back[4] = {};
    in.read_uint32(&u32);
    in.read_sint64(&s64);
    in.read_sint32(&s32);
    in.read_sint16(&s16);
    in.read_sint8(&s8);
    in.read_uint64(&u64);
    in.read_uint16(&u16);
    in.read_uint8(&u8);
    in.read_bool(&b);
    in.read_float64(&f64);
    in.read_float32(&f32);
    in.read_bytes(bytes, 3);
    in.read_string(&text);
    in.read_vector4(back);
    EXPECT_TRUE(in.good());
    EXPECT_EQ(in.bytes_remaining(), 0u);
    EXPECT_EQ(u32, 0x01020304u);
    EXPECT_EQ(s64, std::numeric_limits<int64_t>::min());
    EXPECT_EQ(s32, -5);
    EXPECT_EQ(s16, -300);
    EXPECT_EQ(s8, -7);
    EXPECT_EQ(u64, ~uint64_t(0));
    EXPECT_EQ(u16, 0xBEEF);
    EXPECT_EQ(u8, 200);
    EXPECT_TRUE(b);
    EXPECT_TRUE(f64 == 0.0 && std::signbit(f64));
    EXPECT_TRUE(std::isinf(f32));
    EXPECT_EQ(bytes[2], 7);
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, "text");
    delete[] text;
    EXPECT_EQ(back[0], 1.5f);
    EXPECT_EQ(back[1], -2.0f);
}

TEST(SerialMemoryStream, EmptyStringReadsAsNull)
{
    Memory_serializer out;
    out.write_string("");
    Memory_deserializer in(out.take_bytes());
    char* text = reinterpret_cast<char*>(1);
    in.read_string(&text);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(in.good());
}

TEST(SerialMemoryStream, ReadingPastTheEndFailsWithZeros)
{
    const uint8_t data[3] = {1, 2, 3};
    Memory_deserializer in(data, 3);
    uint32_t value = 99;
    in.read_uint32(&value);  // 3 bytes are not enough for 4
    EXPECT_EQ(value, 0u);
    EXPECT_FALSE(in.good());
    // After a failure nothing more is taken, even what would fit.
    uint8_t byte = 99;
    in.read_uint8(&byte);
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(in.position(), 0u);

    Memory_deserializer block(data, 3);
    uint8_t out[5];
    memset(out, 0xAA, sizeof out);
    block.read_bytes(out, 5);
    EXPECT_FALSE(block.good());
    for (uint8_t b : out)
        EXPECT_EQ(b, 0);

    Memory_deserializer empty(nullptr, 0);
    double d = 1;
    float m[16];
    m[3] = 5;
    empty.read_float64(&d);
    empty.read_matrix_float32(m);
    EXPECT_EQ(d, 0.0);
    EXPECT_EQ(m[3], 0.0f);
    EXPECT_FALSE(empty.good());
}

TEST(SerialMemoryStream, StringLengthBeyondTheDataIsAnError)
{
    // Length 0xFFFFFFFF with one byte behind it: an error, not a 4 GB allocation.
    const uint8_t data[5] = {0xFF, 0xFF, 0xFF, 0xFF, 'a'};
    Memory_deserializer in(data, 5);
    char* text = reinterpret_cast<char*>(1);
    in.read_string(&text);
    EXPECT_EQ(text, nullptr);
    EXPECT_FALSE(in.good());

    // A stream that cannot tell its size stops at the first failed byte instead of looping on.
    Unsized_deserializer unsized(data, 5);
    auto start = std::chrono::steady_clock::now();
    text = reinterpret_cast<char*>(1);
    unsized.read_string(&text);
    EXPECT_EQ(text, nullptr);
    EXPECT_FALSE(unsized.good());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));

    // A cut string of the right length field fails too.
    const uint8_t cut[6] = {3, 0, 0, 0, 'a', 'b'};
    Memory_deserializer short_text(cut, 6);
    short_text.read_string(&text);
    EXPECT_EQ(text, nullptr);
    EXPECT_FALSE(short_text.good());
}

namespace {

class Probe : public Serializable {
public:
    explicit Probe(Class_id id) : id_(id) {}
    Class_id get_class_id() const override { return id_; }
    void serialize(Serializer&) const override {}
    void deserialize(Deserializer&) override {}

private:
    Class_id id_;
};

Serializable* make_first() { return new Probe(1); }
Serializable* make_second() { return new Probe(2); }

Deserialization_manager* reentrant_manager = nullptr;
Serializable* make_reentrant()
{
    // A factory that asks the manager again; this deadlocks if the lock is still held.
    bool known = reentrant_manager->is_registered(class_id_of("REEN"));
    return new Probe(known ? 7 : 8);
}

}  // namespace

TEST(SerialManager, UnknownIdsGiveNullAndTheFirstRegistrationStands)
{
    Deserialization_manager manager;
    EXPECT_EQ(manager.construct(42), nullptr);
    EXPECT_FALSE(manager.is_registered(42));

    manager.register_class(42, make_first);
    manager.register_class(42, make_second);
    EXPECT_EQ(manager.class_count(), 1u);
    Serializable* made = manager.construct(42);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->get_class_id(), 1u);
    delete made;
    EXPECT_TRUE(manager.is_registered(42));
    EXPECT_EQ(manager.construct(41), nullptr);
}

TEST(SerialManager, LookupsMoveTheNodeToTheRoot)
{
    Deserialization_manager manager;
    for (Class_id id : {50u, 20u, 80u, 10u, 30u, 70u, 90u})
        manager.register_class(id, make_first);
    EXPECT_TRUE(manager.is_registered(30));
    EXPECT_EQ(manager.root_class_id(), 30u);
    delete manager.construct(90);
    EXPECT_EQ(manager.root_class_id(), 90u);
    // A miss brings the last node visited up: a neighbour of the id asked for.
    EXPECT_FALSE(manager.is_registered(25));
    Class_id root = manager.root_class_id();
    EXPECT_TRUE(root == 20u || root == 30u) << root;
}

TEST(SerialManager, LongRunsOfRisingIdsStayCorrect)
{
    // Rising registrations make a path as long as the table; nothing may recurse over it.
    auto manager = std::make_unique<Deserialization_manager>();
    const Class_id count = 200000;
    for (Class_id id = 1; id <= count; ++id)
        manager->register_class(id * 2, make_first);
    EXPECT_EQ(manager->class_count(), size_t(count));
    EXPECT_TRUE(manager->is_registered(2));
    EXPECT_FALSE(manager->is_registered(3));
    for (int64_t id = count; id >= 1; id -= 997)
        EXPECT_TRUE(manager->is_registered(Class_id(id * 2))) << id;
    manager.reset();
}

TEST(SerialManager, FactoryRunsWithoutTheLock)
{
    Deserialization_manager manager;
    reentrant_manager = &manager;
    manager.register_class(class_id_of("REEN"), make_reentrant);
    Serializable* made = manager.construct(class_id_of("REEN"));
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->get_class_id(), 7u);
    delete made;
    reentrant_manager = nullptr;
}

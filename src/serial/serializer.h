// Abstract streams of typed values. A concrete stream supplies the primitives and a raw block
// operation; the composite values are built here from them, so every stream writes them alike.
#pragma once

#include <cstdint>
#include <string>

#include "serial/serializable.h"

namespace QZ {
namespace SERIAL {

class Deserialization_manager;

class Serializer {
public:
    virtual ~Serializer() = default;

    virtual void write_vector2(const float* v);
    virtual void write_vector3(const float* v);
    virtual void write_vector4(const float* v);
    // Length as uint32, then each byte as uint8, no terminator; null and "" look the same.
    virtual void write_string(const char* text);
    // Sixteen values, row by row.
    virtual void write_matrix_float64(const double* m);
    virtual void write_matrix_float32(const float* m);
    virtual void write_tag(uint32_t tag);

    virtual void write_float64(double value) = 0;
    virtual void write_float32(float value) = 0;
    virtual void write_sint64(int64_t value) = 0;
    virtual void write_sint32(int32_t value) = 0;
    virtual void write_sint16(int16_t value) = 0;
    virtual void write_sint8(int8_t value) = 0;
    virtual void write_uint64(uint64_t value) = 0;
    virtual void write_uint32(uint32_t value) = 0;
    virtual void write_uint16(uint16_t value) = 0;
    virtual void write_uint8(uint8_t value) = 0;
    virtual void write_bool(bool value) = 0;
    virtual void write_bytes(const void* data, uint32_t length) = 0;

    // Framing hooks; the streams of this system need none.
    virtual void begin_object() {}
    virtual void end_object() {}

    // False once a primitive has failed; composites go on regardless and the owner looks here.
    bool good() const { return good_; }
    void set_failed() { good_ = false; }
    // A stream that starts over (a new file) is good again.
    void set_good() { good_ = true; }

private:
    bool good_ = true;
};

class Deserializer {
public:
    explicit Deserializer(Deserialization_manager* manager = nullptr) : manager_(manager) {}
    virtual ~Deserializer() = default;

    virtual void read_vector2(float* v);
    virtual void read_vector3(float* v);
    virtual void read_vector4(float* v);
    // Null for a length of 0; otherwise a new[] block of length + 1 bytes that the caller owns.
    virtual void read_string(char** text);
    // The same value into a text the caller keeps using; false (and out empty) for a null
    // string. A stream may read it without a block of its own.
    virtual bool read_text(std::string& out);
    virtual void read_matrix_float64(double* m);
    virtual void read_matrix_float32(float* m);
    virtual void read_tag(uint32_t* tag);

    // A primitive that cannot be satisfied marks the stream failed and yields zero.
    virtual void read_float64(double* value) = 0;
    virtual void read_float32(float* value) = 0;
    virtual void read_sint64(int64_t* value) = 0;
    virtual void read_sint32(int32_t* value) = 0;
    virtual void read_sint16(int16_t* value) = 0;
    virtual void read_sint8(int8_t* value) = 0;
    virtual void read_uint64(uint64_t* value) = 0;
    virtual void read_uint32(uint32_t* value) = 0;
    virtual void read_uint16(uint16_t* value) = 0;
    virtual void read_uint8(uint8_t* value) = 0;
    virtual void read_bool(bool* value) = 0;
    virtual void read_bytes(void* data, uint32_t length) = 0;

    virtual void begin_object() {}
    virtual void end_object() {}

    virtual bool is_remote() const { return false; }

    // Bytes left to read, or UNKNOWN_REMAINING for a stream that cannot tell. read_string uses it
    // so that a corrupt length is an error rather than a huge allocation.
    static constexpr uint64_t UNKNOWN_REMAINING = ~uint64_t(0);
    virtual uint64_t bytes_remaining() const { return UNKNOWN_REMAINING; }

    Deserialization_manager* manager() const { return manager_; }
    void set_manager(Deserialization_manager* manager) { manager_ = manager; }

    bool good() const { return good_; }
    void set_failed() { good_ = false; }
    void set_good() { good_ = true; }

private:
    Deserialization_manager* manager_;
    bool good_ = true;
};

}  // namespace SERIAL
}  // namespace QZ

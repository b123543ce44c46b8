// A stream pair over a byte vector: values little-endian in their natural width, strings and
// composites as the base classes make them. Used by tests, copies and anything that needs a
// serialized form in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "serial/serializer.h"

namespace QZ {
namespace SERIAL {

class Memory_serializer : public Serializer {
public:
    void write_float64(double value) override;
    void write_float32(float value) override;
    void write_sint64(int64_t value) override;
    void write_sint32(int32_t value) override;
    void write_sint16(int16_t value) override;
    void write_sint8(int8_t value) override;
    void write_uint64(uint64_t value) override;
    void write_uint32(uint32_t value) override;
    void write_uint16(uint16_t value) override;
    void write_uint8(uint8_t value) override;
    void write_bool(bool value) override;
    void write_bytes(const void* data, uint32_t length) override;

    const std::vector<uint8_t>& bytes() const { return bytes_; }
    std::vector<uint8_t> take_bytes() { return std::move(bytes_); }

private:
    void put(uint64_t value, int width);

    std::vector<uint8_t> bytes_;
};

class Memory_deserializer : public Deserializer {
public:
    // The bytes are copied: the stream does not depend on the caller's buffer.
    Memory_deserializer(const void* data, size_t size, Deserialization_manager* manager = nullptr);
    explicit Memory_deserializer(std::vector<uint8_t> bytes, Deserialization_manager* manager = nullptr);

    void read_float64(double* value) override;
    void read_float32(float* value) override;
    void read_sint64(int64_t* value) override;
    void read_sint32(int32_t* value) override;
    void read_sint16(int16_t* value) override;
    void read_sint8(int8_t* value) override;
    void read_uint64(uint64_t* value) override;
    void read_uint32(uint32_t* value) override;
    void read_uint16(uint16_t* value) override;
    void read_uint8(uint8_t* value) override;
    void read_bool(bool* value) override;
    void read_bytes(void* data, uint32_t length) override;

    uint64_t bytes_remaining() const override { return bytes_.size() - position_; }
    size_t position() const { return position_; }

private:
    // The next width bytes as a little-endian number; 0 and a failed stream past the end.
    uint64_t take(int width);

    std::vector<uint8_t> bytes_;
    size_t position_ = 0;
};

}  // namespace SERIAL
}  // namespace QZ

#include "serial/memory_stream.h"

#include <cstring>

namespace QZ {
namespace SERIAL {

void Memory_serializer::put(uint64_t value, int width)
{
    for (int i = 0; i < width; ++i)
        bytes_.push_back(uint8_t(value >> (8 * i)));
}

void Memory_serializer::write_float64(double value)
{
    uint64_t bits;
    memcpy(&bits, &value, sizeof bits);
    put(bits, 8);
}

void Memory_serializer::write_float32(float value)
{
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    put(bits, 4);
}

void Memory_serializer::write_sint64(int64_t value) { put(uint64_t(value), 8); }
void Memory_serializer::write_sint32(int32_t value) { put(uint32_t(value), 4); }
void Memory_serializer::write_sint16(int16_t value) { put(uint16_t(value), 2); }
void Memory_serializer::write_sint8(int8_t value) { put(uint8_t(value), 1); }
void Memory_serializer::write_uint64(uint64_t value) { put(value, 8); }
void Memory_serializer::write_uint32(uint32_t value) { put(value, 4); }
void Memory_serializer::write_uint16(uint16_t value) { put(value, 2); }
void Memory_serializer::write_uint8(uint8_t value) { put(value, 1); }
void Memory_serializer::write_bool(bool value) { put(value ? 1 : 0, 1); }

void Memory_serializer::write_bytes(const void* data, uint32_t length)
{
    const uint8_t* bytes = static_cast<const uint8_t*>(data);
    bytes_.insert(bytes_.end(), bytes, bytes + length);
}

Memory_deserializer::Memory_deserializer(const void* data, size_t size, Deserialization_manager* manager)
    : Deserializer(manager),
      bytes_(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + (data ? size : 0))
{
}

Memory_deserializer::Memory_deserializer(std::vector<uint8_t> bytes, Deserialization_manager* manager)
    : Deserializer(manager), bytes_(std::move(bytes))
{
}

uint64_t Memory_deserializer::take(int width)
{
    if (!good() || bytes_.size() - position_ < size_t(width)) {
        set_failed();
        return 0;
    }
    uint64_t value = 0;
    for (int i = 0; i < width; ++i)
        value |= uint64_t(bytes_[position_ + i]) << (8 * i);
    position_ += width;
    return value;
}

void Memory_deserializer::read_float64(double* value)
{
    uint64_t bits = take(8);
    memcpy(value, &bits, sizeof bits);
}

void Memory_deserializer::read_float32(float* value)
{
    uint32_t bits = uint32_t(take(4));
    memcpy(value, &bits, sizeof bits);
}

void Memory_deserializer::read_sint64(int64_t* value) { *value = int64_t(take(8)); }
void Memory_deserializer::read_sint32(int32_t* value) { *value = int32_t(uint32_t(take(4))); }
void Memory_deserializer::read_sint16(int16_t* value) { *value = int16_t(uint16_t(take(2))); }
void Memory_deserializer::read_sint8(int8_t* value) { *value = int8_t(uint8_t(take(1))); }
void Memory_deserializer::read_uint64(uint64_t* value) { *value = take(8); }
void Memory_deserializer::read_uint32(uint32_t* value) { *value = uint32_t(take(4)); }
void Memory_deserializer::read_uint16(uint16_t* value) { *value = uint16_t(take(2)); }
void Memory_deserializer::read_uint8(uint8_t* value) { *value = uint8_t(take(1)); }
void Memory_deserializer::read_bool(bool* value) { *value = take(1) != 0; }

void Memory_deserializer::read_bytes(void* data, uint32_t length)
{
    if (!good() || bytes_.size() - position_ < length) {
        set_failed();
        memset(data, 0, length);
        return;
    }
    if (length)
        memcpy(data, bytes_.data() + position_, length);
    position_ += length;
}

}  // namespace SERIAL
}  // namespace QZ

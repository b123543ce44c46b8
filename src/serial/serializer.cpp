#include "serial/serializer.h"

#include <cstring>
#include <string>

namespace QZ {
namespace SERIAL {

void Serializer::write_vector2(const float* v)
{
    write_float32(v[0]);
    write_float32(v[1]);
}

void Serializer::write_vector3(const float* v)
{
    for (int i = 0; i < 3; ++i)
        write_float32(v[i]);
}

void Serializer::write_vector4(const float* v)
{
    for (int i = 0; i < 4; ++i)
        write_float32(v[i]);
}

void Serializer::write_string(const char* text)
{
    if (!text) {
        write_uint32(0);
        return;
    }
    size_t length = strlen(text);
    if (length > UINT32_MAX)
        length = UINT32_MAX;
    write_uint32(uint32_t(length));
    for (size_t i = 0; i < length; ++i)
        write_uint8(uint8_t(text[i]));
}

void Serializer::write_matrix_float64(const double* m)
{
    for (int i = 0; i < 16; ++i)
        write_float64(m[i]);
}

void Serializer::write_matrix_float32(const float* m)
{
    for (int i = 0; i < 16; ++i)
        write_float32(m[i]);
}

void Serializer::write_tag(uint32_t tag)
{
    write_uint32(tag);
}

void Deserializer::read_vector2(float* v)
{
    read_float32(&v[0]);
    read_float32(&v[1]);
}

void Deserializer::read_vector3(float* v)
{
    for (int i = 0; i < 3; ++i)
        read_float32(&v[i]);
}

void Deserializer::read_vector4(float* v)
{
    for (int i = 0; i < 4; ++i)
        read_float32(&v[i]);
}

void Deserializer::read_string(char** text)
{
    *text = nullptr;
    uint32_t length = 0;
    read_uint32(&length);
    if (length == 0 || !good())
        return;
    uint64_t remaining = bytes_remaining();
    if (remaining != UNKNOWN_REMAINING && length > remaining) {
        set_failed();
        return;
    }
    if (remaining != UNKNOWN_REMAINING) {
        char* block = new char[size_t(length) + 1];
        for (uint32_t i = 0; i < length; ++i)
            read_uint8(reinterpret_cast<uint8_t*>(&block[i]));
        block[length] = 0;
        *text = block;
        return;
    }
    // A stream that cannot tell its size grows the text as bytes arrive, so a corrupt length
    // costs no more memory than the data that is really there.
    std::string collected;
    for (uint32_t i = 0; i < length && good(); ++i) {
        uint8_t byte = 0;
        read_uint8(&byte);
        collected.push_back(char(byte));
    }
    if (!good())
        return;
    char* block = new char[collected.size() + 1];
    memcpy(block, collected.data(), collected.size());
    block[collected.size()] = 0;
    *text = block;
}

bool Deserializer::read_text(std::string& out)
{
    char* text = nullptr;
    read_string(&text);
    if (!text) {
        out.clear();
        return false;
    }
    out.assign(text);
    delete[] text;
    return true;
}

void Deserializer::read_matrix_float64(double* m)
{
    for (int i = 0; i < 16; ++i)
        read_float64(&m[i]);
}

void Deserializer::read_matrix_float32(float* m)
{
    for (int i = 0; i < 16; ++i)
        read_float32(&m[i]);
}

void Deserializer::read_tag(uint32_t* tag)
{
    read_uint32(tag);
}

}  // namespace SERIAL
}  // namespace QZ

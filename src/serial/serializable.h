// Objects that can be written to a stream and made again from one.
#pragma once

#include <cstdint>

namespace QZ {
namespace SERIAL {

// A class id: four characters, the first in the highest byte.
using Class_id = uint32_t;

constexpr Class_id class_id_of(const char (&text)[5])
{
    return (Class_id(uint8_t(text[0])) << 24) | (Class_id(uint8_t(text[1])) << 16) |
           (Class_id(uint8_t(text[2])) << 8) | Class_id(uint8_t(text[3]));
}

class Serializer;
class Deserializer;

class Serializable {
public:
    virtual ~Serializable() = default;
    virtual Class_id get_class_id() const = 0;
    virtual void serialize(Serializer& out) const = 0;
    // Reads into an object made empty by its class factory.
    virtual void deserialize(Deserializer& in) = 0;
    virtual void dump() const {}
};

}  // namespace SERIAL
}  // namespace QZ

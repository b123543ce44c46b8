// The element base that compiler objects stand on, the template that binds a class to its class
// id, and the class ids. Only the part of the database that a compile touches lives here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>

#include "serial/serializable.h"

namespace QZ {
namespace DB {

// Names an element; 0 means none.
using Tag = uint32_t;
using Class_id = SERIAL::Class_id;

// Class ids, four characters with the first in the highest byte. The names are the ids' own
// spelling, so they keep their leading underscore.
constexpr Class_id _Dcl = SERIAL::class_id_of("_Dcl");  // shader declaration: source and unit tags
constexpr Class_id _Src = SERIAL::class_id_of("_Src");  // shader source: language word and text
constexpr Class_id _CoU = SERIAL::class_id_of("_CoU");  // Compilation_unit
constexpr Class_id _BNT = SERIAL::class_id_of("_BNT");  // Type
constexpr Class_id _EnT = SERIAL::class_id_of("_EnT");  // Enum_type
constexpr Class_id NAMED_TYPE_CLASS_ID = 0x92837174;     // Named_type; it has no four-letter name

class Element_base : public SERIAL::Serializable {
public:
    // Size in bytes by which the database accounts memory.
    virtual size_t get_size() const { return 0; }
    // A new element equal to this one, owned by the caller.
    virtual Element_base* copy() const = 0;
    // Every element answers to 0; a bound class also to its own id.
    virtual bool is_type_of(Class_id id) const { return id == 0; }
    virtual void get_references(std::set<Tag>& references) const { references.clear(); }
    virtual uint32_t get_flag() const { return 0; }
    virtual void on_store() {}
};

// Binds T to its class id; T derives from Element<T, ID, Base> and is copy-constructible.
template <typename T, Class_id ID, typename Base = Element_base>
class Element : public Base {
public:
    static constexpr Class_id class_id = ID;

    using Base::Base;

    Class_id get_class_id() const override { return ID; }
    bool is_type_of(Class_id id) const override { return id == 0 || id == ID; }
    size_t get_size() const override { return sizeof(T); }
    Element_base* copy() const override { return new T(static_cast<const T&>(*this)); }
};

}  // namespace DB
}  // namespace QZ

// The host's view of types.
#pragma once

#include <cstdint>
#include <memory>

#include "host/interface_impl.h"

namespace QZ {
namespace SYNTAX_TREE {
class Type;
class Enum_type;
class Compilation_unit;
}

namespace HOST {

class Type_wrapper : public Counted_interface<vorn::IType, vorn::IID_TYPE> {
public:
    // A view of type, or of no type when it is null. The setters change only a writable type;
    // a read-only one is shared with other units. The wrapper keeps the unit alive, which owns
    // the type (or shares it with the others) and holds links that edits replace.
    Type_wrapper(const SYNTAX_TREE::Type* type, std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit);
    Type_wrapper(SYNTAX_TREE::Type* type, std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit);
    // A type of no unit, owned by the wrapper and shared with the views of its members;
    // writable or read only.
    static Type_wrapper* standalone(SYNTAX_TREE::Type* type, bool writable);
    // The type at index of the unit's type table, writable when the unit owns it.
    static Type_wrapper* of_index(int32_t index, const std::shared_ptr<SYNTAX_TREE::Compilation_unit>& unit);

    void* get_internal() override { return const_cast<SYNTAX_TREE::Type*>(type_); }
    bool equals(vorn::IType* other) override;
    const char* get_name() override;
    void set_name(const char* name) override;
    const char* get_display_name() override;
    void set_display_name(const char* name) override;
    int32_t get_kind() override;
    void set_kind(int32_t kind) override;
    uint32_t get_array_size() override;
    void set_array_size(uint32_t size) override;
    vorn::IType* get_first_type() override;
    void set_first_type(vorn::IType* type) override;
    vorn::IType* get_second_type() override;
    void set_second_type(vorn::IType* type) override;
    uint32_t get_size_of() override;
    uint32_t get_alignment() override;
    uint32_t get_packed_size() override;
    vorn::IType* find_member(const char* name, uint32_t* position, uint32_t* size) override;
    bool is_valid() override { return valid_; }
    uint32_t get_enumerator_count() override;
    const char* get_enumerator_name(uint32_t index) override;
    int32_t get_enumerator_value(uint32_t index) override;
    void finish() override;

    // Type codes and host kinds; codes without a kind give 0, and kind 0 gives code 0.
    static int32_t host_kind(uint32_t code);
    static uint8_t type_code(int32_t host_kind);

    // The type a standalone wrapper owns, or null.
    const SYNTAX_TREE::Type* owned_type() const { return store_ ? type_ : nullptr; }

private:
    struct Type_store;
    Type_wrapper* linked(const SYNTAX_TREE::Type* type);
    void set_link(vorn::IType* type, bool first);
    const SYNTAX_TREE::Enum_type* enum_type() const;

    const SYNTAX_TREE::Type* type_;
    SYNTAX_TREE::Type* writable_;  // null when read only
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit_;
    std::shared_ptr<Type_store> store_;  // a standalone type and the links edits replaced
    bool valid_;
};

}  // namespace HOST
}  // namespace QZ

// Built-in types, state tables and tree classes.
#pragma once

#include <cstdint>

#include "serial/deserialization_manager.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/type.h"
#include "system/module.h"
#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {

class Mod_syntax_tree : public SYSTEM::Module {
public:
    // Registers the tree class factories with the deserialization manager and fills the state
    // tables.
    Mod_syntax_tree();
    ~Mod_syntax_tree() override;

    SERIAL::Deserialization_manager* get_deserialization_manager() const { return manager_; }

    // -1 for a name that is no state variable; the first of two equal names wins.
    int32_t state_variable_index(const char* name) const;
    // Null out of range and for the entries without a type (79, 80).
    const Type* state_variable_type(int32_t index) const;
    // "<unknown state variable>" out of range.
    const char* state_variable_name(int32_t index) const;

    int32_t state_function_index(const char* name) const;
    // The type of a call's result; null out of range.
    const Type* state_function_type(int32_t index) const;
    const char* state_function_name(int32_t index) const;

private:
    SERIAL::Deserialization_manager* manager_;
    SYSTEM::Text_hash_table<int32_t> variable_indices_;
    SYSTEM::Text_hash_table<int32_t> function_indices_;
    Type* variable_types_[STATE_VARIABLE_COUNT] = {};
    Type* function_types_[STATE_FUNCTION_COUNT] = {};
};

extern Mod_syntax_tree* mod_syntax_tree;

void start();
void stop();

}  // namespace SYNTAX_TREE
}  // namespace QZ

#include "syntax_tree/mod_syntax_tree.h"

#include "syntax_tree/compilation_unit.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace SYNTAX_TREE {

Mod_syntax_tree* mod_syntax_tree = nullptr;

namespace {

SERIAL::Serializable* make_type() { return new Type; }
SERIAL::Serializable* make_named_type() { return new Named_type; }
SERIAL::Serializable* make_enum_type() { return new Enum_type; }
SERIAL::Serializable* make_compilation_unit()
{
    // A unit read back sees the same prelude as one compiled now, and finds its imports alike.
    return TRANS12::mod_trans12 ? TRANS12::mod_trans12->make_unit() : new Compilation_unit;
}

Type* make_entry_type(const State_entry& entry)
{
    if (entry.code == TYPE_ILLEGAL && entry.array_size == 0)
        return nullptr;
    return Type::builtin(entry.code, entry.array_size);
}

}  // namespace

Mod_syntax_tree::Mod_syntax_tree()
    : Module(SYSTEM::MODULE_SYNT, "SYNT"), manager_(&SERIAL::deserialization_manager())
{
    manager_->register_class(DB::_CoU, make_compilation_unit);
    manager_->register_class(DB::_BNT, make_type);
    manager_->register_class(DB::NAMED_TYPE_CLASS_ID, make_named_type);
    manager_->register_class(DB::_EnT, make_enum_type);

    for (int32_t i = 0; i < STATE_VARIABLE_COUNT; ++i) {
        const State_entry& entry = state_variable_table[i];
        if (!variable_indices_.find(entry.name))
            variable_indices_.insert(entry.name) = i;
        variable_types_[i] = make_entry_type(entry);
    }
    for (int32_t i = 0; i < STATE_FUNCTION_COUNT; ++i) {
        const State_entry& entry = state_function_table[i];
        if (!function_indices_.find(entry.name))
            function_indices_.insert(entry.name) = i;
        function_types_[i] = make_entry_type(entry);
    }
}

Mod_syntax_tree::~Mod_syntax_tree()
{
    for (Type* type : variable_types_)
        delete type;
    for (Type* type : function_types_)
        delete type;
}

int32_t Mod_syntax_tree::state_variable_index(const char* name) const
{
    const int32_t* index = name ? variable_indices_.find(name) : nullptr;
    return index ? *index : -1;
}

const Type* Mod_syntax_tree::state_variable_type(int32_t index) const
{
    return index >= 0 && index < STATE_VARIABLE_COUNT ? variable_types_[index] : nullptr;
}

const char* Mod_syntax_tree::state_variable_name(int32_t index) const
{
    return index >= 0 && index < STATE_VARIABLE_COUNT ? state_variable_table[index].name : UNKNOWN_STATE_VARIABLE;
}

int32_t Mod_syntax_tree::state_function_index(const char* name) const
{
    const int32_t* index = name ? function_indices_.find(name) : nullptr;
    return index ? *index : -1;
}

const Type* Mod_syntax_tree::state_function_type(int32_t index) const
{
    return index >= 0 && index < STATE_FUNCTION_COUNT ? function_types_[index] : nullptr;
}

const char* Mod_syntax_tree::state_function_name(int32_t index) const
{
    return index >= 0 && index < STATE_FUNCTION_COUNT ? state_function_table[index].name : UNKNOWN_STATE_FUNCTION;
}

void start()
{
    if (!mod_syntax_tree)
        mod_syntax_tree = new Mod_syntax_tree;
    mod_syntax_tree->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_syntax_tree;
    mod_syntax_tree = nullptr;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

#include "syntax_tree/prelude_symbols.h"

#include "syntax_tree/builtins.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace SYNTAX_TREE {

Prelude_symbols::Prelude_symbols(Builtin_tag)
{
    add_builtin_types();
}

Prelude_symbols::Prelude_symbols(const St_node* list) : list_(list)
{
    add_builtin_types();
    if (!list)
        return;
    // The prelude is learnt the way a unit is: its declarations are sorted out by the prepass
    // and its headers declared by the first sweep, into a unit that is then taken apart. Its
    // own types follow the built-in ones at the same indices in both.
    Compilation_unit scratch(builtin_only());
    Tree_traverser_prepass prepass(scratch);
    prepass.run_read_only(list);
    Tree_traverser_semantic_pass pass(scratch);
    pass.declare_only(list);

    for (int32_t i = type_count(); i < scratch.type_count(); ++i) {
        const Type* type = scratch.type_at(i);
        types_.emplace_back(type->clone());
        if (type->name())
            index_type(i, Compilation_unit::variant_key(type->name(), type->array_size()));
    }
    // The pass ends here: its sets are taken whole rather than copied entry by entry.
    if (auto* sets = pass.global_scope().own_functions())
        functions_ = std::move(*sets);
    for (const auto& variable : pass.global_scope().own_variables())
        variables_.emplace_back(std::string(variable.first), variable.second);
    next_function_id_ = pass.next_function_id();
    for (const Error_record& error : scratch.errors())
        problems_.push_back(format_error(error, BUILTIN_FILE_NAME));
}

Prelude_symbols::~Prelude_symbols() = default;

std::shared_ptr<const Prelude_symbols> Prelude_symbols::builtin_only()
{
    static const std::shared_ptr<const Prelude_symbols> symbols(new Prelude_symbols(Builtin_tag{}));
    return symbols;
}

void Prelude_symbols::add_builtin_types()
{
    // A built-in type's index is its code.
    for (uint32_t code = 0; code < TYPE_CODE_COUNT; ++code)
        types_.emplace_back(Type::builtin(uint8_t(code)));
}

void Prelude_symbols::index_type(int32_t index, const std::string& key)
{
    if (!type_indices_.find(key))
        type_indices_.insert(key) = index;
}

const Type* Prelude_symbols::type_at(int32_t index) const
{
    return index >= 0 && index < type_count() ? types_[size_t(index)].get() : nullptr;
}

int32_t Prelude_symbols::lookup_type(const std::string& key) const
{
    const int32_t* index = type_indices_.find(key);
    return index ? *index : -1;
}

bool Prelude_symbols::find_variable(std::string_view name, int32_t* type_index) const
{
    for (const auto& variable : variables_) {
        if (variable.first == name) {
            *type_index = variable.second;
            return true;
        }
    }
    return false;
}

size_t Prelude_symbols::function_entry_count() const
{
    size_t count = 0;
    functions_.for_each([&count](const std::string&, const Overload_set& set) { count += set.size(); });
    return count;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

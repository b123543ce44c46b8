#include "syntax_tree/scope.h"

#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"

namespace QZ {
namespace SYNTAX_TREE {

Scope::Scope(Scope* parent, const Prelude_symbols* base) : parent_(parent), base_(base) {}

void append_written_parameter(std::string& signature, bool by_reference, std::string_view type,
                              const uint32_t* array_size)
{
    if (by_reference)
        signature += '&';
    signature += type;
    if (array_size)
        signature.append("[").append(std::to_string(*array_size)).append("]");
    signature += ',';
}

void Scope::reset(Scope* parent)
{
    parent_ = parent;
    base_ = nullptr;
    variables_.clear();
    variable_index_.clear();
    functions_.reset();
}

bool Scope::find_variable_here(std::string_view name, int32_t* type_index) const
{
    if (!variable_index_.empty()) {
        auto found = variable_index_.find(name);
        if (found != variable_index_.end()) {
            *type_index = found->second;
            return true;
        }
    } else {
        for (const auto& variable : variables_) {
            if (variable.first == name) {
                *type_index = variable.second;
                return true;
            }
        }
    }
    return base_ && base_->find_variable(name, type_index);
}

bool Scope::find_variable(std::string_view name, int32_t* type_index) const
{
    for (const Scope* scope = this; scope; scope = scope->parent_)
        if (scope->find_variable_here(name, type_index))
            return true;
    return false;
}

bool Scope::declare_variable(std::string_view name, int32_t type_index)
{
    int32_t existing;
    if (find_variable_here(name, &existing))
        return false;
    variables_.emplace_back(name, type_index);
    if (!variable_index_.empty()) {
        variable_index_.emplace(name, type_index);
    } else if (variables_.size() > INDEX_THRESHOLD) {
        for (const auto& variable : variables_)
            variable_index_.emplace(variable.first, variable.second);
    }
    return true;
}

Overload_set& Scope::function_set(const std::string& name)
{
    if (!functions_)
        functions_ = std::make_unique<SYSTEM::Text_hash_table<Overload_set>>(16);
    return functions_->insert(name);
}

Overload_candidates Scope::candidates(const std::string& name) const
{
    Overload_candidates result;
    if (base_)
        result.parts[0] = base_->find_functions(name);
    if (functions_)
        result.parts[1] = functions_->find(name);
    return result;
}

namespace {

bool exact(const Overload_entry& entry, const std::vector<int32_t>& arguments, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        if (entry.parameter_types[i] != arguments[i])
            return false;
    return true;
}

// An argument for an "out" or "inout" parameter is written back, so it must be of the
// parameter's very type: an enum passes for Int, nothing is converted.
bool fits(const Overload_entry& entry, size_t i, int32_t argument, const Compilation_unit& types)
{
    int32_t parameter = entry.parameter_types[i];
    if (parameter == argument)
        return true;
    const Type* from = types.type_at(argument);
    const Type* to = types.type_at(parameter);
    if (entry.by_reference[i])
        return from && to && from->equals(*to);
    return convertible(from, to);
}

}  // namespace

// In order of entries, with found starting at -1:
// 1. An open-ended entry (trailing -1) whose fixed parameters are matched exactly by the first
//    arguments is chosen at once.
// 2. An entry with the same number of parameters, all of equal type, is chosen at once,
//    whatever found holds.
// 3. With conversion, an entry whose differing parameters all convert: ambiguous (-3) if found
//    is above 0, else found takes its id. The test is > 0, not >= 0: the entry with id 0 (the
//    very first declaration) does not count as an earlier match, and the tie-break of existing
//    sources depends on it. There is no ranking by the number of conversions.
int32_t match_overloads(const Overload_candidates& set, const std::vector<int32_t>& arguments, bool conversion,
                        const Compilation_unit& types, const Overload_entry** chosen)
{
    int32_t found = OVERLOAD_NONE_FITS;
    const Overload_entry* found_entry = nullptr;
    for (const Overload_set* part : set.parts) {
        if (!part)
            continue;
        for (const Overload_entry& entry : *part) {
            size_t count = entry.parameter_types.size();
            if (count > 0 && entry.parameter_types.back() == -1) {
                size_t fixed = count - 1;
                if (arguments.size() >= fixed && exact(entry, arguments, fixed)) {
                    if (chosen)
                        *chosen = &entry;
                    return entry.id;
                }
                continue;
            }
            if (count != arguments.size())
                continue;
            if (exact(entry, arguments, count)) {
                if (chosen)
                    *chosen = &entry;
                return entry.id;
            }
            if (!conversion)
                continue;
            bool all_fit = true;
            for (size_t i = 0; i < count && all_fit; ++i)
                all_fit = fits(entry, i, arguments[i], types);
            if (!all_fit)
                continue;
            if (found > 0) {
                if (chosen)
                    *chosen = nullptr;
                return OVERLOAD_AMBIGUOUS;
            }
            found = entry.id;
            found_entry = &entry;
        }
    }
    if (chosen)
        *chosen = found_entry;
    return found;
}

int32_t find_function(const Scope& scope, const Compilation_unit& types, const std::string& name,
                      const std::vector<int32_t>& arguments, bool allow_conversion, const Overload_entry** chosen)
{
    if (chosen)
        *chosen = nullptr;
    bool known = false;
    for (const Scope* s = &scope; s; s = s->parent()) {
        Overload_candidates set = s->candidates(name);
        if (set.empty())
            continue;
        known = true;
        int32_t result = match_overloads(set, arguments, false, types, chosen);
        if (result >= 0)
            return result;
    }
    if (!known)
        return OVERLOAD_UNKNOWN_NAME;
    if (!allow_conversion)
        return OVERLOAD_NONE_FITS;
    for (const Scope* s = &scope; s; s = s->parent()) {
        Overload_candidates set = s->candidates(name);
        if (set.empty())
            continue;
        int32_t result = match_overloads(set, arguments, true, types, chosen);
        if (result >= 0 || result == OVERLOAD_AMBIGUOUS)
            return result;
    }
    return OVERLOAD_NONE_FITS;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

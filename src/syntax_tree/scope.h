// Symbol tables of the semantic pass, and overload resolution over them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {

class Compilation_unit;
class Prelude_symbols;
class St_node;

// One declaration of a function name.
struct Overload_entry {
    int32_t id = 0;
    int32_t result_type = -1;
    // Type indices of the parameters; a trailing -1 marks open-ended parameters.
    std::vector<int32_t> parameter_types;
    // One per parameter: true for "out" and "inout", whose argument must have the parameter's
    // type exactly (no implicit conversion).
    std::vector<uint8_t> by_reference;
    const St_node* declaration = nullptr;  // the FUNCTION_DECLARATION
};

using Overload_set = std::vector<Overload_entry>;

// One parameter of a header in written form: a reference mark, the type's name, the array
// size when it has one. The prelude's types are unambiguous by name, so two of its headers of
// one name whose parameters read alike are one function.
void append_written_parameter(std::string& signature, bool by_reference, std::string_view type,
                              const uint32_t* array_size);

// The entries of one name in one scope: the global scope's own entries follow the prelude's.
struct Overload_candidates {
    const Overload_set* parts[2] = {nullptr, nullptr};
    bool empty() const { return !parts[0] && !parts[1]; }
};

class Scope {
public:
    // base gives the prelude's functions and variables to the global scope; null elsewhere.
    explicit Scope(Scope* parent = nullptr, const Prelude_symbols* base = nullptr);

    Scope* parent() const { return parent_; }
    const Prelude_symbols* base() const { return base_; }
    // Forgets every symbol and takes a new parent, so that a scope object can be reused.
    void reset(Scope* parent);

    // The name must stay valid while the scope holds it (tree texts, static names). False when
    // the name is declared in this scope already (the prelude's part included).
    bool declare_variable(std::string_view name, int32_t type_index);
    bool find_variable_here(std::string_view name, int32_t* type_index) const;
    // Searches this scope and its parents.
    bool find_variable(std::string_view name, int32_t* type_index) const;

    // The overload set of name in this scope, made empty when missing.
    Overload_set& function_set(const std::string& name);
    Overload_candidates candidates(const std::string& name) const;
    // The scope's own sets, for moving them into a prelude's table.
    SYSTEM::Text_hash_table<Overload_set>* own_functions() { return functions_.get(); }
    const std::vector<std::pair<std::string_view, int32_t>>& own_variables() const { return variables_; }

private:
    static constexpr size_t INDEX_THRESHOLD = 12;

    Scope* parent_;
    const Prelude_symbols* base_;
    std::vector<std::pair<std::string_view, int32_t>> variables_;
    // Built once a scope holds many names (file level of a large source).
    std::unordered_map<std::string_view, int32_t> variable_index_;
    std::unique_ptr<SYSTEM::Text_hash_table<Overload_set>> functions_;
};

// Results below 0 of overload resolution.
constexpr int32_t OVERLOAD_NONE_FITS = -1;
constexpr int32_t OVERLOAD_UNKNOWN_NAME = -2;
constexpr int32_t OVERLOAD_AMBIGUOUS = -3;

// The entries in order of declaration; see the rules in the .cpp. Returns the chosen entry's
// id, -1 when none fits, -3 when two fit only through conversions. chosen, when given, gets
// the entry or null.
int32_t match_overloads(const Overload_candidates& set, const std::vector<int32_t>& arguments, bool conversion,
                        const Compilation_unit& types, const Overload_entry** chosen = nullptr);

// Searches the scope chain from scope outwards: first for an exact match, then, when allowed,
// through conversions. -2 when no scope declares the name.
int32_t find_function(const Scope& scope, const Compilation_unit& types, const std::string& name,
                      const std::vector<int32_t>& arguments, bool allow_conversion,
                      const Overload_entry** chosen = nullptr);

}  // namespace SYNTAX_TREE
}  // namespace QZ

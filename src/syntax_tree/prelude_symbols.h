// What the semantic pass learns from the prelude, learnt once: the types the prelude declares,
// its functions by name with their overload sets, its global variables. Every unit's type
// table starts with these types, so the sets hold the same indices in all units.
// A program calls a few dozen of the prelude's some 850 functions, so an overload set is
// learnt when its name is first asked for; the ids are dealt out in advance, in list order.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "syntax_tree/scope.h"
#include "syntax_tree/type.h"
#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {

class Compilation_unit;
class Node_arena;
class St_node;
class Tree_traverser_semantic_pass;

class Prelude_symbols {
public:
    // Reads list (a DECLARATION_LIST, may be null) and changes nothing in it. The list must
    // outlive the object: entries point to its declarations. The built-in functions follow the
    // list's own headers, their trees made from the table when their name is first asked for;
    // a list that holds them already (append_builtin_declarations) gives the same sets. The
    // list holds the built-in types (append_builtin_types) that they name.
    explicit Prelude_symbols(const St_node* list);
    ~Prelude_symbols();

    Prelude_symbols(const Prelude_symbols&) = delete;
    Prelude_symbols& operator=(const Prelude_symbols&) = delete;

    // The built-in types alone, for units without a prelude.
    static std::shared_ptr<const Prelude_symbols> builtin_only();

    const St_node* list() const { return list_; }

    int32_t type_count() const { return int32_t(types_.size()); }
    const Type* type_at(int32_t index) const;
    // By the unit's variant key (name, or name and array size).
    int32_t lookup_type(const std::string& key) const;

    // Safe from any thread.
    const Overload_set* find_functions(const std::string& name) const;
    bool find_variable(std::string_view name, int32_t* type_index) const;
    // Function ids of a unit continue from here.
    int32_t next_function_id() const { return next_function_id_; }
    // Learns every set.
    size_t function_entry_count() const;

    // Diagnostics that the prelude's own passes raised; a sound prelude has none.
    const std::vector<std::string>& problems() const { return problems_; }

private:
    struct Builtin_tag {};
    explicit Prelude_symbols(Builtin_tag);
    void add_builtin_types();
    void index_type(int32_t index, const std::string& key);

    // A header of the list, or a built-in function whose tree is not made yet. The headers of
    // one name are chained through next, in list order.
    struct Header {
        St_node* declaration;
        uint32_t builtin_at;
        int32_t id;
        int32_t next;
    };
    // The headers of one name that are functions of their own (a repeat is left out); the set
    // is made from them at the first lookup.
    struct Function_name {
        int32_t first = -1;
        int32_t last = -1;
        std::atomic<bool> learnt{false};
        Overload_set set;
    };
    // What reading the headers keeps until the ids are dealt.
    struct Header_reading {
        std::vector<size_t> hashes;       // of each header's signature
        size_t compared_names = SIZE_MAX;  // names below this index are compared
        std::string signature;
        std::string other;
    };
    static void written_signature(const Header& header, std::string& signature);
    void add_header(const std::string& name, const Header& header, Header_reading& reading);
    const Overload_set& learn(Function_name& function) const;

    const St_node* list_ = nullptr;
    std::vector<std::unique_ptr<Type>> types_;
    SYSTEM::Text_hash_table<int32_t> type_indices_{128};
    SYSTEM::Text_hash_table<int32_t> function_indices_{512};
    std::vector<std::unique_ptr<Function_name>> functions_;
    mutable std::vector<Header> headers_;
    // The unit the prelude's types were resolved in and the pass that resolved them, kept to
    // learn the headers later; used under learn_lock_.
    std::unique_ptr<Compilation_unit> scratch_;
    std::unique_ptr<Tree_traverser_semantic_pass> pass_;
    mutable std::mutex learn_lock_;
    // The built-in functions' trees, made under learn_lock_ and dropped with their arena.
    mutable std::unique_ptr<Node_arena> builtin_arena_;
    mutable std::vector<std::unique_ptr<St_node>> builtin_trees_;
    std::vector<std::pair<std::string, int32_t>> variables_;
    int32_t next_function_id_ = 0;
    std::vector<std::string> problems_;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ

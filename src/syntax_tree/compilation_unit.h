// What one compiled source consists of: its tree, the declarations sorted out of it, the type
// table that its nodes index, its imports and its errors.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "db/element.h"
#include "serial/serializable.h"
#include "syntax_tree/error_record.h"
#include "syntax_tree/state_tables.h"
#include "syntax_tree/type.h"
#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {

class St_node;
class Node_arena;
class Prelude_symbols;
class Compilation_unit;

// A shader, technique or brdf class. Node pointers point into the unit's tree, which owns them.
struct Shader_declaration {
    std::string name;
    std::string key;  // "shader", "technique" or "brdf"
    St_node* class_node = nullptr;

    // VARIABLE_DECLARATION nodes of the blocks; FUNCTION_DEFINITION nodes of the methods: the
    // shader's own entries. What non-technique ancestors lend is reached through parents (the
    // all_... lists), never copied: a chain of N shaders would hold N^2/2 entries.
    std::vector<St_node*> input_variables;
    std::vector<St_node*> output_variables;
    std::vector<St_node*> member_variables;
    std::vector<St_node*> methods;
    St_node* main_method = nullptr;

    // Techniques that name this class as their first parent, in order of declaration.
    std::vector<Shader_declaration*> techniques;
    std::vector<std::string> parent_names;
    // The known parents, in the order of parent_names (set when the shaders are linked).
    std::vector<Shader_declaration*> parents;
    // Scoped names ("Shader::Name") of the enums and structs declared inside.
    std::vector<std::string> local_types;

    bool uses_state_variable[STATE_VARIABLE_COUNT] = {};
    bool uses_state_function[STATE_FUNCTION_COUNT] = {};
    bool uses_lights = false;

    bool is_technique() const { return key == "technique"; }

    // The ancestors that lend to this shader, nearest first (breadth first over parents), each
    // once; technique parents lend nothing and are not gone through.
    std::vector<const Shader_declaration*> lenders() const;
    // The own entries, then those of each lender in that order: what the shader's code sees.
    std::vector<St_node*> all_inputs() const { return with_lent(&Shader_declaration::input_variables); }
    std::vector<St_node*> all_outputs() const { return with_lent(&Shader_declaration::output_variables); }
    std::vector<St_node*> all_members() const { return with_lent(&Shader_declaration::member_variables); }
    std::vector<St_node*> all_methods() const { return with_lent(&Shader_declaration::methods); }

private:
    std::vector<St_node*> with_lent(std::vector<St_node*> Shader_declaration::*list) const;
};

// The code of a language type word ("Int", "Matrix3x2", "void"), -1 for other names; the same
// as language_word_code, by hash.
int32_t word_code(const std::string& name);

struct Enum_value {
    int32_t value = 0;
    int32_t enum_position = -1;  // in the unit's enum vector
};

// Compiles the file that an #import names; null when it cannot be compiled.
using Import_resolver =
    std::function<std::shared_ptr<Compilation_unit>(const std::string& name, const std::string& importing_file)>;

class Compilation_unit : public DB::Element<Compilation_unit, DB::_CoU, DB::Element_base> {
public:
    // The type table starts with the prelude's types (the built-in ones alone when prelude is
    // null), so that the prelude's overload sets index every unit's table alike.
    explicit Compilation_unit(std::shared_ptr<const Prelude_symbols> prelude = nullptr);
    ~Compilation_unit() override;

    // A deep copy: the tree and the nodes made for the host are cloned, and every list, shader
    // and type of the copy points into the copy. Imports are shared.
    Compilation_unit(const Compilation_unit& other);
    Compilation_unit& operator=(const Compilation_unit&) = delete;

    // The written form: the tree, then the named types (at most 255 of them; the count is
    // written in 8 bits). Reading empties the unit (its prelude and import resolver stay), runs
    // the declaration pass over the tree read, which rebuilds the declaration lists, enters the
    // named types read, and leaves the rest of the analysis pending (see resolve).
    void serialize(SERIAL::Serializer& out) const override;
    void deserialize(SERIAL::Deserializer& in) override;

    // How the declaration pass of a unit read back finds its imports; none by default, and
    // each #import of such a unit is then error 54.
    void set_import_resolver(Import_resolver resolver) { import_resolver_ = std::move(resolver); }
    const Import_resolver& import_resolver() const { return import_resolver_; }

    // A unit read back has its declarations but not yet the shader links and the semantic
    // pass, which give every node its type. resolve runs them once; errors they find go to the
    // error list. Nothing happens on a unit that is not pending.
    bool resolution_pending() const { return resolution_pending_; }
    void resolve();

    // Nodes made for the host that are not in the tree yet. The unit owns them until one is
    // adopted into a tree (adopt_loose_node, which returns false for any other node).
    St_node* make_loose_node(int32_t kind, const char* file_name);
    bool adopt_loose_node(St_node* node);
    bool is_loose_node(const St_node* node) const;

    // Finds the named types and the type table's entries again under their names and array
    // sizes, after edits that changed them; the first entry of a key wins, as when it was added.
    void reindex_types();

    // Type lists that a host's edit unlinked from a type of this unit. They live as long as the
    // unit, because the host may still hold views of them.
    void keep_unlinked_type(Type* type);
    // True for an index of a type that this unit owns; the lower indices belong to the built-in
    // types and the prelude, which all units share.
    bool owns_type_index(int32_t index) const { return index >= prelude_type_count() && index < type_count(); }

    const std::string& name() const { return name_; }
    void set_name(std::string name) { name_ = std::move(name); }
    const std::string& source_file_name() const { return source_file_name_; }
    void set_source_file_name(std::string name) { source_file_name_ = std::move(name); }

    // The prelude whose symbols every pass over this unit sees first; never null.
    const Prelude_symbols& prelude() const { return *prelude_; }
    const std::shared_ptr<const Prelude_symbols>& prelude_pointer() const { return prelude_; }

    // The DECLARATION_LIST, owned. Setting a new tree frees the old one; the lists of
    // declarations must be rebuilt by a prepass then.
    St_node* tree() const { return tree_.get(); }
    // A tree that keeps its own arena (as a parse gives) brings the arena into the unit's.
    void set_tree(St_node* list);
    // The arena of the unit's nodes: whatever is added to its tree comes from it, so that the
    // tree goes at once with the unit.
    Node_arena* node_arena();

    // Declarations in source order: VARIABLE_DECLARATION nodes at file level, and
    // FUNCTION_DECLARATION and FUNCTION_DEFINITION nodes of file-level functions.
    const std::vector<St_node*>& global_declarations() const { return global_declarations_; }
    void add_global_declaration(St_node* node);
    int32_t function_count() const { return int32_t(functions_.size()); }
    St_node* function_at(int32_t index) const;
    const std::vector<St_node*>& functions() const { return functions_; }
    void add_function(St_node* node);

    // Shader declarations in order of appearance. A second shader of a name is kept in the
    // order, but find_shader finds the first.
    int32_t shader_count() const { return int32_t(shaders_.size()); }
    Shader_declaration* shader_at(int32_t index) const;
    Shader_declaration* find_shader(const std::string& name) const;
    Shader_declaration* add_shader(std::unique_ptr<Shader_declaration> shader);

    // Named types (structs, and enums as Int types) by name, each with its position.
    int32_t named_type_count() const { return int32_t(named_types_.size()); }
    const Named_type* named_type_at(int32_t position) const;
    int32_t find_named_type(const std::string& name) const;
    // The position; -1 (and the type is dropped) when the name is taken.
    int32_t add_named_type(std::unique_ptr<Named_type> type);

    int32_t enum_count() const { return int32_t(enums_.size()); }
    Enum_type* enum_at(int32_t position) const;
    int32_t find_enum(const std::string& name) const;
    int32_t add_enum(std::unique_ptr<Enum_type> type);

    // Enum values by their scoped name.
    bool find_enum_value(const std::string& name, Enum_value* value = nullptr) const;
    // False when the name is taken.
    bool add_enum_value(const std::string& name, int32_t value, int32_t enum_position);

    // The type table. A type index is a place in it: the built-in types stand at their codes,
    // then the prelude's types, then the unit's own.
    int32_t type_count() const;
    // Null for an index out of the table, -1 included.
    const Type* type_at(int32_t index) const;
    // The index of the type of name and array size, adding the variant when the name is known:
    // a language word, a named type of this unit, a prelude type or a named type of an import.
    // -1 for an unknown name.
    int32_t find_type(const std::string& name, uint32_t array_size = 1);
    // The index without adding anything; -1 when the variant is not in the table yet.
    int32_t lookup_type(const std::string& name, uint32_t array_size = 1) const;
    // Appends a type and returns its index; its name and array size find it from then on,
    // unless an earlier entry holds them.
    int32_t add_type(std::unique_ptr<Type> type);
    // The name by which find_type finds the type at index; empty for a bad index.
    std::string_view type_name(int32_t index) const;

    struct Import {
        std::string name;
        std::shared_ptr<Compilation_unit> unit;  // may be shared by several importers
    };
    int32_t import_count() const { return int32_t(imports_.size()); }
    const std::string& import_name(int32_t index) const;
    std::shared_ptr<Compilation_unit> import_unit(int32_t index) const;
    // A second import of the same name is ignored.
    void add_import(const std::string& name, std::shared_ptr<Compilation_unit> unit);

    // Errors in the order they were found; a unit with errors is not passed on.
    void add_error(const Error_record& error);
    void add_error(const St_node& node, uint32_t number, std::string_view text = {}, int32_t value = 0);
    uint32_t error_count() const { return uint32_t(errors_.size()); }
    const Error_list& errors() const { return errors_; }

    // Links each shader to its parents, after the prepass: errors 41, 42, 47 and 48; joins the
    // state flags of the non-technique ancestors. Runs once; later calls do nothing.
    void link_shaders();
    bool shaders_linked() const { return shaders_linked_; }

    // Positions in the shader list of the ancestors that lend to the shader at position, as
    // Shader_declaration::lenders gives them; after link_shaders.
    std::vector<size_t> lending_positions(size_t position) const;
    // True when every ancestor of the shader at position comes before it in the list (so no
    // cycle either), which lets work done for parents be reused for children; after
    // link_shaders.
    bool ancestors_come_first(size_t position) const
    {
        return position < ancestors_first_.size() && ancestors_first_[position];
    }
    // True when the ancestors of the shader at position come first and lend along one line (no
    // shader on it has two non-technique parents); lending_rank then answers in constant time.
    bool lends_in_line(size_t position) const { return position < line_.size() && line_[position].in_line; }
    // For such a shader, the place of lender among its lenders, SIZE_MAX when it lends nothing.
    size_t lending_rank(size_t position, size_t lender) const;

    // Ors the light flag of every shader's non-technique ancestors into it; the semantic pass
    // sets the flag only on the shader whose code it walks.
    void join_light_flags();

    // The key under which a type variant is found: the name, and the array size unless it is 1.
    static std::string variant_key(std::string_view name, uint32_t array_size);

private:
    // Forgets the tree, the declarations, types, imports and errors. Old nodes and types are
    // kept unreachable until the unit goes.
    void clear_contents();
    // The type that a new variant of name is made from, or null.
    const Type* base_type_for(const std::string& name, std::unique_ptr<Type>& made) const;
    // The positions of the shaders that hold each input or output name, each shader once.
    using Name_holders = std::unordered_map<std::string_view, std::vector<size_t>>;
    void link_shader(size_t position, const Name_holders& holders);
    // Error 42 for each own input or output of the shader at position that repeats a name of an
    // ancestor's, by the ancestor's lending rank, then by the name's place.
    void check_repeated_names(size_t position, const Name_holders& holders);

    // First, so that it outlives every node the unit holds.
    std::unique_ptr<Node_arena> arena_;
    std::shared_ptr<const Prelude_symbols> prelude_;
    std::string name_;
    std::string source_file_name_;
    std::unique_ptr<St_node> tree_;

    std::vector<St_node*> global_declarations_;
    std::vector<St_node*> functions_;

    std::vector<std::unique_ptr<Shader_declaration>> shaders_;
    SYSTEM::Text_hash_table<int32_t> shader_positions_{16};

    std::vector<std::unique_ptr<Named_type>> named_types_;
    SYSTEM::Text_hash_table<int32_t> named_type_positions_{16};
    std::vector<std::unique_ptr<Enum_type>> enums_;
    SYSTEM::Text_hash_table<int32_t> enum_positions_{16};
    SYSTEM::Text_hash_table<Enum_value> enum_values_{16};

    int32_t prelude_type_count() const;
    // Entries past the prelude's; their indices start at the prelude's type count.
    std::vector<std::unique_ptr<Type>> own_types_;
    SYSTEM::Text_hash_table<int32_t> own_type_indices_{64};

    std::vector<Import> imports_;
    // The names in imports_, so that a unit of many imports adds each in constant time.
    std::unordered_set<std::string> import_names_;
    Error_list errors_;
    bool shaders_linked_ = false;
    // Set by link_shaders, by position: the positions of each shader's known parents, and
    // whether all of a shader's ancestors come before it.
    std::vector<std::vector<int32_t>> parent_positions_;
    std::vector<bool> ancestors_first_;
    // The lines of lenders as a forest, numbered depth first: an ancestor's span holds its
    // descendants'.
    struct Line_place {
        bool in_line = false;
        int32_t parent = -1;
        size_t depth = 0;
        size_t enter = 0;
        size_t exit = 0;
    };
    std::vector<Line_place> line_;
    void number_lines();
    bool resolution_pending_ = false;
    Import_resolver import_resolver_;
    std::vector<std::unique_ptr<St_node>> loose_nodes_;
    std::vector<std::unique_ptr<Type>> unlinked_types_;
    std::vector<std::unique_ptr<St_node>> retired_nodes_;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ

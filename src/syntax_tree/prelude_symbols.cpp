#include "syntax_tree/prelude_symbols.h"

#include <functional>

#include "syntax_tree/builtins.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/node_arena.h"
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
    // and declared by the first sweep, except that a function header is resolved when its name
    // is first asked for. Its own types follow the built-in ones at the same indices in both.
    scratch_ = std::make_unique<Compilation_unit>(builtin_only());
    Tree_traverser_prepass prepass(*scratch_);
    prepass.run_read_only(list);
    pass_ = std::make_unique<Tree_traverser_semantic_pass>(*scratch_);
    std::vector<std::pair<std::string, St_node*>> headers;
    pass_->declare_all_but_functions(list, &headers);

    for (int32_t i = type_count(); i < scratch_->type_count(); ++i) {
        const Type* type = scratch_->type_at(i);
        types_.emplace_back(type->clone());
        if (type->name())
            index_type(i, Compilation_unit::variant_key(type->name(), type->array_size()));
    }
    // Ids as the sweep deals them: one per header, in list order, none for a repeat. A header
    // of the list is compared with the earlier ones of its name; a built-in only with those of
    // names the list declares too, since the table repeats nothing of its own (a test checks it).
    std::vector<Builtin_function> builtins = builtin_functions();
    headers_.reserve(headers.size() + builtins.size());
    Header_reading reading;
    for (auto& [name, header] : headers)
        add_header(name, Header{header, 0, 0, -1}, reading);
    reading.compared_names = functions_.size();
    for (const Builtin_function& function : builtins)
        add_header(function.name, Header{nullptr, function.at, 0, -1}, reading);
    for (const auto& variable : pass_->global_scope().own_variables())
        variables_.emplace_back(std::string(variable.first), variable.second);
    for (const Error_record& error : scratch_->errors())
        problems_.push_back(format_error(error, BUILTIN_FILE_NAME));
}

Prelude_symbols::~Prelude_symbols()
{
    for (auto& tree : builtin_trees_) {
        if (Node_arena::of(tree.get()) != builtin_arena_.get())
            continue;
#ifdef VORN_CHECK_ARENAS
        builtin_arena_->check_tree(tree.get(), "a built-in function's tree");
#endif
        (void)tree.release();
    }
}

void Prelude_symbols::written_signature(const Header& header, std::string& signature)
{
    if (header.declaration)
        Tree_traverser_semantic_pass::written_signature(header.declaration, signature);
    else
        builtin_written_signature(header.builtin_at, signature);
}

void Prelude_symbols::add_header(const std::string& name, const Header& header, Header_reading& reading)
{
    int32_t* index = function_indices_.find(name);
    if (!index) {
        index = &function_indices_.insert(name);
        *index = int32_t(functions_.size());
        functions_.push_back(std::make_unique<Function_name>());
    }
    Function_name& function = *functions_[size_t(*index)];
    size_t hash = 0;
    if (size_t(*index) < reading.compared_names) {
        // Signatures are told apart by their hashes; equal hashes are compared in full.
        written_signature(header, reading.signature);
        hash = std::hash<std::string>()(reading.signature);
        for (int32_t i = function.first; i >= 0; i = headers_[size_t(i)].next) {
            if (reading.hashes[size_t(i)] != hash)
                continue;
            written_signature(headers_[size_t(i)], reading.other);
            if (reading.other == reading.signature)
                return;
        }
    }
    int32_t added = int32_t(headers_.size());
    headers_.push_back(header);
    headers_.back().id = next_function_id_++;
    reading.hashes.push_back(hash);
    (function.last >= 0 ? headers_[size_t(function.last)].next : function.first) = added;
    function.last = added;
}

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

const Overload_set* Prelude_symbols::find_functions(const std::string& name) const
{
    const int32_t* index = function_indices_.find(name);
    return index ? &learn(*functions_[size_t(*index)]) : nullptr;
}

const Overload_set& Prelude_symbols::learn(Function_name& function) const
{
    if (function.learnt.load(std::memory_order_acquire))
        return function.set;
    std::lock_guard<std::mutex> guard(learn_lock_);
    if (!function.learnt.load(std::memory_order_relaxed)) {
        const File_name file = make_file_name(BUILTIN_FILE_NAME);
        for (int32_t i = function.first; i >= 0; i = headers_[size_t(i)].next) {
            Header& header = headers_[size_t(i)];
            if (!header.declaration) {
                if (!builtin_arena_)
                    builtin_arena_ = std::make_unique<Node_arena>();
                builtin_trees_.emplace_back(make_builtin_function_node(header.builtin_at, file, builtin_arena_.get()));
                header.declaration = builtin_trees_.back().get();
            }
            function.set.push_back(pass_->foreign_header(header.declaration));
            function.set.back().id = header.id;
        }
        function.learnt.store(true, std::memory_order_release);
    }
    return function.set;
}

size_t Prelude_symbols::function_entry_count() const
{
    size_t count = 0;
    for (const auto& function : functions_)
        count += learn(*function).size();
    return count;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

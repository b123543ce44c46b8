#include "syntax_tree/prelude_symbols.h"

#include <functional>

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
    // Ids as the sweep deals them: one per header, in list order, none for a repeat.
    std::string signature;
    for (auto& [name, header] : headers) {
        Tree_traverser_semantic_pass::written_signature(header, signature);
        add_header(name, Header{header, 0, 0}, signature);
    }
    for (const Builtin_function& function : builtin_functions()) {
        builtin_written_signature(function.at, signature);
        add_header(function.name, Header{nullptr, function.at, 0}, signature);
    }
    signature_hashes_.clear();
    signature_hashes_.shrink_to_fit();
    for (const auto& variable : pass_->global_scope().own_variables())
        variables_.emplace_back(std::string(variable.first), variable.second);
    for (const Error_record& error : scratch_->errors())
        problems_.push_back(format_error(error, BUILTIN_FILE_NAME));
}

Prelude_symbols::~Prelude_symbols() = default;

void Prelude_symbols::add_header(const std::string& name, const Header& header, const std::string& signature)
{
    int32_t* index = function_indices_.find(name);
    if (!index) {
        index = &function_indices_.insert(name);
        *index = int32_t(functions_.size());
        functions_.push_back(std::make_unique<Function_name>());
        signature_hashes_.emplace_back();
    }
    // Signatures are told apart by their hashes; equal hashes are compared in full.
    auto& known = functions_[size_t(*index)]->headers;
    auto& hashes = signature_hashes_[size_t(*index)];
    size_t hash = std::hash<std::string>()(signature);
    std::string other;
    for (size_t i = 0; i < known.size(); ++i) {
        if (hashes[i] != hash)
            continue;
        if (known[i].declaration)
            Tree_traverser_semantic_pass::written_signature(known[i].declaration, other);
        else
            builtin_written_signature(known[i].builtin_at, other);
        if (other == signature)
            return;
    }
    known.push_back(header);
    known.back().id = next_function_id_++;
    hashes.push_back(hash);
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
        function.set.reserve(function.headers.size());
        const File_name file = make_file_name(BUILTIN_FILE_NAME);
        for (Header& header : function.headers) {
            if (!header.declaration) {
                builtin_trees_.emplace_back(make_builtin_function_node(header.builtin_at, file));
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

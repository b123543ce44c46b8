#include "host/unit_facade.h"

#include "bovl/mod_bin_file.h"
#include "compiler/mod_compiler.h"
#include "host/compiler_facade.h"
#include "host/generated_shader_wrapper.h"
#include "host/tree_facade.h"
#include "host/type_facade.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace HOST {

vorn::IGenerated_shader* Compilation_unit_wrapper::generate(const char* target, vorn::ICompiler_options* options)
{
    COMPILER::Compile_options record;
    if (auto* wrapper = dynamic_cast<Compiler_options_wrapper*>(options))
        record = wrapper->options();
    BACK12::Generated_shader* shader = COMPILER::mod_compiler->generate_shader(unit_.get(), target, record);
    return shader ? new Generated_shader_wrapper(shader) : nullptr;
}

uint32_t Compilation_unit_wrapper::get_import_count() { return static_cast<uint32_t>(unit_->import_count()); }

const char* Compilation_unit_wrapper::get_import_name(uint32_t index)
{
    if (index >= get_import_count())
        return nullptr;
    return unit_->import_name(static_cast<int32_t>(index)).c_str();
}

vorn::ICompilation_unit* Compilation_unit_wrapper::get_import_unit(uint32_t index)
{
    if (index >= get_import_count())
        return nullptr;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> imported = unit_->import_unit(static_cast<int32_t>(index));
    return imported ? new Compilation_unit_wrapper(std::move(imported)) : nullptr;
}

uint32_t Compilation_unit_wrapper::get_type_count() { return static_cast<uint32_t>(unit_->named_type_count()); }

const char* Compilation_unit_wrapper::get_type_name(int32_t index)
{
    const SYNTAX_TREE::Named_type* type = index < 0 ? nullptr : unit_->named_type_at(index);
    return type ? type->name() : nullptr;
}

vorn::IType* Compilation_unit_wrapper::get_type(int32_t index)
{
    const SYNTAX_TREE::Named_type* type = index < 0 ? nullptr : unit_->named_type_at(index);
    // The unit owns its named types, so they may be edited.
    if (type)
        return new Type_wrapper(const_cast<SYNTAX_TREE::Named_type*>(type), unit_);
    return new Type_wrapper(static_cast<const SYNTAX_TREE::Type*>(nullptr), unit_);
}

uint32_t Compilation_unit_wrapper::get_function_count() { return static_cast<uint32_t>(unit_->function_count()); }

vorn::ISyntax_tree* Compilation_unit_wrapper::get_function(uint32_t index)
{
    if (index >= get_function_count())
        return nullptr;
    return new Syntax_tree_wrapper(unit_->function_at(static_cast<int32_t>(index)), unit_);
}

uint32_t Compilation_unit_wrapper::get_shader_count() { return static_cast<uint32_t>(unit_->shader_count()); }

const char* Compilation_unit_wrapper::get_shader_name(uint32_t index)
{
    if (index >= get_shader_count())
        return nullptr;
    return unit_->shader_at(static_cast<int32_t>(index))->name.c_str();
}

vorn::ISyntax_tree* Compilation_unit_wrapper::get_shader(uint32_t index)
{
    if (index >= get_shader_count())
        return nullptr;
    return new Syntax_tree_wrapper(unit_->shader_at(static_cast<int32_t>(index))->class_node, unit_);
}

// Node classes come with the graph interfaces.
vorn::IVelar_node_class* Compilation_unit_wrapper::get_node_class(const char*) { return nullptr; }

vorn::ISyntax_tree* Compilation_unit_wrapper::create_tree_node(int32_t kind)
{
    // The kind mapping is its own inverse.
    int32_t node_kind = Syntax_tree_wrapper::host_kind(kind);
    return new Syntax_tree_wrapper(unit_->make_loose_node(node_kind, "<internal>"), unit_);
}

void Compilation_unit_wrapper::load_binary(const char* file_name)
{
    BOVL::mod_bin_file->load_binary(*unit_, file_name);
}

void Compilation_unit_wrapper::save_binary(const char* file_name)
{
    BOVL::mod_bin_file->save_binary(*unit_, file_name);
}

void Compilation_unit_wrapper::resolve()
{
    COMPILER::mod_compiler->resolve_unit(*unit_);
}

// Compiles from source

namespace {

Compiler_errors_wrapper* collector(vorn::ICompiler_errors* errors)
{
    // A collector the host made itself, not through this library, is treated as none.
    return dynamic_cast<Compiler_errors_wrapper*>(errors);
}

}  // namespace

vorn::ICompilation_unit* Vorn_compiler_impl::finish_compile(SYNTAX_TREE::Compilation_unit* unit,
                                                            const SYNTAX_TREE::Error_list& local,
                                                            const char* file_name, vorn::ICompiler_errors* errors)
{
    Compiler_errors_wrapper* list = collector(errors);
    if (list && !local.empty())
        list->add_list(file_name, local);
    if (!unit)
        return nullptr;
    if (unit->error_count() == 0)
        return new Compilation_unit_wrapper(std::shared_ptr<SYNTAX_TREE::Compilation_unit>(unit));
    if (list)
        list->add_list(file_name, unit->errors());
    delete unit;
    return nullptr;
}

vorn::ICompilation_unit* Vorn_compiler_impl::compile_file(const char* file_name, vorn::ICompiler_errors* errors)
{
    Compiler_errors_wrapper* list = collector(errors);
    if (list)
        list->clear();
    SYNTAX_TREE::Error_list local;
    SYNTAX_TREE::Compilation_unit* unit = COMPILER::mod_compiler->compile_file(file_name, list ? &local : nullptr);
    return finish_compile(unit, local, file_name ? file_name : "", errors);
}

vorn::ICompilation_unit* Vorn_compiler_impl::compile_source(const char* source, vorn::ICompiler_errors* errors)
{
    Compiler_errors_wrapper* list = collector(errors);
    if (list)
        list->clear();
    SYNTAX_TREE::Error_list local;
    const char* file_name = "unknown file";
    SYNTAX_TREE::Compilation_unit* unit = COMPILER::mod_compiler->compile_text(file_name, source, &local);
    return finish_compile(unit, local, file_name, errors);
}

// The graph links come with the graph linker.
vorn::ICompilation_unit* Vorn_compiler_impl::compile_node_class(vorn::IGraph_node_class*) { return nullptr; }

vorn::ICompilation_unit* Vorn_compiler_impl::compile_graph(vorn::IGraph_node*, vorn::ICompiler_errors*,
                                                           vorn::ICompiler_options*)
{
    return nullptr;
}

vorn::ICompilation_unit* Vorn_compiler_impl::compile_for_render(vorn::IGraph_library*, vorn::ICompiler_errors*,
                                                                vorn::ICompiler_options*)
{
    return nullptr;
}

vorn::ICompilation_unit* Vorn_compiler_impl::create_compilation_unit()
{
    // An empty unit that a binary file can be read into: it sees the prelude and its imports.
    return new Compilation_unit_wrapper(std::shared_ptr<SYNTAX_TREE::Compilation_unit>(TRANS12::mod_trans12->make_unit()));
}

}  // namespace HOST
}  // namespace QZ

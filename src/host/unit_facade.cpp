#include "host/unit_facade.h"

#include <filesystem>

#include "bovl/mod_bin_file.h"
#include "flat12/linker.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "compiler/mod_compiler.h"
#include "host/compiler_facade.h"
#include "host/generated_shader_wrapper.h"
#include "host/graph_facade.h"
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

vorn::IVelar_node_class* Compilation_unit_wrapper::get_node_class(const char* shader_name)
{
    if (!shader_name || !unit_->find_shader(shader_name))
        return nullptr;
    // The class remembers its file so that a library holding it writes the file's path; a unit
    // compiled from text has none, and is written as a class without a file.
    std::error_code error;
    std::string path = unit_->source_file_name();
    path = !path.empty() && std::filesystem::is_regular_file(path, error)
               ? std::filesystem::absolute(path, error).lexically_normal().string()
               : std::string();
    auto source = std::make_shared<GRAPH::Compiled_source>(unit_, path);
    return new Velar_node_class_wrapper(new GRAPH::Velar_node_class(source, shader_name), true);
}

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

vorn::ICompilation_unit* Vorn_compiler_impl::compile_node_class(vorn::IGraph_node_class* node_class)
{
    return compile_class(class_argument(node_class, "IVorn_compiler::compile_node_class"));
}

namespace {

vorn::ICompilation_unit* wrap_linked(SYNTAX_TREE::Compilation_unit* unit, Compiler_errors_wrapper* collector,
                                     const char* list_name)
{
    if (!unit)
        return nullptr;
    if (collector && list_name)
        collector->add_list(list_name, unit->errors());
    return new Compilation_unit_wrapper(std::shared_ptr<SYNTAX_TREE::Compilation_unit>(unit));
}

}  // namespace

vorn::ICompilation_unit* Vorn_compiler_impl::compile_graph(vorn::IGraph_node* node, vorn::ICompiler_errors* errors,
                                                           vorn::ICompiler_options* options)
{
    const char* operation = "IVorn_compiler::compile_graph";
    GRAPH::Graph_node* root = node_argument(node, operation);
    if (!root)
        return nullptr;
    SYNTAX_TREE::Compilation_unit* unit = nullptr;
    if (options && options->option_equals("compile_as_brdf", "true")) {
        GRAPH::Graph_node_class* node_class = root->node_class();
        if (!node_class || node_class->kind() != GRAPH::CLASS_COMPAGE) {
            refuse(operation, "only a node of a compound links as a reflectance function");
            return nullptr;
        }
        unit = FLAT12::link_as_brdf(static_cast<GRAPH::Compage_node_class*>(node_class));
    } else {
        unit = FLAT12::link_graph(root, nullptr, nullptr, false);
    }
    // Appended even when empty, so that a host sees one list per link.
    return wrap_linked(unit, collector(errors), "<no_file>");
}

vorn::ICompilation_unit* Vorn_compiler_impl::compile_for_render(vorn::IGraph_library* library,
                                                                vorn::ICompiler_errors* errors,
                                                                vorn::ICompiler_options* options)
{
    const char* operation = "IVorn_compiler::compile_for_render";
    GRAPH::Graph_library* graphs = library_argument(library, operation);
    if (!graphs || !options)
        return nullptr;
    const char* shader_name = options->get_option("shader_name");
    if (!shader_name || !*shader_name)
        return nullptr;
    GRAPH::Graph_node* node = graphs->find_node(shader_name);
    GRAPH::Graph_node_class* node_class = node ? nullptr : graphs->find_class(shader_name);
    if (!node && !node_class)
        return nullptr;
    FLAT12::Export_settings settings =
        render_export_settings(graphs, options->get_option("lights"), options->get_option("environment"),
                               options->get_option("volume"), options->get_option("external_shadow_function"));
    if (!node_class && options->option_equals("resolve_unsized_arrays", "true"))
        settings.flags |= FLAT12::EXPORT_RESOLVE_UNSIZED_ARRAYS;
    SYNTAX_TREE::Compilation_unit* unit = node_class ? FLAT12::link_for_export(node_class, settings, nullptr)
                                                     : FLAT12::link_for_export(node, settings, nullptr);
    Compiler_errors_wrapper* list = collector(errors);
    return wrap_linked(unit, list && unit && !unit->errors().empty() ? list : nullptr, "");
}

vorn::ICompilation_unit* Vorn_compiler_impl::create_compilation_unit()
{
    // An empty unit that a binary file can be read into: it sees the prelude and its imports.
    return new Compilation_unit_wrapper(std::shared_ptr<SYNTAX_TREE::Compilation_unit>(TRANS12::mod_trans12->make_unit()));
}

}  // namespace HOST
}  // namespace QZ

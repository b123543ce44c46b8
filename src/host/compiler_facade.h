// The wrappers through which a host compiles: options, errors, log, and the compiler itself.
#pragma once

#include <string>
#include <vector>

#include "compiler/compile_options.h"
#include "flat12/linker.h"
#include "host/interface_impl.h"
#include "syntax_tree/error_record.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace HOST {

class Compiler_options_wrapper : public Counted_interface<vorn::ICompiler_options, vorn::IID_COMPILER_OPTIONS> {
public:
    void* get_internal() override { return this; }
    void set_option(const char* key, const char* value) override;
    const char* get_option(const char* key) override;
    bool option_equals(const char* key, const char* value) override;

    const COMPILER::Compile_options& options() const { return options_; }

private:
    COMPILER::Compile_options options_;
};

class Compiler_errors_wrapper : public Counted_interface<vorn::ICompiler_errors, vorn::IID_COMPILER_ERRORS> {
public:
    struct Error_list_entry {
        std::string file_name;
        SYNTAX_TREE::Error_list errors;
    };

    void* get_internal() override { return this; }
    uint32_t get_count() override;
    uint32_t get_error_number(uint32_t index) override;
    int32_t get_line(uint32_t index) override;
    int32_t get_column(uint32_t index) override;
    int32_t get_extra_position(uint32_t index) override;
    uint32_t get_message_length(uint32_t index) override;
    void get_message(uint32_t index, char* buffer, uint32_t size) override;

    void clear() { lists_.clear(); }
    void add_list(const std::string& file_name, const SYNTAX_TREE::Error_list& errors);
    const std::vector<Error_list_entry>& lists() const { return lists_; }

private:
    // The record at index over all lists, and the name of its list; a record of number 0 at
    // position -1 past the end.
    const SYNTAX_TREE::Error_record& at(uint32_t index, const char** file_name) const;

    std::vector<Error_list_entry> lists_;
};

class Log_wrapper : public Counted_interface<vorn::ILog, vorn::IID_LOG> {
public:
    void* get_internal() override;
    void info(const char* format, ...) override;
    void warning(const char* format, ...) override;
    void error(const char* format, ...) override;
};

class Vorn_compiler_impl : public Counted_interface<vorn::IVorn_compiler, vorn::IID_VORN_COMPILER> {
public:
    // Id 23 gives the log as well: it is the one way a host reaches it. The extension ids give
    // their objects too.
    vorn::Interface* get_interface(int32_t id) override;
    void* get_internal() override { return nullptr; }

    vorn::ICompiler_options* create_options() override;
    vorn::ICompiler_errors* create_errors() override;
    vorn::ICompilation_unit* compile_file(const char* file_name, vorn::ICompiler_errors* errors) override;
    vorn::ICompilation_unit* compile_source(const char* source, vorn::ICompiler_errors* errors) override;
    vorn::ICompilation_unit* compile_node_class(vorn::IGraph_node_class* node_class) override;
    vorn::ICompilation_unit* compile_graph(vorn::IGraph_node* node, vorn::ICompiler_errors* errors,
                                           vorn::ICompiler_options* options) override;
    vorn::ICompilation_unit* compile_for_render(vorn::IGraph_library* library, vorn::ICompiler_errors* errors,
                                                vorn::ICompiler_options* options) override;
    vorn::ICompilation_unit* create_compilation_unit() override;

private:
    // Steps 4 to 7 of a compile from source: collect the errors and keep the unit only if it
    // has none.
    vorn::ICompilation_unit* finish_compile(SYNTAX_TREE::Compilation_unit* unit, const SYNTAX_TREE::Error_list& local,
                                            const char* file_name, vorn::ICompiler_errors* errors);
};

// The "lights" option: names separated by commas, blanks after a comma skipped, empty names
// dropped.
std::vector<std::string> split_light_names(const char* text);

// The lights, environment, volume and shadow hooks of a render export, from the options' texts
// (each may be null): lights as split_light_names gives them, each keeping its place even when
// no node of the library has its name; the environment and volume nodes by name.
FLAT12::Export_settings render_export_settings(GRAPH::Graph_library* library, const char* lights,
                                               const char* environment, const char* volume,
                                               const char* external_shadow_function);

}  // namespace HOST
}  // namespace QZ

// The compile session: compiles with a host's macros and include directories, and keeps what a
// run found (warnings, the files read, the tree of a unit with errors) for the host to read.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "front12/front_session.h"
#include "host/interface_impl.h"
#include "syntax_tree/error_record.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace HOST {

class Compile_session : public Counted_interface<vorn::ICompile_session, vorn::IID_COMPILE_SESSION> {
public:
    void* get_internal() override { return this; }

    bool define_macro(const char* name, const char* value) override;
    bool undefine_macro(const char* name) override;
    void add_include_directory(const char* directory) override;
    vorn::ICompilation_unit* compile(const char* file_name, const char* text, uint32_t length,
                                     vorn::ICompiler_errors* errors) override;
    const char* preprocess(const char* file_name, const char* text, uint32_t length) override;
    uint32_t get_diagnostic_count() override;
    int32_t get_diagnostic_severity(uint32_t index) override;
    const char* get_diagnostic_file(uint32_t index) override;
    int32_t get_diagnostic_line(uint32_t index) override;
    int32_t get_diagnostic_column(uint32_t index) override;
    uint32_t get_diagnostic_number(uint32_t index) override;
    const char* get_diagnostic_message(uint32_t index) override;
    uint32_t get_dependency_count() override;
    const char* get_dependency(uint32_t index) override;
    vorn::ISyntax_tree* get_tree() override;
    bool get_position(vorn::ISyntax_tree* node, int32_t* line, int32_t* column) override;
    uint32_t get_target_count() override;
    const char* get_target_name(uint32_t index) override;
    void set_log_sink(vorn::ILog_sink* sink) override;
    const char* print_source(vorn::ICompilation_unit* unit) override;

private:
    struct Diagnostic {
        int32_t severity;
        std::string file;
        int32_t line;
        int32_t column;
        uint32_t number;
        std::string message;
    };

    // Starts a run: the findings of the last one go.
    void begin_run();
    // The text of a run: the host's, or the file's through the search path; false (with error
    // 26) when the file cannot be read.
    bool source_text(const std::string& name, const char* text, uint32_t length, std::string& storage,
                     std::string_view& source, SYNTAX_TREE::Error_list& errors);
    // The warnings of the front end, then errors, as diagnostics of the run.
    void collect(const std::string& file_name, const SYNTAX_TREE::Error_list& errors);
    const Diagnostic* diagnostic(uint32_t index) const;
    bool edit_macros(std::pair<std::string, std::optional<std::string>> edit);

    FRONT12::Front_session front_;
    std::vector<Diagnostic> diagnostics_;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> last_unit_;
    std::string preprocessed_;
    std::string printed_;
};

}  // namespace HOST
}  // namespace QZ

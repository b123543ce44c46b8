#include "host/compile_session.h"

#include <cctype>
#include <cstring>

#include "back12/code_generator.h"
#include "back12/mod_back12.h"
#include "front12/mod_front12.h"
#include "host/compiler_facade.h"
#include "host/tree_facade.h"
#include "host/unit_facade.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/source_printer.h"
#include "syntax_tree/st_node.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace HOST {

namespace {

bool is_identifier(const char* name)
{
    if (!name || !(std::isalpha(static_cast<unsigned char>(*name)) || *name == '_'))
        return false;
    for (const char* p = name; *p; ++p)
        if (!std::isalnum(static_cast<unsigned char>(*p)) && *p != '_')
            return false;
    return true;
}

// The host's sink as a log target. It handles every line, so standard error sees none.
class Sink_target : public LOG::Mod_log::Log_target {
public:
    vorn::ILog_sink* sink = nullptr;

    bool message(int32_t module, int32_t, int32_t, int32_t severity, const char*, const char* line, bool) override
    {
        const char* tag = SYSTEM::module_tag(module);
        sink->log_line(severity, tag ? tag : "", line);
        return true;
    }
};

Sink_target sink_target;

// Imported files are compiled once per outermost compile, as in any compile.
struct Compile_scope {
    Compile_scope() { FRONT12::mod_front12->begin_compile(); }
    ~Compile_scope() { FRONT12::mod_front12->end_compile(); }
};

// The front end sees the session only for the length of a run.
struct Session_scope {
    explicit Session_scope(FRONT12::Front_session& session) { FRONT12::mod_front12->set_session(&session); }
    ~Session_scope() { FRONT12::mod_front12->set_session(nullptr); }
};

}  // namespace

// Settings

bool Compile_session::edit_macros(std::pair<std::string, std::optional<std::string>> edit)
{
    // A definition that does not preprocess is refused now, so that no run fails for it later.
    std::vector<std::pair<std::string, std::optional<std::string>>> edits = front_.macro_edits;
    edits.push_back(std::move(edit));
    FRONT12::Macro_table macros(100);
    SYNTAX_TREE::Error_list errors;
    if (!FRONT12::mod_front12->edited_macros(edits, macros, errors))
        return false;
    front_.macro_edits = std::move(edits);
    front_.macros.reset();
    return true;
}

bool Compile_session::define_macro(const char* name, const char* value)
{
    std::string body = value ? value : "1";
    // A body is one line; one that starts with '(' would be read as a parameter list.
    size_t first = body.find_first_not_of(" \t");
    bool parenthesis = first != std::string::npos && body[first] == '(';
    if (!is_identifier(name) || body.find_first_of("\r\n") != std::string::npos || parenthesis)
        return false;
    return edit_macros({name, body});
}

bool Compile_session::undefine_macro(const char* name)
{
    if (!is_identifier(name))
        return false;
    return edit_macros({name, std::nullopt});
}

void Compile_session::add_include_directory(const char* directory)
{
    if (directory && *directory)
        front_.include_directories.push_back(directory);
}

// Runs

void Compile_session::begin_run()
{
    front_.clear_findings();
    diagnostics_.clear();
    last_unit_.reset();
    preprocessed_.clear();
    printed_.clear();
}

bool Compile_session::source_text(const std::string& name, const char* text, uint32_t length,
                                  std::string& storage, std::string_view& source, SYNTAX_TREE::Error_list& errors)
{
    if (text) {
        source = std::string_view(text, length);
        return true;
    }
    std::string found;
    if (!FRONT12::mod_front12->read_file(name, std::string(), storage, found, false)) {
        SYNTAX_TREE::Error_record record;
        record.number = SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE;
        record.text = name;
        errors.push_back(record);
        return false;
    }
    source = storage;
    return true;
}

vorn::ICompilation_unit* Compile_session::compile(const char* file_name, const char* text, uint32_t length,
                                                  vorn::ICompiler_errors* errors)
{
    auto* list = dynamic_cast<Compiler_errors_wrapper*>(errors);
    if (list)
        list->clear();
    begin_run();
    const std::string name = file_name ? file_name : "unknown file";
    SYNTAX_TREE::Error_list local;
    {
        Session_scope session(front_);
        Compile_scope scope;
        std::string storage;
        std::string_view source;
        if (source_text(name, text, length, storage, source, local)) {
            SYNTAX_TREE::St_node* tree = FRONT12::mod_front12->parse(source, name.c_str(), &local, &front_.partial_tree);
            if (tree) {
                last_unit_.reset(TRANS12::mod_trans12->translate(tree, nullptr, nullptr));
            } else if (front_.partial_tree) {
                // Only for the host to look at: the passes do not run over a tree with syntax errors.
                last_unit_.reset(TRANS12::mod_trans12->make_unit());
                last_unit_->set_source_file_name(name);
                last_unit_->set_tree(front_.partial_tree.release());
            }
        }
    }
    const bool checked = last_unit_ && local.empty();
    SYNTAX_TREE::Error_list all = local;
    if (checked)
        all.insert(all.end(), last_unit_->errors().begin(), last_unit_->errors().end());
    collect(name, all);
    if (list && !local.empty())
        list->add_list(name, local);
    if (!checked)
        return nullptr;
    if (last_unit_->error_count() == 0)
        return new Compilation_unit_wrapper(last_unit_);
    if (list)
        list->add_list(name, last_unit_->errors());
    return nullptr;
}

const char* Compile_session::preprocess(const char* file_name, const char* text, uint32_t length)
{
    begin_run();
    const std::string name = file_name ? file_name : "unknown file";
    SYNTAX_TREE::Error_list errors;
    bool done = false;
    {
        Session_scope session(front_);
        std::string storage;
        std::string_view source;
        if (source_text(name, text, length, storage, source, errors))
            done = FRONT12::mod_front12->preprocess(source, name, preprocessed_, errors);
    }
    collect(name, errors);
    return done ? preprocessed_.c_str() : nullptr;
}

void Compile_session::collect(const std::string& file_name, const SYNTAX_TREE::Error_list& errors)
{
    for (const FRONT12::Front_warning& warning : front_.warnings)
        diagnostics_.push_back(
            Diagnostic{vorn::DIAGNOSTIC_WARNING, warning.file, warning.line, warning.column, 0, warning.message});
    for (const SYNTAX_TREE::Error_record& error : errors)
        diagnostics_.push_back(Diagnostic{vorn::DIAGNOSTIC_ERROR, file_name, error.line, error.column, error.number,
                                          SYNTAX_TREE::format_error(error, file_name.c_str())});
}

// Results

const Compile_session::Diagnostic* Compile_session::diagnostic(uint32_t index) const
{
    return index < diagnostics_.size() ? &diagnostics_[index] : nullptr;
}

uint32_t Compile_session::get_diagnostic_count() { return static_cast<uint32_t>(diagnostics_.size()); }

int32_t Compile_session::get_diagnostic_severity(uint32_t index)
{
    const Diagnostic* found = diagnostic(index);
    return found ? found->severity : 0;
}

const char* Compile_session::get_diagnostic_file(uint32_t index)
{
    const Diagnostic* found = diagnostic(index);
    return found ? found->file.c_str() : nullptr;
}

int32_t Compile_session::get_diagnostic_line(uint32_t index)
{
    const Diagnostic* found = diagnostic(index);
    return found ? found->line : -1;
}

int32_t Compile_session::get_diagnostic_column(uint32_t index)
{
    const Diagnostic* found = diagnostic(index);
    return found ? found->column : -1;
}

uint32_t Compile_session::get_diagnostic_number(uint32_t index)
{
    const Diagnostic* found = diagnostic(index);
    return found ? found->number : 0;
}

const char* Compile_session::get_diagnostic_message(uint32_t index)
{
    const Diagnostic* found = diagnostic(index);
    return found ? found->message.c_str() : nullptr;
}

uint32_t Compile_session::get_dependency_count() { return static_cast<uint32_t>(front_.dependencies.size()); }

const char* Compile_session::get_dependency(uint32_t index)
{
    return index < front_.dependencies.size() ? front_.dependencies[index].c_str() : nullptr;
}

vorn::ISyntax_tree* Compile_session::get_tree()
{
    if (!last_unit_ || !last_unit_->tree())
        return nullptr;
    return new Syntax_tree_wrapper(last_unit_->tree(), last_unit_);
}

bool Compile_session::get_position(vorn::ISyntax_tree* node, int32_t* line, int32_t* column)
{
    // Only wrappers made by this library have a node behind them.
    auto* wrapper = dynamic_cast<Syntax_tree_wrapper*>(node);
    auto* st_node = wrapper ? static_cast<SYNTAX_TREE::St_node*>(wrapper->get_internal()) : nullptr;
    if (!st_node)
        return false;
    if (line)
        *line = st_node->line;
    if (column)
        *column = st_node->column;
    return true;
}

uint32_t Compile_session::get_target_count()
{
    return static_cast<uint32_t>(BACK12::mod_back12->all_generators().size());
}

const char* Compile_session::get_target_name(uint32_t index)
{
    const auto& generators = BACK12::mod_back12->all_generators();
    return index < generators.size() ? generators[index]->get_target_name() : nullptr;
}

void Compile_session::set_log_sink(vorn::ILog_sink* sink)
{
    if (sink_target.sink)
        LOG::mod_log->remove_target(&sink_target);
    sink_target.sink = sink;
    if (sink)
        LOG::mod_log->add_target(&sink_target);
}

const char* Compile_session::print_source(vorn::ICompilation_unit* unit)
{
    begin_run();
    // Only units of this library have a tree behind them.
    auto* wrapper = dynamic_cast<Compilation_unit_wrapper*>(unit);
    auto* internal = wrapper ? static_cast<SYNTAX_TREE::Compilation_unit*>(wrapper->get_internal()) : nullptr;
    std::string why = "the unit has no tree";
    if (internal && internal->tree() && SYNTAX_TREE::print_source(internal->tree(), printed_, &why))
        return printed_.c_str();
    printed_.clear();
    diagnostics_.push_back({vorn::DIAGNOSTIC_ERROR, "", -1, -1, 0, "cannot print the unit as source: " + why});
    return nullptr;
}

}  // namespace HOST
}  // namespace QZ

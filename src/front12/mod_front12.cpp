#include "front12/mod_front12.h"

#include <cstdio>
#include <string>

#include "front12/ovrel_parser.h"
#include "front12/prelude.h"
#include "log/mod_log.h"
#include "syntax_tree/builtins.h"
#include "syntax_tree/st_node.h"
#include "system/mod_hal.h"
#include "system/mod_string.h"

namespace QZ {
namespace FRONT12 {

Mod_front12* mod_front12 = nullptr;

namespace {

bool read_whole_file(const std::string& path, std::string& text)
{
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        return false;
    text.clear();
    char chunk[65536];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        text.append(chunk, got);
    bool failed = std::ferror(file) != 0;
    std::fclose(file);
    return !failed;
}

std::string directory_of(const std::string& path)
{
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

// The name that errors in macros defined by a host carry.
const char* const command_line_file_name = "<command line>";

void log_unreadable(const char* path)
{
    LOG::mod_log->error(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "Unable to open source file: %s", path);
}

}  // namespace

Mod_front12::Mod_front12() : Module(SYSTEM::MODULE_CF12, "CF12") {}

Mod_front12::~Mod_front12() = default;

char* Mod_front12::read_source_file(const char* path)
{
    if (!path)
        return nullptr;
    std::string found = SYSTEM::mod_string->resolve_file("shader", path);
    std::string text;
    if (found.empty() || !read_whole_file(found, text)) {
        log_unreadable(path);
        return nullptr;
    }
    char* block = new char[text.size() + 1];
    text.copy(block, text.size());
    block[text.size()] = '\0';
    return block;
}

bool Mod_front12::read_file(const std::string& name, const std::string& relative_to, std::string& text,
                            std::string& found, bool dependency)
{
    // Next to the file that names it first, then in the session's directories, then through
    // the search path.
    std::vector<std::string> directories;
    std::string own_directory = directory_of(relative_to);
    if (!own_directory.empty())
        directories.push_back(own_directory);
    if (session_ && !relative_to.empty())
        directories.insert(directories.end(), session_->include_directories.begin(),
                           session_->include_directories.end());
    found.clear();
    if (!SYSTEM::is_absolute_path(name.c_str())) {
        for (const std::string& directory : directories) {
            std::string beside = directory + "/" + name;
            if (SYSTEM::mod_hal->file_exists(beside.c_str()) && read_whole_file(beside, text)) {
                found = beside;
                break;
            }
        }
    }
    if (found.empty()) {
        found = SYSTEM::mod_string->resolve_file("shader", name.c_str());
        if (found.empty() || !read_whole_file(found, text)) {
            log_unreadable(name.c_str());
            return false;
        }
    }
    if (session_ && dependency)
        session_->note_dependency(found);
    return true;
}

SYNTAX_TREE::St_node* Mod_front12::parse(const char* text, const char* file_name, SYNTAX_TREE::Error_list* errors)
{
    prelude();
    return parser_.parse(text, file_name, errors, nullptr);
}

SYNTAX_TREE::St_node* Mod_front12::parse(std::string_view text, const char* file_name,
                                         SYNTAX_TREE::Error_list* errors,
                                         std::unique_ptr<SYNTAX_TREE::St_node>* partial)
{
    prelude();
    return parser_.parse_text(text, file_name, errors, nullptr, partial);
}

SYNTAX_TREE::St_node* Mod_front12::parse_expression(const std::string& text, SYNTAX_TREE::Error_list& errors)
{
    return FRONT12::parse_expression(text, errors);
}

const SYNTAX_TREE::St_node* Mod_front12::prelude()
{
    std::lock_guard<std::mutex> guard(prelude_lock_);
    if (!prelude_loaded_)
        load_prelude();
    return prelude_.get();
}

const Macro_table& Mod_front12::prelude_macros()
{
    prelude();
    return prelude_macros_;
}

const Macro_table& Mod_front12::file_macros()
{
    if (!session_ || session_->macro_edits.empty())
        return prelude_macros();
    if (!session_->macros) {
        // The edits were checked when they were made, so errors cannot come here.
        Macro_table macros(100);
        SYNTAX_TREE::Error_list errors;
        edited_macros(session_->macro_edits, macros, errors);
        session_->macros = std::move(macros);
    }
    return *session_->macros;
}

bool Mod_front12::edited_macros(const std::vector<std::pair<std::string, std::optional<std::string>>>& edits,
                                Macro_table& macros, SYNTAX_TREE::Error_list& errors)
{
    // Directives run through the preprocessor, so a definition means what it would in a file.
    std::string text;
    for (const auto& edit : edits)
        text += edit.second ? "#define " + edit.first + " " + *edit.second + "\n" : "#undef " + edit.first + "\n";
    macros = prelude_macros();
    size_t before = errors.size();
    std::unique_ptr<SYNTAX_TREE::St_node> tree(parser_.parse_text(text, command_line_file_name, &errors, &macros));
    return errors.size() == before && !tree;
}

void Mod_front12::load_prelude()
{
    prelude_loaded_ = true;
    if (!prelude_text) {
        LOG::mod_log->error(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "Could not read stdlib.ovl");
        return;
    }
    ++prelude_parse_count_;
    SYNTAX_TREE::Error_list errors;
    prelude_.reset(parser_.parse(prelude_text, prelude_file_name, &errors, &prelude_macros_));
    if (!prelude_) {
        LOG::mod_log->error(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "Could not read stdlib.ovl");
        return;
    }
    SYNTAX_TREE::append_builtin_types(prelude_.get());
}

void Mod_front12::end_compile()
{
    if (compile_depth_ > 0 && --compile_depth_ == 0)
        imports_.clear();
}

void start()
{
    if (!mod_front12)
        mod_front12 = new Mod_front12;
    mod_front12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_front12;
    mod_front12 = nullptr;
}

}  // namespace FRONT12
}  // namespace QZ

// The parser entry: reads source files, turns text into a parse tree, holds the prelude.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "front12/front_session.h"
#include "front12/parser_plugin.h"
#include "syntax_tree/error_record.h"
#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
class Compilation_unit;
}

namespace FRONT12 {

class Mod_front12 : public SYSTEM::Module {
public:
    Mod_front12();
    ~Mod_front12() override;

    // Finds path through the "shader" search path set and returns its whole text with a
    // terminating zero byte, owned by the caller (free with delete[]); null if it cannot be read.
    char* read_source_file(const char* path);

    // The text of a file found next to relative_to (when given), in the session's include
    // directories or through the "shader" search path, with the path it was found at; false when
    // it cannot be read (and logged). A file read as a dependency is noted in the session.
    bool read_file(const std::string& name, const std::string& relative_to, std::string& text, std::string& found,
                   bool dependency = true);

    // Runs the parser over text with the prelude's macros defined. Appends errors to errors
    // when given. Returns the DECLARATION_LIST owned by the caller, or null after any error.
    SYNTAX_TREE::St_node* parse(const char* text, const char* file_name, SYNTAX_TREE::Error_list* errors);
    // As above over the whole of a file's text, zero bytes included (they are errors). With
    // partial, a tree that the parser built despite syntax errors goes there.
    SYNTAX_TREE::St_node* parse(std::string_view text, const char* file_name, SYNTAX_TREE::Error_list* errors,
                                std::unique_ptr<SYNTAX_TREE::St_node>* partial = nullptr);

    // Runs only the preprocessor over text and its includes: the tokens as text, lines kept
    // apart as in the source. False after an error, which is appended to errors.
    bool preprocess(std::string_view text, const std::string& file_name, std::string& out,
                    SYNTAX_TREE::Error_list& errors);

    // The session of the running compile, or null; it is not owned.
    void set_session(Front_session* session) { session_ = session; }
    Front_session* session() const { return session_; }
    // The macros every file starts with: the prelude's, with the session's edits.
    const Macro_table& file_macros();
    // The prelude's macros with edits applied; false (errors appended) when an edit's text does
    // not preprocess.
    bool edited_macros(const std::vector<std::pair<std::string, std::optional<std::string>>>& edits,
                       Macro_table& macros, SYNTAX_TREE::Error_list& errors);

    // One expression, as #if lines use it.
    SYNTAX_TREE::St_node* parse_expression(const std::string& text, SYNTAX_TREE::Error_list& errors);

    bool has_parser() const { return true; }
    Parser12_plugin& parser() { return parser_; }

    // The prelude's DECLARATION_LIST with the built-in struct types appended (the built-in
    // functions are made from their table when a unit first names one); loaded at first
    // need, then shared read-only by every unit's passes. Null if it could not be loaded.
    const SYNTAX_TREE::St_node* prelude();
    const Macro_table& prelude_macros();
    // How often the prelude text has been parsed in this process.
    int prelude_parse_count() const { return prelude_parse_count_; }

    // The unit of an imported file, compiled once per outermost compile and shared between the
    // units that import it. A file that cannot be read or parsed, that imports itself or that
    // lies deeper than the limit gives a unit whose one error says why.
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> import_unit(const std::string& name,
                                                               const std::string& importing_file);

    // A compile opens a scope for the import cache; the outermost one clears it at its end.
    void begin_compile() { ++compile_depth_; }
    void end_compile();

    // Imports nest through the parser, the translator and the prepass, each on the stack.
    static constexpr int IMPORT_DEPTH_LIMIT = 64;

private:
    void load_prelude();
    bool preprocess_file(std::string_view text, const std::string& file_name, Macro_table& macros, int depth,
                         std::string& out, SYNTAX_TREE::Error_list& errors);

    Front_session* session_ = nullptr;

    Parser_ovrel_12 parser_;
    std::mutex prelude_lock_;
    bool prelude_loaded_ = false;
    std::unique_ptr<SYNTAX_TREE::St_node> prelude_;
    Macro_table prelude_macros_{100};
    int prelude_parse_count_ = 0;

    int compile_depth_ = 0;
    int import_depth_ = 0;
    // Null while the import is being compiled, so that a cycle ends.
    std::map<std::string, std::shared_ptr<SYNTAX_TREE::Compilation_unit>> imports_;
};

extern Mod_front12* mod_front12;

void start();
void stop();

}  // namespace FRONT12
}  // namespace QZ

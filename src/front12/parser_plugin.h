// The front end as the compile driver sees it: a parser plug-in for the Ovrel language.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "front12/ovrel_preprocessor.h"
#include "syntax_tree/error_record.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
}

namespace FRONT12 {

class Parser12_plugin {
public:
    virtual ~Parser12_plugin() = default;
    virtual const char* get_name() = 0;
    virtual const char* get_type() { return "Parser12_plugin"; }
    virtual int32_t get_version() { return 1; }
    virtual const char* get_compiler_info() { return "unknown"; }
    virtual int32_t init() { return 1; }
    // The DECLARATION_LIST of text, owned by the caller, or null when the text had errors
    // (appended to errors when given). A given macro table is merged in first and receives
    // the file's macros afterwards.
    virtual SYNTAX_TREE::St_node* parse(const char* text, const char* file_name, SYNTAX_TREE::Error_list* errors,
                                        Macro_table* macro_table) = 0;
    virtual const char* get_language() = 0;
};

class Parser_ovrel_12 : public Parser12_plugin {
public:
    // Files included into one another deeper than this are refused, so a file that includes
    // itself ends.
    static constexpr int32_t INCLUDE_DEPTH_LIMIT = 64;

    const char* get_name() override { return "Parser_ovrel_12"; }
    const char* get_language() override { return "ovrel 1/2"; }
    SYNTAX_TREE::St_node* parse(const char* text, const char* file_name, SYNTAX_TREE::Error_list* errors,
                                Macro_table* macro_table) override;
    // As parse, over text that may hold zero bytes: the lexer refuses them where they stand.
    // With partial, a tree that the parser built despite syntax errors goes there.
    SYNTAX_TREE::St_node* parse_text(std::string_view text, const char* file_name, SYNTAX_TREE::Error_list* errors,
                                     Macro_table* macro_table,
                                     std::unique_ptr<SYNTAX_TREE::St_node>* partial = nullptr);

private:
    // Parses one #include'd file into the includer's preprocessor; null when skipped. A chain
    // of includes that reaches the depth limit is an error at the directive of the outermost
    // file that starts it, added to directive_errors.
    SYNTAX_TREE::St_node* include(const std::string& name, const std::string& includer,
                                  Ovrel_preprocessor& preprocessor, const Token& directive,
                                  SYNTAX_TREE::Error_list& directive_errors);

    int32_t include_depth_ = 0;
    // Set when an include was refused for depth, until the outermost file reports it.
    bool include_depth_reached_ = false;
};

}  // namespace FRONT12
}  // namespace QZ

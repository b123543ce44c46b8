// The Ovrel parser: recursive descent over a token stream, building St_node trees.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "front12/token.h"
#include "syntax_tree/error_record.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace FRONT12 {

class Ovrel_parser {
public:
    // Called for each #include <name> at file level. Returns the included file's
    // DECLARATION_LIST or null; the parser takes it over, moves its children into its own list
    // and destroys the root.
    using Include_hook = std::function<SYNTAX_TREE::St_node*(const std::string& name, const Token& token)>;

    // Levels of nesting (blocks, control statements, parentheses, calls, prefix operators,
    // classes) the parser recurses into before it reports a syntax error.
    static constexpr int32_t NESTING_LIMIT = 256;
    // A declaration whose tree is deeper than this (long operator chains build deep trees
    // without nesting) is reported and dropped, so that later passes may recurse over trees.
    static constexpr int32_t TREE_DEPTH_LIMIT = 2048;

    // tokens must outlive the parser. Syntax errors are appended to errors as number 1.
    Ovrel_parser(Token_stream& tokens, const std::string& file_name, SYNTAX_TREE::Error_list& errors);
    ~Ovrel_parser();
    Ovrel_parser(const Ovrel_parser&) = delete;
    Ovrel_parser& operator=(const Ovrel_parser&) = delete;

    // Without a hook, #include is skipped.
    void set_include_hook(Include_hook hook);
    // The tree of parse_translation_unit comes in an arena of its own, which its root keeps:
    // deleting the root drops the whole tree at once, and a unit given the tree takes the arena.
    // Only for trees used whole: a node taken out of such a tree dies with its root. A file
    // included by a parse in an arena goes into that arena, whatever this says.
    void set_tree_arena(bool on);

    // The whole input: the DECLARATION_LIST, owned by the caller, or null when no declaration
    // was found. A lexical error is recorded and ends parsing with no tree. Lets the
    // preprocessor's exceptions through.
    SYNTAX_TREE::St_node* parse_translation_unit();

    // One expression that must take the whole input; null after an error.
    SYNTAX_TREE::St_node* parse_expression();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

// Lexes and parses one expression, as the preprocessor does for #if lines. The tree is owned by
// the caller; null after an error, which is appended to errors.
SYNTAX_TREE::St_node* parse_expression(const std::string& text, SYNTAX_TREE::Error_list& errors,
                                       const std::string& file_name = std::string());

struct Parse_result {
    std::unique_ptr<SYNTAX_TREE::St_node> tree;
    // The preprocessor's error first (it stops there, and the tree is then dropped), then the
    // syntax errors in order of finding.
    SYNTAX_TREE::Error_list errors;
};

// Lexer, preprocessor and parser over one text, with file_name in every node and message.
Parse_result parse_text(const std::string& text, const std::string& file_name,
                        Ovrel_parser::Include_hook include_hook = Ovrel_parser::Include_hook());

}  // namespace FRONT12
}  // namespace QZ

// The Ovrel preprocessor: a token stream between the lexer and the parser that runs the
// directives and expands macros. It works on tokens, and tells lines apart by the tokens'
// line numbers.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "front12/token.h"
#include "syntax_tree/error_record.h"
#include "system/text_hash_table.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
}

namespace FRONT12 {

// Diagnostic numbers the preprocessor raises.
enum Preprocessor_diagnostic : uint32_t {
    DIAG_UNEXPECTED_ELSE = 34,
    DIAG_UNEXPECTED_ENDIF = 35,
    DIAG_MACRO_ARGUMENTS = 36,
    DIAG_UNEXPECTED_END_OF_FILE = 37,
    DIAG_MACRO_DEFINITION = 38,
    DIAG_MACRO_EXPRESSION = 39,
    DIAG_UNKNOWN_DIRECTIVE = 40,
    // "Error in file '%s' line %d: %s", for a runaway expansion; no number of its own exists.
    DIAG_PLAIN_MESSAGE = 55,
};

// The first preprocessor error of a file; preprocessing stops there.
class Preprocessor_exception : public std::runtime_error {
public:
    Preprocessor_exception(const SYNTAX_TREE::Error_record& record, const std::string& file);

    const SYNTAX_TREE::Error_record& record() const { return record_; }
    const std::string& file() const { return file_; }

private:
    SYNTAX_TREE::Error_record record_;
    std::string file_;
};

class Macro_token_stream;

// A macro body owns its texts, so that a body merged into another file's table (imports)
// doesn't depend on the source text it was read from. Immutable once made.
struct Macro_body {
    std::string storage;
    std::vector<Token> tokens;  // texts point into storage
};

struct Macro {
    std::vector<std::string> parameters;
    std::shared_ptr<const Macro_body> body;  // null for an empty body
    bool being_expanded = false;
};

// Copyable: get_macros hands out a copy; bodies are shared.
using Macro_table = SYSTEM::Text_hash_table<Macro>;

class Ovrel_preprocessor : public Token_stream {
public:
    // Parses the text of a #if line as one expression; returns the tree (owned by the caller)
    // or null, and adds syntax errors to errors.
    using Expression_parser =
        std::function<SYNTAX_TREE::St_node*(const std::string& text, SYNTAX_TREE::Error_list& errors)>;

    // input (usually the lexer) must outlive the preprocessor.
    Ovrel_preprocessor(Token_stream& input, std::string file_name);
    ~Ovrel_preprocessor() override;
    Ovrel_preprocessor(const Ovrel_preprocessor&) = delete;
    Ovrel_preprocessor& operator=(const Ovrel_preprocessor&) = delete;

    // The next token for the parser; EOF at the end and after an error. Throws
    // Preprocessor_exception at the first preprocessor error and lets the input's
    // Recognition_error through. Token texts stay valid as long as the preprocessor and its
    // input's text live.
    Token next_token() override;

    // Without one, every #if and #elif fails with error 39.
    void set_expression_parser(Expression_parser parser) { expression_parser_ = std::move(parser); }

    // A copy of the macro table, for imports.
    Macro_table get_macros() const { return macros_; }
    // Merges macros in; one of the same name is replaced by the incoming one.
    void add_macros(const Macro_table& macros);

    // The errors found so far (at most one: the preprocessor stops at the first).
    const SYNTAX_TREE::Error_list& diagnostics() const { return diagnostics_; }
    const std::string& file_name() const { return file_name_; }

    // Tokens one top-level macro expansion may produce; more is taken for runaway recursion.
    static constexpr size_t EXPANSION_LIMIT = 1 << 20;

private:
    struct Expansion;
    class Input_source;

    // Reading: adjacent string constants are merged here, and nowhere else.
    Token pull_from_input();
    Token pull();
    const Token& peek();
    Token read();

    void fill_queue();
    void directive(const Token& hash);
    void define_macro();
    void conditional(int kind, const Token& word);
    // Skips a branch not taken. With only_to_endif (after #else or #elif of a taken branch)
    // just the nesting counts; otherwise #else and #elif at the outer level may end the skip.
    void skip_branch(bool only_to_endif);
    bool evaluate_line(const Token& word);

    Macro* find_macro(std::string_view name);
    // Every token is looked up as a possible macro name; a filter of the names' hashes turns
    // most away without touching the table. Bits are never cleared: #undef only costs a
    // look-up later.
    static uint32_t filter_hash(std::string_view name);
    void note_macro_name(std::string_view name);
    void expand(const Token& token, Token_stream& source, std::vector<Token>& out);
    void expand_one(const Token& token, Token_stream& source, std::vector<Token>& out, Expansion& expansion);
    void start_macro(const Token& call, Macro& macro, Token_stream& source, Expansion& expansion);
    std::vector<Token> collect_argument(Token_stream& source, bool last);

    std::shared_ptr<const Macro_body> make_body(const std::vector<Token>& tokens);
    std::string_view keep_text(std::string text);

    [[noreturn]] void fail(uint32_t number, const Token& at, std::string_view text = {});

    Token_stream& input_;
    std::string file_name_;
    Expression_parser expression_parser_;

    bool input_finished_ = false;
    Token end_token_;  // the input's EOF, handed out again at the end
    bool has_pending_ = false;
    Token pending_;  // read from the input to see whether a string follows
    bool has_lookahead_ = false;
    Token lookahead_;

    std::vector<Token> queue_;
    size_t queue_head_ = 0;
    bool finished_ = false;
    bool failed_ = false;

    Macro_table macros_{100};
    static constexpr size_t NAME_FILTER_BITS = 1 << 14;
    uint64_t name_filter_[NAME_FILTER_BITS / 64] = {};
    std::string key_;  // reused for table look-ups, so a look-up allocates nothing
    unsigned active_conditionals_ = 0;
    bool in_if_expression_ = false;

    SYNTAX_TREE::Error_list diagnostics_;
    // Texts that tokens handed out point into: merged strings, and every macro body ever
    // defined or merged (a body outlives its #undef).
    std::deque<std::string> texts_;
    std::vector<std::shared_ptr<const Macro_body>> bodies_;
};

}  // namespace FRONT12
}  // namespace QZ

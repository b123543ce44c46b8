// The Ovrel lexer: characters of one source text to tokens, written by hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "front12/token.h"

namespace QZ {
namespace FRONT12 {

// A lexical error. Lexing stops at the first one; the driver records it as a syntax error
// with description() as the message text.
class Recognition_error : public std::runtime_error {
public:
    Recognition_error(const std::string& file, int32_t line, int32_t column, const std::string& description);

    const std::string& file() const { return file_; }
    int32_t line() const { return line_; }
    int32_t column() const { return column_; }
    // What went wrong, without the position: "unexpected character '&', expected '&'".
    const std::string& description() const { return description_; }

private:
    std::string file_;
    int32_t line_;
    int32_t column_;
    std::string description_;
};

// Lines start at 1. Columns start at 1 and count bytes: a tab is one column, and so is each
// byte of a multi-byte character. A line end is CR LF, a lone LF or a lone CR.
class Ovrel_lexer : public Token_stream {
public:
    // The text must outlive the lexer and every token it hands out: token texts point into it.
    Ovrel_lexer(const char* text, size_t length, std::string file_name);

    // The next token; EOF at the end, again on every later call. Throws Recognition_error.
    Token next_token() override;

    const std::string& file_name() const { return file_name_; }

private:
    int32_t column_at(const char* p) const { return static_cast<int32_t>(p - line_start_) + 1; }
    bool at_end(const char* p) const { return p >= end_; }
    // The byte at p, or -1 past the end.
    int peek_at(const char* p) const { return p < end_ ? static_cast<unsigned char>(*p) : -1; }

    // Steps over one line end at pos_ (CR LF, LF or CR) and starts a new line.
    void new_line();
    // Skips whitespace and comments; throws on an unterminated block comment.
    void skip_blanks();
    void skip_block_comment();

    Token make(int32_t type, const char* start, const char* stop) const;
    Token lex_identifier();
    Token lex_string();
    Token lex_number();
    Token lex_hash();
    Token lex_include_or_import(const char* start, std::string_view word, int32_t type);
    // A token of two characters when the second is `second`, otherwise of one.
    Token one_or_two(char second, int32_t two, int32_t one);
    Token one_or_two(char second_a, int32_t two_a, char second_b, int32_t two_b, int32_t one);
    Token single(int32_t type);
    // `&&`, `||`, `^^`: a lone character is an error.
    Token doubled(int32_t type);

    [[noreturn]] void fail_at(const char* p, const std::string& description) const;
    [[noreturn]] void fail_unexpected(const char* p, const char* context) const;

    const char* end_;
    const char* pos_;
    const char* line_start_;
    int32_t line_ = 1;
    std::string file_name_;
};

// The token type of a keyword, or TOKEN_IDENTIFIER for any other word. Case sensitive.
int32_t keyword_type(std::string_view word);

}  // namespace FRONT12
}  // namespace QZ

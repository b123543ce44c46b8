#include "front12/ovrel_lexer.h"

#include <cstdio>
#include <cstring>

namespace QZ {
namespace FRONT12 {

namespace {

struct Keyword {
    const char* text;
    int32_t type;
};

// Every keyword of the language, 63 in all. Words not listed ("int", "float", "const") are
// identifiers.
const Keyword keywords[] = {
    {"default", TOKEN_DEFAULT},
    {"auto", TOKEN_AUTO}, {"register", TOKEN_REGISTER}, {"static", TOKEN_STATIC},
    {"extern", TOKEN_EXTERN}, {"mutable", TOKEN_MUTABLE}, {"global", TOKEN_GLOBAL},
    {"void", TOKEN_VOID}, {"String", TOKEN_STRING}, {"Bool", TOKEN_BOOL}, {"Int", TOKEN_INT},
    {"Scalar", TOKEN_SCALAR}, {"Color", TOKEN_COLOR},
    {"Vector2", TOKEN_VECTOR2}, {"Vector3", TOKEN_VECTOR3}, {"Vector4", TOKEN_VECTOR4},
    {"Vector2i", TOKEN_VECTOR2I}, {"Vector3i", TOKEN_VECTOR3I}, {"Vector4i", TOKEN_VECTOR4I},
    {"Vector2b", TOKEN_VECTOR2B}, {"Vector3b", TOKEN_VECTOR3B}, {"Vector4b", TOKEN_VECTOR4B},
    {"Matrix2x2", TOKEN_MATRIX2X2}, {"Matrix2x3", TOKEN_MATRIX2X3}, {"Matrix3x2", TOKEN_MATRIX3X2},
    {"Matrix3x3", TOKEN_MATRIX3X3}, {"Matrix4x3", TOKEN_MATRIX4X3}, {"Matrix3x4", TOKEN_MATRIX3X4},
    {"Matrix4x4", TOKEN_MATRIX4X4}, {"Matrix4x2", TOKEN_MATRIX4X2}, {"Matrix2x4", TOKEN_MATRIX2X4},
    {"Texture1d", TOKEN_TEXTURE1D}, {"Texture2d", TOKEN_TEXTURE2D}, {"Texture3d", TOKEN_TEXTURE3D},
    {"Texture_cube", TOKEN_TEXTURE_CUBE},
    {"native", TOKEN_NATIVE}, {"operator", TOKEN_OPERATOR},
    {"in", TOKEN_IN}, {"out", TOKEN_OUT}, {"inout", TOKEN_INOUT},
    {"enum", TOKEN_ENUM},
    {"public", TOKEN_PUBLIC}, {"private", TOKEN_PRIVATE}, {"protected", TOKEN_PROTECTED},
    {"class", TOKEN_CLASS}, {"struct", TOKEN_STRUCT}, {"union", TOKEN_UNION},
    {"shader", TOKEN_SHADER}, {"technique", TOKEN_TECHNIQUE}, {"brdf", TOKEN_BRDF},
    {"if", TOKEN_IF}, {"else", TOKEN_ELSE}, {"while", TOKEN_WHILE}, {"do", TOKEN_DO},
    {"for", TOKEN_FOR}, {"foreach", TOKEN_FOREACH}, {"continue", TOKEN_CONTINUE},
    {"break", TOKEN_BREAK}, {"return", TOKEN_RETURN}, {"switch", TOKEN_SWITCH}, {"case", TOKEN_CASE},
    {"true", TOKEN_TRUE}, {"false", TOKEN_FALSE},
};
static_assert(sizeof keywords / sizeof keywords[0] == 63, "the language has 63 keywords");

constexpr size_t KEYWORD_SLOTS = 256;  // power of two, well above the keyword count
constexpr size_t LONGEST_KEYWORD = 12;  // "Texture_cube"

uint32_t word_hash(std::string_view word)
{
    uint32_t h = static_cast<uint32_t>(word.size());
    for (unsigned char c : word)
        h = h * 31 + c;
    return h;
}

// Open addressing over the keyword list, built once.
class Keyword_table {
public:
    Keyword_table()
    {
        for (const Keyword& k : keywords) {
            size_t slot = word_hash(k.text) & (KEYWORD_SLOTS - 1);
            while (slots_[slot])
                slot = (slot + 1) & (KEYWORD_SLOTS - 1);
            slots_[slot] = &k;
        }
    }

    int32_t find(std::string_view word) const
    {
        if (word.size() < 2 || word.size() > LONGEST_KEYWORD)
            return TOKEN_IDENTIFIER;
        for (size_t slot = word_hash(word) & (KEYWORD_SLOTS - 1); slots_[slot];
             slot = (slot + 1) & (KEYWORD_SLOTS - 1)) {
            if (word == slots_[slot]->text)
                return slots_[slot]->type;
        }
        return TOKEN_IDENTIFIER;
    }

private:
    const Keyword* slots_[KEYWORD_SLOTS] = {};
};

const Keyword_table& keyword_table()
{
    static const Keyword_table table;
    return table;
}

// Character classes, by byte.
enum : uint8_t { CHAR_IDENT_START = 1, CHAR_DIGIT = 2, CHAR_HEX = 4, CHAR_OCTAL = 8 };

struct Char_classes {
    uint8_t bits[256] = {};
    Char_classes()
    {
        for (int c = 'a'; c <= 'z'; ++c)
            bits[c] |= CHAR_IDENT_START;
        for (int c = 'A'; c <= 'Z'; ++c)
            bits[c] |= CHAR_IDENT_START;
        bits['_'] |= CHAR_IDENT_START;
        for (int c = '0'; c <= '9'; ++c)
            bits[c] |= CHAR_DIGIT | CHAR_HEX;
        for (int c = '0'; c <= '7'; ++c)
            bits[c] |= CHAR_OCTAL;
        for (int c = 'a'; c <= 'f'; ++c)
            bits[c] |= CHAR_HEX;
        for (int c = 'A'; c <= 'F'; ++c)
            bits[c] |= CHAR_HEX;
    }
};

const Char_classes char_classes;

inline bool has_class(int c, uint8_t mask)
{
    return c >= 0 && (char_classes.bits[c] & mask) != 0;
}
inline bool is_ident_start(int c) { return has_class(c, CHAR_IDENT_START); }
inline bool is_ident_char(int c) { return has_class(c, CHAR_IDENT_START | CHAR_DIGIT); }
inline bool is_digit(int c) { return has_class(c, CHAR_DIGIT); }
inline bool is_hex_digit(int c) { return has_class(c, CHAR_HEX); }
inline bool is_octal_digit(int c) { return has_class(c, CHAR_OCTAL); }
inline bool is_line_end(int c) { return c == '\n' || c == '\r'; }

// The values 0 to 2 and the line ends may not stand inside a string or a file name.
inline bool is_forbidden_in_quotes(int c) { return c < 0 || c <= 2 || is_line_end(c); }

std::string describe_byte(int c)
{
    if (c < 0)
        return "end of file";
    if (is_line_end(c))
        return "end of line";
    char buffer[32];
    if (c >= 0x20 && c < 0x7f)
        std::snprintf(buffer, sizeof buffer, "character '%c'", c);
    else
        std::snprintf(buffer, sizeof buffer, "byte 0x%02x", c);
    return buffer;
}

}  // namespace

int32_t keyword_type(std::string_view word)
{
    return keyword_table().find(word);
}

Recognition_error::Recognition_error(const std::string& file, int32_t line, int32_t column,
                                     const std::string& description)
    : std::runtime_error("file '" + file + "' line " + std::to_string(line) + " column " +
                         std::to_string(column) + ": " + description),
      file_(file), line_(line), column_(column), description_(description)
{
}

Ovrel_lexer::Ovrel_lexer(const char* text, size_t length, std::string file_name)
    : end_(text + length), pos_(text), line_start_(text), file_name_(std::move(file_name))
{
    keyword_table();  // built before the first token, not in the middle of a hot loop
}

void Ovrel_lexer::fail_at(const char* p, const std::string& description) const
{
    throw Recognition_error(file_name_, line_, column_at(p), description);
}

void Ovrel_lexer::fail_unexpected(const char* p, const char* context) const
{
    fail_at(p, "unexpected " + describe_byte(peek_at(p)) + context);
}

void Ovrel_lexer::new_line()
{
    if (*pos_ == '\r' && pos_ + 1 < end_ && pos_[1] == '\n')
        ++pos_;
    ++pos_;
    ++line_;
    line_start_ = pos_;
}

void Ovrel_lexer::skip_block_comment()
{
    pos_ += 2;
    for (;;) {
        if (at_end(pos_))
            fail_at(pos_, "unexpected end of file in comment");
        char c = *pos_;
        if (c == '*' && pos_ + 1 < end_ && pos_[1] == '/') {
            pos_ += 2;
            return;
        }
        if (c == '\0')
            fail_unexpected(pos_, " in comment");
        if (is_line_end(static_cast<unsigned char>(c)))
            new_line();
        else
            ++pos_;
    }
}

void Ovrel_lexer::skip_blanks()
{
    while (pos_ < end_) {
        char c = *pos_;
        if (c == ' ' || c == '\t') {
            ++pos_;
        } else if (c == '\n' || c == '\r') {
            new_line();
        } else if (c == '/' && peek_at(pos_ + 1) == '/') {
            // The line end is left for the next round, so that it counts. A zero byte is
            // refused even here: whatever reads the file as a C string would stop at it.
            while (pos_ < end_ && *pos_ != '\n' && *pos_ != '\r') {
                if (*pos_ == '\0')
                    fail_unexpected(pos_, " in comment");
                ++pos_;
            }
        } else if (c == '/' && peek_at(pos_ + 1) == '*') {
            skip_block_comment();
        } else {
            return;
        }
    }
}

Token Ovrel_lexer::make(int32_t type, const char* start, const char* stop) const
{
    Token t;
    t.type = type;
    t.line = line_;
    t.column = column_at(start);
    t.text = std::string_view(start, static_cast<size_t>(stop - start));
    return t;
}

Token Ovrel_lexer::next_token()
{
    skip_blanks();
    if (at_end(pos_))
        return make(TOKEN_EOF, end_, end_);

    unsigned char c = static_cast<unsigned char>(*pos_);
    if (is_ident_start(c))
        return lex_identifier();
    if (is_digit(c) || (c == '.' && is_digit(peek_at(pos_ + 1))))
        return lex_number();
    switch (c) {
    case '"': return lex_string();
    case '#': return lex_hash();
    case '.': return single(TOKEN_DOT);
    case ':': return one_or_two(':', TOKEN_SCOPE, TOKEN_COLON);
    case '=': return one_or_two('=', TOKEN_EQUAL, TOKEN_ASSIGN);
    case '<': return one_or_two('=', TOKEN_LESS_EQUAL, TOKEN_LESS);
    case '>': return one_or_two('=', TOKEN_GREATER_EQUAL, TOKEN_GREATER);
    case '/': return one_or_two('=', TOKEN_DIV_ASSIGN, TOKEN_DIV);
    case '*': return one_or_two('=', TOKEN_STAR_ASSIGN, TOKEN_STAR);
    case '%': return one_or_two('=', TOKEN_PERCENT_ASSIGN, TOKEN_PERCENT);
    case '!': return one_or_two('=', TOKEN_NOT_EQUAL, TOKEN_NOT);
    case '+': return one_or_two('=', TOKEN_PLUS_ASSIGN, '+', TOKEN_INCREMENT, TOKEN_PLUS);
    case '-': return one_or_two('=', TOKEN_MINUS_ASSIGN, '-', TOKEN_DECREMENT, TOKEN_MINUS);
    case '&': return doubled(TOKEN_AND);
    case '|': return doubled(TOKEN_OR);
    case '^': return doubled(TOKEN_XOR);
    case '(': return single(TOKEN_LPAREN);
    case ')': return single(TOKEN_RPAREN);
    case '[': return single(TOKEN_LBRACKET);
    case ']': return single(TOKEN_RBRACKET);
    case '{': return single(TOKEN_LBRACE);
    case '}': return single(TOKEN_RBRACE);
    case ',': return single(TOKEN_COMMA);
    case ';': return single(TOKEN_SEMICOLON);
    case '?': return single(TOKEN_QUESTION);
    case '~': return single(TOKEN_TILDE);
    case '\\': return single(TOKEN_BACKSLASH);
    }
    fail_unexpected(pos_, "");
}

Token Ovrel_lexer::one_or_two(char second, int32_t two, int32_t one)
{
    const char* start = pos_;
    if (peek_at(pos_ + 1) == static_cast<unsigned char>(second)) {
        pos_ += 2;
        return make(two, start, pos_);
    }
    ++pos_;
    return make(one, start, pos_);
}

Token Ovrel_lexer::one_or_two(char second_a, int32_t two_a, char second_b, int32_t two_b, int32_t one)
{
    if (peek_at(pos_ + 1) == static_cast<unsigned char>(second_b))
        return one_or_two(second_b, two_b, one);
    return one_or_two(second_a, two_a, one);
}

Token Ovrel_lexer::single(int32_t type)
{
    const char* start = pos_++;
    return make(type, start, pos_);
}

Token Ovrel_lexer::doubled(int32_t type)
{
    const char* start = pos_;
    char c = *pos_;
    if (peek_at(pos_ + 1) != static_cast<unsigned char>(c))
        fail_unexpected(pos_ + 1, (std::string(", expected '") + c + "'").c_str());
    pos_ += 2;
    return make(type, start, pos_);
}

Token Ovrel_lexer::lex_identifier()
{
    const char* start = pos_;
    ++pos_;
    while (pos_ < end_ && is_ident_char(static_cast<unsigned char>(*pos_)))
        ++pos_;
    std::string_view word(start, static_cast<size_t>(pos_ - start));
    return make(keyword_table().find(word), start, pos_);
}

Token Ovrel_lexer::lex_string()
{
    const char* start = pos_;
    const char* p = pos_ + 1;
    for (;;) {
        int c = peek_at(p);
        if (c == '"')
            break;
        if (is_forbidden_in_quotes(c))
            fail_unexpected(p, " in string constant");
        ++p;
    }
    pos_ = p + 1;
    return make(TOKEN_STRING_CONSTANT, start, pos_);
}

Token Ovrel_lexer::lex_number()
{
    const char* start = pos_;
    auto digits = [this](const char* p) {
        while (p < end_ && is_digit(static_cast<unsigned char>(*p)))
            ++p;
        return p;
    };
    // e or E, an optional sign, digits; null when the characters at p don't form one.
    auto exponent = [&](const char* p) -> const char* {
        if (peek_at(p) != 'e' && peek_at(p) != 'E')
            return nullptr;
        ++p;
        if (peek_at(p) == '+' || peek_at(p) == '-')
            ++p;
        const char* after = digits(p);
        return after > p ? after : nullptr;
    };
    auto float_suffix = [this](const char* p) {
        int c = peek_at(p);
        return (c == 'F' || c == 'f' || c == 'L' || c == 'l') ? p + 1 : p;
    };
    auto long_suffix = [this](const char* p) {
        int c = peek_at(p);
        return (c == 'L' || c == 'l') ? p + 1 : p;
    };
    auto finish = [&](int32_t type, const char* stop) {
        pos_ = stop;
        return make(type, start, stop);
    };

    // 1: digits with an exponent.
    const char* int_end = digits(start);
    if (int_end > start) {
        if (const char* e = exponent(int_end))
            return finish(TOKEN_FLOAT_CONSTANT, float_suffix(e));
    }
    // 2: hexadecimal, no suffix.
    int second = peek_at(start + 1);
    if (*start == '0' && (second == 'x' || second == 'X') && is_hex_digit(peek_at(start + 2))) {
        const char* p = start + 2;
        while (is_hex_digit(peek_at(p)))
            ++p;
        return finish(TOKEN_HEX_INT_CONSTANT, p);
    }
    // 3: octal; it stops at an 8 or a 9, so 0129 is 012 and then 9.
    if (*start == '0' && is_octal_digit(second)) {
        const char* p = start + 1;
        while (is_octal_digit(peek_at(p)))
            ++p;
        return finish(TOKEN_OCT_INT_CONSTANT, long_suffix(p));
    }
    // 4: a point with digits on at least one side.
    if (peek_at(int_end) == '.') {
        const char* fraction_end = digits(int_end + 1);
        if (int_end > start || fraction_end > int_end + 1) {
            const char* p = fraction_end;
            if (const char* e = exponent(p))
                p = e;
            return finish(TOKEN_FLOAT_CONSTANT, float_suffix(p));
        }
    }
    // 5 (a lone point) never reaches here: next_token makes it a DOT. 6: decimal.
    return finish(TOKEN_INT_CONSTANT, long_suffix(int_end));
}

Token Ovrel_lexer::lex_hash()
{
    const char* start = pos_;
    if (peek_at(pos_ + 1) == 'i') {
        int third = peek_at(pos_ + 2);
        if (third == 'n')
            return lex_include_or_import(start, "#include", TOKEN_INCLUDE);
        if (third == 'm')
            return lex_include_or_import(start, "#import", TOKEN_IMPORT);
    }
    ++pos_;
    return make(TOKEN_HASH, start, pos_);
}

// "#include" or "#import", blanks, then <name>. Once the first three characters are seen no
// other form is possible: "#info" and "#include \"x\"" are errors.
Token Ovrel_lexer::lex_include_or_import(const char* start, std::string_view word, int32_t type)
{
    const char* p = start;
    for (char expected : word) {
        if (peek_at(p) != static_cast<unsigned char>(expected))
            fail_unexpected(p, "");
        ++p;
    }
    while (peek_at(p) == ' ' || peek_at(p) == '\t')
        ++p;
    if (peek_at(p) != '<')
        fail_unexpected(p, ", expected '<'");
    ++p;
    const char* name_start = p;
    while (peek_at(p) != '>') {
        if (is_forbidden_in_quotes(peek_at(p)))
            fail_unexpected(p, " in file name");
        ++p;
    }
    if (p == name_start)
        fail_unexpected(p, ", expected a file name");
    pos_ = p + 1;
    return make(type, start, pos_);
}

}  // namespace FRONT12
}  // namespace QZ

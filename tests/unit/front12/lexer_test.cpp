#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "front12/ovrel_lexer.h"
#include "front12/token.h"

using namespace QZ::FRONT12;

namespace {

struct Lexed {
    int32_t type;
    std::string text;
    bool operator==(const Lexed& o) const { return type == o.type && text == o.text; }
};

std::ostream& operator<<(std::ostream& out, const Lexed& t)
{
    return out << token_type_name(t.type) << " \"" << t.text << "\"";
}

std::vector<Token> lex_tokens(const std::string& text)
{
    Ovrel_lexer lexer(text.data(), text.size(), "test.ovl");
    std::vector<Token> tokens;
    for (;;) {
        Token t = lexer.next_token();
        if (t.type == TOKEN_EOF)
            return tokens;
        tokens.push_back(t);
    }
}

// Type and text of every token before EOF.
std::vector<Lexed> lex(const std::string& text)
{
    std::vector<Lexed> out;
    for (const Token& t : lex_tokens(text))
        out.push_back({t.type, std::string(t.text)});
    return out;
}

// The error that lexing the text raises; fails the test if there is none.
Recognition_error lex_error(const std::string& text)
{
    try {
        lex(text);
    } catch (const Recognition_error& e) {
        return e;
    }
    ADD_FAILURE() << "no lexical error for: " << text;
    return Recognition_error("", 0, 0, "");
}

}  // namespace

TEST(Ovrel_lexer, number_forms_in_their_stated_order)
{
    const std::vector<std::pair<std::string, std::vector<Lexed>>> cases = {
        {"1.e5", {{TOKEN_FLOAT_CONSTANT, "1.e5"}}},
        {".5f", {{TOKEN_FLOAT_CONSTANT, ".5f"}}},
        {"1e5", {{TOKEN_FLOAT_CONSTANT, "1e5"}}},
        {"1E-5L", {{TOKEN_FLOAT_CONSTANT, "1E-5L"}}},
        {"2e+10F", {{TOKEN_FLOAT_CONSTANT, "2e+10F"}}},
        {"1.5", {{TOKEN_FLOAT_CONSTANT, "1.5"}}},
        {"1.", {{TOKEN_FLOAT_CONSTANT, "1."}}},
        {"0.25l", {{TOKEN_FLOAT_CONSTANT, "0.25l"}}},
        {"3.5e-2f", {{TOKEN_FLOAT_CONSTANT, "3.5e-2f"}}},
        // An exponent is tried before octal, so these stay single floats.
        {"0e1", {{TOKEN_FLOAT_CONSTANT, "0e1"}}},
        {"017e2", {{TOKEN_FLOAT_CONSTANT, "017e2"}}},
        {"1f", {{TOKEN_INT_CONSTANT, "1"}, {TOKEN_IDENTIFIER, "f"}}},
        {"12L", {{TOKEN_INT_CONSTANT, "12L"}}},
        {"7l", {{TOKEN_INT_CONSTANT, "7l"}}},
        {"0", {{TOKEN_INT_CONSTANT, "0"}}},
        {"09", {{TOKEN_INT_CONSTANT, "09"}}},
        {"09.5", {{TOKEN_FLOAT_CONSTANT, "09.5"}}},
        {"0129", {{TOKEN_OCT_INT_CONSTANT, "012"}, {TOKEN_INT_CONSTANT, "9"}}},
        {"0777L", {{TOKEN_OCT_INT_CONSTANT, "0777L"}}},
        {"00", {{TOKEN_OCT_INT_CONSTANT, "00"}}},
        // Octal is tried before the point form.
        {"012.5", {{TOKEN_OCT_INT_CONSTANT, "012"}, {TOKEN_FLOAT_CONSTANT, ".5"}}},
        {"0x1F", {{TOKEN_HEX_INT_CONSTANT, "0x1F"}}},
        {"0XaBc9", {{TOKEN_HEX_INT_CONSTANT, "0XaBc9"}}},
        // Hexadecimal takes no suffix (and f is a hex digit).
        {"0x1fL", {{TOKEN_HEX_INT_CONSTANT, "0x1f"}, {TOKEN_IDENTIFIER, "L"}}},
        {"0x", {{TOKEN_INT_CONSTANT, "0"}, {TOKEN_IDENTIFIER, "x"}}},
        {"0xg", {{TOKEN_INT_CONSTANT, "0"}, {TOKEN_IDENTIFIER, "xg"}}},
        // An incomplete exponent is not taken; the look-ahead rewinds.
        {"1e", {{TOKEN_INT_CONSTANT, "1"}, {TOKEN_IDENTIFIER, "e"}}},
        {"1e+", {{TOKEN_INT_CONSTANT, "1"}, {TOKEN_IDENTIFIER, "e"}, {TOKEN_PLUS, "+"}}},
        {"1.5e", {{TOKEN_FLOAT_CONSTANT, "1.5"}, {TOKEN_IDENTIFIER, "e"}}},
        {"1..2", {{TOKEN_FLOAT_CONSTANT, "1."}, {TOKEN_FLOAT_CONSTANT, ".2"}}},
        {"a.b", {{TOKEN_IDENTIFIER, "a"}, {TOKEN_DOT, "."}, {TOKEN_IDENTIFIER, "b"}}},
        {"a.5", {{TOKEN_IDENTIFIER, "a"}, {TOKEN_FLOAT_CONSTANT, ".5"}}},
        {"v.e5", {{TOKEN_IDENTIFIER, "v"}, {TOKEN_DOT, "."}, {TOKEN_IDENTIFIER, "e5"}}},
        {"..", {{TOKEN_DOT, "."}, {TOKEN_DOT, "."}}},
        {"x1", {{TOKEN_IDENTIFIER, "x1"}}},
    };
    for (const auto& [input, expected] : cases)
        EXPECT_EQ(lex(input), expected) << "input: " << input;
}

TEST(Ovrel_lexer, keywords_are_exactly_the_listed_words)
{
    // The keyword numbers of the token table.
    std::vector<int32_t> keyword_types = {TOKEN_DEFAULT, TOKEN_NATIVE, TOKEN_OPERATOR, TOKEN_TRUE, TOKEN_FALSE};
    for (int32_t t = TOKEN_AUTO; t <= TOKEN_GLOBAL; ++t)
        keyword_types.push_back(t);
    for (int32_t t = TOKEN_VOID; t <= TOKEN_TEXTURE_CUBE; ++t)
        keyword_types.push_back(t);
    for (int32_t t = TOKEN_IN; t <= TOKEN_ENUM; ++t)
        keyword_types.push_back(t);
    for (int32_t t = TOKEN_PUBLIC; t <= TOKEN_CASE; ++t)
        keyword_types.push_back(t);
    ASSERT_EQ(keyword_types.size(), 63u);

    for (int32_t type : keyword_types) {
        std::string word = token_type_name(type);
        EXPECT_EQ(lex(word), (std::vector<Lexed>{{type, word}})) << word;
    }
    EXPECT_EQ(keyword_type("Matrix3x2"), TOKEN_MATRIX3X2);
    EXPECT_EQ(keyword_type("Matrix2x4"), 39);
    EXPECT_EQ(keyword_type("Texture_cube"), 43);

    for (const char* word : {"int", "float", "const", "bool", "vector", "typedef", "goto", "Light_iterator",
                             "Sample_iterator", "INT", "integer", "Texture_Cube", "iff", "d", "True", "_if"})
        EXPECT_EQ(lex(word), (std::vector<Lexed>{{TOKEN_IDENTIFIER, word}})) << word;
}

TEST(Ovrel_lexer, punctuation_names_lex_back_to_their_types)
{
    // Every punctuation token, spelled by its name, lexes to itself: the name table and the
    // lexer agree on the numbering.
    std::vector<int32_t> types = {TOKEN_SEMICOLON, TOKEN_SCOPE, TOKEN_QUESTION, TOKEN_COLON};
    for (int32_t t = TOKEN_COMMA; t <= TOKEN_RBRACE; ++t)
        types.push_back(t);
    for (int32_t t = TOKEN_DIV; t <= TOKEN_STAR_ASSIGN; ++t)
        types.push_back(t);
    for (int32_t t = TOKEN_EQUAL; t <= TOKEN_DECREMENT; ++t)
        types.push_back(t);
    for (int32_t t = TOKEN_PERCENT; t <= TOKEN_BACKSLASH; ++t)
        types.push_back(t);
    for (int32_t type : types) {
        std::string name = token_type_name(type);
        EXPECT_EQ(lex(name), (std::vector<Lexed>{{type, name}})) << name;
    }
}

TEST(Ovrel_lexer, token_type_names)
{
    EXPECT_STREQ(token_type_name(TOKEN_EOF), "EOF");
    EXPECT_STREQ(token_type_name(TOKEN_IDENTIFIER), "IDENTIFIER");
    EXPECT_STREQ(token_type_name(TOKEN_DOT), "DOT");
    EXPECT_STREQ(token_type_name(TOKEN_STRING_CONSTANT), "STRING_CONSTANT");
    EXPECT_STREQ(token_type_name(TOKEN_CPP_COMMENT), "CPPComment");
    EXPECT_STREQ(token_type_name(TOKEN_HASH), "#");
    for (int32_t bad : {-1, 0, 2, TOKEN_TYPE_COUNT, 1000})
        EXPECT_STREQ(token_type_name(bad), "<invalid>") << bad;
    for (int32_t t = 3; t < TOKEN_TYPE_COUNT; ++t)
        EXPECT_STRNE(token_type_name(t), "<invalid>") << t;
}

TEST(Ovrel_lexer, two_character_tokens_before_their_prefixes)
{
    EXPECT_EQ(lex("a<<b"), (std::vector<Lexed>{{TOKEN_IDENTIFIER, "a"}, {TOKEN_LESS, "<"}, {TOKEN_LESS, "<"},
                                               {TOKEN_IDENTIFIER, "b"}}));
    EXPECT_EQ(lex("+++"), (std::vector<Lexed>{{TOKEN_INCREMENT, "++"}, {TOKEN_PLUS, "+"}}));
    EXPECT_EQ(lex("-=-"), (std::vector<Lexed>{{TOKEN_MINUS_ASSIGN, "-="}, {TOKEN_MINUS, "-"}}));
    EXPECT_EQ(lex(":::"), (std::vector<Lexed>{{TOKEN_SCOPE, "::"}, {TOKEN_COLON, ":"}}));
    EXPECT_EQ(lex("!==="), (std::vector<Lexed>{{TOKEN_NOT_EQUAL, "!="}, {TOKEN_EQUAL, "=="}}));
    EXPECT_EQ(lex("a/b/=c"), (std::vector<Lexed>{{TOKEN_IDENTIFIER, "a"}, {TOKEN_DIV, "/"}, {TOKEN_IDENTIFIER, "b"},
                                                 {TOKEN_DIV_ASSIGN, "/="}, {TOKEN_IDENTIFIER, "c"}}));
    EXPECT_EQ(lex("&&||^^"), (std::vector<Lexed>{{TOKEN_AND, "&&"}, {TOKEN_OR, "||"}, {TOKEN_XOR, "^^"}}));
    EXPECT_EQ(lex("%=%~\\"), (std::vector<Lexed>{{TOKEN_PERCENT_ASSIGN, "%="}, {TOKEN_PERCENT, "%"},
                                                 {TOKEN_TILDE, "~"}, {TOKEN_BACKSLASH, "\\"}}));
}

TEST(Ovrel_lexer, strings_and_comments)
{
    // Merging adjacent strings is the preprocessor's business.
    EXPECT_EQ(lex("\"a\" \"b\""), (std::vector<Lexed>{{TOKEN_STRING_CONSTANT, "\"a\""},
                                                      {TOKEN_STRING_CONSTANT, "\"b\""}}));
    EXPECT_EQ(lex("\"x // y /* z\""), (std::vector<Lexed>{{TOKEN_STRING_CONSTANT, "\"x // y /* z\""}}));
    EXPECT_EQ(lex("a // \"b\nc"), (std::vector<Lexed>{{TOKEN_IDENTIFIER, "a"}, {TOKEN_IDENTIFIER, "c"}}));
    EXPECT_EQ(lex("a /* \" */ c"), (std::vector<Lexed>{{TOKEN_IDENTIFIER, "a"}, {TOKEN_IDENTIFIER, "c"}}));
    EXPECT_EQ(lex("/**/x/***/"), (std::vector<Lexed>{{TOKEN_IDENTIFIER, "x"}}));
    EXPECT_EQ(lex("/* a /* b */ c"), (std::vector<Lexed>{{TOKEN_IDENTIFIER, "c"}}));  // no nesting
    // No escapes: a backslash is an ordinary character and ends nothing.
    EXPECT_EQ(lex("\"a\\\" b"), (std::vector<Lexed>{{TOKEN_STRING_CONSTANT, "\"a\\\""},
                                                    {TOKEN_IDENTIFIER, "b"}}));
    EXPECT_EQ(lex("\"\""), (std::vector<Lexed>{{TOKEN_STRING_CONSTANT, "\"\""}}));
    // Bytes above 127 pass in strings and comments.
    EXPECT_EQ(lex("\"\xc3\xa9\" // \xff\n/* \x80 */"),
              (std::vector<Lexed>{{TOKEN_STRING_CONSTANT, "\"\xc3\xa9\""}}));
    EXPECT_TRUE(lex("// only a comment").empty());
    EXPECT_TRUE(lex("").empty());
}

TEST(Ovrel_lexer, include_and_import_forms)
{
    EXPECT_EQ(lex("#include <lib/a.ovl>"), (std::vector<Lexed>{{TOKEN_INCLUDE, "#include <lib/a.ovl>"}}));
    EXPECT_EQ(lex("#include\t \t<x>y"), (std::vector<Lexed>{{TOKEN_INCLUDE, "#include\t \t<x>"},
                                                            {TOKEN_IDENTIFIER, "y"}}));
    EXPECT_EQ(lex("#include<a b>"), (std::vector<Lexed>{{TOKEN_INCLUDE, "#include<a b>"}}));
    EXPECT_EQ(lex("#import <m.ovl>"), (std::vector<Lexed>{{TOKEN_IMPORT, "#import <m.ovl>"}}));
    EXPECT_EQ(lex("# include <x>"), (std::vector<Lexed>{{TOKEN_HASH, "#"}, {TOKEN_IDENTIFIER, "include"},
                                                        {TOKEN_LESS, "<"}, {TOKEN_IDENTIFIER, "x"},
                                                        {TOKEN_GREATER, ">"}}));
    EXPECT_EQ(lex("#if"), (std::vector<Lexed>{{TOKEN_HASH, "#"}, {TOKEN_IF, "if"}}));
    EXPECT_EQ(lex("#ifdef"), (std::vector<Lexed>{{TOKEN_HASH, "#"}, {TOKEN_IDENTIFIER, "ifdef"}}));
    EXPECT_EQ(lex("#define"), (std::vector<Lexed>{{TOKEN_HASH, "#"}, {TOKEN_IDENTIFIER, "define"}}));
    EXPECT_EQ(lex("#"), (std::vector<Lexed>{{TOKEN_HASH, "#"}}));

    // After "#in" or "#im" nothing but the full form is possible.
    for (const char* bad : {"#info", "#include \"x.ovl\"", "#include <>", "#include <a\n>", "#include <a",
                            "#in", "#imp <x>", "#importx <a>", "#include <a\x01>"}) {
        SCOPED_TRACE(bad);
        lex_error(bad);
    }
    Recognition_error e = lex_error("#info");
    EXPECT_EQ(e.column(), 4);
    EXPECT_NE(e.description().find("'f'"), std::string::npos) << e.description();
}

TEST(Ovrel_lexer, lines_and_columns)
{
    // LF, CR LF and a lone CR are one line end each.
    std::vector<Token> t = lex_tokens("a\nb\r\nc\rd\r\n\r\n  e\n\n\r f");
    ASSERT_EQ(t.size(), 6u);
    const int32_t expected[][2] = {{1, 1}, {2, 1}, {3, 1}, {4, 1}, {6, 3}, {9, 2}};
    for (size_t i = 0; i < t.size(); ++i) {
        EXPECT_EQ(t[i].line, expected[i][0]) << i;
        EXPECT_EQ(t[i].column, expected[i][1]) << i;
    }

    // Line ends inside comments count; a line comment stops before its line end.
    t = lex_tokens("/* one\r\ntwo\rthree\n */ x // tail\r\ny");
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].line, 4);
    EXPECT_EQ(t[0].column, 5);
    EXPECT_EQ(t[1].line, 5);
    EXPECT_EQ(t[1].column, 1);

    // Columns count bytes from 1; a tab is one column.
    t = lex_tokens("\tabc += 1.5;/*\xc3\xa9*/z");
    ASSERT_EQ(t.size(), 5u);
    EXPECT_EQ(t[0].column, 2);
    EXPECT_EQ(t[1].column, 6);
    EXPECT_EQ(t[2].column, 9);
    EXPECT_EQ(t[3].column, 12);
    EXPECT_EQ(t[4].column, 19);
}

TEST(Ovrel_lexer, end_of_file_repeats_at_the_end_position)
{
    std::string text = "ab\r\n";
    Ovrel_lexer lexer(text.data(), text.size(), "f.ovl");
    EXPECT_EQ(lexer.next_token().type, TOKEN_IDENTIFIER);
    for (int i = 0; i < 3; ++i) {
        Token eof = lexer.next_token();
        EXPECT_EQ(eof.type, TOKEN_EOF);
        EXPECT_EQ(eof.line, 2);
        EXPECT_EQ(eof.column, 1);
        EXPECT_TRUE(eof.text.empty());
    }
}

TEST(Ovrel_lexer, token_texts_point_into_the_source)
{
    std::string text = "Scalar x = 1.5e3; // c\n\"s\" #include <a>";
    for (const Token& t : lex_tokens(text)) {
        EXPECT_GE(t.text.data(), text.data());
        EXPECT_LE(t.text.data() + t.text.size(), text.data() + text.size());
    }
}

TEST(Ovrel_lexer, lexical_errors_name_character_and_position)
{
    struct Case {
        std::string text;
        int32_t line;
        int32_t column;
        std::string described;
    };
    const std::vector<Case> cases = {
        {"a & b", 1, 4, "unexpected character ' ', expected '&'"},
        {"x\n  a|b", 2, 5, "unexpected character 'b', expected '|'"},
        {"a ^", 1, 4, "unexpected end of file, expected '^'"},
        {"\n\n   @", 3, 4, "unexpected character '@'"},
        {"ok $", 1, 4, "unexpected character '$'"},
        {"x\xc3\xa9", 1, 2, "unexpected byte 0xc3"},
        {std::string("a\0b", 3), 1, 2, "unexpected byte 0x00"},
        {"/* open\n\n", 3, 1, "unexpected end of file in comment"},
        {"s = \"abc\ndef\"", 1, 9, "unexpected end of line in string constant"},
        {"\"abc", 1, 5, "unexpected end of file in string constant"},
        {"\"a\x02\"", 1, 3, "unexpected byte 0x02 in string constant"},
        {"#include \"x\"", 1, 10, "unexpected character '\"', expected '<'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Recognition_error e = lex_error(c.text);
        EXPECT_EQ(e.file(), "test.ovl");
        EXPECT_EQ(e.line(), c.line);
        EXPECT_EQ(e.column(), c.column);
        EXPECT_EQ(e.description(), c.described);
        std::string what = e.what();
        EXPECT_NE(what.find("test.ovl"), std::string::npos) << what;
        EXPECT_NE(what.find(c.described), std::string::npos) << what;
    }
}

TEST(Ovrel_lexer, lexing_stops_at_the_first_error)
{
    std::string text = "a @ b";
    Ovrel_lexer lexer(text.data(), text.size(), "t.ovl");
    EXPECT_EQ(lexer.next_token().type, TOKEN_IDENTIFIER);
    EXPECT_THROW(lexer.next_token(), Recognition_error);
}

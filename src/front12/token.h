// Tokens of the Ovrel language, shared by the lexer, the preprocessor and the parser.
#pragma once

#include <cstdint>
#include <string_view>

namespace QZ {
namespace FRONT12 {

// Token types. The numbers are an interface between lexer, preprocessor and parser.
// ORDER: token_type_names in token.cpp follows these numbers.
enum Token_type : int32_t {
    TOKEN_INVALID = 0,
    TOKEN_EOF = 1,
    TOKEN_NULL_TREE_LOOKAHEAD = 3,
    TOKEN_INCLUDE = 4,
    TOKEN_IMPORT = 5,
    TOKEN_DEFAULT = 6,
    TOKEN_SEMICOLON = 7,
    TOKEN_AUTO = 8,
    TOKEN_REGISTER = 9,
    TOKEN_STATIC = 10,
    TOKEN_EXTERN = 11,
    TOKEN_MUTABLE = 12,
    TOKEN_GLOBAL = 13,
    TOKEN_SCOPE = 14,  // ::
    TOKEN_IDENTIFIER = 15,
    TOKEN_VOID = 16,
    TOKEN_STRING = 17,
    TOKEN_BOOL = 18,
    TOKEN_INT = 19,
    TOKEN_SCALAR = 20,
    TOKEN_COLOR = 21,
    TOKEN_VECTOR2 = 22,
    TOKEN_VECTOR3 = 23,
    TOKEN_VECTOR4 = 24,
    TOKEN_VECTOR2I = 25,
    TOKEN_VECTOR3I = 26,
    TOKEN_VECTOR4I = 27,
    TOKEN_VECTOR2B = 28,
    TOKEN_VECTOR3B = 29,
    TOKEN_VECTOR4B = 30,
    TOKEN_MATRIX2X2 = 31,
    TOKEN_MATRIX2X3 = 32,
    TOKEN_MATRIX3X2 = 33,
    TOKEN_MATRIX3X3 = 34,
    TOKEN_MATRIX4X3 = 35,
    TOKEN_MATRIX3X4 = 36,
    TOKEN_MATRIX4X4 = 37,
    TOKEN_MATRIX4X2 = 38,
    TOKEN_MATRIX2X4 = 39,
    TOKEN_TEXTURE1D = 40,
    TOKEN_TEXTURE2D = 41,
    TOKEN_TEXTURE3D = 42,
    TOKEN_TEXTURE_CUBE = 43,
    TOKEN_COMMA = 44,
    TOKEN_LPAREN = 45,
    TOKEN_RPAREN = 46,
    TOKEN_ASSIGN = 47,
    TOKEN_LBRACKET = 48,
    TOKEN_RBRACKET = 49,
    TOKEN_LBRACE = 50,
    TOKEN_RBRACE = 51,
    TOKEN_NATIVE = 52,
    TOKEN_OPERATOR = 53,
    TOKEN_DIV = 54,
    TOKEN_DIV_ASSIGN = 55,
    TOKEN_PLUS = 56,
    TOKEN_PLUS_ASSIGN = 57,
    TOKEN_MINUS = 58,
    TOKEN_MINUS_ASSIGN = 59,
    TOKEN_STAR = 60,
    TOKEN_STAR_ASSIGN = 61,
    TOKEN_QUESTION = 62,
    TOKEN_EQUAL = 63,
    TOKEN_NOT_EQUAL = 64,
    TOKEN_LESS_EQUAL = 65,
    TOKEN_LESS = 66,
    TOKEN_GREATER_EQUAL = 67,
    TOKEN_GREATER = 68,
    TOKEN_AND = 69,
    TOKEN_NOT = 70,
    TOKEN_OR = 71,
    TOKEN_XOR = 72,
    TOKEN_INCREMENT = 73,
    TOKEN_DECREMENT = 74,
    TOKEN_IN = 75,
    TOKEN_OUT = 76,
    TOKEN_INOUT = 77,
    TOKEN_ENUM = 78,
    TOKEN_COLON = 79,
    TOKEN_PUBLIC = 80,
    TOKEN_PRIVATE = 81,
    TOKEN_PROTECTED = 82,
    TOKEN_CLASS = 83,
    TOKEN_STRUCT = 84,
    TOKEN_UNION = 85,
    TOKEN_SHADER = 86,
    TOKEN_TECHNIQUE = 87,
    TOKEN_BRDF = 88,
    TOKEN_IF = 89,
    TOKEN_ELSE = 90,
    TOKEN_WHILE = 91,
    TOKEN_DO = 92,
    TOKEN_FOR = 93,
    TOKEN_FOREACH = 94,
    TOKEN_CONTINUE = 95,
    TOKEN_BREAK = 96,
    TOKEN_RETURN = 97,
    TOKEN_SWITCH = 98,
    TOKEN_CASE = 99,
    TOKEN_DOT = 100,
    TOKEN_INT_CONSTANT = 101,
    TOKEN_HEX_INT_CONSTANT = 102,
    TOKEN_OCT_INT_CONSTANT = 103,
    TOKEN_FLOAT_CONSTANT = 104,
    TOKEN_TRUE = 105,
    TOKEN_FALSE = 106,
    TOKEN_STRING_CONSTANT = 107,
    TOKEN_WS = 108,
    TOKEN_PERCENT = 109,
    TOKEN_PERCENT_ASSIGN = 110,
    TOKEN_TILDE = 111,
    TOKEN_HASH = 112,
    TOKEN_BACKSLASH = 113,
    TOKEN_DIGIT = 114,
    TOKEN_NUMBER = 115,
    TOKEN_END_OF_LINE = 116,
    TOKEN_COMMENT = 117,
    TOKEN_CPP_COMMENT = 118,
};

constexpr int32_t TOKEN_TYPE_COUNT = 119;

// The first and last builtin type words: "void" to "Texture_cube".
constexpr int32_t FIRST_TYPE_TOKEN = TOKEN_VOID;
constexpr int32_t LAST_TYPE_TOKEN = TOKEN_TEXTURE_CUBE;

// A token is a small value. Its text points into the source buffer or into text storage that
// lives as long as the parse (merged strings, texts the preprocessor makes).
struct Token {
    int32_t type = TOKEN_INVALID;
    int32_t line = 0;
    int32_t column = 0;
    std::string_view text;
};

// The name of a token type for messages and tests: the word or symbol for keywords and
// punctuation ("Int", "::"), the token's name otherwise ("IDENTIFIER", "DOT"); "<invalid>" for
// numbers that name no token.
const char* token_type_name(int32_t type);

// Anything the parser can pull tokens from: the lexer, the preprocessor, a macro body.
class Token_stream {
public:
    virtual ~Token_stream() = default;
    virtual Token next_token() = 0;
};

}  // namespace FRONT12
}  // namespace QZ

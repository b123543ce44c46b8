#include "front12/token.h"

namespace QZ {
namespace FRONT12 {

namespace {

// ORDER: one entry per number of Token_type, 0 to TOKEN_TYPE_COUNT - 1.
const char* const token_type_names[TOKEN_TYPE_COUNT] = {
    "<invalid>", "EOF", "<invalid>", "NULL_TREE_LOOKAHEAD", "INCLUDE", "IMPORT", "default", ";",
    "auto", "register", "static", "extern", "mutable", "global", "::", "IDENTIFIER",
    "void", "String", "Bool", "Int", "Scalar", "Color",
    "Vector2", "Vector3", "Vector4", "Vector2i", "Vector3i", "Vector4i", "Vector2b", "Vector3b", "Vector4b",
    "Matrix2x2", "Matrix2x3", "Matrix3x2", "Matrix3x3", "Matrix4x3", "Matrix3x4", "Matrix4x4", "Matrix4x2",
    "Matrix2x4",
    "Texture1d", "Texture2d", "Texture3d", "Texture_cube",
    ",", "(", ")", "=", "[", "]", "{", "}",
    "native", "operator",
    "/", "/=", "+", "+=", "-", "-=", "*", "*=",
    "?",
    "==", "!=", "<=", "<", ">=", ">",
    "&&", "!", "||", "^^",
    "++", "--",
    "in", "out", "inout",
    "enum",
    ":",
    "public", "private", "protected",
    "class", "struct", "union", "shader", "technique", "brdf",
    "if", "else", "while", "do", "for", "foreach", "continue", "break", "return", "switch", "case",
    "DOT",
    "INT_CONSTANT", "HEX_INT_CONSTANT", "OCT_INT_CONSTANT", "FLOAT_CONSTANT",
    "true", "false",
    "STRING_CONSTANT",
    "WS_",
    "%", "%=", "~",
    "#", "\\",
    "DIGIT", "Number", "EndOfLine", "Comment", "CPPComment",
};

}  // namespace

const char* token_type_name(int32_t type)
{
    if (type < 0 || type >= TOKEN_TYPE_COUNT)
        return "<invalid>";
    return token_type_names[type];
}

}  // namespace FRONT12
}  // namespace QZ

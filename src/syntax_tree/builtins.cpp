#include "syntax_tree/builtins.h"

#include <set>
#include <string_view>

#include "syntax_tree/node_arena.h"
#include "syntax_tree/scope.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// Families of the tables: B, I, S (also called G in the library rows).
const Type_code family_b[4] = {TYPE_BOOLEAN, TYPE_VECTOR2B, TYPE_VECTOR3B, TYPE_VECTOR4B};
const Type_code family_i[4] = {TYPE_INT32, TYPE_VECTOR2I, TYPE_VECTOR3I, TYPE_VECTOR4I};
const Type_code family_s[4] = {TYPE_SCALAR, TYPE_VECTOR2, TYPE_VECTOR3, TYPE_VECTOR4};

std::string word(uint32_t code)
{
    return language_word(code);
}

// ----------------------------------------------------------------------------------------------
// Operators
//
// Each operator takes the union of some row sets; a row is (left, right, result), right
// TYPE_ILLEGAL for a unary operator. The mixed rows, which the table leaves open within its
// families, are decided so:
// - A vector meets its own scalar on either side: S vectors with Scalar, I vectors with Int;
//   the result is the vector. No row mixes families (no Vector3 with Int): Int reaches the S
//   rows through the Int to Scalar conversion, so `a * 2` on a Vector3 has exactly one
//   candidate.
// - Logical vectors meet Bool on either side; Bool with Bool is its single (T,T) row.
// - A Color operand keeps the result a Color: Color with Color, Scalar (either side) and
//   Vector4 (either side).
// - Matrix product rows of operator* that repeat a component-wise row (square shapes) are not
//   declared twice; the first row stands.
// - Compound assignments take the rows of their operator whose result is the left operand's
//   type, since the result is stored there. That yields exactly the extra operator*= rows
//   (RxC with CxC, a vector with a square matrix) and drops Scalar += Vector3 and the like.
// ----------------------------------------------------------------------------------------------

struct Operand_row {
    Type_code left;
    Type_code right;
    Type_code result;
};

using Rows = std::vector<Operand_row>;

Type_code bool_vector(uint32_t n)
{
    return vector_code(TYPE_BOOLEAN, n);
}

// (Bool,Bool), (Int,Int), (Scalar,Scalar); every vector with itself, component-wise; the
// colour pairs; String.
void rows_equality(Rows& rows)
{
    for (Type_code t : {TYPE_BOOLEAN, TYPE_INT32, TYPE_SCALAR})
        rows.push_back({t, t, TYPE_BOOLEAN});
    for (const Type_code* family : {family_b, family_i, family_s})
        for (uint32_t n = 2; n <= 4; ++n)
            rows.push_back({family[n - 1], family[n - 1], bool_vector(n)});
    rows.push_back({TYPE_COLOR, TYPE_VECTOR4, TYPE_VECTOR4B});
    rows.push_back({TYPE_VECTOR4, TYPE_COLOR, TYPE_VECTOR4B});
    rows.push_back({TYPE_COLOR, TYPE_COLOR, TYPE_VECTOR4B});
    rows.push_back({TYPE_STRING, TYPE_STRING, TYPE_BOOLEAN});
}

// The equality pairs of the I and S families.
void rows_relational(Rows& rows)
{
    rows.push_back({TYPE_INT32, TYPE_INT32, TYPE_BOOLEAN});
    rows.push_back({TYPE_SCALAR, TYPE_SCALAR, TYPE_BOOLEAN});
    for (const Type_code* family : {family_i, family_s})
        for (uint32_t n = 2; n <= 4; ++n)
            rows.push_back({family[n - 1], family[n - 1], bool_vector(n)});
}

void rows_not(Rows& rows)
{
    for (Type_code t : family_b)
        rows.push_back({t, TYPE_ILLEGAL, t});
}

void rows_logical(Rows& rows)
{
    for (Type_code t : family_b) {
        rows.push_back({t, t, t});
        if (t == TYPE_BOOLEAN)
            continue;
        rows.push_back({t, TYPE_BOOLEAN, t});
        rows.push_back({TYPE_BOOLEAN, t, t});
    }
}

void rows_same(Rows& rows)
{
    for (const Type_code* family : {family_i, family_s})
        for (uint32_t n = 1; n <= 4; ++n)
            rows.push_back({family[n - 1], family[n - 1], family[n - 1]});
}

void rows_spread(Rows& rows)
{
    for (const Type_code* family : {family_s, family_i}) {
        for (uint32_t n = 2; n <= 4; ++n) {
            rows.push_back({family[n - 1], family[0], family[n - 1]});
            rows.push_back({family[0], family[n - 1], family[n - 1]});
        }
    }
}

void rows_color(Rows& rows)
{
    rows.push_back({TYPE_COLOR, TYPE_COLOR, TYPE_COLOR});
    rows.push_back({TYPE_COLOR, TYPE_SCALAR, TYPE_COLOR});
    rows.push_back({TYPE_SCALAR, TYPE_COLOR, TYPE_COLOR});
    rows.push_back({TYPE_COLOR, TYPE_VECTOR4, TYPE_COLOR});
    rows.push_back({TYPE_VECTOR4, TYPE_COLOR, TYPE_COLOR});
}

// Matrices in the order of the M family: rows 2 to 4, then columns 2 to 4.
template <typename F>
void each_matrix(F&& f)
{
    for (uint32_t r = 2; r <= 4; ++r)
        for (uint32_t c = 2; c <= 4; ++c)
            f(r, c, matrix_code(r, c));
}

void rows_matrix_same(Rows& rows)
{
    each_matrix([&](uint32_t, uint32_t, Type_code m) { rows.push_back({m, m, m}); });
}

void rows_matrix_scalar(Rows& rows)
{
    each_matrix([&](uint32_t, uint32_t, Type_code m) {
        rows.push_back({m, TYPE_SCALAR, m});
        rows.push_back({TYPE_SCALAR, m, m});
    });
}

void rows_matrix_over_scalar(Rows& rows)
{
    each_matrix([&](uint32_t, uint32_t, Type_code m) { rows.push_back({m, TYPE_SCALAR, m}); });
}

// RxC = RxK * KxC; Vector R = RxC * Vector C; Vector C = Vector R * RxC.
void rows_matrix_product(Rows& rows)
{
    for (uint32_t r = 2; r <= 4; ++r)
        for (uint32_t k = 2; k <= 4; ++k)
            for (uint32_t c = 2; c <= 4; ++c)
                rows.push_back({matrix_code(r, k), matrix_code(k, c), matrix_code(r, c)});
    each_matrix([&](uint32_t r, uint32_t c, Type_code m) {
        rows.push_back({m, vector_code(TYPE_SCALAR, c), vector_code(TYPE_SCALAR, r)});
    });
    each_matrix([&](uint32_t r, uint32_t c, Type_code m) {
        rows.push_back({vector_code(TYPE_SCALAR, r), m, vector_code(TYPE_SCALAR, c)});
    });
}

void rows_step(Rows& rows)
{
    for (const Type_code* family : {family_i, family_s})
        for (uint32_t n = 1; n <= 4; ++n)
            rows.push_back({family[n - 1], TYPE_ILLEGAL, family[n - 1]});
}

// Each B, I, S, Color and M type with itself; Scalar takes Int; Color and Vector4 each other.
void rows_assign(Rows& rows)
{
    for (const Type_code* family : {family_b, family_i, family_s})
        for (uint32_t n = 1; n <= 4; ++n)
            rows.push_back({family[n - 1], family[n - 1], family[n - 1]});
    rows.push_back({TYPE_COLOR, TYPE_COLOR, TYPE_COLOR});
    each_matrix([&](uint32_t, uint32_t, Type_code m) { rows.push_back({m, m, m}); });
    rows.push_back({TYPE_SCALAR, TYPE_INT32, TYPE_SCALAR});
    rows.push_back({TYPE_COLOR, TYPE_VECTOR4, TYPE_COLOR});
    rows.push_back({TYPE_VECTOR4, TYPE_COLOR, TYPE_VECTOR4});
}

enum Row_set : uint32_t {
    ROWS_EQUALITY = 1u << 0,
    ROWS_RELATIONAL = 1u << 1,
    ROWS_NOT = 1u << 2,
    ROWS_LOGICAL = 1u << 3,
    ROWS_SAME = 1u << 4,
    ROWS_SPREAD = 1u << 5,
    ROWS_COLOR = 1u << 6,
    ROWS_MATRIX_SAME = 1u << 7,
    ROWS_MATRIX_SCALAR = 1u << 8,
    ROWS_MATRIX_OVER_SCALAR = 1u << 9,
    ROWS_MATRIX_PRODUCT = 1u << 10,
    ROWS_STEP = 1u << 11,
    ROWS_ASSIGN = 1u << 12,
};

// ORDER: one generator per Row_set bit, lowest bit first; rows come out in this order.
void (*const row_generators[])(Rows&) = {
    rows_equality,     rows_relational,    rows_not,      rows_logical,  rows_same,
    rows_spread,       rows_color,         rows_matrix_same, rows_matrix_scalar,
    rows_matrix_over_scalar, rows_matrix_product, rows_step, rows_assign,
};

constexpr uint32_t ROWS_ADDITIVE = ROWS_SAME | ROWS_SPREAD | ROWS_COLOR | ROWS_MATRIX_SAME | ROWS_MATRIX_SCALAR;
constexpr uint32_t ROWS_MULTIPLICATIVE = ROWS_ADDITIVE | ROWS_MATRIX_PRODUCT;
constexpr uint32_t ROWS_DIVISION = ROWS_SAME | ROWS_SPREAD | ROWS_COLOR | ROWS_MATRIX_OVER_SCALAR;

struct Operator_entry {
    const char* sign;
    uint32_t rows;
    const char* left_qualifier;  // "inout" for steps and compounds, "out" for assignment
    bool compound;               // keep only rows whose result is the left operand's type
};

const Operator_entry operator_table[] = {
    {"==", ROWS_EQUALITY, "", false},
    {"!=", ROWS_EQUALITY, "", false},
    {"<", ROWS_RELATIONAL, "", false},
    {"<=", ROWS_RELATIONAL, "", false},
    {">", ROWS_RELATIONAL, "", false},
    {">=", ROWS_RELATIONAL, "", false},
    {"!", ROWS_NOT, "", false},
    {"&&", ROWS_LOGICAL, "", false},
    {"||", ROWS_LOGICAL, "", false},
    {"^^", ROWS_LOGICAL, "", false},
    {"+", ROWS_ADDITIVE, "", false},
    {"-", ROWS_ADDITIVE, "", false},
    {"*", ROWS_MULTIPLICATIVE, "", false},
    {"/", ROWS_DIVISION, "", false},
    {"++", ROWS_STEP, "inout", false},
    {"--", ROWS_STEP, "inout", false},
    {"+=", ROWS_ADDITIVE, "inout", true},
    {"-=", ROWS_ADDITIVE, "inout", true},
    {"*=", ROWS_MULTIPLICATIVE, "inout", true},
    {"/=", ROWS_DIVISION, "inout", true},
    {"=", ROWS_ASSIGN, "out", false},
};

// ----------------------------------------------------------------------------------------------
// Types and library functions, written as prototype templates: "@" is the row's name, "T" the
// family member, "U" the transposed matrix of T. A STRUCT form lists members "Type name; ...".
// ----------------------------------------------------------------------------------------------

enum Family : uint32_t {
    ONE = 0,              // a single prototype, no T
    FAMILY_B = 1u << 0,   // Bool, Vector2b..4b
    FAMILY_G = 1u << 1,   // Scalar, Vector2..4
    FAMILY_I = 1u << 2,   // Int, Vector2i..4i
    FAMILY_GV = 1u << 3,  // Vector2..4
    FAMILY_V = 1u << 4,   // Vector2b..4b, Vector2i..4i, Vector2..4
    FAMILY_LENGTH = 1u << 5,  // Vector2..4, Color
    FAMILY_M = 1u << 6,   // Matrix2x2 .. Matrix4x4, rows then columns
    STRUCT = 1u << 7,
};

struct Form {
    uint32_t family;
    const char* text;
};

struct Template_row {
    const char* names;  // separated by spaces; each name takes all forms in turn
    Form forms[5];
};

const Template_row type_rows[] = {
    {"Ray",
     {{ONE, "@ @(Vector3 o, Vector3 d)"},
      {STRUCT, "Vector3 origin; Vector3 direction"},
      {ONE, "@ operator=(out @ x, @ y)"}}},
    {"Trace_options Occlusion_options", {{ONE, "@ @()"}, {STRUCT, ""}, {ONE, "@ operator=(out @ x, @ y)"}}},
    // The members are those the light rewriting fills in.
    {"Light_iterator",
     {{ONE, "@ @()"},
      {STRUCT, "Vector3 direction; Scalar distance; Scalar dot_nl; Vector3 point; Color shadow; Int count; "
               "Color raw_contribution; Color contribution"},
      {ONE, "@ operator=(out @ x, @ y)"}}},
    {"Sample_iterator",
     {{ONE, "@ @(Int n)"},
      {STRUCT, "Scalar sample; Vector2 sample2; Vector3 sample3; Vector4 sample4"},
      {ONE, "@ operator=(out @ x, @ y)"}}},
    {"String",
     {{ONE, "String String()"},
      {ONE, "String String(String s)"},
      {ONE, "String operator+(String x, String y)"},
      {ONE, "String operator=(out String x, String y)"},
      {ONE, "String operator+=(inout String x, String y)"}}},
    {"Texture1d Texture2d Texture3d Texture_cube",
     {{ONE, "@ operator=(out @ x, @ y)"}, {ONE, "String operator=(out String x, @ y)"}}},
};

const Template_row function_rows[] = {
    {"all any", {{FAMILY_B, "Bool @(T x)"}}},
    {"abs sign", {{FAMILY_G | FAMILY_I, "T @(T x)"}}},
    {"clamp", {{FAMILY_G | FAMILY_I, "T @(T x, T min, T max)"}}},
    {"fmod pow", {{FAMILY_G, "T @(T a, T b)"}, {FAMILY_GV, "T @(T a, Scalar b)"}}},
    {"max min", {{FAMILY_G | FAMILY_I, "T @(T a, T b)"}}},
    {"acos asin atan ceil cos degrees exp exp2 floor frac log log2 log10 radians round rsqrt saturate sin sqrt tan",
     {{FAMILY_G, "T @(T x)"}}},
    {"atan2", {{FAMILY_G, "T @(T y, T x)"}}},
    {"modf", {{FAMILY_G, "T @(T x, out T i)"}}},
    {"sincos", {{FAMILY_G, "void @(T x, out T s, out T c)"}}},
    {"smoothstep", {{FAMILY_G, "T @(T a, T b, T x)"}}},
    {"step", {{FAMILY_G, "T @(T a, T b)"}}},
    {"lerp",
     {{FAMILY_G, "T @(T a, T b, T x)"},
      {FAMILY_GV, "T @(T a, T b, Scalar x)"},
      {ONE, "Color @(Color a, Color b, Scalar x)"},
      {ONE, "Color @(Color a, Color b, Color x)"}}},
    {"ddx ddy", {{FAMILY_G, "T @(T a)"}}},
    {"transpose", {{FAMILY_M, "U @(T tm)"}}},
    {"length", {{FAMILY_LENGTH, "Scalar @(T x)"}}},
    {"distance", {{FAMILY_LENGTH, "Scalar @(T x, T y)"}}},
    {"faceforward", {{FAMILY_V, "T @(T n, T i, T ng)"}}},
    {"normalize", {{FAMILY_V, "T @(T x)"}}},
    {"dot", {{FAMILY_V, "Scalar @(T x, T y)"}}},
    {"cross", {{ONE, "Vector3 @(Vector3 a, Vector3 b)"}}},
    {"reflect", {{ONE, "Vector3 @(Vector3 i, Vector3 n)"}}},
    {"refract", {{ONE, "Vector3 @(Vector3 i, Vector3 n, Scalar eta)"}}},
    {"tex1D",
     {{ONE, "Color @(Texture1d tex, Scalar coord)"},
      {ONE, "Color @(Texture1d tex, Scalar coord, Scalar coord_dx, Scalar coord_dy)"}}},
    {"tex2D",
     {{ONE, "Color @(Texture2d tex, Vector2 coord)"},
      {ONE, "Color @(Texture2d tex, Vector2 coord, Vector2 coord_dx, Vector2 coord_dy)"}}},
    {"tex3D",
     {{ONE, "Color @(Texture3d tex, Vector3 coord)"},
      {ONE, "Color @(Texture3d tex, Vector3 coord, Vector3 coord_dx, Vector3 coord_dy)"}}},
    {"texCUBE",
     {{ONE, "Color @(Texture_cube tex, Vector3 coord)"},
      {ONE, "Color @(Texture_cube tex, Vector3 coord, Vector3 coord_dx, Vector3 coord_dy)"}}},
};

// The members of a family bit, in declaration order.
std::vector<Type_code> family_members(uint32_t bit)
{
    std::vector<Type_code> members;
    switch (Family(bit)) {
    case FAMILY_B:
        return {std::begin(family_b), std::end(family_b)};
    case FAMILY_G:
        return {std::begin(family_s), std::end(family_s)};
    case FAMILY_I:
        return {std::begin(family_i), std::end(family_i)};
    case FAMILY_GV:
        return {TYPE_VECTOR2, TYPE_VECTOR3, TYPE_VECTOR4};
    case FAMILY_V:
        for (const Type_code* family : {family_b, family_i, family_s})
            members.insert(members.end(), family + 1, family + 4);
        return members;
    case FAMILY_LENGTH:
        return {TYPE_VECTOR2, TYPE_VECTOR3, TYPE_VECTOR4, TYPE_COLOR};
    case FAMILY_M:
        each_matrix([&](uint32_t, uint32_t, Type_code m) { members.push_back(m); });
        return members;
    case ONE:
    case STRUCT:
        return members;
    }
    return members;
}

std::vector<std::string_view> split(std::string_view text, char separator)
{
    std::vector<std::string_view> parts;
    while (!text.empty()) {
        size_t end = text.find(separator);
        std::string_view part = text.substr(0, end);
        while (!part.empty() && part.front() == ' ')
            part.remove_prefix(1);
        while (!part.empty() && part.back() == ' ')
            part.remove_suffix(1);
        if (!part.empty())
            parts.push_back(part);
        if (end == std::string_view::npos)
            break;
        text.remove_prefix(end + 1);
    }
    return parts;
}

struct Substitution {
    std::string name;  // @
    std::string t;     // T
    std::string u;     // U
};

std::string substitute(std::string_view token, const Substitution& s)
{
    if (token == "@")
        return s.name;
    if (token == "T")
        return s.t;
    if (token == "U")
        return s.u;
    return std::string(token);
}

// "[qualifier] Type name" with the tokens substituted.
Builtin_parameter parse_parameter(std::string_view text, const Substitution& s)
{
    std::vector<std::string_view> tokens = split(text, ' ');
    Builtin_parameter parameter;
    size_t first = tokens.size() == 3 ? 1 : 0;
    if (first)
        parameter.qualifier = std::string(tokens[0]);
    parameter.type = substitute(tokens[first], s);
    parameter.name = substitute(tokens[first + 1], s);
    return parameter;
}

Builtin_declaration parse_prototype(std::string_view text, const Substitution& s)
{
    size_t open = text.find('(');
    size_t close = text.rfind(')');
    std::vector<std::string_view> head = split(text.substr(0, open), ' ');
    Builtin_declaration declaration;
    declaration.result = substitute(head[0], s);
    declaration.name = substitute(head[1], s);
    for (std::string_view parameter : split(text.substr(open + 1, close - open - 1), ','))
        declaration.parameters.push_back(parse_parameter(parameter, s));
    return declaration;
}

Builtin_declaration parse_struct(std::string_view members, const Substitution& s)
{
    Builtin_declaration declaration;
    declaration.is_struct = true;
    declaration.name = s.name;
    for (std::string_view member : split(members, ';'))
        declaration.parameters.push_back(parse_parameter(member, s));
    return declaration;
}

std::string transposed(Type_code matrix)
{
    uint32_t rows = 0;
    uint32_t columns = 0;
    if (!matrix_shape(matrix, &rows, &columns))
        return std::string();
    return word(matrix_code(columns, rows));
}

class Builder {
public:
    void add(Builtin_declaration declaration)
    {
        if (seen_.insert(declaration.signature()).second)
            declarations_.push_back(std::move(declaration));
    }

    void add_operators()
    {
        for (const Operator_entry& entry : operator_table) {
            Rows rows;
            for (size_t bit = 0; bit < std::size(row_generators); ++bit)
                if (entry.rows & (1u << bit))
                    row_generators[bit](rows);
            for (const Operand_row& row : rows)
                if (!entry.compound || row.result == row.left)
                    add(operator_declaration(entry, row));
        }
    }

    void add_templates(const Template_row* rows, size_t count)
    {
        for (size_t i = 0; i < count; ++i)
            for (std::string_view name : split(rows[i].names, ' '))
                for (const Form& form : rows[i].forms)
                    if (form.text)
                        add_form(std::string(name), form);
    }

    // Texture_sampler_<dimension>_<value>: a type, then its constructors with the texture,
    // a blur of the value's type or Scalar, and a filter word.
    void add_samplers()
    {
        const char* const dimensions[] = {"1d", "2d", "3d", "cube"};
        const Type_code textures[] = {TYPE_TEXTURE1D, TYPE_TEXTURE2D, TYPE_TEXTURE3D, TYPE_TEXTURE_CUBE};
        const char* const values[] = {"scalar", "vector2", "vector3", "vector4"};
        for (size_t d = 0; d < 4; ++d) {
            for (size_t v = 0; v < 4; ++v) {
                Substitution s{std::string("Texture_sampler_") + dimensions[d] + "_" + values[v], word(textures[d]),
                               word(family_s[v])};
                add(parse_struct("", s));
                std::vector<std::string> blurs{s.u};
                if (s.u != "Scalar")
                    blurs.push_back("Scalar");
                add(parse_prototype("@ @(T texture)", s));
                for (const std::string& blur : blurs)
                    add(parse_prototype("@ @(T texture, " + blur + " blur)", s));
                for (const std::string& blur : blurs)
                    add(parse_prototype("@ @(T texture, " + blur + " blur, String filter)", s));
            }
        }
    }

    std::vector<Builtin_declaration> take() { return std::move(declarations_); }

private:
    static Builtin_declaration operator_declaration(const Operator_entry& entry, const Operand_row& row)
    {
        Builtin_declaration declaration;
        declaration.result = word(row.result);
        declaration.name = std::string("operator") + entry.sign;
        declaration.parameters.push_back({entry.left_qualifier, word(row.left), "x"});
        if (row.right != TYPE_ILLEGAL)
            declaration.parameters.push_back({"", word(row.right), "y"});
        return declaration;
    }

    void add_form(const std::string& name, const Form& form)
    {
        if (form.family == STRUCT) {
            add(parse_struct(form.text, {name, "", ""}));
            return;
        }
        if (form.family == ONE) {
            add(parse_prototype(form.text, {name, "", ""}));
            return;
        }
        for (uint32_t bit = 1; bit < STRUCT; bit <<= 1) {
            if (!(form.family & bit))
                continue;
            for (Type_code member : family_members(bit))
                add(parse_prototype(form.text, {name, word(member), transposed(member)}));
        }
    }

    std::vector<Builtin_declaration> declarations_;
    std::set<std::string> seen_;
};

St_node* type_specifier(const std::string& type, const File_name& file)
{
    return new St_node(NODE_SIMPLE_TYPE_SPECIFIER, file, type);
}

// FUNCTION_PARAMETER name { [PARAMETER_QUALIFIER], SIMPLE_TYPE_SPECIFIER }
St_node* parameter_node(const Builtin_parameter& parameter, const File_name& file)
{
    St_node* qualifier =
        parameter.qualifier.empty() ? nullptr : new St_node(NODE_PARAMETER_QUALIFIER, file, parameter.qualifier);
    return new St_node(NODE_FUNCTION_PARAMETER, file, parameter.name,
                       {qualifier, type_specifier(parameter.type, file)});
}

// FUNCTION_DECLARATION { SIMPLE_TYPE_SPECIFIER, FUNCTION_DECLARATOR { IDENTIFIER },
//                        [FUNCTION_PARAMETER_LIST { FUNCTION_PARAMETER... }] }
// An empty parameter list "()" has no list node, as in a parse.
St_node* function_node(const Builtin_declaration& declaration, const File_name& file)
{
    St_node* list = nullptr;
    if (!declaration.parameters.empty()) {
        list = new St_node(NODE_FUNCTION_PARAMETER_LIST, file);
        for (const Builtin_parameter& parameter : declaration.parameters)
            list->add_child(parameter_node(parameter, file));
    }
    St_node* declarator =
        new St_node(NODE_FUNCTION_DECLARATOR, file, {new St_node(NODE_IDENTIFIER, file, declaration.name)});
    return new St_node(NODE_FUNCTION_DECLARATION, file, {type_specifier(declaration.result, file), declarator, list});
}

// CLASS_DECLARATION "struct" { IDENTIFIER, CLASS_MEMBER_DECLARATION_BLOCK_LIST {
//     CLASS_MEMBER_DECLARATION_BLOCK "member" { VARIABLE_DECLARATION... } } }
// with one VARIABLE_DECLARATION { VARIABLE_SPECIFIERS { SIMPLE_TYPE_SPECIFIER },
// INIT_IDENTIFIER_LIST { INIT_IDENTIFIER } } per member. A struct without members has an
// empty block list, as "struct X { };" parses.
St_node* struct_node(const Builtin_declaration& declaration, const File_name& file)
{
    St_node* block = nullptr;
    if (!declaration.parameters.empty())
        block = new St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, file, "member");
    for (const Builtin_parameter& member : declaration.parameters) {
        St_node* specifiers = new St_node(NODE_VARIABLE_SPECIFIERS, file, {type_specifier(member.type, file)});
        St_node* names =
            new St_node(NODE_INIT_IDENTIFIER_LIST, file, {new St_node(NODE_INIT_IDENTIFIER, file, member.name)});
        block->add_child(new St_node(NODE_VARIABLE_DECLARATION, file, {specifiers, names}));
    }
    St_node* blocks = new St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST, file, {block});
    return new St_node(NODE_CLASS_DECLARATION, file, "struct",
                       {new St_node(NODE_IDENTIFIER, file, declaration.name), blocks});
}

// ----------------------------------------------------------------------------------------------
// The table made ahead of time from the templates above (scripts/update_builtin_table.sh), read
// at start: expanding the templates costs several times more than building the trees.
// ----------------------------------------------------------------------------------------------

#include "syntax_tree/builtin_table.inc"

class Table_reader {
public:
    explicit Table_reader(size_t at = 0) : next_(at) {}
    bool at_end() const { return next_ >= std::size(builtin_codes); }
    size_t position() const { return next_; }
    void skip(size_t words) { next_ += words; }

    // The parameter or member count of the next entry.
    unsigned head(bool* is_struct)
    {
        unsigned code = builtin_codes[next_++];
        *is_struct = (code & BUILTIN_STRUCT_FLAG) != 0;
        return code & ~BUILTIN_STRUCT_FLAG;
    }

    // Behind its mark: a text that nodes share rather than copy.
    const char* word() { return builtin_words[builtin_codes[next_++]] + 1; }

private:
    size_t next_ = 0;
};

St_node* word_node(int32_t kind, const File_name& file, const char* word,
                   std::initializer_list<St_node*> children = {}, Node_arena* arena = nullptr)
{
    St_node* node = new (arena) St_node(kind, file, children);
    node->set_static_text(word);
    return node;
}

// The same shapes as parameter_node, function_node and struct_node, read from the table.
St_node* table_parameter_node(Table_reader& table, const File_name& file, Node_arena* arena)
{
    const char* qualifier = table.word();
    const char* type = table.word();
    const char* name = table.word();
    St_node* qualifier_node = *qualifier ? word_node(NODE_PARAMETER_QUALIFIER, file, qualifier, {}, arena) : nullptr;
    return word_node(NODE_FUNCTION_PARAMETER, file, name,
                     {qualifier_node, word_node(NODE_SIMPLE_TYPE_SPECIFIER, file, type, {}, arena)}, arena);
}

St_node* table_function_node(Table_reader& table, unsigned count, const File_name& file, Node_arena* arena = nullptr)
{
    St_node* result = word_node(NODE_SIMPLE_TYPE_SPECIFIER, file, table.word(), {}, arena);
    St_node* declarator =
        new (arena) St_node(NODE_FUNCTION_DECLARATOR, file, {word_node(NODE_IDENTIFIER, file, table.word(), {}, arena)});
    St_node* list = nullptr;
    if (count > 0) {
        list = new (arena) St_node(NODE_FUNCTION_PARAMETER_LIST, file);
        St_node** tail = &list->first_child;
        for (unsigned i = 0; i < count; ++i, tail = &(*tail)->next_sibling)
            *tail = table_parameter_node(table, file, arena);
    }
    return new (arena) St_node(NODE_FUNCTION_DECLARATION, file, {result, declarator, list});
}

// In arena when one is given: the prelude's list holds the struct types.
St_node* table_struct_node(Table_reader& table, unsigned count, const File_name& file, Node_arena* arena = nullptr)
{
    table.word();  // a struct has no result
    St_node* name = word_node(NODE_IDENTIFIER, file, table.word(), {}, arena);
    St_node* block = count > 0 ? new (arena) St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, file, "member") : nullptr;
    for (unsigned i = 0; i < count; ++i) {
        table.word();  // members have no qualifier
        St_node* specifiers = new (arena)
            St_node(NODE_VARIABLE_SPECIFIERS, file, {word_node(NODE_SIMPLE_TYPE_SPECIFIER, file, table.word(), {}, arena)});
        St_node* names = new (arena)
            St_node(NODE_INIT_IDENTIFIER_LIST, file, {word_node(NODE_INIT_IDENTIFIER, file, table.word(), {}, arena)});
        block->add_child(new (arena) St_node(NODE_VARIABLE_DECLARATION, file, {specifiers, names}));
    }
    St_node* blocks = new (arena) St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST, file, {block});
    return new (arena) St_node(NODE_CLASS_DECLARATION, file, "struct", {name, blocks});
}

}  // namespace

std::string Builtin_declaration::signature() const
{
    std::string text;
    if (is_struct) {
        text = "struct " + name + " {";
        for (const Builtin_parameter& member : parameters)
            text += " " + member.type + " " + member.name + ";";
        return text + " }";
    }
    text = result + " " + name + "(";
    for (size_t i = 0; i < parameters.size(); ++i) {
        if (i)
            text += ", ";
        if (!parameters[i].qualifier.empty())
            text += parameters[i].qualifier + " ";
        text += parameters[i].type + " " + parameters[i].name;
    }
    return text + ")";
}

std::vector<Builtin_declaration> builtin_declarations_from_templates()
{
    Builder builder;
    builder.add_operators();
    builder.add_templates(type_rows, std::size(type_rows));
    builder.add_samplers();
    builder.add_templates(function_rows, std::size(function_rows));
    return builder.take();
}

std::vector<Builtin_declaration> builtin_declarations()
{
    std::vector<Builtin_declaration> declarations;
    for (Table_reader table; !table.at_end();) {
        Builtin_declaration declaration;
        unsigned count = table.head(&declaration.is_struct);
        declaration.result = table.word();
        declaration.name = table.word();
        for (unsigned i = 0; i < count; ++i) {
            Builtin_parameter parameter;
            parameter.qualifier = table.word();
            parameter.type = table.word();
            parameter.name = table.word();
            declaration.parameters.push_back(std::move(parameter));
        }
        declarations.push_back(std::move(declaration));
    }
    return declarations;
}

St_node* make_builtin_node(const Builtin_declaration& declaration, const File_name& file)
{
    return declaration.is_struct ? struct_node(declaration, file) : function_node(declaration, file);
}

std::vector<St_node*> make_builtin_nodes()
{
    File_name file = make_file_name(BUILTIN_FILE_NAME);
    std::vector<St_node*> nodes;
    nodes.reserve(1024);
    for (Table_reader table; !table.at_end();) {
        bool is_struct = false;
        unsigned count = table.head(&is_struct);
        nodes.push_back(is_struct ? table_struct_node(table, count, file) : table_function_node(table, count, file));
    }
    return nodes;
}

namespace {

void append_nodes(St_node* declaration_list, const std::vector<St_node*>& nodes)
{
    if (!declaration_list || nodes.empty()) {
        for (St_node* node : nodes)
            delete node;
        return;
    }
    // Linked in one pass: add_child would walk the whole list for each of a thousand nodes.
    for (size_t i = 1; i < nodes.size(); ++i)
        nodes[i - 1]->next_sibling = nodes[i];
    St_node** tail = &declaration_list->first_child;
    while (*tail)
        tail = &(*tail)->next_sibling;
    *tail = nodes.front();
}

}  // namespace

void append_builtin_declarations(St_node* declaration_list)
{
    append_nodes(declaration_list, make_builtin_nodes());
}

void append_builtin_types(St_node* declaration_list)
{
    File_name file = make_file_name(BUILTIN_FILE_NAME);
    std::vector<St_node*> nodes;
    for (Table_reader table; !table.at_end();) {
        bool is_struct = false;
        unsigned count = table.head(&is_struct);
        if (is_struct)
            nodes.push_back(table_struct_node(table, count, file, Node_arena::of(declaration_list)));
        else
            table.skip(2 + 3 * count);  // result, name, then three words a parameter
    }
    append_nodes(declaration_list, nodes);
}

std::vector<Builtin_function> builtin_functions()
{
    std::vector<Builtin_function> functions;
    functions.reserve(1024);
    for (Table_reader table; !table.at_end();) {
        uint32_t at = uint32_t(table.position());
        bool is_struct = false;
        unsigned count = table.head(&is_struct);
        table.word();
        const char* name = table.word();
        if (!is_struct)
            functions.push_back({name, at});
        table.skip(3 * count);
    }
    return functions;
}

St_node* make_builtin_function_node(uint32_t at, const File_name& file, Node_arena* arena)
{
    Table_reader table(at);
    bool is_struct = false;
    unsigned count = table.head(&is_struct);
    return is_struct ? nullptr : table_function_node(table, count, file, arena);
}

void builtin_written_signature(uint32_t at, std::string& signature)
{
    signature.clear();
    Table_reader table(at);
    bool is_struct = false;
    unsigned count = table.head(&is_struct);
    table.word();
    table.word();
    for (unsigned i = 0; i < count; ++i) {
        std::string_view qualifier = table.word();
        std::string_view type = table.word();
        table.word();
        append_written_parameter(signature, qualifier == "out" || qualifier == "inout", type, nullptr);
    }
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

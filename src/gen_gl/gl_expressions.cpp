// The GL tree walk: what its expressions and statements print differently from the FX walk.
// GLSL 1.10 converts nothing implicitly, so the printer works out the GLSL type of every
// operand it prints and writes the conversions itself.
#include <algorithm>
#include <cstring>

#include "back12/light_types.h"
#include "gen_gl/gl_code_generator.h"
#include "gen_gl/mod_gen_gl.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_GL {

using BACK12::declared_type;
using BACK12::initializer_of;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

// Deeper nesting than this is taken as a fault of the tree; the walk stops there with a message.
constexpr int32_t MAX_NESTING = 256;

// The type word of a specifier: a nested one names its type last.
std::string_view specifier_word(const St_node* specifier)
{
    if (!specifier)
        return {};
    if (specifier->kind != ST::NODE_NESTED_TYPE_SPECIFIER)
        return specifier->text_view();
    const St_node* last = specifier->first_child;
    while (last && last->next_sibling)
        last = last->next_sibling;
    return last ? last->text_view() : std::string_view();
}

std::string local_name(std::string_view name)
{
    size_t scope = name.rfind("::");
    return std::string(scope == std::string_view::npos ? name : name.substr(scope + 2));
}

bool one_of(std::string_view name, std::initializer_list<const char*> names)
{
    for (const char* candidate : names)
        if (name == candidate)
            return true;
    return false;
}

// Built-in functions whose scalar arguments widen to the vectors beside them.
bool widens_scalars(std::string_view name)
{
    return one_of(name, {"clamp", "fmod", "lerp", "max", "min", "pow", "smoothstep", "step", "cross", "distance", "dot",
                         "faceforward", "tex1D", "tex2D", "tex3D", "texCUBE"});
}

const char* comparison_function(std::string_view op)
{
    if (op == "<")
        return "lessThan";
    if (op == "<=")
        return "lessThanEqual";
    if (op == "==")
        return "equal";
    if (op == "!=")
        return "notEqual";
    if (op == ">=")
        return "greaterThanEqual";
    if (op == ">")
        return "greaterThan";
    return nullptr;
}

bool is_float_based(const Gl_value_type& type)
{
    return type.kind == Gl_value_type::FLOAT || type.kind == Gl_value_type::MATRIX;
}

uint32_t held_size(const Gl_value_type& type)
{
    return std::max(type.rows, type.columns);
}

}  // namespace

// Value types

Gl_value_type Gl_value_type::of_code(uint32_t code, uint32_t array_size)
{
    if (array_size != 1)
        return make(OTHER, 0);
    switch (code) {
    case ST::TYPE_ILLEGAL:
        return Gl_value_type();
    case ST::TYPE_BOOLEAN:
        return make(BOOL, 1);
    case ST::TYPE_INT8:
    case ST::TYPE_INT16:
    case ST::TYPE_INT32:
    case ST::TYPE_INT64:
    case ST::TYPE_STRING:
        return make(INT, 1);
    case ST::TYPE_SCALAR:
    case ST::TYPE_DSCALAR:
    case ST::TYPE_GSCALAR:
        return make(FLOAT, 1);
    case ST::TYPE_COLOR:
        return make(FLOAT, 4);
    default:
        break;
    }
    uint32_t rows = 0;
    uint32_t columns = 0;
    if (ST::matrix_shape(code, &rows, &columns))
        return Gl_value_type{MATRIX, 0, rows, columns};
    if (code >= ST::TYPE_VECTOR2 && code <= ST::TYPE_VECTOR4)
        return make(FLOAT, code - ST::TYPE_VECTOR2 + 2);
    if (code >= ST::TYPE_VECTOR2I && code <= ST::TYPE_VECTOR4I)
        return make(INT, code - ST::TYPE_VECTOR2I + 2);
    if (code >= ST::TYPE_VECTOR2B && code <= ST::TYPE_VECTOR4B)
        return make(BOOL, code - ST::TYPE_VECTOR2B + 2);
    return make(OTHER, 0);
}

std::string gl_type_word(const Gl_value_type& type)
{
    const char* scalar = nullptr;
    const char* prefix = nullptr;
    switch (type.kind) {
    case Gl_value_type::BOOL:
        scalar = "bool";
        prefix = "bvec";
        break;
    case Gl_value_type::INT:
        scalar = "int";
        prefix = "ivec";
        break;
    case Gl_value_type::FLOAT:
        scalar = "float";
        prefix = "vec";
        break;
    case Gl_value_type::MATRIX:
        return "mat" + std::to_string(held_size(type));
    case Gl_value_type::UNKNOWN:
    case Gl_value_type::OTHER:
        return std::string();
    }
    if (type.width == 1)
        return scalar;
    if (type.width >= 2 && type.width <= 4)
        return prefix + std::to_string(type.width);
    return std::string();
}

std::string gl_conversion_open(const Gl_value_type& source, const Gl_value_type& target)
{
    if (!source.numeric() || !target.numeric() || source.same(target))
        return std::string();
    if (target.kind == Gl_value_type::BOOL) {
        if (target.width == 1) {
            if (source.width != 1)
                return std::string();
            if (source.kind == Gl_value_type::INT)
                return "(0 < ";
            return "(0.0 < ";
        }
        // A boolean vector from a numeric one: which components are above zero.
        if (source.width == target.width && source.kind != Gl_value_type::BOOL) {
            std::string zero = source.kind == Gl_value_type::INT ? gl_type_word(source) + "(0)"
                                                                 : gl_type_word(source) + "(0.0)";
            return "lessThan(" + zero + ", ";
        }
        if (source.width == 1 || source.width == target.width)
            return gl_type_word(target) + "(";
        return std::string();
    }
    // Numbers: a kind changes through the constructor, a scalar spreads over a vector; vectors
    // of another width are not converted.
    if (source.width != 1 && source.width != target.width)
        return std::string();
    return gl_type_word(target) + "(";
}

Gl_value_type Gl_code_generator::type_of_index(int32_t type_index) const
{
    const Type* type = unit_ ? unit_->type_at(type_index) : nullptr;
    if (!type)
        return Gl_value_type();
    return Gl_value_type::of_code(type->code(), type->array_size());
}

Gl_value_type Gl_code_generator::semantic_type(const St_node* node) const
{
    return node ? type_of_index(node->type_index) : Gl_value_type();
}

// A declared type by its word: a language type, an enum (an Int) or something else.
Gl_value_type Gl_code_generator::declared_value_type(const St_node* specifier) const
{
    std::string word(specifier_word(specifier));
    int32_t code = ST::language_word_code(word.c_str());
    if (code > 0)
        return Gl_value_type::of_code(uint32_t(code));
    for (const SYNTAX_TREE::Compilation_unit* unit : input_.units)
        if (unit->find_enum(word) >= 0)
            return Gl_value_type::make(Gl_value_type::INT, 1);
    return specifier ? Gl_value_type::make(Gl_value_type::OTHER, 0) : Gl_value_type();
}

bool Gl_code_generator::is_non_square(const Gl_value_type& type) const
{
    return type.kind == Gl_value_type::MATRIX && type.rows != type.columns;
}

Gl_value_type Gl_code_generator::printed_type(const St_node* node) const
{
    using K = Gl_value_type;
    // A list is its last item, a transform its point: followed without recursion.
    for (int32_t step = 0; node && step < MAX_NESTING; ++step) {
        if (node->kind == ST::NODE_EXPRESSION_LIST) {
            const St_node* last = node->first_child;
            while (last && last->next_sibling)
                last = last->next_sibling;
            node = last;
            continue;
        }
        int32_t index = node->kind == ST::NODE_STATE_FUNCTION_REFERENCE ? BACK12::state_reference_index(node) : -1;
        if (index < 15 || index > 17)
            break;
        const St_node* arguments = BACK12::call_arguments(node);
        node = arguments ? arguments->child(2) : nullptr;
    }
    if (!node)
        return Gl_value_type();
    switch (node->kind) {
    case ST::NODE_INT_CONSTANT:
    case ST::NODE_HEX_CONSTANT:
    case ST::NODE_OCT_CONSTANT:
    case ST::NODE_STRING_CONSTANT:
        return K::make(K::INT, 1);
    case ST::NODE_FLOAT_CONSTANT:
        return K::make(K::FLOAT, 1);
    case ST::NODE_BOOL_CONSTANT:
        return K::make(K::BOOL, 1);
    case ST::NODE_EXPRESSION_LIST:
        return Gl_value_type();
    case ST::NODE_VARIABLE_ID: {
        std::string name(node->text_view());
        for (const SYNTAX_TREE::Compilation_unit* unit : input_.units)
            if (unit->find_enum_value(name))
                return K::make(K::INT, 1);
        if (BACK12::light_type_macro(name))
            return K::make(K::INT, 1);
        return semantic_type(node);
    }
    case ST::NODE_STATE_VARIABLE_REFERENCE: {
        int32_t index = BACK12::state_reference_index(node);
        if (index < 0 || index >= ST::STATE_VARIABLE_COUNT || state_texts_[index].empty())
            return Gl_value_type();
        return semantic_type(node);
    }
    case ST::NODE_STATE_FUNCTION_REFERENCE: {
        // What the state function prints, not what the language says it returns.
        switch (BACK12::state_reference_index(node)) {
        case 0:
            return K::make(K::FLOAT, 1);
        case 2:
        case 3:
        case 4:
        case 5:
        case 9:
            return K::make(K::BOOL, 1);
        case 1:
        case 7:
        case 8:
        case 21:
            return K::make(K::INT, 1);
        case 6:
        case 18:
        case 19:
        case 20:
            return K::make(K::FLOAT, 4);
        case 14:
            return Gl_value_type{K::MATRIX, 0, 4, 4};
        default:
            return Gl_value_type();
        }
    }
    case ST::NODE_CLASS_MEMBER_REF_EXPRESSION: {
        const St_node* base = node->first_child;
        const St_node* selector = base ? base->next_sibling : nullptr;
        const Type* base_type = type_of(base);
        if (base_type && base_type->is_array())
            return K::make(K::INT, 1);
        const char* name = base_type && base_type->is_struct() ? base_type->name() : nullptr;
        std::string_view member = selector ? selector->text_view() : std::string_view();
        if (name && std::strcmp(name, "Sample_iterator") == 0) {
            if (member == "sample2" || member == "sample3" || member == "sample4")
                return K::make(K::FLOAT, uint32_t(member.back() - '0'));
            return K::make(K::FLOAT, 1);
        }
        if (name && std::strcmp(name, "Light_iterator_options") == 0)
            return K::make(K::BOOL, 1);
        if (name && std::strcmp(name, "Light_iterator") == 0 &&
            !base_type->find_member(std::string(member).c_str()))
            return K::make(K::BOOL, 1);
        return semantic_type(node);
    }
    case ST::NODE_ADDITIVE_EXPRESSION:
    case ST::NODE_MULTIPLICATIVE_EXPRESSION:
    case ST::NODE_UNARY_EXPRESSION: {
        // An Int operation with an operand that prints as a float is done in floats.
        Gl_value_type type = semantic_type(node);
        const St_node* first = node->first_child;
        const St_node* second = first ? first->next_sibling : nullptr;
        if (type.kind == K::INT && (printed_type(first).kind == K::FLOAT || printed_type(second).kind == K::FLOAT))
            type.kind = K::FLOAT;
        return type;
    }
    case ST::NODE_FUNCTION_CALL_EXPRESSION: {
        std::string name = local_name(node->text_view());
        Gl_value_type type = semantic_type(node);
        // GLSL 1.10 has its numeric functions for floats only: arguments go in as floats and
        // the result comes out as one.
        if (!unit_functions_.count(name) && !is_struct_name(std::string(node->text_view())) &&
            type.kind == K::INT)
            type.kind = K::FLOAT;
        return type;
    }
    default:
        return semantic_type(node);
    }
}

// Names

std::string Gl_code_generator::identifier(std::string_view name) const
{
    if (const char* macro = BACK12::light_type_macro(name))
        return macro;
    std::string key(name);
    auto found = identifier_map_.find(key);
    return found != identifier_map_.end() ? found->second : key;
}

// Every variable of the source carries a prefix, so that none meets a word of GLSL or a name
// of the fixed text (position, normal, state).
std::string Gl_code_generator::variable_name(std::string_view name) const
{
    if (const char* macro = BACK12::light_type_macro(name))
        return macro;
    return "ovl_" + std::string(name);
}

// A function of the source carries the prefix of variables too: one named like a built-in of
// GLSL would hide the built-in that the text itself calls.
std::string Gl_code_generator::function_name_of(std::string_view name) const
{
    return "ovl_" + std::string(name);
}

// An array without a literal size is sized 256.
std::string Gl_code_generator::array_suffix(const St_node* node) const
{
    const St_node* specifier = node ? node->find_child(ST::NODE_ARRAY_SPECIFIER) : nullptr;
    if (!specifier)
        return std::string();
    const St_node* size = specifier->first_child;
    if (size && (size->kind == ST::NODE_INT_CONSTANT || size->kind == ST::NODE_HEX_CONSTANT ||
                 size->kind == ST::NODE_OCT_CONSTANT))
        return "[" + std::string(size->text_view()) + "]";
    return "[256]";
}

// Expressions

int32_t Gl_code_generator::expression_level(const St_node* node) const
{
    const St_node* first = node->first_child;
    switch (node->kind) {
    case ST::NODE_ADDITIVE_EXPRESSION:
        return is_per_row(node) ? LEVEL_PRIMARY : LEVEL_ADDITIVE;
    case ST::NODE_MULTIPLICATIVE_EXPRESSION:
        return is_per_row(node) ? LEVEL_PRIMARY : LEVEL_MULTIPLICATIVE;
    case ST::NODE_CAST_EXPRESSION:
        return LEVEL_PRIMARY;
    case ST::NODE_RELATIONAL_EXPRESSION:
    case ST::NODE_EQUALITY_EXPRESSION:
        if (printed_type(first).vector() || printed_type(first ? first->next_sibling : nullptr).vector())
            return LEVEL_PRIMARY;
        return Fx_code_generator::expression_level(node);
    case ST::NODE_UNARY_EXPRESSION:
        if ((node->text_view() == "!" && printed_type(first).vector()) || is_per_row(node))
            return LEVEL_PRIMARY;
        return LEVEL_UNARY;
    default:
        return Fx_code_generator::expression_level(node);
    }
}

int32_t Gl_code_generator::nesting_limit() const
{
    return MAX_NESTING;
}

const char* Gl_code_generator::nesting_message() const
{
    return "Nesting too deep (over %d levels); the rest is left out";
}

void Gl_code_generator::print_identifier(const St_node* node)
{
    out().write(variable_name(node->text_view()));
}

void Gl_code_generator::print_xor(const St_node* node)
{
    if (print_logical_vector(node))
        return;
    const St_node* first = node->first_child;
    print_operand(first, LEVEL_EQUALITY);
    out().write(" != ");
    print_operand(first ? first->next_sibling : nullptr, LEVEL_EQUALITY + 1);
}

void Gl_code_generator::print_logical(const St_node* node, const char* op, int32_t level)
{
    if (!print_logical_vector(node))
        Fx_code_generator::print_logical(node, op, level);
}

void Gl_code_generator::print_relation(const St_node* node, int32_t level)
{
    const St_node* first = node->first_child;
    if (printed_type(first).vector() || printed_type(first ? first->next_sibling : nullptr).vector())
        print_comparison(node);
    else
        print_mixed_binary(node, nullptr, level);
}

void Gl_code_generator::print_additive(const St_node* node)
{
    if (is_per_row(node))
        print_per_row(node);
    else
        print_mixed_binary(node, nullptr, LEVEL_ADDITIVE);
}

void Gl_code_generator::print_multiplicative(const St_node* node)
{
    const St_node* first = node->first_child;
    bool matrix = semantic_type(first).kind == Gl_value_type::MATRIX ||
                  semantic_type(first ? first->next_sibling : nullptr).kind == Gl_value_type::MATRIX;
    if (is_per_row(node))
        print_per_row(node);
    else if (matrix && node->text_view() == "*")
        print_product(node);
    else
        print_mixed_binary(node, nullptr, LEVEL_MULTIPLICATIVE);
}

// GLSL's && || and != take single Bools (!= compares whole vectors); on boolean vectors they
// work component by component through integers, each operand printed once.
bool Gl_code_generator::print_logical_vector(const St_node* node)
{
    const St_node* first = node->first_child;
    const St_node* second = first ? first->next_sibling : nullptr;
    uint32_t width = std::max(printed_type(first).width, printed_type(second).width);
    if (!printed_type(first).vector() && !printed_type(second).vector())
        return false;
    Gl_value_type integers = Gl_value_type::make(Gl_value_type::INT, width);
    if (node->kind == ST::NODE_XOR_EXPRESSION) {
        out().write("notEqual(");
        print_as(first, Gl_value_type::make(Gl_value_type::BOOL, width), LEVEL_ASSIGNMENT);
        out().write(", ");
        print_as(second, Gl_value_type::make(Gl_value_type::BOOL, width), LEVEL_ASSIGNMENT);
        out().write(")");
        return true;
    }
    std::string word = gl_type_word(integers);
    out().print("%s(%s(", gl_type_word(Gl_value_type::make(Gl_value_type::BOOL, width)).c_str(), word.c_str());
    print_expression(first);
    out().print(") %s %s(", node->kind == ST::NODE_AND_EXPRESSION ? "*" : "+", word.c_str());
    print_expression(second);
    out().write("))");
    return true;
}

// The node printed as a value of type target, with the conversion that GLSL needs.
void Gl_code_generator::print_as(const St_node* node, const Gl_value_type& target, int32_t level)
{
    std::string open = gl_conversion_open(printed_type(node), target);
    if (open.empty()) {
        print_operand(node, level);
        return;
    }
    out().write(open);
    // "(0 < " stands before a relational operand; the other forms are calls.
    print_operand(node, open[0] == '(' ? LEVEL_RELATIONAL + 1 : LEVEL_ASSIGNMENT);
    out().write(")");
}

// An Int or Bool operand beside a float one becomes a float of its own width.
void Gl_code_generator::print_as_float(const St_node* node, int32_t level)
{
    Gl_value_type type = printed_type(node);
    if (type.numeric() && type.kind != Gl_value_type::FLOAT)
        print_as(node, Gl_value_type::make(Gl_value_type::FLOAT, type.width), level);
    else
        print_operand(node, level);
}

void Gl_code_generator::print_mixed_binary(const St_node* node, const char* op, int32_t level)
{
    const St_node* left = node->first_child;
    const St_node* right = left ? left->next_sibling : nullptr;
    bool mixed = is_float_based(printed_type(left)) || is_float_based(printed_type(right));
    if (mixed)
        print_as_float(left, level);
    else
        print_operand(left, level);
    out().print(" %s ", op ? op : node->text ? node->text : "");
    if (mixed)
        print_as_float(right, level + 1);
    else
        print_operand(right, level + 1);
}

// Comparisons of vectors are functions; both sides take one vector type.
void Gl_code_generator::print_comparison(const St_node* node)
{
    const St_node* left = node->first_child;
    const St_node* right = left ? left->next_sibling : nullptr;
    Gl_value_type a = printed_type(left);
    Gl_value_type b = printed_type(right);
    Gl_value_type::Kind kind = Gl_value_type::FLOAT;
    if (a.kind == Gl_value_type::INT && b.kind == Gl_value_type::INT)
        kind = Gl_value_type::INT;
    else if (a.kind == Gl_value_type::BOOL && b.kind == Gl_value_type::BOOL)
        kind = Gl_value_type::BOOL;
    Gl_value_type target = Gl_value_type::make(kind, std::max(a.width, b.width));
    const char* function = comparison_function(node->text_view());
    out().print("%s(", function ? function : "equal");
    print_as(left, target, LEVEL_ASSIGNMENT);
    out().write(", ");
    print_as(right, target, LEVEL_ASSIGNMENT);
    out().write(")");
}

// A product with the identity is the other factor.
void Gl_code_generator::print_product(const St_node* node)
{
    const St_node* left = node->first_child;
    print_product_of(left, left ? left->next_sibling : nullptr, LEVEL_MULTIPLICATIVE);
}

// A source matrix is held with its row i in column i of the GLSL matrix, that is transposed:
// so products print with their operands swapped, M * v as v * M, v * M as M * v and A * B as
// B * A, which gives the source's result in the same held form.
void Gl_code_generator::print_product_of(const St_node* left, const St_node* right, int32_t level)
{
    if (is_identity_transform(left)) {
        print_operand(right, level);
        return;
    }
    if (is_identity_transform(right)) {
        print_operand(left, level);
        return;
    }
    Gl_value_type a = semantic_type(left);
    Gl_value_type b = semantic_type(right);
    bool left_matrix = a.kind == Gl_value_type::MATRIX;
    bool right_matrix = b.kind == Gl_value_type::MATRIX;
    if (left_matrix && right_matrix) {
        print_matrix_product(left, a, right, b, level);
    } else if (left_matrix && b.vector()) {
        print_matrix_vector(left, a, right, true, level);
    } else if (right_matrix && a.vector()) {
        print_matrix_vector(right, b, left, false, level);
    } else {
        print_as_float(left, level);
        out().write(" * ");
        print_as_float(right, level + 1);
    }
}

// M (R x C) * v gives R components, v * M gives C. A shape that GLSL lacks is held in a square
// matrix padded with zeros: the vector is padded to the held size and the result cut to its own.
void Gl_code_generator::print_matrix_vector(const St_node* matrix, const Gl_value_type& shape, const St_node* vector,
                                            bool matrix_first, int32_t level)
{
    uint32_t size = held_size(shape);
    uint32_t result = matrix_first ? shape.rows : shape.columns;
    bool cut = result < size;
    if (cut)
        out().write("(");
    int32_t inner = std::max(level, int32_t(LEVEL_MULTIPLICATIVE));
    if (matrix_first) {
        print_padded(vector, size, inner);
        out().write(" * ");
        print_operand(matrix, inner + 1);
    } else {
        print_operand(matrix, inner);
        out().write(" * ");
        print_padded(vector, size, inner + 1);
    }
    if (cut)
        out().print(").%.*s", int(result), "xyzw");
}

// (R x K) * (K x C): both factors in the larger held size, the result in its own.
void Gl_code_generator::print_matrix_product(const St_node* left, const Gl_value_type& a, const St_node* right,
                                             const Gl_value_type& b, int32_t level)
{
    uint32_t size = std::max(held_size(a), held_size(b));
    uint32_t own = std::max(a.rows, b.columns);
    bool resize = own != size;
    if (resize) {
        needs_resize_ = true;
        out().print("vorn_mat%u(", own);
    }
    int32_t inner = std::max(level, int32_t(LEVEL_MULTIPLICATIVE));
    print_resized(right, size, inner);
    out().write(" * ");
    print_resized(left, size, inner + 1);
    if (resize)
        out().write(")");
}

void Gl_code_generator::print_resized(const St_node* matrix, uint32_t size, int32_t level)
{
    if (held_size(semantic_type(matrix)) == size) {
        print_operand(matrix, level);
        return;
    }
    needs_resize_ = true;
    out().print("vorn_mat%u(", size);
    print_expression(matrix);
    out().write(")");
}

void Gl_code_generator::print_padded(const St_node* vector, uint32_t size, int32_t level)
{
    Gl_value_type type = printed_type(vector);
    if (!type.vector() || type.width >= size) {
        print_as_float(vector, level);
        return;
    }
    out().print("vec%u(", size);
    print_as_float(vector, LEVEL_ASSIGNMENT);
    for (uint32_t n = type.width; n < size; ++n)
        out().write(", 0.0");
    out().write(")");
}

// An operation done row by row: additions of a shape that GLSL lacks, its scaling by a number
// and its negation.
bool Gl_code_generator::is_per_row(const St_node* node) const
{
    if (!node || !is_non_square(semantic_type(node)))
        return false;
    const St_node* left = node->first_child;
    const St_node* right = left ? left->next_sibling : nullptr;
    switch (node->kind) {
    case ST::NODE_ADDITIVE_EXPRESSION:
        return true;
    case ST::NODE_UNARY_EXPRESSION:
        return node->text_view() == "-" || node->text_view() == "+";
    case ST::NODE_MULTIPLICATIVE_EXPRESSION:
        return (semantic_type(left).kind == Gl_value_type::MATRIX) != (semantic_type(right).kind == Gl_value_type::MATRIX) &&
               !semantic_type(left).vector() && !semantic_type(right).vector();
    default:
        return false;
    }
}

// A matrix shape that GLSL lacks lives in the next larger square matrix, row i in column
// vector i; an operation on it is done row by row and put together again. Rows of rows print
// inline; an operand that is neither prints once per row, and where such repetition nests too
// deep the operation prints whole instead (the same value for the held square matrices), so
// that the text cannot grow exponentially.
void Gl_code_generator::print_per_row(const St_node* node)
{
    if (row_repeat_ >= MAX_ROW_REPEAT) {
        out().write("(");
        if (node->kind == ST::NODE_UNARY_EXPRESSION)
            Fx_code_generator::print_unary(node);
        else
            print_mixed_binary(node, nullptr,
                               node->kind == ST::NODE_ADDITIVE_EXPRESSION ? LEVEL_ADDITIVE : LEVEL_MULTIPLICATIVE);
        out().write(")");
        return;
    }
    uint32_t size = held_size(semantic_type(node));
    out().print("mat%u(", size);
    for (uint32_t row = 0; row < size; ++row) {
        if (row)
            out().write(", ");
        print_row(node, row, LEVEL_ASSIGNMENT);
    }
    out().write(")");
}

void Gl_code_generator::print_row(const St_node* node, uint32_t row, int32_t level)
{
    if (!node)
        return;
    if (!enter_level())
        return;
    if (is_per_row(node)) {
        const St_node* left = node->first_child;
        const St_node* right = left ? left->next_sibling : nullptr;
        int32_t own = node->kind == ST::NODE_UNARY_EXPRESSION      ? LEVEL_UNARY
                      : node->kind == ST::NODE_ADDITIVE_EXPRESSION ? LEVEL_ADDITIVE
                                                                   : LEVEL_MULTIPLICATIVE;
        bool wrap = own < level;
        if (wrap)
            out().write("(");
        if (node->kind == ST::NODE_UNARY_EXPRESSION) {
            out().write(node->text_view());
            print_row(left, row, LEVEL_POSTFIX);
        } else {
            print_row(left, row, own);
            out().print(" %s ", node->text ? node->text : "");
            print_row(right, row, own + 1);
        }
        if (wrap)
            out().write(")");
    } else if (printed_type(node).kind == Gl_value_type::MATRIX) {
        bool plain = node->kind == ST::NODE_VARIABLE_ID || node->kind == ST::NODE_STATE_VARIABLE_REFERENCE ||
                     node->kind == ST::NODE_IDENTIFIER;
        row_repeat_ += plain ? 0 : 1;
        print_operand(node, LEVEL_POSTFIX);
        out().print("[%u]", row);
        row_repeat_ -= plain ? 0 : 1;
    } else {
        print_as_float(node, level);
    }
    leave_level();
}

void Gl_code_generator::print_assignment(const St_node* node)
{
    const St_node* target = node->first_child;
    const St_node* value = target ? target->next_sibling : nullptr;
    std::string_view op = node->text ? node->text_view() : std::string_view("=");
    // GLSL's *= multiplies in its own order, which is the transposed one here.
    if (op == "*=" && semantic_type(value).kind == Gl_value_type::MATRIX) {
        print_operand(target, LEVEL_CONDITIONAL);
        out().write(" = ");
        print_product_of(target, value, LEVEL_MULTIPLICATIVE);
        note_assignment(node);
        return;
    }
    print_operand(target, LEVEL_CONDITIONAL);
    out().print(" %.*s ", int(op.size()), op.data());
    Gl_value_type type = printed_type(target);
    if (op == "=" || type.kind == Gl_value_type::INT)
        print_as(value, type, LEVEL_ASSIGNMENT);
    else if (is_float_based(type))
        print_as_float(value, LEVEL_ASSIGNMENT);
    else
        print_operand(value, LEVEL_ASSIGNMENT);
    note_assignment(node);
}

void Gl_code_generator::print_conditional(const St_node* node)
{
    const St_node* condition = node->first_child;
    const St_node* first = condition ? condition->next_sibling : nullptr;
    const St_node* second = first ? first->next_sibling : nullptr;
    Gl_value_type type = semantic_type(node);
    print_as(condition, Gl_value_type::make(Gl_value_type::BOOL, 1), LEVEL_OR);
    out().write(" ? ");
    print_as(first, type, LEVEL_ASSIGNMENT);
    out().write(" : ");
    print_as(second, type, LEVEL_CONDITIONAL);
}

void Gl_code_generator::print_unary(const St_node* node)
{
    const St_node* operand = node->first_child;
    if (node->text_view() == "!" && printed_type(operand).vector()) {
        out().write("not(");
        print_expression(operand);
        out().write(")");
        return;
    }
    if (is_per_row(node)) {
        print_per_row(node);
        return;
    }
    Fx_code_generator::print_unary(node);
}

// GLSL has no cast: the target type constructs the value.
void Gl_code_generator::print_cast(const St_node* node)
{
    const St_node* specifier = BACK12::type_specifier_of(node);
    const St_node* operand = specifier ? specifier->next_sibling : nullptr;
    Gl_value_type target = semantic_type(node);
    Gl_value_type source = printed_type(operand);
    if (target.kind == Gl_value_type::BOOL && source.numeric() && source.kind != Gl_value_type::BOOL) {
        print_as(operand, target, LEVEL_ASSIGNMENT);
        return;
    }
    if (target.kind == Gl_value_type::MATRIX) {
        print_matrix_from(target, operand);
        return;
    }
    out().print("%s(", specifier_text(specifier).c_str());
    print_expression(operand);
    out().write(")");
}

void Gl_code_generator::print_member_access(const St_node* node)
{
    const St_node* base = node->first_child;
    const St_node* selector = base ? base->next_sibling : nullptr;
    const Type* base_type = type_of(base);
    std::string_view member = selector ? selector->text_view() : std::string_view();
    // GLSL 1.10 arrays have no length: a sized array has its size, an unsized one 256.
    if (base_type && base_type->is_array()) {
        out().print("%u", base_type->array_size() > 1 ? base_type->array_size() : 256u);
        return;
    }
    const char* name = base_type && base_type->is_struct() ? base_type->name() : nullptr;
    // Hardware has no sample loop: the iterator yields constants.
    if (name && std::strcmp(name, "Sample_iterator") == 0) {
        if (member == "sample2")
            out().write("vec2(0.0,0.0)");
        else if (member == "sample3")
            out().write("vec3(0.0,0.0,0.0)");
        else if (member == "sample4")
            out().write("vec4(0.0,0.0,0.0,0.0)");
        else
            out().write("0.0");
        return;
    }
    if (name && std::strcmp(name, "Light_iterator_options") == 0) {
        out().write("false");
        return;
    }
    Fx_code_generator::print_member_access(node);
}

// A row of a shape that GLSL lacks is the first components of its column vector.
void Gl_code_generator::print_index(const St_node* node)
{
    const St_node* base = node->first_child;
    const St_node* index = base ? base->next_sibling : nullptr;
    print_operand(base, LEVEL_POSTFIX);
    out().write("[");
    Gl_value_type index_type = printed_type(index);
    if (index_type.scalar() && index_type.kind != Gl_value_type::INT)
        print_as(index, Gl_value_type::make(Gl_value_type::INT, 1), LEVEL_ASSIGNMENT);
    else
        print_expression(index);
    out().write("]");
    Gl_value_type base_type = semantic_type(base);
    if (base_type.kind == Gl_value_type::MATRIX && base_type.columns < held_size(base_type))
        out().print(".%.*s", int(base_type.columns), "xyzw");
}

void Gl_code_generator::print_call(const St_node* node)
{
    const St_node* arguments = BACK12::call_arguments(node);
    std::string name(node->text_view());
    std::string local = local_name(name);
    if (local == "Light_iterator") {
        print_light_iterator_constructor();
        return;
    }
    if (is_struct_name(name) || is_struct_name(local)) {
        print_struct_constructor(local, arguments);
        return;
    }
    if (unit_functions_.count(local)) {
        print_unit_call(node, local, arguments);
        return;
    }
    print_builtin_call(name, arguments);
}

// The overload of a unit function with as many parameters as arguments, exactly typed if one is.
const St_node* Gl_code_generator::find_unit_function(const std::string& name, const St_node* arguments) const
{
    const St_node* best = nullptr;
    auto range = unit_functions_.equal_range(name);
    for (auto entry = range.first; entry != range.second; ++entry) {
        const St_node* parameters = entry->second->find_child(ST::NODE_FUNCTION_PARAMETER_LIST);
        const St_node* argument = arguments ? arguments->first_child : nullptr;
        const St_node* parameter = parameters ? parameters->first_child : nullptr;
        bool exact = true;
        for (; argument && parameter; argument = argument->next_sibling, parameter = parameter->next_sibling)
            exact = exact && argument->type_index == parameter->type_index;
        if (argument || parameter)
            continue;
        if (exact)
            return entry->second;
        if (!best)
            best = entry->second;
    }
    return best;
}

// A function of the unit takes the state first; an argument takes its parameter's type.
void Gl_code_generator::print_unit_call(const St_node*, const std::string& name, const St_node* arguments)
{
    const St_node* declaration = find_unit_function(name, arguments);
    const St_node* parameters = declaration ? declaration->find_child(ST::NODE_FUNCTION_PARAMETER_LIST) : nullptr;
    const St_node* parameter = parameters ? parameters->first_child : nullptr;
    out().print("%s(state", function_name_of(name).c_str());
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
         argument = argument->next_sibling) {
        out().write(", ");
        const St_node* qualifier = parameter ? parameter->find_child(ST::NODE_PARAMETER_QUALIFIER) : nullptr;
        bool by_value = !qualifier || qualifier->text_view() == "in";
        if (parameter && by_value)
            print_as(argument, type_of_index(parameter->type_index), LEVEL_ASSIGNMENT);
        else
            print_operand(argument, LEVEL_ASSIGNMENT);
        if (parameter)
            parameter = parameter->next_sibling;
    }
    out().write(")");
}

// GLSL 1.10 has its numeric functions for floats only, and for some of them no scalar beside a
// vector: Int arguments become floats, and for the functions that widen, a scalar beside a
// vector becomes a vector. ddx, ddy, all and any take their arguments unchanged; the results
// of modf and sincos go out through their later arguments, which must stay variables.
void Gl_code_generator::print_builtin_call(const std::string& name, const St_node* arguments)
{
    bool unchanged = one_of(name, {"ddx", "ddy", "all", "any"});
    bool outputs_after_first = one_of(name, {"modf", "sincos"});
    bool widening = widens_scalars(name);
    uint32_t width = 1;
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; widening && argument;
         argument = argument->next_sibling) {
        Gl_value_type type = printed_type(argument);
        if (type.vector() && type.kind != Gl_value_type::BOOL)
            width = std::max(width, type.width);
    }
    std::string target = function_name(name);
    // A lookup with derivatives is the gradient form of the extension that has it.
    if (BACK12::argument_count(arguments) == 4 && one_of(name, {"tex1D", "tex2D", "tex3D", "texCUBE"})) {
        target += "GradARB";
        needs_gradients_ = true;
    }
    // all and any of one Bool are the Bool itself; GLSL has them for vectors only.
    if (one_of(name, {"all", "any"}) && BACK12::argument_count(arguments) == 1 &&
        printed_type(arguments->first_child).scalar()) {
        print_as(arguments->first_child, Gl_value_type::make(Gl_value_type::BOOL, 1), LEVEL_PRIMARY);
        return;
    }
    out().print("%s(", target.c_str());
    int32_t position = 0;
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
         argument = argument->next_sibling, ++position) {
        if (position)
            out().write(", ");
        Gl_value_type type = printed_type(argument);
        if (unchanged || (outputs_after_first && position > 0) || !type.numeric())
            print_operand(argument, LEVEL_ASSIGNMENT);
        else if (widening && width > 1 && type.width == 1)
            print_as(argument, Gl_value_type::make(Gl_value_type::FLOAT, width), LEVEL_ASSIGNMENT);
        else
            print_as_float(argument, LEVEL_ASSIGNMENT);
    }
    out().write(")");
}

void Gl_code_generator::print_constructor_call(const St_node* node)
{
    const St_node* specifier = BACK12::type_specifier_of(node);
    const St_node* arguments = BACK12::call_arguments(node);
    std::string word(specifier_word(specifier));
    int32_t count = BACK12::argument_count(arguments);
    if (word == "Light_iterator") {
        print_light_iterator_constructor();
        return;
    }
    int32_t code = ST::language_word_code(word.c_str());
    Gl_value_type target = code > 0 ? Gl_value_type::of_code(uint32_t(code)) : Gl_value_type();
    const St_node* only = count == 1 ? arguments->first_child : nullptr;
    // Booleans from numbers compare with zero.
    if (only && target.kind == Gl_value_type::BOOL) {
        Gl_value_type source = printed_type(only);
        if (source.numeric() && source.kind != Gl_value_type::BOOL && source.width == target.width) {
            print_as(only, target, LEVEL_ASSIGNMENT);
            return;
        }
    }
    if (target.kind == Gl_value_type::MATRIX) {
        print_matrix_constructor(target, arguments);
        return;
    }
    if (code <= 0 && is_struct_name(word)) {
        print_struct_constructor(word, arguments);
        return;
    }
    out().print("%s(", type_name(word).c_str());
    print_arguments(arguments);
    out().write(")");
}

// The iterator's values come from the light, not from arguments: every field starts at zero,
// in the order of the struct (point, direction, distance, dot_nl, three colours, count).
void Gl_code_generator::print_light_iterator_constructor()
{
    report(LOG_LIGHT_ITERATOR_PARAMETERS, "Light_iterator parameters not supported");
    out().print("%s(vec3(0.0),vec3(0.0),0.0,0.0,vec4(0.0),vec4(0.0),vec4(0.0),0)", names_.light_iterator.c_str());
}

// A struct takes its members' types exactly.
void Gl_code_generator::print_struct_constructor(const std::string& name, const St_node* arguments)
{
    const Type* type = unit_ ? unit_->type_at(unit_->lookup_type(name)) : nullptr;
    const Type* member = type ? type->first_member() : nullptr;
    out().print("%s(", type_name(name).c_str());
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
         argument = argument->next_sibling) {
        if (argument != arguments->first_child)
            out().write(", ");
        if (member) {
            print_as(argument, Gl_value_type::of_code(member->code(), member->array_size()), LEVEL_ASSIGNMENT);
            member = member->next_member();
        } else {
            print_operand(argument, LEVEL_ASSIGNMENT);
        }
    }
    out().write(")");
}

// A shape that GLSL lacks is put together row by row: each row of arguments in a column vector
// of the held size, padded with zeros, and zero columns for the rows that the shape lacks.
void Gl_code_generator::print_matrix_constructor(const Gl_value_type& type, const St_node* arguments)
{
    uint32_t size = held_size(type);
    if (BACK12::argument_count(arguments) == 1) {
        print_matrix_from(type, arguments->first_child);
        return;
    }
    if (type.rows == type.columns) {
        out().print("mat%u(", size);
        print_arguments(arguments);
        out().write(")");
        return;
    }
    out().print("mat%u(", size);
    uint32_t rows = 0;
    uint32_t filled = 0;
    bool open = false;
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
         argument = argument->next_sibling) {
        if (!open) {
            out().print(rows ? ", vec%u(" : "vec%u(", size);
            open = true;
            filled = 0;
        } else {
            out().write(", ");
        }
        print_operand(argument, LEVEL_ASSIGNMENT);
        Gl_value_type argument_type = printed_type(argument);
        filled += argument_type.numeric() ? argument_type.width : 1;
        if (filled >= type.columns) {
            for (uint32_t padding = filled; padding < size; ++padding)
                out().write(", 0.0");
            out().write(")");
            open = false;
            ++rows;
        }
    }
    if (open) {
        out().write(")");
        ++rows;
    }
    for (; rows < size; ++rows)
        out().print(rows ? ", vec%u(0.0)" : "vec%u(0.0)", size);
    out().write(")");
}

// A matrix from one value. GLSL 1.10 makes no matrix from a matrix: another held size goes
// through the resize functions. A number makes the diagonal of the square part. A shape that GLSL
// lacks keeps zeros outside its rows and columns, which its products rely on.
void Gl_code_generator::print_matrix_from(const Gl_value_type& type, const St_node* value)
{
    uint32_t size = held_size(type);
    Gl_value_type source = printed_type(value);
    bool from_matrix = source.kind == Gl_value_type::MATRIX;
    bool clear = is_non_square(type) && from_matrix && (source.rows != type.rows || source.columns != type.columns);
    if (clear)
        out().write("matrixCompMult(");
    if (from_matrix) {
        print_resized(value, size, LEVEL_PRIMARY);
    } else if (is_non_square(type)) {
        needs_resize_ = true;
        out().print("vorn_mat%u(mat%u(", size, std::min(type.rows, type.columns));
        print_as_float(value, LEVEL_ASSIGNMENT);
        out().write("))");
    } else {
        out().print("mat%u(", size);
        print_expression(value);
        out().write(")");
    }
    if (!clear)
        return;
    // Ones where the shape has values, column by column (a column holds a row of the source).
    out().print(", mat%u(", size);
    for (uint32_t column = 0; column < size; ++column)
        for (uint32_t row = 0; row < size; ++row)
            out().print("%s%s", column + row ? ", " : "", column < type.rows && row < type.columns ? "1.0" : "0.0");
    out().write("))");
}

// State functions: as the FX walk, except where GLSL has its own texts.
// Statements

// A returned value takes the function's type, since GLSL converts nothing.
void Gl_code_generator::print_return_value(const St_node* value)
{
    print_as(value, type_of_index(return_type_), LEVEL_ASSIGNMENT);
}

void Gl_code_generator::print_switch_selector(const St_node* selector)
{
    print_as(selector, Gl_value_type::make(Gl_value_type::INT, 1), LEVEL_ASSIGNMENT);
}

// An if or while condition is a Bool; a number there is compared with zero.
void Gl_code_generator::print_condition(const St_node* condition)
{
    if (!condition || condition->kind != ST::NODE_CONDITION) {
        Fx_code_generator::print_condition(condition);
        return;
    }
    const St_node* first = condition->first_child;
    if (condition->text_view() != "declaration") {
        // The same node holds the first part of a for loop, which is no test.
        bool test = first && first->kind != ST::NODE_ASSIGNMENT_EXPRESSION && first->kind != ST::NODE_EXPRESSION_LIST &&
                    first->kind != ST::NODE_PRE_INCREMENT_EXPRESSION &&
                    first->kind != ST::NODE_PRE_DECREMENT_EXPRESSION &&
                    first->kind != ST::NODE_POST_INCREMENT_EXPRESSION &&
                    first->kind != ST::NODE_POST_DECREMENT_EXPRESSION;
        if (test)
            print_as(first, Gl_value_type::make(Gl_value_type::BOOL, 1), LEVEL_LIST);
        else
            print_expression(first);
        return;
    }
    const St_node* name = first ? first->next_sibling : nullptr;
    const St_node* value = name ? name->next_sibling : nullptr;
    out().print("%s %s = ", specifier_text(first).c_str(), name ? variable_name(name->text_view()).c_str() : "");
    print_as(value, declared_value_type(first), LEVEL_ASSIGNMENT);
}

void Gl_code_generator::print_function_body(const St_node* declaration, const St_node* body)
{
    int32_t saved = return_type_;
    return_type_ = declaration->type_index;
    identity_variables_.clear();
    print_block(body);
    return_type_ = saved;
}

// A declaration as GLSL 1.10 takes it: no array initialisers, so an array's values are assigned
// one by one after it (at file level they are left out); a value takes the declared type.
void Gl_code_generator::print_declared_item(const std::string& type, const St_node* item, const St_node* specifier)
{
    print_declared_value(type, variable_name(item->text_view()), item, specifier);
}

void Gl_code_generator::print_declared_value(const std::string& type, const std::string& name, const St_node* item,
                                             const St_node* specifier)
{
    const St_node* value = initializer_of(item);
    std::string suffix = array_suffix(item);
    const Type* declared = unit_ ? unit_->type_at(item->type_index) : nullptr;
    Gl_value_type element = declared ? Gl_value_type::of_code(declared->code()) : declared_value_type(specifier);
    if (declared && declared->is_struct())
        element = Gl_value_type::make(Gl_value_type::OTHER, 0);
    out().print("%s %s%s", type.c_str(), name.c_str(), suffix.c_str());
    if (!value) {
        out().write(";\n");
        return;
    }
    if (value->kind != ST::NODE_ARRAY_INITIALIZER) {
        out().write(" = ");
        print_as(value, element, LEVEL_ASSIGNMENT);
        out().write(";\n");
        return;
    }
    out().write(";\n");
    if (!global_scope_)
        print_array_values(name, value, declared, element);
}

// The members of a struct type; a member of struct type may carry only its type's name.
const Type* Gl_code_generator::struct_members_of(const Type* type) const
{
    if (!type || !type->is_struct())
        return nullptr;
    if (type->first_member() || !unit_)
        return type->first_member();
    const char* name = type->type_name_text();
    int32_t position = name ? unit_->find_named_type(name) : -1;
    const Type* named = position >= 0 ? unit_->named_type_at(position) : nullptr;
    return named ? named->first_member() : nullptr;
}

// GLSL 1.10 has neither array nor brace initialisers: each value is assigned after the
// declaration, through its index or member path, down to the values that are no brace list.
// The parser bounds how deep brace lists nest, so the recursion is bounded too.
void Gl_code_generator::print_array_values(const std::string& name, const St_node* values, const Type* declared,
                                           const Gl_value_type& element)
{
    bool is_struct = declared && declared->is_struct();
    bool fields = is_struct && !declared->is_array();
    const Type* member = fields ? struct_members_of(declared) : nullptr;
    int32_t index = 0;
    for (const St_node* part = values->first_child; part; part = part->next_sibling, ++index) {
        if (fields && !member)
            break;  // more values than members: the passes have reported it
        std::string path = fields ? name + "." + (member->name() ? member->name() : "")
                                  : name + "[" + std::to_string(index) + "]";
        const Type* part_type = fields ? member : (is_struct ? declared : nullptr);
        bool part_is_element = !fields;
        if (fields)
            member = member->next_member();
        if (part->kind == ST::NODE_ARRAY_INITIALIZER) {
            if (part_is_element && part_type) {
                // An element of an array of structs: its members, one by one.
                Type element_type(*part_type);
                element_type.set_array_size(1);
                print_array_values(path, part, &element_type, element);
            } else if (part_type) {
                Gl_value_type inner = part_type->is_struct() ? Gl_value_type::make(Gl_value_type::OTHER, 0)
                                                            : Gl_value_type::of_code(part_type->code());
                print_array_values(path, part, part_type, inner);
            }
            continue;
        }
        Gl_value_type target = element;
        if (fields && part_type)
            target = part_type->is_struct() ? Gl_value_type::make(Gl_value_type::OTHER, 0)
                                            : Gl_value_type::of_code(part_type->code(), part_type->array_size());
        out().print("%s = ", path.c_str());
        print_as(part, target, LEVEL_ASSIGNMENT);
        out().write(";\n");
    }
}

// A file-level array with values: GLSL 1.10 has no array initialisers, so the root function,
// through which everything runs, gives them first.
void Gl_code_generator::print_global_array_values()
{
    for (const SYNTAX_TREE::Compilation_unit* unit : input_.units) {
        const St_node* list = unit ? unit->tree() : nullptr;
        for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
            if (node->kind != ST::NODE_VARIABLE_DECLARATION)
                continue;
            const St_node* names = node->find_child(ST::NODE_INIT_IDENTIFIER_LIST);
            for (const St_node* item = names ? names->first_child : nullptr; item; item = item->next_sibling) {
                const St_node* value = item->kind == ST::NODE_INIT_IDENTIFIER ? initializer_of(item) : nullptr;
                if (!value || value->kind != ST::NODE_ARRAY_INITIALIZER)
                    continue;
                const Type* declared = unit->type_at(item->type_index);
                Gl_value_type element = declared ? Gl_value_type::of_code(declared->code())
                                                 : declared_value_type(declared_type(node));
                if (declared && declared->is_struct())
                    element = Gl_value_type::make(Gl_value_type::OTHER, 0);
                print_array_values(variable_name(item->text_view()), value, declared, element);
            }
        }
    }
}

// GLSL has no enum: every use of a member prints its value.
void Gl_code_generator::print_enum(const St_node*) {}

}  // namespace GEN_GL
}  // namespace QZ

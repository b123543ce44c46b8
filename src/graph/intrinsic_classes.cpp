#include "graph/intrinsic_classes.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "graph/node_class.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "syntax_tree/st_node.h"
#include "system/module.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

namespace {

constexpr const char* GENERATED_FILE = "__generated__";

// A type of a row: the list's current type, or a fixed one.
constexpr const char* T = nullptr;

struct Input {
    const char* name;
    const char* type;  // T for the list's type
};

// ORDER: the lists in their build order.
const std::vector<const char*> numeric_types = {"Scalar",   "Int",      "Vector2",  "Vector3", "Vector4",
                                                "Vector2i", "Vector3i", "Vector4i", "Color"};
const std::vector<const char*> real_types = {"Scalar", "Vector2", "Vector3", "Vector4", "Color"};
const std::vector<const char*> vector_types = {"Vector2", "Vector3", "Vector4", "Color"};
const std::vector<const char*> logical_types = {"Bool", "Vector2b", "Vector3b", "Vector4b"};

std::vector<const char*> all_types()
{
    std::vector<const char*> types = numeric_types;
    types.insert(types.end(), logical_types.begin(), logical_types.end());
    return types;
}

enum class Shape { OPERATOR, FUNCTION, CONDITIONAL };

struct Row {
    Shape shape;
    std::vector<const char*> names;  // operators or functions
    const char* result;              // T, or a fixed type
    std::vector<Input> inputs;
    bool typed = true;
};

struct Intrinsic {
    std::string name;
    std::shared_ptr<Compiled_source> source;
};

File_name generated_file()
{
    static const File_name file = make_file_name(GENERATED_FILE);
    return file;
}

St_node* node(int32_t kind, std::string_view text = {}, std::initializer_list<St_node*> children = {})
{
    return text.empty() ? new St_node(kind, generated_file(), children)
                        : new St_node(kind, generated_file(), text, children);
}

std::string capitalised(const char* name)
{
    std::string text(name);
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = char(text[0] - 'a' + 'A');
    return text;
}

bool is_logical(const std::string& type)
{
    return type == "Bool" || type == "Vector2b" || type == "Vector3b" || type == "Vector4b";
}

bool is_integer(const std::string& type)
{
    return type == "Int" || type == "Vector2i" || type == "Vector3i" || type == "Vector4i";
}

bool is_single(const std::string& type) { return type == "Scalar" || type == "Int" || type == "Bool"; }

// The type of the same number of components of another kind: 'b' logical, 's' real.
std::string same_shape(const std::string& type, char kind)
{
    if (is_single(type))
        return kind == 'b' ? "Bool" : "Scalar";
    if (type == "Color")
        return kind == 'b' ? "Vector4b" : "Vector4";
    std::string base = type.substr(0, 7);  // "Vector2"
    return kind == 'b' ? base + "b" : base;
}

// The language has these functions for real types only, so an integer class computes in the real
// type of its shape and converts back: Int(exp(input)), Vector2i(pow(Vector2(base), ...)).
bool computes_in_real(const std::string& function, const std::string& type)
{
    return is_integer(type) && (function == "exp" || function == "exp2" || function == "fmod" || function == "pow");
}

St_node* constructor(const std::string& type, std::initializer_list<St_node*> arguments)
{
    St_node* parameters = node(NODE_FUNCTION_CALL_PARAMETERS);
    for (St_node* argument : arguments)
        parameters->add_child(argument);
    return node(NODE_CONSTRUCTOR_CALL_EXPRESSION, {}, {node(NODE_SIMPLE_TYPE_SPECIFIER, type), parameters});
}

St_node* call(const std::string& function, std::initializer_list<St_node*> arguments)
{
    St_node* parameters = node(NODE_FUNCTION_CALL_PARAMETERS);
    for (St_node* argument : arguments)
        parameters->add_child(argument);
    return node(NODE_FUNCTION_CALL_EXPRESSION, function, {parameters});
}

// The suffix of an operator class, or null (and a log line) for an operator without one.
const char* operator_suffix(const std::string& op)
{
    static const std::pair<const char*, const char*> suffixes[] = {
        {"+", "_Add"}, {"-", "_Subtract"}, {"*", "_Multiply"}, {"/", "_Divide"},
        {"||", "_Or"}, {"&&", "_And"},     {"==", "_Equal"},   {"!=", "_Not_Equal"},
    };
    for (const auto& suffix : suffixes)
        if (op == suffix.first)
            return suffix.second;
    if (LOG::mod_log)
        LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, 5, "unknown operator: %s", op.c_str());
    return nullptr;
}

int32_t operator_kind(const std::string& op)
{
    if (op == "+" || op == "-")
        return NODE_ADDITIVE_EXPRESSION;
    if (op == "*" || op == "/")
        return NODE_MULTIPLICATIVE_EXPRESSION;
    if (op == "==" || op == "!=")
        return NODE_EQUALITY_EXPRESSION;
    return op == "||" ? NODE_OR_EXPRESSION : NODE_AND_EXPRESSION;
}

St_node* variable(const std::string& name) { return node(NODE_VARIABLE_ID, name); }

// A texture takes no zero: its value is a name, and an Int does not convert to one.
bool has_zero(const std::string& type) { return language_word_code(type.c_str()) < TYPE_TEXTURE1D; }

// type name = zero;
St_node* declaration(const std::string& type, const std::string& name, bool with_zero)
{
    St_node* identifier = node(NODE_INIT_IDENTIFIER, name);
    if (with_zero)
        identifier->add_child(is_logical(type) ? node(NODE_BOOL_CONSTANT, "false") : node(NODE_INT_CONSTANT, "0"));
    return node(NODE_VARIABLE_DECLARATION, {},
                {node(NODE_VARIABLE_SPECIFIERS, {}, {node(NODE_SIMPLE_TYPE_SPECIFIER, type)}),
                 node(NODE_INIT_IDENTIFIER_LIST, {}, {identifier})});
}

// shader Name { input: ...; output: Type result; void main() { result = expression; } };
St_node* make_class(const std::string& name, const std::vector<std::pair<std::string, std::string>>& inputs,
                    const std::string& output, St_node* expression)
{
    St_node* input_block = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "input");
    for (const auto& input : inputs)
        input_block->add_child(declaration(input.second, input.first, has_zero(input.second)));
    St_node* output_block = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "output", {declaration(output, "result", false)});
    St_node* statement = node(NODE_EXPRESSION_STATEMENT, {},
                              {node(NODE_ASSIGNMENT_EXPRESSION, "=", {variable("result"), expression})});
    St_node* main = node(NODE_FUNCTION_DEFINITION, {},
                         {node(NODE_FUNCTION_DECLARATION, {},
                               {node(NODE_SIMPLE_TYPE_SPECIFIER, "void"),
                                node(NODE_FUNCTION_DECLARATOR, {}, {node(NODE_IDENTIFIER, "main")})}),
                          node(NODE_STATEMENT_BLOCK, {}, {statement})});
    output_block->add_child(main);
    St_node* shader = node(NODE_CLASS_DECLARATION, "shader",
                           {node(NODE_IDENTIFIER, capitalised(name.c_str())),
                            node(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST, {}, {input_block, output_block})});
    return node(NODE_DECLARATION_LIST, {}, {shader});
}

using Input_list = std::vector<std::pair<std::string, std::string>>;

// name(inputs...), made valid where the language lacks the overload for type.
St_node* function_call(const std::string& name, const std::string& type, const Input_list& inputs)
{
    bool real = computes_in_real(name, type);
    // all and any take logical types only: a numeric input is asked for its non-zero components.
    bool logical = (name == "all" || name == "any") && !is_logical(type);
    St_node* arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
    for (const auto& input : inputs) {
        St_node* argument = variable(input.first);
        if (real && type != "Int")
            argument = constructor(same_shape(type, 's'), {argument});
        else if (logical)
            argument = constructor(same_shape(type, 'b'), {argument});
        arguments->add_child(argument);
    }
    St_node* expression = node(NODE_FUNCTION_CALL_EXPRESSION, name, {arguments});
    return real ? constructor(type, {expression}) : expression;
}

class Builder {
public:
    std::vector<Intrinsic> classes;

    void add(const std::string& name, const std::vector<std::pair<std::string, std::string>>& inputs,
             const std::string& output, St_node* expression)
    {
        std::shared_ptr<Compilation_unit> unit(new Compilation_unit(TRANS12::mod_trans12->prelude_symbols()));
        unit->set_name(capitalised(name.c_str()));
        unit->set_tree(make_class(name, inputs, output, expression));
        TRANS12::mod_trans12->analyse(*unit);
        classes.push_back({capitalised(name.c_str()), std::make_shared<Compiled_source>(unit, std::string())});
    }

    void row(const Row& row, const std::string& type)
    {
        std::vector<std::pair<std::string, std::string>> inputs;
        for (const Input& input : row.inputs)
            inputs.push_back({input.name, input.type ? input.type : type});
        std::string result = row.result ? row.result : type;
        for (const char* name : row.names)
            add_one(row, name, type, inputs, result);
    }

    void state(int32_t index)
    {
        const char* name = SYNTAX_TREE::mod_syntax_tree->state_variable_name(index);
        const Type* type = SYNTAX_TREE::mod_syntax_tree->state_variable_type(index);
        const char* word = type ? language_word(type->code()) : nullptr;
        St_node* reference = node(NODE_STATE_VARIABLE_REFERENCE);
        reference->set_binary_text(&index, sizeof index);
        add("State_" + capitalised(name), {}, word ? word : "Scalar", reference);
    }

private:
    void add_one(const Row& row, const char* name, const std::string& type,
                 const std::vector<std::pair<std::string, std::string>>& inputs, const std::string& result)
    {
        std::string prefix = row.typed ? "Math_" + type : std::string("Math");
        switch (row.shape) {
        case Shape::OPERATOR: {
            const char* suffix = operator_suffix(name);
            if (!suffix)
                return;
            St_node* expression =
                node(operator_kind(name), name, {variable(inputs[0].first), variable(inputs[1].first)});
            // Vectors compare component by component; the class answers for all of them.
            if (operator_kind(name) == NODE_EQUALITY_EXPRESSION && !is_single(type))
                expression = call(std::string(name) == "==" ? "all" : "any", {expression});
            add(prefix + suffix, inputs, result, expression);
            return;
        }
        case Shape::FUNCTION: {
            add(prefix + "_" + capitalised(name), inputs, result, function_call(name, type, inputs));
            return;
        }
        case Shape::CONDITIONAL:
            add(prefix + "_conditional", inputs, result,
                node(NODE_CONDITIONAL_EXPRESSION, "?",
                     {variable(inputs[0].first), variable(inputs[1].first), variable(inputs[2].first)}));
            return;
        }
    }
};

void run_rows(Builder& builder, const std::vector<const char*>& types, const std::vector<Row>& rows)
{
    for (const char* type : types)
        for (const Row& row : rows)
            builder.row(row, type);
}

// ORDER: every row of the table in its order; rows of one list run together, type by type.
std::vector<Intrinsic> build_intrinsics()
{
    Builder builder;
    const std::vector<Input> one = {{"input", T}};
    const std::vector<Input> two = {{"left", T}, {"right", T}};
    run_rows(builder, numeric_types,
             {{Shape::OPERATOR, {"+", "-", "*", "/"}, T, two},
              {Shape::FUNCTION, {"abs"}, T, one},
              {Shape::FUNCTION, {"clamp"}, T, {{"input", T}, {"min", T}, {"max", T}}},
              {Shape::FUNCTION, {"exp", "exp2"}, T, one},
              {Shape::FUNCTION, {"fmod", "max", "min"}, T, two},
              {Shape::FUNCTION, {"pow"}, T, {{"base", T}, {"exponent", T}}},
              {Shape::FUNCTION, {"sign"}, T, one}});
    run_rows(builder, real_types,
             {{Shape::FUNCTION,
               {"acos", "asin", "atan", "ceil", "cos", "degrees", "floor", "frac", "log", "log2", "log10", "radians",
                "round", "rsqrt", "saturate", "sin", "sqrt", "tan"},
               T,
               one},
              {Shape::FUNCTION, {"atan2"}, T, {{"y", T}, {"x", T}}},
              {Shape::FUNCTION, {"lerp", "smoothstep"}, T, {{"start", T}, {"end", T}, {"location", T}}},
              {Shape::FUNCTION, {"step"}, T, {{"threshold", T}, {"location", T}}}});
    run_rows(builder, all_types(),
             {{Shape::FUNCTION, {"all", "any"}, "Bool", one},
              {Shape::OPERATOR, {"==", "!="}, "Bool", two},
              {Shape::CONDITIONAL, {"conditional"}, T, {{"condition", "Bool"}, {"true_value", T}, {"false_value", T}}}});
    run_rows(builder, vector_types,
             {{Shape::FUNCTION, {"distance"}, "Scalar", {{"from", T}, {"to", T}}},
              {Shape::FUNCTION, {"dot"}, "Scalar", two},
              {Shape::FUNCTION, {"faceforward"}, T, {{"n", T}, {"i", T}, {"ng", T}}},
              {Shape::FUNCTION, {"length"}, "Scalar", one},
              {Shape::FUNCTION, {"normalize"}, T, one}});
    run_rows(builder, {"Color"},
             {{Shape::FUNCTION, {"tex1D"}, "Color", {{"texture", "Texture1d"}, {"coordinate", "Scalar"}}},
              {Shape::FUNCTION, {"tex2D"}, "Color", {{"texture", "Texture2d"}, {"coordinate", "Vector2"}}},
              {Shape::FUNCTION, {"tex3D"}, "Color", {{"texture", "Texture3d"}, {"coordinate", "Vector3"}}},
              {Shape::FUNCTION, {"texCUBE"}, "Color", {{"texture", "Texture_cube"}, {"coordinate", "Vector3"}}}});
    run_rows(builder, logical_types, {{Shape::OPERATOR, {"||", "&&"}, T, two}});
    const std::vector<Row> once = {
        {Shape::FUNCTION, {"cross"}, "Vector3", {{"left", "Vector3"}, {"right", "Vector3"}}, false},
        {Shape::FUNCTION, {"reflect"}, "Vector3", {{"i", "Vector3"}, {"n", "Vector3"}}, false},
        {Shape::FUNCTION, {"refract"}, "Vector3", {{"i", "Vector3"}, {"n", "Vector3"}, {"eta", "Scalar"}}, false},
        {Shape::FUNCTION, {"tex1D"}, "Color", {{"tex", "Texture1d"}, {"coord", "Scalar"}}, false},
        {Shape::FUNCTION, {"tex2D"}, "Color", {{"tex", "Texture2d"}, {"coord", "Vector2"}}, false},
        {Shape::FUNCTION, {"tex3D"}, "Color", {{"tex", "Texture3d"}, {"coord", "Vector3"}}, false},
        {Shape::FUNCTION, {"texCUBE"}, "Color", {{"tex", "Texture_cube"}, {"coord", "Vector3"}}, false},
    };
    for (const Row& row : once)
        builder.row(row, "");
    // ORDER: the state variables by id, in the order the classes appear.
    const int32_t states[] = {21, 0, 1, 10, 2, 11, 3, 4, 6, 5, 23, 22, 24, 26, 27, 28, 25, 13, 16, 20, 19};
    for (int32_t index : states)
        builder.state(index);
    for (int32_t index = 29; index <= 43; ++index)
        builder.state(index);
    return std::move(builder.classes);
}

// The units are read, never changed, by the classes of every library; they stay to the end of
// the process.
const std::vector<Intrinsic>* intrinsics()
{
    static std::once_flag once;
    static std::vector<Intrinsic>* built = nullptr;
    if (!TRANS12::mod_trans12 || !SYNTAX_TREE::mod_syntax_tree)
        return nullptr;
    std::call_once(once, [] { built = new std::vector<Intrinsic>(build_intrinsics()); });
    return built;
}

}  // namespace

void make_intrinsic_classes(std::vector<Graph_node_class*>& out)
{
    const std::vector<Intrinsic>* all = intrinsics();
    if (!all)
        return;
    out.reserve(out.size() + all->size());
    for (const Intrinsic& intrinsic : *all)
        out.push_back(new Velar_node_class(intrinsic.source, intrinsic.name.c_str()));
}

}  // namespace GRAPH
}  // namespace QZ

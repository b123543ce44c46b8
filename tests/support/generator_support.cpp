#include "support/generator_support.h"

#include <gtest/gtest.h>

#include "compiler/mod_compiler.h"
#include "syntax_tree/node_arena.h"

namespace vorn_test {

using namespace QZ::SYNTAX_TREE;

std::unique_ptr<Compilation_unit> compile_clean(const std::string& source, bool check_unit)
{
    Error_list errors;
    std::unique_ptr<Compilation_unit> unit(
        QZ::COMPILER::mod_compiler->compile_text("gen_test.ovl", source.c_str(), &errors));
    EXPECT_TRUE(errors.empty() && (!check_unit || (unit && unit->errors().empty())))
        << "the test source has errors:\n" << source;
    return unit;
}

QZ::COMPILER::Compile_options options_of(Attributes attributes, int32_t shader_type, uint8_t complete_program)
{
    QZ::COMPILER::Compile_options options;
    options.shader_type = shader_type;
    options.complete_program = complete_program;
    for (const auto& attribute : attributes)
        options.attributes[attribute.first] = attribute.second;
    return options;
}

std::string shader(const std::string& body, const std::string& inputs, const std::string& outputs)
{
    return "shader S {\ninput:\n" + inputs + "\noutput:\n" + outputs + "\nvoid main() {\n" + body + "\n}\n};\n";
}

std::string function_text(const std::string& text, const std::string& signature)
{
    size_t start = text.find(signature);
    size_t end = text.find("\n}\n", start);
    return start == std::string::npos ? std::string() : text.substr(start, end - start);
}

St_node* main_body(const Compilation_unit& unit)
{
    return unit.shader_at(0)->main_method->find_child(NODE_STATEMENT_BLOCK);
}

St_node* first_initialiser(St_node* body)
{
    return body->first_child->find_child(NODE_INIT_IDENTIFIER_LIST)->first_child->first_child;
}

void add_int_argument(St_node* call)
{
    St_node* arguments = call->find_child(NODE_FUNCTION_CALL_PARAMETERS);
    if (!arguments) {
        arguments = new (Node_arena::of(call)) St_node(NODE_FUNCTION_CALL_PARAMETERS, call->file);
        call->add_child(arguments);
    }
    arguments->add_child(new (Node_arena::of(call)) St_node(NODE_INT_CONSTANT, call->file, "1"));
}

void bury_in_signs(St_node* value, int count)
{
    St_node* innermost = value;
    for (int i = 0; i < count; ++i) {
        St_node* sign = new (Node_arena::of(value)) St_node(NODE_UNARY_EXPRESSION, value->file, "-");
        sign->first_child = innermost->first_child;
        innermost->first_child = sign;
        innermost = sign;
    }
}

}  // namespace vorn_test

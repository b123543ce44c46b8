// Helpers shared by the tests of the back ends: small shaders compiled from text, their options,
// and hand-made trees that the passes would never make.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "compiler/compile_options.h"
#include "support/text_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"

namespace vorn_test {

using Attributes = std::initializer_list<std::pair<const char*, const char*>>;

// The unit of a source that must compile without errors; with check_unit, the unit must record
// none either (some tests generate from units that do, on purpose).
std::unique_ptr<QZ::SYNTAX_TREE::Compilation_unit> compile_clean(const std::string& source, bool check_unit = false);

QZ::COMPILER::Compile_options options_of(Attributes attributes,
                                         int32_t shader_type = QZ::COMPILER::SHADER_SURFACE,
                                         uint8_t complete_program = 1);

// A shader S whose main is body, with inputs and outputs as given.
std::string shader(const std::string& body, const std::string& inputs = "",
                   const std::string& outputs = "Color result;");

// The text of the function that starts with signature, up to its closing brace.
std::string function_text(const std::string& text, const std::string& signature);

// The statement block of the first shader's main.
QZ::SYNTAX_TREE::St_node* main_body(const QZ::SYNTAX_TREE::Compilation_unit& unit);

// The value of the first statement of a body, a declaration with an initialiser.
QZ::SYNTAX_TREE::St_node* first_initialiser(QZ::SYNTAX_TREE::St_node* body);

// Gives the call one Int argument more.
void add_int_argument(QZ::SYNTAX_TREE::St_node* call);

// Puts count unary minus signs between value and its operand.
void bury_in_signs(QZ::SYNTAX_TREE::St_node* value, int count);

}  // namespace vorn_test

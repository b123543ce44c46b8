// The generator's view of a unit: which function, its parameters and outputs, what main reaches
// and in which order the units print.
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "back12/generator_input.h"
#include "back12/used_state.h"
#include "compiler/mod_compiler.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/st_node.h"
#include "system/mod_string.h"

using namespace QZ;
using namespace QZ::BACK12;
using SYNTAX_TREE::Compilation_unit;
using SYNTAX_TREE::St_node;

namespace {

const std::string data_dir = std::string(VORN_TEST_DATA_DIR) + "/back12/input";

std::unique_ptr<Compilation_unit> compile_main()
{
    SYSTEM::mod_string->set_path(2, "shader", data_dir.c_str());
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(COMPILER::mod_compiler->compile_file("main.ovl", &errors));
    EXPECT_TRUE(errors.empty());
    EXPECT_TRUE(unit);
    if (unit) {
        EXPECT_EQ(unit->error_count(), 0u);
    }
    return unit;
}

std::vector<std::string> names(const std::vector<Generator_variable>& variables)
{
    std::vector<std::string> result;
    for (const Generator_variable& variable : variables)
        result.push_back(variable.name);
    return result;
}

std::vector<std::string> reachable_functions(const Generator_input& input, const Compilation_unit& unit)
{
    std::vector<std::string> result;
    for (St_node* function : unit.functions())
        if (input.is_reachable(function))
            result.push_back(std::string(function_definition_name(function)));
    return result;
}

St_node* function_named(const Compilation_unit& unit, const char* name)
{
    for (St_node* function : unit.functions())
        if (function_definition_name(function) == name)
            return function;
    return nullptr;
}

}  // namespace

TEST(Back12_generator_input, first_shader_by_default_with_its_blocks)
{
    auto unit = compile_main();
    ASSERT_TRUE(unit);
    Generator_input input;
    ASSERT_TRUE(build_generator_input(unit.get(), {}, input));
    EXPECT_EQ(input.function_name, "First");
    EXPECT_EQ(names(input.parameters), (std::vector<std::string>{"c", "d", "k"}));
    EXPECT_EQ(names(input.outputs), (std::vector<std::string>{"result", "second"}));
    EXPECT_EQ(input.primary_output, 0);
    ASSERT_NE(input.primary(), nullptr);
    EXPECT_EQ(input.primary()->name, "result");
    // Two names of one declaration share it and keep their own identifiers.
    EXPECT_EQ(input.parameters[0].declaration, input.parameters[1].declaration);
    EXPECT_NE(input.parameters[0].identifier, input.parameters[1].identifier);
    EXPECT_EQ(unit->type_name(input.parameters[2].type_index), "Scalar");
    ASSERT_NE(input.main, nullptr);
    EXPECT_EQ(function_definition_name(input.main), "main");
    EXPECT_EQ(input.debug_index, -1);
}

TEST(Back12_generator_input, shader_name_and_primary_output_choose)
{
    auto unit = compile_main();
    ASSERT_TRUE(unit);
    COMPILER::Compile_options options;
    options.primary_output = "second";
    Generator_input input;
    ASSERT_TRUE(build_generator_input(unit.get(), options, input));
    EXPECT_EQ(input.primary()->name, "second");

    options.primary_output = "no_such_output";
    ASSERT_TRUE(build_generator_input(unit.get(), options, input));
    EXPECT_EQ(input.primary()->name, "result");

    options.shader_name = "Second";
    ASSERT_TRUE(build_generator_input(unit.get(), options, input));
    EXPECT_EQ(input.function_name, "Second");
    EXPECT_EQ(names(input.outputs), std::vector<std::string>{"out_value"});

    // A name the unit does not declare gives no function rather than another shader's text.
    options.shader_name = "second";
    EXPECT_FALSE(build_generator_input(unit.get(), options, input));
    EXPECT_FALSE(input.has_function());
}

TEST(Back12_generator_input, reachability_follows_calls_through_imports)
{
    auto unit = compile_main();
    ASSERT_TRUE(unit);
    Generator_input input;
    ASSERT_TRUE(build_generator_input(unit.get(), {}, input));
    EXPECT_EQ(reachable_functions(input, *unit), (std::vector<std::string>{"helper", "helper_two"}));
    ASSERT_EQ(input.methods.size(), 1u);
    EXPECT_EQ(function_definition_name(input.methods[0]), "used_method");
    EXPECT_EQ(input.reachable.count("quad"), 1u);
    EXPECT_EQ(input.reachable.count("twice"), 1u);
    EXPECT_EQ(input.reachable.count("never_called"), 0u);
    EXPECT_EQ(input.reachable.count("never_called_b"), 0u);
    EXPECT_EQ(input.reachable.count("unused_method"), 0u);
}

TEST(Back12_generator_input, imports_print_first_and_once)
{
    auto unit = compile_main();
    ASSERT_TRUE(unit);
    Generator_input input;
    ASSERT_TRUE(build_generator_input(unit.get(), {}, input));
    ASSERT_FALSE(input.units.empty());
    EXPECT_EQ(input.units.back(), unit.get());
    // lib_b before lib_a (lib_a imports it), and lib_b once even if two importers share it.
    std::vector<std::string> first_functions;
    for (Compilation_unit* member : input.units)
        first_functions.push_back(member->function_count() > 0
                                      ? std::string(function_definition_name(member->function_at(0)))
                                      : std::string());
    ASSERT_EQ(first_functions.size(), 3u);
    EXPECT_EQ(first_functions[0], "twice");
    EXPECT_EQ(first_functions[first_functions.size() - 2], "quad");
    EXPECT_EQ(first_functions.back(), "helper");
}

TEST(Back12_generator_input, used_state_joins_the_shader_and_reached_code)
{
    auto unit = compile_main();
    ASSERT_TRUE(unit);
    // Functions that the linker copies read state through references of their own; put one
    // into a reached function and one into a function nobody calls.
    auto reference = [&unit](int32_t index) {
        return new (unit->node_arena()) St_node(SYNTAX_TREE::NODE_STATE_VARIABLE_REFERENCE, SYNTAX_TREE::make_file_name("x"), 1, 1,
                                                reinterpret_cast<const char*>(&index), int32_t(sizeof index), -1);
    };
    St_node* reached = function_named(*unit, "helper_two");
    St_node* unreached = function_named(*unit, "never_called");
    ASSERT_TRUE(reached && unreached);
    reached->add_child(reference(STATE_MOTION));
    unreached->add_child(reference(STATE_IMPORTANCE));

    Generator_input input;
    ASSERT_TRUE(build_generator_input(unit.get(), {}, input));
    EXPECT_TRUE(input.used_state[STATE_NORMAL]);
    EXPECT_TRUE(input.used_state[STATE_DIRECTION]);
    // The shader's own table covers all of its code, reached or not.
    EXPECT_TRUE(input.used_state[STATE_RASTER]);
    EXPECT_TRUE(input.used_state[STATE_MOTION]);
    EXPECT_FALSE(input.used_state[STATE_IMPORTANCE]);
    EXPECT_FALSE(input.used_state[STATE_POSITION]);
}

TEST(Back12_generator_input, unit_without_shader_and_debug_display)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(
        COMPILER::mod_compiler->compile_text("plain.ovl", "Scalar f(Scalar x) { return x; }\n", &errors));
    ASSERT_TRUE(unit);
    Generator_input input;
    EXPECT_FALSE(build_generator_input(unit.get(), {}, input));
    EXPECT_EQ(input.unit, unit.get());
    EXPECT_EQ(input.units, std::vector<Compilation_unit*>{unit.get()});
    EXPECT_EQ(input.primary(), nullptr);
    EXPECT_FALSE(build_generator_input(nullptr, {}, input));

    Debug_display debug{"result", 3};
    EXPECT_FALSE(build_generator_input(unit.get(), {}, input, debug));
    EXPECT_EQ(input.debug_name, "result");
    EXPECT_EQ(input.debug_index, 3);
}

TEST(Back12_generator_input, long_call_chains_and_recursion_do_not_recurse)
{
    // Five thousand functions each calling the next, and one calling itself: the walk iterates.
    std::string source;
    const int count = 5000;
    for (int i = count - 1; i >= 0; --i) {
        source += "Scalar f" + std::to_string(i) + "(Scalar x) { return ";
        source += i + 1 < count ? "f" + std::to_string(i + 1) + "(x)" : "x";
        source += "; }\n";
    }
    source += "Scalar self(Scalar x) { return self(x); }\n";
    source += "shader S { output: Scalar r; void main() { r = f0(1.0) + self(2.0); } };\n";
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(COMPILER::mod_compiler->compile_text("chain.ovl", source.c_str(), &errors));
    ASSERT_TRUE(unit);
    Generator_input input;
    ASSERT_TRUE(build_generator_input(unit.get(), {}, input));
    EXPECT_EQ(input.reachable.size(), size_t(count) + 1);
}

// Inputs that a body writes, which the targets must copy before writing.
TEST(Written_inputs, assignments_increments_and_written_arguments_count_and_shadowed_names_do_not)
{
    const char* source =
        "void fill(out Scalar x, Scalar y) { x = y; }\n"
        "void bump(inout Int n) { n++; }\n"
        "void pick(Vector3 x, Scalar y) { }\n"
        "void pick(Scalar x, out Scalar y) { y = x; }\n"
        "void three(Scalar p, Scalar q, inout Scalar r) { r = p + q; }\n"
        "shader S {\n"
        "input: Scalar a = 1.0; Vector3 b; Scalar c; Int d; Scalar e; Scalar f; Scalar g; Scalar h;\n"
        "    Scalar k; Scalar m;\n"
        "output: Color result;\n"
        "    void touch() { h -= 1.0; }\n"
        "    void main() {\n"
        "        a = 2.0;\n"
        "        b.x = 1.0;\n"
        "        fill(c, f);\n"
        "        bump(d);\n"
        "        Scalar s; Scalar i; modf(e, i);\n"
        "        Scalar g = f;\n"
        "        g = 3.0;\n"
        "        touch();\n"
        "        pick(f, k);\n"
        "        three(f, f, m);\n"
        "        result = Color(a, c, f, g);\n"
        "    }\n"
        "};\n";
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<Compilation_unit> unit(COMPILER::mod_compiler->compile_text("written.ovl", source, &errors));
    ASSERT_TRUE(unit);
    ASSERT_TRUE(errors.empty());
    ASSERT_EQ(unit->error_count(), 0u);
    Generator_input input;
    COMPILER::Compile_options options;
    ASSERT_TRUE(build_generator_input(unit.get(), options, input));
    // f is only read; g is declared in the body, so the write may be to the local; modf writes
    // its second argument, not its first; an argument is written when any overload of the name
    // writes the parameter at its place.
    EXPECT_EQ(written_inputs(input), (std::set<std::string>{"a", "b", "c", "d", "h", "k", "m"}));
}

// A host browsing a unit's declarations and types, building a small tree by hand and keeping a
// unit as a binary file, all through libvorn.so.
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "host/host_library.h"

using vorn_host_test::Session;

namespace {

const char* const source =
    "struct Pair { Scalar a; Int b; };\n"
    "enum Mode { FLAT, SMOOTH = 5 };\n"
    "Scalar twice(Scalar x) { Scalar y = x * 2.0; return y; }\n"
    "shader Glow { input: Color c = Color(1, 0.5, 0, 1); Scalar k = 2.0; output: Color result;\n"
    "  void main() { Pair p; p.a = k; result = c * twice(p.a); } };\n";

// Every declaration below a node, as "name:flags:type", depth first.
void collect_declarations(vorn::ISyntax_tree* node, std::vector<std::string>& out)
{
    if (vorn::IDeclaration* declaration = node->get_declaration()) {
        const bool bits[9] = {declaration->is_flag_0(), declaration->is_flag_1(), declaration->is_flag_2(),
                              declaration->is_flag_3(), declaration->is_flag_4(), declaration->is_flag_5(),
                              declaration->is_flag_6(), declaration->is_flag_7(), declaration->is_flag_8()};
        std::string flags;
        for (int bit = 0; bit < 9; ++bit)
            if (bits[bit])
                flags += std::to_string(bit);
        vorn::IType* type = declaration->get_type();
        const char* name = node->get_value_as_text();
        out.push_back(std::string(name ? name : "-") + ":" + flags + ":" +
                      (type->get_name() ? type->get_name() : "-"));
        EXPECT_EQ(declaration->get_interface(0), nullptr);
        type->release();
        declaration->release();
    }
    for (int32_t i = 0; i < node->get_child_count(); ++i) {
        vorn::ISyntax_tree* child = node->get_child(i);
        collect_declarations(child, out);
        child->release();
    }
}

std::string generate(vorn::IVorn_compiler* compiler, vorn::ICompilation_unit* unit, const char* target)
{
    vorn::ICompiler_options* options = compiler->create_options();
    options->set_option("shader_type", "surface");
    vorn::IGenerated_shader* shader = unit->generate(target, options);
    options->release();
    if (!shader)
        return "<none>";
    std::string text;
    for (uint32_t i = 0; i < shader->get_program_count(); ++i) {
        std::vector<char> buffer(shader->get_program_size(i));
        shader->copy_program(i, buffer.data(), uint32_t(buffer.size()));
        text += buffer.data();
    }
    shader->release();
    return text;
}

}  // namespace

TEST(Host_tree, browse_declarations_and_types)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = session.compiler->compile_source(source, nullptr);
    ASSERT_NE(unit, nullptr);

    std::vector<std::string> found;
    for (uint32_t i = 0; i < unit->get_function_count(); ++i) {
        vorn::ISyntax_tree* function = unit->get_function(i);
        collect_declarations(function, found);
        function->release();
    }
    for (uint32_t i = 0; i < unit->get_shader_count(); ++i) {
        vorn::ISyntax_tree* shader = unit->get_shader(i);
        collect_declarations(shader, found);
        shader->release();
    }
    // The function (its definition and the header in it) with its parameter and local; the
    // shader with its inputs, output, main (twice again) and main's local. Names are the nodes'
    // values.
    EXPECT_EQ(found, (std::vector<std::string>{"-:4:Scalar", "-:4:Scalar", "x:5:Scalar", "y:6:Scalar", "shader:7:-",
                                               "c:1:Color", "k:1:Scalar", "result:2:Color", "-:4:void", "-:4:void",
                                               "p:6:Pair"}));

    ASSERT_EQ(unit->get_type_count(), 2u);
    vorn::IType* pair = unit->get_type(0);
    EXPECT_STREQ(pair->get_name(), "Pair");
    EXPECT_EQ(pair->get_kind(), vorn::TYPE_KIND_STRUCT);
    uint32_t position = 0, size = 0;
    vorn::IType* b = pair->find_member("b", &position, &size);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->get_kind(), vorn::TYPE_KIND_INT);
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(pair->get_interface(vorn::IID_TYPE), pair);
    pair->release();  // the reference get_interface added
    b->release();
    pair->release();
    vorn::IType* mode = unit->get_type(1);
    ASSERT_EQ(mode->get_enumerator_count(), 2u);
    EXPECT_STREQ(mode->get_enumerator_name(1), "SMOOTH");
    EXPECT_EQ(mode->get_enumerator_value(1), 5);
    mode->release();
    vorn::IType* none = unit->get_type(-1);
    EXPECT_FALSE(none->is_valid());
    none->release();
    unit->release();
}

TEST(Host_tree, build_a_small_tree_by_hand)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = session.compiler->create_compilation_unit();
    ASSERT_NE(unit, nullptr);
    // 2.5 * 0x10, as an expression tree.
    vorn::ISyntax_tree* product = unit->create_tree_node(42);  // MULTIPLICATIVE_EXPRESSION
    vorn::ISyntax_tree* left = unit->create_tree_node(58);     // FLOAT_CONSTANT
    vorn::ISyntax_tree* right = unit->create_tree_node(57);    // HEX_CONSTANT as the host counts
    vorn::ISyntax_tree* flag = unit->create_tree_node(59);     // BOOL_CONSTANT
    product->set_value_text("*");
    left->set_value_float(2.5);
    right->set_value_text("0x10");
    flag->set_value_bool(true);
    product->add_child(left);
    product->add_child(right);
    product->add_child(left);  // refused: it is in the tree already
    EXPECT_EQ(product->get_child_count(), 2);
    vorn::ISyntax_tree* first = product->get_child(0);
    vorn::ISyntax_tree* second = product->get_child(1);
    EXPECT_STREQ(first->get_value_as_text(), "2.500000");
    EXPECT_DOUBLE_EQ(first->get_value_as_float(), 2.5);
    EXPECT_EQ(second->get_kind(), 57);
    EXPECT_EQ(second->get_value_as_int(), 16);
    EXPECT_TRUE(flag->get_value_as_bool());
    EXPECT_FALSE(product->get_value_as_bool());
    EXPECT_EQ(product->get_declaration(), nullptr);
    vorn::IType* type = product->get_type();
    EXPECT_FALSE(type->is_valid());
    type->release();
    first->release();
    second->release();
    // The unit frees what the host made, added or not.
    for (vorn::ISyntax_tree* node : {product, left, right, flag})
        node->release();
    unit->release();
}

TEST(Host_tree, binary_file_keeps_a_unit)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = session.compiler->compile_source(source, nullptr);
    ASSERT_NE(unit, nullptr);
    std::string path = "/tmp/vorn_host_tree_" + std::to_string(::getpid()) + ".bovl";
    unit->save_binary(path.c_str());

    vorn::ICompilation_unit* loaded = session.compiler->create_compilation_unit();
    loaded->load_binary(path.c_str());
    std::remove(path.c_str());
    EXPECT_EQ(loaded->get_shader_count(), 1u);
    EXPECT_STREQ(loaded->get_shader_name(0), "Glow");
    EXPECT_EQ(loaded->get_type_count(), 2u);
    // resolve completes the unit read: its nodes have their types again.
    loaded->resolve();
    vorn::ISyntax_tree* function = loaded->get_function(0);
    vorn::IDeclaration* declaration = function->get_declaration();
    vorn::IType* result = declaration->get_type();
    EXPECT_STREQ(result->get_name(), "Scalar");
    result->release();
    declaration->release();
    function->release();
    EXPECT_EQ(generate(session.compiler, loaded, "FX"), generate(session.compiler, unit, "FX"));
    EXPECT_EQ(generate(session.compiler, loaded, "GL"), generate(session.compiler, unit, "GL"));
    // A file that is not there leaves the unit as it was.
    loaded->load_binary("/nonexistent/none.bovl");
    EXPECT_EQ(loaded->get_shader_count(), 1u);
    loaded->release();
    unit->release();
}

#include <string>

#include "host/host_library.h"

using vorn_host_test::Session;
using vorn_host_test::message_of;

TEST(Host_compiler, compiler_objects_are_distinct)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    auto* second = static_cast<vorn::IVorn_compiler*>(session.root->get_interface(vorn::IID_VORN_COMPILER));
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, session.compiler);
    EXPECT_EQ(second->get_internal(), nullptr);
    second->release();
}

TEST(Host_compiler, source_text_gives_a_unit_with_its_shaders_and_functions)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::ICompilation_unit* unit = session.compiler->compile_source(
        "struct Pair { Scalar a; Int b; };\n"
        "Scalar twice(Scalar x) { return x * 2.0; }\n"
        "shader First { output: Color result; void main() { result = Color(twice(0.25), 0, 0, 1); } };\n"
        "shader Second { output: Color result; void main() { result = Color(1, 1, 1, 1); } };\n",
        errors);
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    EXPECT_EQ(unit->get_shader_count(), 2u);
    EXPECT_STREQ(unit->get_shader_name(0), "First");
    EXPECT_STREQ(unit->get_shader_name(1), "Second");
    EXPECT_EQ(unit->get_shader_name(2), nullptr);
    EXPECT_EQ(unit->get_function_count(), 1u);
    EXPECT_EQ(unit->get_type_count(), 1u);
    EXPECT_STREQ(unit->get_type_name(0), "Pair");
    EXPECT_EQ(unit->get_type_name(-1), nullptr);
    EXPECT_EQ(unit->get_import_count(), 0u);
    EXPECT_EQ(unit->get_import_name(0), nullptr);
    vorn::ISyntax_tree* function = unit->get_function(0);
    ASSERT_NE(function, nullptr);
    EXPECT_EQ(function->get_kind(), 11);  // FUNCTION_DEFINITION
    function->release();
    EXPECT_EQ(unit->generate("no such target", nullptr), nullptr);
    unit->release();
    errors->release();
}

TEST(Host_compiler, semantic_errors_give_null_and_the_messages)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    EXPECT_EQ(session.compiler->compile_source("shader S { output: Color result;\n"
                                               "void main() { result = missing; Int i = 1.5; } };\n",
                                               errors),
              nullptr);
    ASSERT_EQ(errors->get_count(), 2u);
    EXPECT_EQ(errors->get_error_number(0), 7u);
    EXPECT_EQ(errors->get_line(0), 2);
    EXPECT_EQ(message_of(errors, 0), "Error in file 'unknown file' line 2: unknown variable: \"missing\"");
    EXPECT_EQ(errors->get_error_number(1), 13u);
    // Without a collector the same call is quiet and safe.
    EXPECT_EQ(session.compiler->compile_source("Scalar x = ;", nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_source(nullptr, errors), nullptr);
    EXPECT_EQ(session.compiler->compile_source("", errors), nullptr);
    errors->release();
}

TEST(Host_compiler, files_and_imports)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    std::string dir = std::string(VORN_TEST_DATA_DIR) + "/host";
    session.root->set_shader_path(dir.c_str());
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::ICompilation_unit* unit = session.compiler->compile_file("importer.ovl", errors);
    ASSERT_NE(unit, nullptr) << (errors->get_count() ? message_of(errors, 0) : std::string());
    ASSERT_EQ(unit->get_import_count(), 1u);
    EXPECT_STREQ(unit->get_import_name(0), "imported.ovl");
    vorn::ICompilation_unit* imported = unit->get_import_unit(0);
    ASSERT_NE(imported, nullptr);
    EXPECT_EQ(imported->get_function_count(), 1u);
    imported->release();
    unit->release();

    EXPECT_EQ(session.compiler->compile_file("broken_importer.ovl", errors), nullptr);
    ASSERT_EQ(errors->get_count(), 2u);
    EXPECT_EQ(errors->get_error_number(0), 54u);
    EXPECT_EQ(errors->get_error_number(1), 55u);

    EXPECT_EQ(session.compiler->compile_file("missing.ovl", errors), nullptr);
    ASSERT_EQ(errors->get_count(), 1u);
    EXPECT_EQ(message_of(errors, 0), "Unable to open file 'missing.ovl'.");
    errors->release();
}

TEST(Host_compiler, options_through_the_interface)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    options->set_option("shader_type", "light");
    EXPECT_STREQ(options->get_option("shader_type"), "light");
    options->set_option("format", "HLSL");
    EXPECT_TRUE(options->option_equals("format", "HLSL"));
    EXPECT_EQ(options->get_internal(), static_cast<void*>(options));
    options->release();
    vorn::Interface* log = session.compiler->get_interface(vorn::IID_LOG);
    ASSERT_NE(log, nullptr);
    log->release();
}

// The compile session through libvorn.so: named sources, macros, include directories, warnings,
// dependencies, the log sink, the tree of a unit with errors, the target list.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/host_library.h"

using vorn_host_test::Session;

namespace {

// A directory of its own with the files a test writes.
struct Scratch {
    std::string path;
    Scratch()
    {
        char name[] = "/tmp/vorn_session_XXXXXX";
        path = mkdtemp(name) ? name : "";
    }
    ~Scratch()
    {
        std::string command = "rm -rf '" + path + "'";
        if (std::system(command.c_str()) != 0)
            ADD_FAILURE() << "cannot remove " << path;
    }
    std::string write(const std::string& name, const std::string& text) const
    {
        std::string file = path + "/" + name;
        FILE* out = std::fopen(file.c_str(), "wb");
        EXPECT_NE(out, nullptr) << file;
        if (out) {
            std::fwrite(text.data(), 1, text.size(), out);
            std::fclose(out);
        }
        return file;
    }
};

vorn::ICompile_session* open_session(Session& session)
{
    if (!session.compiler)
        return nullptr;
    return static_cast<vorn::ICompile_session*>(session.compiler->get_interface(vorn::IID_COMPILE_SESSION));
}

struct Line {
    int32_t severity;
    std::string module;
    std::string text;
};

struct Collecting_sink : vorn::ILog_sink {
    std::vector<Line> lines;
    void log_line(int32_t severity, const char* module, const char* text) override
    {
        lines.push_back({severity, module, text});
    }
};

const char* const good_shader =
    "shader S { output: Color result; void main() { result = Color(1, 0, 0, 1); } };\n";

std::string compile_text(vorn::ICompile_session* compile, const std::string& name, const std::string& text,
                         bool* compiled = nullptr)
{
    vorn::ICompilation_unit* unit = compile->compile(name.c_str(), text.data(), uint32_t(text.size()), nullptr);
    if (compiled)
        *compiled = unit != nullptr;
    std::string messages;
    for (uint32_t i = 0; i < compile->get_diagnostic_count(); ++i)
        messages += std::string(compile->get_diagnostic_message(i)) + "\n";
    if (unit)
        unit->release();
    return messages;
}

}  // namespace

TEST(Host_compile_session, is_a_new_object_per_call_and_answers_only_its_own_id)
{
    Session session;
    vorn::ICompile_session* first = open_session(session);
    vorn::ICompile_session* second = open_session(session);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->get_interface(vorn::IID_VORN_COMPILER), nullptr);
    vorn::Interface* same = first->get_interface(vorn::IID_COMPILE_SESSION);
    EXPECT_EQ(same, first);
    same->release();
    first->release();
    second->release();
    // The specified ids keep their meaning.
    vorn::Interface* log = session.compiler->get_interface(vorn::IID_LOG);
    ASSERT_NE(log, nullptr);
    log->release();
}

TEST(Host_compile_session, a_named_source_gives_its_name_in_every_message)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    std::string text = "shader S { output: Color result;\n  void main() { result = missing; } };\n";
    vorn::ICompilation_unit* unit = compile->compile("named.ovl", text.data(), uint32_t(text.size()), errors);
    EXPECT_EQ(unit, nullptr);
    ASSERT_EQ(errors->get_count(), 1u);
    std::vector<char> message(errors->get_message_length(0) + 1);
    errors->get_message(0, message.data(), uint32_t(message.size()));
    EXPECT_STREQ(message.data(), "Error in file 'named.ovl' line 2: unknown variable: \"missing\"");
    ASSERT_EQ(compile->get_diagnostic_count(), 1u);
    EXPECT_EQ(compile->get_diagnostic_severity(0), vorn::DIAGNOSTIC_ERROR);
    EXPECT_STREQ(compile->get_diagnostic_file(0), "named.ovl");
    EXPECT_EQ(compile->get_diagnostic_line(0), 2);
    EXPECT_EQ(compile->get_diagnostic_column(0), 26);
    EXPECT_EQ(compile->get_diagnostic_number(0), 7u);
    EXPECT_STREQ(compile->get_diagnostic_message(0), message.data());
    EXPECT_EQ(compile->get_diagnostic_message(1), nullptr);

    // A zero byte inside the given length is an error, not the end of the text.
    std::string with_zero = std::string(good_shader) + std::string(1, '\0') + "junk";
    bool compiled = true;
    compile_text(compile, "zero.ovl", with_zero, &compiled);
    EXPECT_FALSE(compiled);

    // The next run forgets the last one's findings.
    compile_text(compile, "good.ovl", good_shader, &compiled);
    EXPECT_TRUE(compiled);
    EXPECT_EQ(compile->get_diagnostic_count(), 0u);
    errors->release();
    compile->release();
}

TEST(Host_compile_session, macros_are_defined_and_undefined_as_directives_would)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    const std::string uses = "shader S { output: Color result; void main() { result = Color(LEVEL, 0, 0, 1); } };\n";
    bool compiled = true;
    compile_text(compile, "m.ovl", uses, &compiled);
    EXPECT_FALSE(compiled);
    EXPECT_TRUE(compile->define_macro("LEVEL", "0.5 * 2"));
    compile_text(compile, "m.ovl", uses, &compiled);
    EXPECT_TRUE(compiled);

    // A bare name is 1, so #if sees it as true; a later definition replaces an earlier one.
    const std::string conditional = "#if FLAG\nshader S { output: Color result; void main() { result = Color(1,1,1,1); } };\n#endif\n";
    EXPECT_TRUE(compile->define_macro("FLAG", nullptr));
    compile_text(compile, "c.ovl", conditional, &compiled);
    EXPECT_TRUE(compiled);
    EXPECT_TRUE(compile->define_macro("FLAG", "0"));
    compile_text(compile, "c.ovl", conditional, &compiled);
    EXPECT_FALSE(compiled);  // nothing to compile

    // The prelude's macros can be removed.
    const std::string uses_pi = "shader S { output: Color result; void main() { result = Color(PI, 0, 0, 1); } };\n";
    compile_text(compile, "p.ovl", uses_pi, &compiled);
    EXPECT_TRUE(compiled);
    EXPECT_TRUE(compile->undefine_macro("PI"));
    std::string messages = compile_text(compile, "p.ovl", uses_pi, &compiled);
    EXPECT_FALSE(compiled);
    EXPECT_NE(messages.find("unknown variable: \"PI\""), std::string::npos) << messages;

    // Refused: names that are no identifiers, bodies of two lines, bodies that would read as
    // parameters, bodies that do not even lex.
    EXPECT_FALSE(compile->define_macro("", "1"));
    EXPECT_FALSE(compile->define_macro("2X", "1"));
    EXPECT_FALSE(compile->define_macro("A B", "1"));
    EXPECT_FALSE(compile->define_macro(nullptr, "1"));
    EXPECT_FALSE(compile->define_macro("X", "1\nshader"));
    EXPECT_FALSE(compile->define_macro("X", " (1)"));
    EXPECT_FALSE(compile->define_macro("X", "\"open"));
    EXPECT_FALSE(compile->undefine_macro("-U"));
    // A refused definition leaves the earlier ones working.
    compile_text(compile, "m.ovl", uses, &compiled);
    EXPECT_TRUE(compiled);
    compile->release();
}

TEST(Host_compile_session, includes_warn_at_the_directive_and_the_log_sink_takes_every_line)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    Scratch scratch;
    scratch.write("broken.ovl", "Scalar a = ;\n");
    std::string main_file = scratch.write("main.ovl", std::string("// two faulty includes\n") +
                                                          "  #include <absent.ovl>\n#include <broken.ovl>\n" +
                                                          good_shader);
    Collecting_sink sink;
    compile->set_log_sink(&sink);
    testing::internal::CaptureStderr();
    vorn::ICompilation_unit* unit = compile->compile(main_file.c_str(), nullptr, 0, nullptr);
    std::string standard_error = testing::internal::GetCapturedStderr();
    compile->set_log_sink(nullptr);

    // The includes' faults are warnings: the unit is still made.
    ASSERT_NE(unit, nullptr);
    unit->release();
    EXPECT_EQ(standard_error, "");
    ASSERT_EQ(compile->get_diagnostic_count(), 2u);
    EXPECT_EQ(compile->get_diagnostic_severity(0), vorn::DIAGNOSTIC_WARNING);
    EXPECT_EQ(compile->get_diagnostic_number(0), 0u);
    EXPECT_STREQ(compile->get_diagnostic_file(0), main_file.c_str());
    EXPECT_EQ(compile->get_diagnostic_line(0), 2);
    EXPECT_EQ(compile->get_diagnostic_column(0), 3);
    EXPECT_STREQ(compile->get_diagnostic_message(0), "cannot open included file \"absent.ovl\"");
    EXPECT_EQ(compile->get_diagnostic_line(1), 3);
    EXPECT_EQ(compile->get_diagnostic_column(1), 1);
    EXPECT_EQ(std::string(compile->get_diagnostic_message(1)).rfind("included file \"broken.ovl\" left out: "
                                                                    "Error in file 'broken.ovl' line 1: syntax error",
                                                                    0),
              0u)
        << compile->get_diagnostic_message(1);

    // The log lines that were written to standard error before now reach the sink.
    bool unreadable = false, broken = false;
    for (const Line& line : sink.lines) {
        if (line.text == "Unable to open source file: absent.ovl")
            unreadable = line.severity == 1 && line.module == "CF12";
        if (line.text.rfind("Error in file 'broken.ovl' line 1", 0) == 0)
            broken = line.severity == 2;
    }
    EXPECT_TRUE(unreadable);
    EXPECT_TRUE(broken);

    // Without the sink the lines go to standard error again.
    testing::internal::CaptureStderr();
    unit = compile->compile(main_file.c_str(), nullptr, 0, nullptr);
    standard_error = testing::internal::GetCapturedStderr();
    if (unit)
        unit->release();
    EXPECT_NE(standard_error.find("Unable to open source file: absent.ovl"), std::string::npos);
    compile->release();
}

TEST(Host_compile_session, dependencies_list_includes_and_imports_once_each_in_reading_order)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    Scratch scratch;
    ASSERT_EQ(::mkdir((scratch.path + "/inc").c_str(), 0755), 0);
    ASSERT_EQ(::mkdir((scratch.path + "/src").c_str(), 0755), 0);
    std::string nested = scratch.write("inc/nested.ovl", "Scalar nested_value = 2.0;\n");
    std::string first = scratch.write(
        "inc/first.ovl", "#ifndef FIRST\n#define FIRST\n#include <nested.ovl>\nScalar first_value = 1.0;\n#endif\n");
    std::string beside = scratch.write("src/beside.ovl", "Scalar beside_value = 3.0;\n");
    std::string imported = scratch.write("inc/lib.ovl", "Scalar helper(Scalar x) { return x; }\n");
    // A file of the same name beside the includer wins over the include directory.
    scratch.write("inc/beside.ovl", "this does not parse\n");
    std::string main_file = scratch.write(
        "src/main.ovl", std::string("#import <lib.ovl>\n#include <first.ovl>\n#include <beside.ovl>\n"
                                    "#include <first.ovl>\n") +
                            good_shader);

    bool compiled = false;
    vorn::ICompilation_unit* unit = compile->compile(main_file.c_str(), nullptr, 0, nullptr);
    EXPECT_EQ(unit, nullptr) << "include directories are not searched before they are added";
    EXPECT_EQ(compile->get_dependency_count(), 1u);  // beside.ovl only
    compile->add_include_directory((scratch.path + "/inc").c_str());
    unit = compile->compile(main_file.c_str(), nullptr, 0, nullptr);
    compiled = unit != nullptr;
    ASSERT_TRUE(compiled) << compile->get_diagnostic_message(0);
    EXPECT_EQ(unit->get_import_count(), 1u);
    unit->release();
    std::vector<std::string> dependencies;
    for (uint32_t i = 0; i < compile->get_dependency_count(); ++i)
        dependencies.push_back(compile->get_dependency(i));
    // The import is read at declaration time, after the parse has read every include.
    std::vector<std::string> expected = {first, nested, beside, imported};
    EXPECT_EQ(dependencies, expected);
    EXPECT_EQ(compile->get_dependency(4), nullptr);
    compile->release();
}

TEST(Host_compile_session, preprocessing_expands_macros_inlines_includes_and_keeps_imports)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    Scratch scratch;
    scratch.write("part.ovl", "#define HALF 0.5\nScalar part_value = HALF;\n");
    std::string source = "#import <lib.ovl>\n#include <part.ovl>\n#define TWICE(x) ((x) * 2.0)\n"
                         "Scalar a = TWICE(HALF);\n\n\nScalar b = PI;\n";
    std::string main_file = scratch.write("main.ovl", source);
    const char* text = compile->preprocess(main_file.c_str(), nullptr, 0);
    ASSERT_NE(text, nullptr) << compile->get_diagnostic_message(0);
    // Tokens that touched in the file touch here; those of a macro are a blank apart.
    EXPECT_EQ(std::string(text), "#import <lib.ovl>\n"
                                 "\nScalar part_value = 0.5 ;\n"
                                 "\nScalar a = ( ( 0.5 ) * 2.0 ) ;\n\n\nScalar b = 3.14159265358979323846f ;\n");

    // The first error ends preprocessing and is reported at its place.
    std::string bad = "Scalar a;\n#if 1/0\n#endif\n";
    EXPECT_EQ(compile->preprocess("bad.ovl", bad.data(), uint32_t(bad.size())), nullptr);
    ASSERT_EQ(compile->get_diagnostic_count(), 1u);
    EXPECT_EQ(compile->get_diagnostic_number(0), 39u);
    EXPECT_EQ(compile->get_diagnostic_line(0), 2);
    EXPECT_STREQ(compile->get_diagnostic_file(0), "bad.ovl");
    compile->release();
}

TEST(Host_compile_session, the_tree_of_a_run_with_errors_is_kept)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    // A semantic error: the whole tree, checked as far as it goes.
    bool compiled = true;
    compile_text(compile, "semantic.ovl", "Scalar a = b;\nScalar c = 1.0;\n", &compiled);
    EXPECT_FALSE(compiled);
    vorn::ISyntax_tree* tree = compile->get_tree();
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->get_kind(), 0);  // DECLARATION_LIST
    EXPECT_EQ(tree->get_child_count(), 2);
    vorn::ISyntax_tree* second = tree->get_child(1);
    int32_t line = 0, column = 0;
    EXPECT_TRUE(compile->get_position(second, &line, &column));
    EXPECT_EQ(line, 2);
    EXPECT_EQ(column, 1);
    second->release();
    tree->release();

    // A syntax error: the declarations the parser kept.
    compile_text(compile, "syntax.ovl", "Scalar a = 1.0;\nScalar b = ;\nScalar c = 2.0;\n", &compiled);
    EXPECT_FALSE(compiled);
    tree = compile->get_tree();
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(tree->get_child_count(), 2);
    tree->release();
    EXPECT_FALSE(compile->get_position(nullptr, &line, &column));

    // Nothing parsed: an empty file, or a preprocessor error.
    compile_text(compile, "empty.ovl", "", &compiled);
    EXPECT_EQ(compile->get_tree(), nullptr);
    compile_text(compile, "directive.ovl", "Scalar a;\n#endif\n", &compiled);
    EXPECT_EQ(compile->get_tree(), nullptr);
    compile->release();
}

TEST(Host_compile_session, every_listed_target_generates_and_no_other_name_does)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    vorn::ICompilation_unit* unit = compile->compile("t.ovl", good_shader, uint32_t(std::strlen(good_shader)), nullptr);
    ASSERT_NE(unit, nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    options->set_option("shader_type", "surface");
    std::vector<std::string> names;
    for (uint32_t i = 0; i < compile->get_target_count(); ++i) {
        names.push_back(compile->get_target_name(i));
        vorn::IGenerated_shader* shader = unit->generate(names.back().c_str(), options);
        EXPECT_NE(shader, nullptr) << names.back();
        if (shader)
            shader->release();
    }
    EXPECT_EQ(compile->get_target_name(compile->get_target_count()), nullptr);
    EXPECT_NE(std::find(names.begin(), names.end(), "FX"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "GL"), names.end());
    options->release();
    unit->release();
    compile->release();
}

TEST(Host_compile_session, a_unit_prints_as_source_that_compiles_again_and_one_without_a_tree_does_not)
{
    Session session;
    vorn::ICompile_session* compile = open_session(session);
    ASSERT_NE(compile, nullptr);
    vorn::ICompilation_unit* unit = compile->compile("s.ovl", good_shader, uint32_t(std::strlen(good_shader)), nullptr);
    ASSERT_NE(unit, nullptr);
    const char* printed = compile->print_source(unit);
    ASSERT_NE(printed, nullptr);
    EXPECT_EQ(compile->get_diagnostic_count(), 0u);
    std::string text = printed;
    EXPECT_NE(text.find("result = Color(1, 0, 0, 1);"), std::string::npos) << text;
    bool compiled = false;
    EXPECT_EQ(compile_text(compile, "printed.ovl", text, &compiled), "");
    EXPECT_TRUE(compiled);
    unit->release();

    vorn::ICompilation_unit* empty = session.compiler->create_compilation_unit();
    EXPECT_EQ(compile->print_source(empty), nullptr);
    ASSERT_EQ(compile->get_diagnostic_count(), 1u);
    EXPECT_EQ(compile->get_diagnostic_severity(0), vorn::DIAGNOSTIC_ERROR);
    EXPECT_NE(std::string(compile->get_diagnostic_message(0)).find("no tree"), std::string::npos);
    EXPECT_EQ(compile->print_source(nullptr), nullptr);
    empty->release();
    compile->release();
}

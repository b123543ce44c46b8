// What a compile makes of files that end early, include or import without end, or import a
// faulty file: every case is an error that says where, never a silent success or a crash.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include "compiler/mod_compiler.h"
#include "front12/mod_front12.h"
#include "front12/parser_plugin.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "system/mod_string.h"

using QZ::COMPILER::mod_compiler;
using QZ::SYNTAX_TREE::Compilation_unit;
using QZ::SYNTAX_TREE::Error_list;

namespace {

void write(const std::string& path, const std::string& text)
{
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr) << path;
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
}

const std::string shader = "shader S { output: Color result; void main() { result = Color(1, 0, 0, 1); } };\n";

struct Compiled {
    std::unique_ptr<Compilation_unit> unit;
    Error_list errors;
    std::string file;

    // The formatted message of the first error of the number, or "".
    std::string message(uint32_t number) const
    {
        for (const auto& error : errors)
            if (error.number == number)
                return QZ::SYNTAX_TREE::format_error(error, file.c_str());
        return "";
    }
};

Compiled compile(const std::string& file)
{
    Compiled result;
    result.file = file;
    result.unit.reset(mod_compiler->compile_file(file.c_str(), &result.errors));
    if (result.unit)
        result.errors.insert(result.errors.end(), result.unit->errors().begin(), result.unit->errors().end());
    return result;
}

}  // namespace

TEST(Source_limits, zero_byte_is_an_error_where_it_stands_in_main_file_include_and_import)
{
    std::string dir = vorn_test::make_temp_dir("zero_byte");
    vorn_test::Log_capture capture;

    // In code and in a comment: the rest of the file is not simply dropped.
    write(dir + "/code.ovl", shader + "Scalar a;\n  " + std::string(1, '\0') + "Scalar b;\n");
    Compiled code = compile(dir + "/code.ovl");
    EXPECT_EQ(code.unit, nullptr);
    ASSERT_EQ(code.errors.size(), 1u);
    EXPECT_EQ(code.errors[0].line, 3);
    EXPECT_EQ(code.errors[0].column, 3);
    EXPECT_EQ(code.message(1), "Error in file '" + dir + "/code.ovl' line 3: syntax error: unexpected byte 0x00");

    write(dir + "/comment.ovl", shader + "// a note" + std::string(1, '\0') + "\nScalar b;\n");
    EXPECT_EQ(compile(dir + "/comment.ovl").message(1),
              "Error in file '" + dir + "/comment.ovl' line 2: syntax error: unexpected byte 0x00 in comment");
    write(dir + "/block.ovl", shader + "/* a\n note " + std::string(1, '\0') + "*/\nScalar b;\n");
    EXPECT_EQ(compile(dir + "/block.ovl").message(1),
              "Error in file '" + dir + "/block.ovl' line 3: syntax error: unexpected byte 0x00 in comment");

    // An included file's errors are warnings of the includer, this one too.
    write(dir + "/included.ovl", "Scalar x;\nScalar y;" + std::string(1, '\0') + "\n");
    write(dir + "/includer.ovl", "#include <included.ovl>\n" + shader);
    compile(dir + "/includer.ovl");
    EXPECT_TRUE(capture.contains("Error in file 'included.ovl' line 2: syntax error: unexpected byte 0x00"));

    write(dir + "/imported.ovl", "Scalar k;\n\n" + std::string(1, '\0') + "\n");
    write(dir + "/importer.ovl", "#import <imported.ovl>\n" + shader);
    Compiled importer = compile(dir + "/importer.ovl");
    EXPECT_EQ(importer.message(55), "Error in file '" + dir +
                                        "/importer.ovl' line 1: import \"imported.ovl\": Error in file 'imported.ovl' "
                                        "line 3: syntax error: unexpected byte 0x00");
}

TEST(Source_limits, includes_nested_past_the_limit_are_an_error_at_the_outermost_directive)
{
    std::string dir = vorn_test::make_temp_dir("include_depth");
    const int limit = QZ::FRONT12::Parser_ovrel_12::INCLUDE_DEPTH_LIMIT;
    // An included file is named by its bare name, so the ones it includes come by the path.
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    // level1.ovl includes level2.ovl and so on; the last one includes nothing.
    for (int level = 1; level <= limit + 1; ++level) {
        std::string text = "Scalar v" + std::to_string(level) + ";\n";
        if (level <= limit)
            text += "#include <level" + std::to_string(level + 1) + ".ovl>\n";
        write(dir + "/level" + std::to_string(level) + ".ovl", text);
    }
    // Exactly the limit: the file itself and limit levels below it.
    write(dir + "/deep_enough.ovl", shader + "#include <level2.ovl>\n");
    Compiled deep_enough = compile(dir + "/deep_enough.ovl");
    EXPECT_NE(deep_enough.unit, nullptr);
    EXPECT_TRUE(deep_enough.errors.empty());

    write(dir + "/too_deep.ovl", shader + "\n#include <level1.ovl>\n");
    Compiled too_deep = compile(dir + "/too_deep.ovl");
    EXPECT_EQ(too_deep.unit, nullptr);
    EXPECT_EQ(too_deep.message(55), "Error in file '" + dir +
                                        "/too_deep.ovl' line 3: files are included more than 64 levels deep through "
                                        "\"level1.ovl\"");

    // A file that includes itself ends the same way, without 65 copies of its declarations.
    write(dir + "/self.ovl", "Scalar x;\n#include <self.ovl>\n");
    write(dir + "/uses_self.ovl", "#include <self.ovl>\n" + shader);
    Compiled self = compile(dir + "/uses_self.ovl");
    EXPECT_EQ(self.unit, nullptr);
    ASSERT_EQ(self.errors.size(), 1u);
    EXPECT_EQ(self.errors[0].line, 1);
}

TEST(Source_limits, imports_nested_past_the_limit_are_an_error_naming_the_chain)
{
    std::string dir = vorn_test::make_temp_dir("import_depth");
    const int limit = QZ::FRONT12::Mod_front12::IMPORT_DEPTH_LIMIT;
    const int files = limit + 4;
    for (int i = 0; i <= files; ++i) {
        std::string text = "Scalar f" + std::to_string(i) + "() { return 1.0; }\n";
        if (i < files)
            text = "#import <chain" + std::to_string(i + 1) + ".ovl>\n" + text;
        write(dir + "/chain" + std::to_string(i) + ".ovl", text);
    }
    // chain4 has exactly the limit of imports below it, chain3 one more.
    Compiled deep_enough = compile(dir + "/chain4.ovl");
    EXPECT_NE(deep_enough.unit, nullptr);
    EXPECT_TRUE(deep_enough.errors.empty());

    Compiled too_deep = compile(dir + "/chain3.ovl");
    std::string expected = "Error in file '" + dir + "/chain3.ovl' line 1: import ";
    for (int i = 4; i <= 3 + limit; ++i)
        expected += "\"chain" + std::to_string(i) + ".ovl\" > ";
    expected += "\"chain" + std::to_string(limit + 4) + ".ovl\": imports are nested more than 64 levels deep";
    EXPECT_EQ(too_deep.message(55), expected);
    EXPECT_EQ(too_deep.errors[0].number, 54u);
}

TEST(Source_limits, failed_import_names_the_file_line_and_message_at_fault)
{
    std::string dir = vorn_test::make_temp_dir("import_cause");
    write(dir + "/top.ovl", "#import <middle.ovl>\n" + shader);
    write(dir + "/middle.ovl", "\n#import <bottom.ovl>\nScalar m() { return 1.0; }\n");
    write(dir + "/bottom.ovl", "Scalar b()\n{ return missing; }\n");
    Compiled top = compile(dir + "/top.ovl");
    ASSERT_EQ(top.errors.size(), 2u);
    EXPECT_EQ(top.message(54), "Error in file '" + dir + "/top.ovl' line 1: imported file: \"middle.ovl\" contains errors");
    EXPECT_EQ(top.message(55), "Error in file '" + dir +
                                   "/top.ovl' line 1: import \"middle.ovl\" > \"bottom.ovl\": Error in file 'bottom.ovl' "
                                   "line 2: unknown variable: \"missing\"");

    write(dir + "/ping.ovl", "#import <pong.ovl>\n" + shader);
    write(dir + "/pong.ovl", "#import <ping.ovl>\n");
    EXPECT_EQ(compile(dir + "/ping.ovl").message(55),
              "Error in file '" + dir + "/ping.ovl' line 1: import \"pong.ovl\" > \"ping.ovl\" > \"pong.ovl\": imports itself");

    write(dir + "/lost.ovl", shader + "#import <nowhere.ovl>\n");
    EXPECT_EQ(compile(dir + "/lost.ovl").message(55),
              "Error in file '" + dir + "/lost.ovl' line 2: import \"nowhere.ovl\": cannot be read");
}

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "log/mod_log.h"
#include "support/test_support.h"
#include "system/mod_conf.h"
#include "system/mod_site.h"
#include "system/mod_string.h"

using namespace QZ::SYSTEM;

namespace {

void touch(const std::string& path)
{
    std::ofstream out(path);
    out << "x";
}

class Search_path : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = vorn_test::make_temp_dir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        ASSERT_FALSE(root.empty());
        ASSERT_EQ(std::system(("mkdir -p '" + root + "/dir' '" + root + "/x/y' '" + root + "/other'").c_str()), 0);
    }

    std::string root;
};

}  // namespace

TEST_F(Search_path, bang_entry_joins_the_base_name)
{
    touch(root + "/dir/a.ovl");
    mod_string->set_path(2, "test", ("!" + root + "/dir").c_str());
    EXPECT_EQ(mod_string->resolve_file("test", "x/y/a.ovl"), root + "/dir/a.ovl");
}

TEST_F(Search_path, plain_entries_join_the_whole_name)
{
    touch(root + "/x/y/a.ovl");
    mod_string->set_path(2, "test", (root + "/other;" + root).c_str());
    EXPECT_EQ(mod_string->resolve_file("test", "x/y/a.ovl"), root + "/x/y/a.ovl");
    EXPECT_EQ(mod_string->resolve_file("test", "x/y/missing.ovl"), "");
}

TEST_F(Search_path, absolute_names)
{
    touch(root + "/dir/a.ovl");
    mod_string->set_path(2, "test", (root + "/dir").c_str());
    // An existing absolute file is taken as it stands.
    EXPECT_EQ(mod_string->resolve_file("test", (root + "/dir/a.ovl").c_str()), root + "/dir/a.ovl");
    // A missing one is looked up again only through "!" entries.
    std::string missing = root + "/nowhere/a.ovl";
    EXPECT_EQ(mod_string->resolve_file("test", missing.c_str()), "");
    mod_string->set_path(2, "test", (root + "/dir;!" + root + "/dir").c_str());
    EXPECT_EQ(mod_string->resolve_file("test", missing.c_str()), root + "/dir/a.ovl");
    EXPECT_TRUE(is_absolute_path("/a"));
    EXPECT_TRUE(is_absolute_path("\\a"));
    EXPECT_TRUE(is_absolute_path("c:/a"));
    EXPECT_TRUE(is_absolute_path("C:\\a"));
    EXPECT_FALSE(is_absolute_path("c:a"));
    EXPECT_FALSE(is_absolute_path("a/b"));
}

TEST_F(Search_path, null_file_and_unknown_set)
{
    mod_string->set_path(2, "test", root.c_str());
    EXPECT_EQ(mod_string->resolve_file("test", nullptr), "");
    EXPECT_EQ(mod_string->resolve_file("no such set", "a.ovl"), "");
    EXPECT_TRUE(mod_string->get_path_list("no such set").empty());
}

TEST(Path_set, entry_count_follows_the_semicolon_rule)
{
    mod_string->set_path(2, "count", ";;");
    EXPECT_EQ(mod_string->get_entry_count("count"), 3u);
    EXPECT_TRUE(mod_string->get_path_list("count").empty());

    mod_string->set_path(0, "count", "a;b");
    mod_string->set_path(2, "count", "c");
    EXPECT_EQ(mod_string->get_entry_count("count"), 3u);
    mod_string->set_path(2, "count", "");
    EXPECT_EQ(mod_string->get_entry_count("count"), 2u);
    std::vector<std::string> list = mod_string->get_path_list("count");
    EXPECT_EQ(list, (std::vector<std::string>{"a", "b"}));
}

TEST(Path_set, lists_come_in_index_order_and_are_registered_as_configuration)
{
    mod_string->set_path(2, "order", "two");
    mod_string->set_path(0, "order", "zero");
    mod_string->set_path(1, "order", "one");
    EXPECT_EQ(mod_string->get_path_list("order"), (std::vector<std::string>{"zero", "one", "two"}));

    const Mod_conf::Variable* variable = mod_conf->find(32, "path_order_1");
    ASSERT_NE(variable, nullptr);
    EXPECT_EQ(variable->description, "search path list");
    ASSERT_TRUE(mod_conf->set(32, "path_order_1", "uno"));
    EXPECT_EQ(mod_string->get_path_list("order"), (std::vector<std::string>{"zero", "uno", "two"}));
}

TEST(Path_set, site_defaults)
{
    std::string shader = *mod_string->find_path_set("shader")->list(2);
    EXPECT_EQ(shader.rfind(".;${@QZ_FILE_PATH};./shaders;", 0), 0u) << shader;
    EXPECT_EQ(*mod_string->find_path_set("include")->list(2), ".;${@QZ_FILE_PATH}");
    EXPECT_EQ(*mod_string->find_path_set("image")->list(2), ".;${@QZ_FILE_PATH}");
}

TEST(Path_expansion, variables_and_escapes)
{
    setenv("VORN_TEST_A", "alpha", 1);
    unsetenv("VORN_TEST_UNSET");
    EXPECT_EQ(mod_string->expand("x/${VORN_TEST_A}/y"), "x/alpha/y");
    EXPECT_EQ(mod_string->expand("$VORN_TEST_A.z"), "alpha.z");
    EXPECT_EQ(mod_string->expand("${@VORN_TEST_A}"), "alpha");
    EXPECT_EQ(mod_string->expand("a$-b$"), "a$-b$");
    EXPECT_EQ(mod_string->expand("\x1b${VORN_TEST_A}"), "${VORN_TEST_A}");
}

TEST(Path_expansion, undefined_variables_end_the_text_with_a_message)
{
    vorn_test::Log_capture capture;
    EXPECT_EQ(mod_string->expand(".;${@VORN_TEST_UNSET};after"), ".;");
    EXPECT_TRUE(capture.lines().empty());

    EXPECT_EQ(mod_string->expand("a;${VORN_TEST_UNSET}/b"), "a;");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "path substitution: undefined $var \"VORN_TEST_UNSET\"");
    EXPECT_EQ(capture.lines()[0].module, 32);
    EXPECT_EQ(capture.lines()[0].category, 4);

    EXPECT_EQ(mod_string->expand("a;${VORN_TEST_A"), "a;");
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[1].text, "path substitution: unterminated $var name \"VORN_TEST_A\"");
}

TEST(Path_expansion, optional_unset_variable_in_a_list_leaves_the_other_entries)
{
    unsetenv("QZ_FILE_PATH");
    mod_string->set_path(2, "opt", ".;${@QZ_FILE_PATH}");
    EXPECT_EQ(mod_string->get_path_list("opt"), (std::vector<std::string>{".", ""}));
}

TEST_F(Search_path, a_missing_data_file_is_reported_once_with_the_places_looked_in)
{
    mod_string->set_path(2, "data_test", (root + "/dir;" + root + "/other").c_str());
    vorn_test::Log_capture capture;
    EXPECT_EQ(mod_string->resolve_data_file("data_test", "missing.axml"), "");
    EXPECT_EQ(mod_string->resolve_data_file("data_test", "missing.axml"), "");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].severity, QZ::LOG::SEV_WARN);
    const std::string& line = capture.lines()[0].text;
    EXPECT_NE(line.find("\"missing.axml\""), std::string::npos) << line;
    EXPECT_NE(line.find(root + "/dir, " + root + "/other"), std::string::npos) << line;

    // Another missing file has its own warning; a file that is there has none.
    EXPECT_EQ(mod_string->resolve_data_file("data_test", "other.axml"), "");
    touch(root + "/other/present.axml");
    EXPECT_EQ(mod_string->resolve_data_file("data_test", "present.axml"), root + "/other/present.axml");
    EXPECT_EQ(capture.lines().size(), 2u);
}

TEST(Path_set, without_a_root_the_shader_path_ends_in_the_library_data_directory)
{
    // The unit tests run without QZ_ROOT, so the last entry is the data directory, not "/shaders".
    ASSERT_EQ(std::getenv("QZ_ROOT"), nullptr);
    std::vector<std::string> entries = mod_string->get_path_list("shader");
    ASSERT_FALSE(entries.empty());
    EXPECT_EQ(entries.back(), library_data_directory());
    EXPECT_NE(entries.back(), "/shaders");
}

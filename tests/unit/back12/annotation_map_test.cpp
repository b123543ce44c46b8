#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "back12/annotation_map.h"
#include "support/test_support.h"
#include "system/mod_string.h"

using namespace QZ::BACK12;

namespace {

const std::string map_dir = std::string(VORN_TEST_DATA_DIR) + "/back12/annotation";

Annotation_map load_test_map(const char* name = "test_map.axml")
{
    QZ::SYSTEM::mod_string->set_path(2, "shader", map_dir.c_str());
    Annotation_map map;
    map.load(name);
    return map;
}

std::vector<std::string> lines(const Annotation_list* list, const std::vector<std::string>& components = {})
{
    std::vector<std::string> result;
    for (const Annotation_entry& entry : list ? *list : Annotation_list())
        result.push_back(entry.line(components));
    return result;
}

}  // namespace

TEST(Back12_annotation_map, missing_file_means_empty_maps_and_one_warning)
{
    QZ::SYSTEM::mod_string->set_path(2, "shader", map_dir.c_str());
    vorn_test::Log_capture capture;
    Annotation_map map;
    EXPECT_FALSE(map.load("no_such_map.axml"));
    EXPECT_FALSE(map.load("no_such_map.axml"));
    EXPECT_FALSE(map.load(""));
    EXPECT_FALSE(map.load(nullptr));
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.semantic("light_pos"), nullptr);
    EXPECT_FALSE(map.has_entry("light_pos", "Color"));
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].text.find("\"no_such_map.axml\" not found; looked in: " + map_dir),
              std::string::npos)
        << capture.lines()[0].text;
}

TEST(Back12_annotation_map, semantic_entries_opened_twice_keep_both_sets)
{
    Annotation_map map = load_test_map();
    ASSERT_NE(map.semantic("light_pos"), nullptr);
    EXPECT_EQ(*map.semantic("light_pos"), "Position");
    EXPECT_EQ(lines(map.semantic_annotations("light_pos")),
              (std::vector<std::string>{"string Object = \"Light0\";\n", "string Space = \"World\";\n"}));
    // An entry without a semantic answers none, and its empty list is still an entry.
    EXPECT_EQ(map.semantic("bare"), nullptr);
    ASSERT_NE(map.semantic_annotations("bare"), nullptr);
    EXPECT_FALSE(map.has_entry("bare", "Int"));
    EXPECT_EQ(map.semantic("Light_pos"), nullptr);
}

TEST(Back12_annotation_map, replacements_pick_members_of_the_source_value)
{
    Annotation_map map = load_test_map();
    const Annotation_list* range = map.annotation_replacement("range");
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(lines(range, {"0.0", "10.0"}),
              (std::vector<std::string>{"float UIMin = 0.0;\n", "float UIMax = 10.0;\n", "float UIStep = 0.0;\n"}));
    // A member past the source's components falls back to the entry's value; "x" reads as 0.
    EXPECT_EQ((*range)[2].member, 0);
    EXPECT_EQ(lines(range, {}),
              (std::vector<std::string>{"float UIMin = ;\n", "float UIMax = ;\n", "float UIStep = 0.1;\n"}));
    // A picked string is quoted like a fixed one.
    EXPECT_EQ(lines(map.annotation_replacement("label"), {"Diffuse colour"}),
              std::vector<std::string>{"string UIName = \"Diffuse colour\";\n"});
    // An entry with no annotations replaces the source annotation by nothing.
    ASSERT_NE(map.annotation_replacement("dropped"), nullptr);
    EXPECT_TRUE(map.annotation_replacement("dropped")->empty());
    EXPECT_EQ(map.annotation_replacement("unmapped"), nullptr);
}

TEST(Back12_annotation_map, annotations_go_only_to_the_entry_directly_around_them)
{
    Annotation_map map = load_test_map();
    EXPECT_EQ(lines(map.type_annotations("Color")), std::vector<std::string>{"string UIWidget = \"Color\";\n"});
    // Nested in another element, outside any entry, or without a name: dropped.
    ASSERT_NE(map.type_annotations("Scalar"), nullptr);
    EXPECT_TRUE(map.type_annotations("Scalar")->empty());
    EXPECT_EQ(map.semantic_annotations("stray"), nullptr);
    EXPECT_TRUE(map.has_entry("anything", "Color"));
    EXPECT_TRUE(map.has_entry("light_pos", "Scalar"));
    EXPECT_FALSE(map.has_entry("anything", "Scalar"));
}

TEST(Back12_annotation_map, malformed_file_keeps_what_was_read_silently)
{
    vorn_test::Log_capture capture;
    Annotation_map map = load_test_map("broken_map.axml");
    ASSERT_NE(map.semantic("first"), nullptr);
    ASSERT_NE(map.semantic("second"), nullptr);
    EXPECT_EQ(lines(map.semantic_annotations("second")), std::vector<std::string>{"int a = 1;\n"});
    EXPECT_EQ(map.semantic("third"), nullptr);
    EXPECT_TRUE(capture.lines().empty());
}

TEST(Back12_annotation_map, string_type_quotes_and_other_types_do_not)
{
    Annotation_entry text{"name", "string", "a", -1};
    EXPECT_EQ(text.line(), "string name = \"a\";\n");
    Annotation_entry number{"count", "int", "3", -1};
    EXPECT_EQ(number.line({"7"}), "int count = 3;\n");
    Annotation_entry picked{"count", "int", "3", 1};
    EXPECT_EQ(picked.line({"7", "8"}), "int count = 8;\n");
}

TEST(Back12_annotation_map, shipped_default_map_loads)
{
    QZ::SYSTEM::mod_string->set_path(2, "shader", VORN_DATA_DIR);
    Annotation_map map;
    ASSERT_TRUE(map.load("default.axml"));
    ASSERT_NE(map.semantic("__object_to_raster"), nullptr);
    EXPECT_EQ(*map.semantic("__object_to_raster"), "WorldViewProjection");
    EXPECT_EQ(*map.semantic("__world_to_camera"), "View");
    EXPECT_EQ(lines(map.annotation_replacement("display_name"), {"Base colour"}),
              std::vector<std::string>{"string UIName = \"Base colour\";\n"});
    EXPECT_EQ(lines(map.annotation_replacement("soft_range"), {"0", "2"}),
              (std::vector<std::string>{"float UIMin = 0;\n", "float UIMax = 2;\n"}));
    EXPECT_EQ(lines(map.semantic_annotations("light_position")),
              (std::vector<std::string>{"string Object = \"Light0\";\n", "string Space = \"World\";\n"}));
}

#include <gtest/gtest.h>

#include "syntax_tree/diagnostics.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "compiler/xml_reader.h"
#include "log/mod_log.h"
#include "support/test_support.h"
#include "system/mod_string.h"

using namespace QZ::COMPILER;

namespace {

// Records every start tag as "name" and every end tag as "/name".
class Recording_reader : public Xml_reader {
public:
    std::vector<std::string> events;
    int stop_after = -1;

protected:
    void setup_parser(XML_Parser parser) override
    {
        XML_SetElementHandler(parser, &Recording_reader::on_start, &Recording_reader::on_end);
    }

private:
    static void on_start(void* data, const char* name, const char**)
    {
        auto* self = static_cast<Recording_reader*>(data);
        self->events.push_back(name);
        if (int(self->events.size()) == self->stop_after)
            self->stop();
    }
    static void on_end(void* data, const char* name)
    {
        static_cast<Recording_reader*>(data)->events.push_back(std::string("/") + name);
    }
};

std::string write_temp(const std::string& name, const std::string& text)
{
    std::string path = vorn_test::make_temp_dir("xml_reader_" + name) + "/" + name;
    std::FILE* file = std::fopen(path.c_str(), "w");
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
    return path;
}

// A document of n elements with attributes, longer than a few chunks.
std::string document_of(int n)
{
    std::string text = "<root>\n";
    for (int i = 0; i < n; ++i)
        text += "  <node name=\"node_" + std::to_string(i) + "\" class=\"Some_class\"/>\n";
    return text + "</root>\n";
}

}  // namespace

TEST(Xml_reader, empty_text_records_error_53)
{
    for (const char* text : {static_cast<const char*>(nullptr), ""}) {
        Recording_reader reader;
        vorn_test::Log_capture capture;
        EXPECT_TRUE(reader.parse_string(text));
        ASSERT_EQ(reader.errors().size(), 1u);
        const QZ::SYNTAX_TREE::Error_record& error = reader.errors()[0];
        EXPECT_EQ(error.number, 53u);
        EXPECT_EQ(QZ::SYNTAX_TREE::format_error(error, "unknown file"), "Empty xovl string, cannot be parsed");
        EXPECT_EQ(error.line, -1);
        EXPECT_EQ(error.column, -1);
        EXPECT_EQ(error.extra_position, -1);
        EXPECT_EQ(reader.file_name(), "unknown file");
        EXPECT_TRUE(reader.events.empty());
        EXPECT_TRUE(capture.lines().empty());
    }
}

TEST(Xml_reader, string_is_parsed_into_the_handlers)
{
    Recording_reader reader;
    EXPECT_TRUE(reader.parse_string("<root><a x=\"1\"/><b><c/></b></root>"));
    EXPECT_EQ(reader.events, (std::vector<std::string>{"root", "a", "/a", "b", "c", "/c", "/b", "/root"}));
    EXPECT_TRUE(reader.errors().empty());
    EXPECT_FALSE(reader.parse_failed());
}

TEST(Xml_reader, malformed_string_logs_the_parser_text_and_line)
{
    Recording_reader reader;
    vorn_test::Log_capture capture;
    EXPECT_TRUE(reader.parse_string("<root>\n<a>\n</b>\n</root>"));
    EXPECT_TRUE(reader.parse_failed());
    EXPECT_EQ(reader.events, (std::vector<std::string>{"root", "a"}));
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text.rfind("mismatched tag at line 3", 0), 0u) << capture.lines()[0].text;
    EXPECT_EQ(capture.lines()[0].module, 55);
    EXPECT_EQ(capture.lines()[0].category, 5);
    EXPECT_EQ(capture.lines()[0].code, 9);
    EXPECT_EQ(capture.lines()[0].severity, QZ::LOG::SEV_ERROR);
    EXPECT_TRUE(reader.errors().empty());
}

TEST(Xml_reader, file_is_read_in_chunks)
{
    // 40 elements take several 512-byte chunks; the sizes around a whole number of chunks
    // check that the last short (or empty) chunk ends the parse.
    std::string text = document_of(40);
    ASSERT_GT(text.size(), 3u * Xml_reader::CHUNK_SIZE);
    Recording_reader reader;
    std::string path = write_temp("many.xml", text);
    EXPECT_TRUE(reader.parse_file(path.c_str()));
    EXPECT_FALSE(reader.parse_failed());
    EXPECT_EQ(reader.events.size(), 82u);
    EXPECT_EQ(reader.file_name(), path);

    std::string exact = "<root>" + std::string(2 * Xml_reader::CHUNK_SIZE - 13, ' ') + "</root>";
    ASSERT_EQ(exact.size(), size_t(2 * Xml_reader::CHUNK_SIZE));
    Recording_reader exact_reader;
    path = write_temp("exact.xml", exact);
    EXPECT_TRUE(exact_reader.parse_file(path.c_str()));
    EXPECT_FALSE(exact_reader.parse_failed());
    EXPECT_EQ(exact_reader.events, (std::vector<std::string>{"root", "/root"}));
}

TEST(Xml_reader, truncated_file_keeps_what_was_read)
{
    std::string text = document_of(40);
    size_t cut = text.find("node_25");
    std::string path = write_temp("truncated.xml", text.substr(0, cut));
    Recording_reader reader;
    vorn_test::Log_capture capture;
    EXPECT_TRUE(reader.parse_file(path.c_str()));
    EXPECT_TRUE(reader.parse_failed());
    // root and 25 whole nodes, each with its end tag.
    EXPECT_EQ(reader.events.size(), 51u);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_NE(capture.lines()[0].text.find(" at line 27"), std::string::npos) << capture.lines()[0].text;
    EXPECT_EQ(capture.lines()[0].code, 9);
}

TEST(Xml_reader, missing_and_empty_paths)
{
    Recording_reader reader;
    vorn_test::Log_capture capture;
    EXPECT_TRUE(reader.parse_file("/no/such/file.xovl"));
    ASSERT_EQ(reader.errors().size(), 1u);
    EXPECT_EQ(reader.errors()[0].number, 26u);
    EXPECT_EQ(reader.errors()[0].text, "/no/such/file.xovl");
    EXPECT_FALSE(reader.parse_file(""));
    EXPECT_FALSE(reader.parse_file(nullptr));
    EXPECT_EQ(reader.errors().size(), 1u);
    EXPECT_TRUE(capture.lines().empty());

    // An empty file is a parser error, not a missing one.
    Recording_reader empty_reader;
    std::string path = write_temp("empty.xml", "");
    EXPECT_TRUE(empty_reader.parse_file(path.c_str()));
    EXPECT_TRUE(empty_reader.parse_failed());
    EXPECT_TRUE(empty_reader.errors().empty());
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(Xml_reader, handler_can_stop_without_a_log_line)
{
    Recording_reader reader;
    reader.stop_after = 2;
    vorn_test::Log_capture capture;
    reader.parse_string("<root><a></a><b/></root>");
    EXPECT_EQ(reader.events, (std::vector<std::string>{"root", "a"}));
    EXPECT_TRUE(reader.parse_failed());
    EXPECT_TRUE(capture.lines().empty());
}

TEST(Xml_capture, prints_the_tree_with_two_blanks_per_level)
{
    const char* root_attributes[] = {"x", "1", nullptr};
    Capture capture("gui_data", root_attributes);
    const char* position[] = {"x", "2", "y", "a b", nullptr};
    capture.start_element("position", position);
    capture.start_element("leaf", nullptr);
    EXPECT_FALSE(capture.end_element("leaf"));
    EXPECT_FALSE(capture.end_element("position"));
    capture.start_element("flag", nullptr);
    EXPECT_FALSE(capture.end_element("flag"));
    EXPECT_TRUE(capture.end_element("gui_data"));
    EXPECT_EQ(capture.text(), "<gui_data x=\"1\">\n"
                              "  <position x=\"2\" y=\"a b\">\n"
                              "    <leaf/>\n"
                              "  </position>\n"
                              "  <flag/>\n"
                              "</gui_data>\n");
    EXPECT_EQ(capture.root().children.size(), 2u);
    EXPECT_EQ(capture.root().children[0]->parent, &capture.root());
}

TEST(Xml_capture, root_name_inside_ends_the_capture_and_deep_trees_are_fine)
{
    Capture capture("render_data", nullptr);
    EXPECT_EQ(capture.text(), "<render_data/>\n");
    // An inner element of the root's name ends the capture at its end tag.
    capture.start_element("render_data", nullptr);
    EXPECT_TRUE(capture.end_element("render_data"));

    // Deep host data is printed and deleted without recursion.
    Capture deep("gui_data", nullptr);
    const int depth = 2000;
    for (int i = 0; i < depth; ++i)
        deep.start_element("n", nullptr);
    std::string text = deep.text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2 * depth + 1);
    EXPECT_EQ(text.rfind("<gui_data>\n  <n>\n    <n>\n", 0), 0u);
    EXPECT_EQ(text.substr(text.size() - 19), "  </n>\n</gui_data>\n");

    Capture deeper("gui_data", nullptr);
    for (int i = 0; i < 200000; ++i)
        deeper.start_element("n", nullptr);
}

TEST(Xml_paths, resolve_source_path_tries_absolute_search_path_then_base)
{
    std::string dir = vorn_test::make_temp_dir("xml_paths");
    std::string shader_dir = dir + "/shaders";
    std::string graph_dir = dir + "/graphs";
    ASSERT_EQ(std::system(("mkdir -p '" + shader_dir + "' '" + graph_dir + "'").c_str()), 0);
    std::FILE* a = std::fopen((shader_dir + "/lib.ovl").c_str(), "w");
    std::fclose(a);
    std::FILE* b = std::fopen((graph_dir + "/local.ovl").c_str(), "w");
    std::fclose(b);
    QZ::SYSTEM::mod_string->set_path(2, "shader", shader_dir.c_str());
    std::string base = graph_dir + "/scene.xovl";

    EXPECT_EQ(resolve_source_path(base.c_str(), (graph_dir + "/local.ovl").c_str()), graph_dir + "/local.ovl");
    EXPECT_EQ(resolve_source_path(base.c_str(), "lib.ovl"), shader_dir + "/lib.ovl");
    EXPECT_EQ(resolve_source_path(base.c_str(), "local.ovl"), graph_dir + "/local.ovl");
    EXPECT_EQ(resolve_source_path(base.c_str(), "none.ovl"), "none.ovl");
    EXPECT_EQ(resolve_source_path(base.c_str(), "/abs/none.ovl"), "/abs/none.ovl");
    EXPECT_EQ(resolve_source_path(nullptr, "local.ovl"), "local.ovl");
}

TEST(Xml_paths, relative_source_path_strips_the_base_directory)
{
    EXPECT_EQ(relative_source_path("/work/graphs/scene.xovl", "/work/graphs/lib/a.ovl"), "lib/a.ovl");
    EXPECT_EQ(relative_source_path("/work/graphs/scene.xovl", "/work/graphs2/a.ovl"), "/work/graphs2/a.ovl");
    EXPECT_EQ(relative_source_path("C:\\work\\scene.xovl", "C:\\work\\sub\\a.ovl"), "sub/a.ovl");
    EXPECT_EQ(relative_source_path("C:\\work\\scene.xovl", "D:\\other\\a.ovl"), "D:/other/a.ovl");
    EXPECT_EQ(relative_source_path("scene.xovl", "lib\\a.ovl"), "lib/a.ovl");
    EXPECT_EQ(relative_source_path(nullptr, nullptr), "");
}

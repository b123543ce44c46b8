#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "compiler/xml_writer.h"
#include "support/test_support.h"

using namespace QZ::COMPILER;

namespace {

// A document whose body a test fills in through a callback.
class Test_document : public Xml_writer {
public:
    template <typename Body>
    explicit Test_document(Body body) : body_(body) {}

protected:
    void write_body() override { body_(*this); }

private:
    std::function<void(Xml_writer&)> body_;
};

const std::string root_open =
    "<root xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:noNamespaceSchemaLocation=\"schemas/vorn_file_io.xsd\"";

}  // namespace

TEST(Xml_writer, start_tag_closes_when_the_first_child_opens)
{
    Test_document document([](Xml_writer& out) {
        out.begin_element("node");
        out.attribute("name", "a");
        // Still open for attributes: nothing ends the start tag yet.
        std::string tail = "\n  <node name=\"a\"";
        EXPECT_EQ(out.text().substr(out.text().size() - tail.size()), tail);
        out.begin_element("input");
        out.attribute("value", 3);
        out.end_element();
        out.begin_element("output");
        out.end_element();
        out.end_element();
        out.begin_element("empty");
        out.end_element();
    });
    document.write_document();
    EXPECT_EQ(document.text(), root_open + ">\n"
                                           "  <node name=\"a\">\n"
                                           "    <input value=\"3\"/>\n"
                                           "    <output/>\n"
                                           "  </node>\n"
                                           "  <empty/>\n"
                                           "</root>\n");
}

TEST(Xml_writer, empty_document_and_unescaped_values)
{
    Test_document empty([](Xml_writer&) {});
    empty.write_document();
    EXPECT_EQ(empty.text(), root_open + "/>\n");

    Test_document raw([](Xml_writer& out) {
        out.begin_element("node");
        out.attribute("name", "a\"<b&");
        out.attribute("null", static_cast<const char*>(nullptr));
        out.attribute("negative", -12);
        out.end_element();
    });
    raw.write_document();
    EXPECT_EQ(raw.text(), root_open + ">\n  <node name=\"a\"<b&\" null=\"\" negative=\"-12\"/>\n</root>\n");
}

TEST(Xml_writer, misuse_leaves_well_formed_text)
{
    Test_document document([](Xml_writer& out) {
        out.begin_element("a");
        out.begin_element("b");
        out.end_element();
        out.attribute("late", "x");  // a has a child: its start tag is closed
        out.begin_element(nullptr);
        out.write_text("\n");
        out.begin_element("left_open");
    });
    document.write_document();
    EXPECT_EQ(document.text(), root_open + ">\n  <a>\n    <b/>\n\n    <left_open/>\n  </a>\n</root>\n");
    EXPECT_EQ(document.open_element_count(), 0u);
    document.end_element();
    // Writing again starts afresh.
    document.write_document();
    EXPECT_EQ(document.text().find(root_open), 0u);
    EXPECT_EQ(document.text().find(root_open, 1), std::string::npos);
}

TEST(Xml_writer, save_writes_the_document_and_reports_failure)
{
    std::string dir = vorn_test::make_temp_dir("xml_writer_save");
    ASSERT_FALSE(dir.empty());
    Test_document document([](Xml_writer& out) {
        out.begin_element("ovrel_code");
        out.attribute("intrinsic_nodes", "true");
        out.end_element();
    });
    std::string path = dir + "/out.xovl";
    ASSERT_TRUE(document.save(path.c_str()));
    EXPECT_EQ(vorn_test::read_file(path), root_open + ">\n  <ovrel_code intrinsic_nodes=\"true\"/>\n</root>\n");
    EXPECT_FALSE(document.save((dir + "/no/such/dir/out.xovl").c_str()));
    EXPECT_FALSE(document.save(""));
    EXPECT_FALSE(document.save(nullptr));
}

TEST(Xml_writer, host_data_writer_closes_only_what_it_opened)
{
    Test_document document([](Xml_writer& out) {
        out.begin_element("node");
        out.begin_element("gui_data");
        Gui_data_writer host(&out);
        host.attribute("x", 10);
        host.begin_element("position");
        host.attribute("y", "2.5");
        host.begin_element("deeper");
        host.end_element();
        host.end_element();
        host.end_element();  // not the host's: ignored
        host.begin_element("left_open");
        host.close_open_elements();
        out.end_element();
        out.end_element();
    });
    document.write_document();
    EXPECT_EQ(document.text(), root_open + ">\n"
                                           "  <node>\n"
                                           "    <gui_data x=\"10\">\n"
                                           "      <position y=\"2.5\">\n"
                                           "        <deeper/>\n"
                                           "      </position>\n"
                                           "      <left_open/>\n"
                                           "    </gui_data>\n"
                                           "  </node>\n"
                                           "</root>\n");
}

// What an embedding installs for graphs, through libvorn.so: the library manager function, the
// functions that read and write its own data in graph files, and a library's own annotations.
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "host/host_library.h"

using vorn_host_test::message_of;
using vorn_host_test::read_file;
using vorn_host_test::Session;

namespace {

// A manager the host makes itself; the test watches its count.
class Host_manager : public vorn::IGraph_library_manager {
public:
    virtual ~Host_manager() = default;
    void retain() override { ++count; }
    void release() override { --count; }
    vorn::Interface* get_interface(int32_t) override { return nullptr; }
    void* get_internal() override { return this; }

    int count = 1;
};

struct Manager_context {
    vorn::IVorn_compiler* compiler = nullptr;
    Host_manager* manager = nullptr;  // what the function returns; null for none
    std::vector<std::string> paths;
};

const char* const broken_source = "shader Broken { input: Scalar x = missing; output: Scalar y; };\n";

vorn::IGraph_library_manager* make_manager(void* context, const char* path, vorn::ICompiler_errors* errors)
{
    auto* state = static_cast<Manager_context*>(context);
    state->paths.push_back(path ? path : "<null>");
    // What a manager function does: read libraries and sources through the library, which reports
    // into the collector it was given.
    vorn::ICompilation_unit* unit = state->compiler->compile_source(broken_source, errors);
    if (unit)
        unit->release();
    if (state->manager)
        state->manager->retain();
    return state->manager;
}

std::vector<std::string> messages_of(vorn::ICompiler_errors* errors)
{
    std::vector<std::string> texts;
    for (uint32_t i = 0; i < errors->get_count(); ++i)
        texts.push_back(std::to_string(errors->get_error_number(i)) + " " + message_of(errors, i));
    return texts;
}

vorn::IGraph_hooks* hooks_of(Session& session)
{
    return static_cast<vorn::IGraph_hooks*>(session.graph->get_interface(vorn::IID_GRAPH_HOOKS));
}

// A graph file with host data in a compound's node, in two top-level nodes and at the end of the
// file, written by hand in the file format; the writer must give back these very bytes.
const char* const file_with_host_data =
    "<root xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:noNamespaceSchemaLocation=\"schemas/vorn_file_io.xsd\">\n"
    "  <ovrel_code intrinsic_nodes=\"true\"/>\n"
    "\n"
    "  <compage name=\"Twice\">\n"
    "    <input name=\"x\" type=\"Scalar\" value=\"3\"/>\n"
    "    <output name=\"y\" type=\"Scalar\" value=\"0\"/>\n"
    "\n"
    "    <node name=\"sum\" class=\"Math_Scalar_Add\">\n"
    "      <input name=\"left\" value=\"0\">\n"
    "        <attachment target_name=\"x\"/>\n"
    "      </input>\n"
    "      <input name=\"right\" value=\"0\">\n"
    "        <attachment target_name=\"x\"/>\n"
    "      </input>\n"
    "      <output name=\"result\" value=\"0\">\n"
    "        <attachment target_name=\"y\"/>\n"
    "      </output>\n"
    "      <gui_data x=\"10\" y=\"20\"/>\n"
    "    </node>\n"
    "  </compage>\n"
    "\n"
    "  <node name=\"a\" class=\"Math_Scalar_Add\">\n"
    "    <input name=\"left\" value=\"0.5\"/>\n"
    "    <input name=\"right\" value=\"2\"/>\n"
    "    <output name=\"result\" value=\"0\"/>\n"
    "    <gui_data x=\"-5\" y=\"7\">\n"
    "      <colour value=\"red\"/>\n"
    "    </gui_data>\n"
    "  </node>\n"
    "  <node name=\"b\" class=\"Twice\">\n"
    "    <input name=\"x\" value=\"1\">\n"
    "      <attachment target_name=\"result\" target_node=\"a\"/>\n"
    "    </input>\n"
    "    <output name=\"y\" value=\"0\"/>\n"
    "    <gui_data/>\n"
    "  </node>\n"
    "  <render_data camera=\"front\">\n"
    "    <light name=\"key\" power=\"3\"/>\n"
    "    <light name=\"fill\"/>\n"
    "  </render_data>\n"
    "</root>\n";

struct Data_log {
    std::vector<std::string> events;  // "gui NODE: TEXT" and "render: TEXT", in order
};

void read_gui(void* context, vorn::IGraph_node* node, const char* text)
{
    const char* name = node ? node->get_name() : nullptr;
    static_cast<Data_log*>(context)->events.push_back(std::string("gui ") + (name ? name : "<none>") + ": " + text);
}

void read_render(void* context, const char* text)
{
    static_cast<Data_log*>(context)->events.push_back(std::string("render: ") + text);
}

// Writes what the file above holds, leaving some elements open for the library to close.
void write_gui(void*, vorn::IGraph_node* node, vorn::IGraph_data_writer* writer)
{
    const std::string name = node->get_name();
    if (name == "sum") {
        writer->attribute("x", 10);
        writer->attribute("y", 20);
    } else if (name == "a") {
        writer->attribute("x", -5);
        writer->attribute("y", 7);
        writer->begin_element("colour");
        writer->attribute("value", "red");
        writer->end_element();
        writer->end_element();  // not the host's to close: ignored
    }
}

void write_render(void*, vorn::IGraph_data_writer* writer)
{
    writer->attribute("camera", "front");
    writer->begin_element("light");
    writer->attribute("name", "key");
    writer->attribute("power", 3);
    writer->end_element();
    writer->begin_element("light");
    writer->attribute("name", "fill");
}

}  // namespace

TEST(Host_graph_hooks, the_installed_manager_function_gives_its_manager_and_its_errors)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::IGraph_hooks* hooks = hooks_of(session);
    ASSERT_NE(hooks, nullptr);

    // The errors the function's compile leaves, as a direct compile gives them.
    vorn::ICompiler_errors* direct = session.compiler->create_errors();
    EXPECT_EQ(session.compiler->compile_source(broken_source, direct), nullptr);
    const std::vector<std::string> expected = messages_of(direct);
    ASSERT_FALSE(expected.empty());
    direct->release();

    Host_manager host_manager;
    Manager_context context{session.compiler, &host_manager, {}};
    hooks->set_library_manager_function(make_manager, &context);

    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    EXPECT_EQ(session.compiler->compile_file("/no/such/file.ovl", errors), nullptr);
    ASSERT_EQ(errors->get_count(), 1u);  // emptied before the function's lists come in
    vorn::IGraph_library_manager* manager = session.graph->load_library_manager("/libraries/main", errors);
    ASSERT_NE(manager, nullptr);
    EXPECT_EQ(manager->get_internal(), &host_manager);
    EXPECT_EQ(messages_of(errors), expected);
    ASSERT_EQ(context.paths, std::vector<std::string>{"/libraries/main"});

    // The loaders take it; releasing the wrapper hands the host its reference back.
    vorn::IGraph_library* library =
        session.graph->load_library_from_text("<root><ovrel_code intrinsic_nodes=\"true\"/></root>", manager, nullptr);
    ASSERT_NE(library, nullptr);
    EXPECT_GT(library->get_class_count(), 0u);
    library->release();
    EXPECT_EQ(host_manager.count, 2);
    manager->release();
    EXPECT_EQ(host_manager.count, 1);

    // A function that gives no manager: null, with its errors all the same.
    context.manager = nullptr;
    EXPECT_EQ(session.graph->load_library_manager(nullptr, errors), nullptr);
    EXPECT_EQ(messages_of(errors), expected);
    EXPECT_EQ(context.paths.back(), "<null>");

    // Uninstalled (through another hooks object: the setting is the library's): null, emptied.
    vorn::IGraph_hooks* other = hooks_of(session);
    other->set_library_manager_function(nullptr, &context);
    EXPECT_EQ(session.graph->load_library_manager("/libraries/main", errors), nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    EXPECT_EQ(context.paths.size(), 2u);
    other->release();
    errors->release();
    hooks->release();
}

TEST(Host_graph_hooks, host_data_is_read_to_the_host_and_written_from_it_byte_for_byte)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::IGraph_hooks* hooks = hooks_of(session);
    ASSERT_NE(hooks, nullptr);
    Data_log log;
    vorn::Graph_data_functions functions{&log, write_gui, write_render, read_gui, read_render};
    hooks->set_data_functions(&functions);

    const std::string dir = testing::TempDir() + "vorn_graph_hooks_" + std::to_string(getpid());
    ASSERT_EQ(std::system(("rm -rf '" + dir + "' && mkdir -p '" + dir + "'").c_str()), 0);
    const std::string path = dir + "/with_data.xovl";
    std::ofstream(path, std::ios::binary) << file_with_host_data;

    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::IGraph_library* library = session.graph->load_library(path.c_str(), nullptr, errors);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    const std::vector<std::string> read_events = {
        "gui sum: <gui_data x=\"10\" y=\"20\"/>\n",
        "gui a: <gui_data x=\"-5\" y=\"7\">\n  <colour value=\"red\"/>\n</gui_data>\n",
        "gui b: <gui_data/>\n",
        "render: <render_data camera=\"front\">\n  <light name=\"key\" power=\"3\"/>\n  <light name=\"fill\"/>\n"
        "</render_data>\n",
    };
    EXPECT_EQ(log.events, read_events);

    const std::string saved = dir + "/saved.xovl";
    ASSERT_TRUE(library->save_to_file(saved.c_str()));
    EXPECT_EQ(read_file(saved), file_with_host_data);

    // add_from_file delivers too; the host's functions removed, nothing is read or written.
    log.events.clear();
    vorn::IGraph_library* other = session.graph->create_library();
    EXPECT_TRUE(other->add_from_file(path.c_str(), errors));
    EXPECT_EQ(log.events, read_events);
    hooks->set_data_functions(nullptr);
    log.events.clear();
    ASSERT_TRUE(other->save_to_file(saved.c_str()));
    const std::string plain = read_file(saved);
    EXPECT_EQ(plain.find("gui_data"), std::string::npos);
    EXPECT_EQ(plain.find("render_data"), std::string::npos);
    vorn::IGraph_library* again = session.graph->load_library(path.c_str(), nullptr, errors);
    ASSERT_NE(again, nullptr);
    EXPECT_TRUE(log.events.empty());

    // Only the readers installed: host data of a node whose class is unknown is skipped with it,
    // and the file's render data still arrives.
    vorn::Graph_data_functions readers{&log, nullptr, nullptr, read_gui, read_render};
    hooks->set_data_functions(&readers);
    vorn::IGraph_library* partial = session.graph->load_library_from_text(
        "<root><node name=\"n\" class=\"Nowhere\"><gui_data k=\"1\"/></node><render_data/></root>", nullptr, errors);
    ASSERT_NE(partial, nullptr);
    EXPECT_EQ(log.events, std::vector<std::string>{"render: <render_data/>\n"});

    partial->release();
    again->release();
    other->release();
    library->release();
    errors->release();
    hooks->release();
    std::system(("rm -rf '" + dir + "'").c_str());
}

TEST(Host_graph_hooks, a_library_keeps_annotations_of_its_own_until_it_ends)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::IGraph_library* library = session.graph->create_library();
    vorn::IGraph_annotations* notes = library->get_annotations();
    ASSERT_NE(notes, nullptr);
    EXPECT_EQ(notes->get_count(), 0u);
    EXPECT_EQ(notes->find("author"), -1);

    vorn::IType* text_type = session.graph->create_type(nullptr, vorn::TYPE_KIND_STRING, 1);
    const char* author = "the host";
    EXPECT_TRUE(notes->add("author", 1, &text_type, &author));
    EXPECT_TRUE(notes->add("locked", 0, nullptr, nullptr));
    text_type->release();

    // A second view reads the same store: it is the library's, not the wrapper's.
    vorn::IGraph_annotations* seen = library->get_annotations();
    ASSERT_EQ(seen->get_count(), 2u);
    EXPECT_STREQ(seen->get_name(1), "locked");
    ASSERT_EQ(seen->find("author"), 0);
    EXPECT_STREQ(*static_cast<const char* const*>(seen->get_value(0)), "the host");
    EXPECT_TRUE(seen->remove(1));
    EXPECT_EQ(notes->get_count(), 1u);

    // Merging moves classes and nodes only.
    vorn::IGraph_library* other = session.graph->create_library();
    other->merge(library);
    vorn::IGraph_annotations* other_notes = other->get_annotations();
    EXPECT_EQ(other_notes->get_count(), 0u);
    EXPECT_EQ(notes->get_count(), 1u);

    // Once the library ends, its views answer nothing; a view does not keep it alive.
    library->detach_object();
    EXPECT_EQ(notes->get_count(), 0u);
    EXPECT_EQ(seen->get_name(0), nullptr);
    EXPECT_EQ(notes->find("author"), -1);
    EXPECT_EQ(library->get_annotations(), nullptr);

    other_notes->release();
    other->release();
    seen->release();
    notes->release();
    library->release();
}

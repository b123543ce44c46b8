// Shader graphs as a host sees them through libvorn.so: a graph built from a compiled source, the
// intrinsic classes and a compound, wired, edited, saved, loaded back, walked with the iterators,
// linked and generated; glslangValidator checks the GL pair of the link. The observer hears the
// edits in order.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/host_library.h"

using vorn_host_test::read_file;
using vorn_host_test::Session;
using vorn_host_test::write_file;

namespace {

const char* const tint_source =
    "shader Tint\n"
    "{\n"
    "input:\n"
    "    Color base = Color(0.2, 0.4, 0.6, 1.0);\n"
    "    Scalar amount = 0.5;\n"
    "output:\n"
    "    Color result;\n"
    "    void main() { result = base * amount; }\n"
    "};\n";

const char* const intrinsic_library =
    "<root><ovrel_code intrinsic_nodes=\"true\"/></root>";

std::string temp_dir(const std::string& name)
{
    std::string dir = testing::TempDir() + "vorn_graph_" + name + "_" + std::to_string(getpid());
    std::string command = "rm -rf '" + dir + "' && mkdir -p '" + dir + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return dir;
}

std::string name_of(vorn::IGraph_node* node) { return node && node->get_name() ? node->get_name() : "<null>"; }

template <typename T>
void release(T*& object)
{
    if (object)
        object->release();
    object = nullptr;
}

// The wires of a node's inputs, "input<-node.output" with "iface" for the compound's interface.
std::string wires_of(vorn::IGraph_node* node)
{
    std::string text;
    vorn::IParameter_iterator* parameters = node->get_parameters(vorn::PARAMETERS_INPUT);
    for (; !parameters->at_end(); parameters->next()) {
        vorn::IAttachment_iterator* wires = parameters->get_attachments();
        for (; !wires->at_end(); wires->next()) {
            vorn::IGraph_node* target = wires->get_target_node();
            std::string member = wires->get_member_name();
            text += std::string(parameters->get_name()) + (member.empty() ? "" : "." + member) + "<-" +
                    (target ? name_of(target) : std::string("iface")) + "." + wires->get_target_name() + " ";
            release(target);
        }
        wires->release();
    }
    parameters->release();
    return text;
}

// Component i of a float value at path.
float component(vorn::IGraph_node* node, const char* path, uint32_t i)
{
    const void* value = node->get_parameter_value(path);
    EXPECT_NE(value, nullptr) << path;
    float result = 0;
    if (value)
        std::memcpy(&result, static_cast<const char*>(value) + i * sizeof result, sizeof result);
    return result;
}

// A host observer that writes down what it hears.
class Recorder : public vorn::IGraph_observer {
public:
    std::vector<std::string> events;

    void value_changed(vorn::IGraph_node* node, bool, const char* parameter) override
    {
        events.push_back("value " + name_of(node) + " " + parameter);
    }
    void attached(vorn::IGraph_node* node, bool, const char* path) override
    {
        events.push_back("attached " + name_of(node) + " " + path);
    }
    void detached(vorn::IGraph_node* node, bool, const char* parameter, const char* member) override
    {
        events.push_back("detached " + name_of(node) + " " + parameter + " " + (member ? member : ""));
    }
    void node_renamed(vorn::IGraph_node*, const char* old_name, const char* new_name) override
    {
        events.push_back(std::string("renamed ") + old_name + " " + new_name);
    }
    void node_created(vorn::IGraph_node_class* node_class, vorn::IGraph_node* node) override
    {
        events.push_back(std::string("created ") + node_class->get_name() + " " + name_of(node));
    }
    void parameter_added(vorn::IGraph_node_class* node_class, bool is_output, const char* name) override
    {
        events.push_back(std::string("parameter ") + node_class->get_name() + (is_output ? " out " : " in ") + name);
    }
    void library_node_added(vorn::IGraph_library* library, vorn::IGraph_node* node) override
    {
        events.push_back(std::string("added ") + (library ? "library " : "<null> ") + name_of(node));
    }
    void library_node_removed(vorn::IGraph_library*, vorn::IGraph_node* node) override
    {
        events.push_back("removed " + name_of(node));
    }
    void library_class_added(vorn::IGraph_library*, vorn::IGraph_node_class* node_class) override
    {
        events.push_back(std::string("class ") + node_class->get_name());
    }
};

// glslangValidator accepts both texts of the unit's GL pair.
void expect_valid_gl(vorn::ICompilation_unit* unit, const std::string& dir)
{
    vorn::IGenerated_shader* shader = unit->generate("GL", nullptr);
    ASSERT_NE(shader, nullptr);
    ASSERT_EQ(shader->get_program_count(), 2u);
    const char* const stages[] = {"vert", "frag"};
    for (uint32_t i = 0; i < 2; ++i) {
        std::vector<char> text(shader->get_program_size(i));
        shader->copy_program(i, text.data(), uint32_t(text.size()));
        std::string path = dir + "/graph." + stages[i];
        write_file(path, text.data());
        std::string command = "glslangValidator -d '" + path + "' >'" + path + ".log' 2>&1";
        EXPECT_EQ(std::system(command.c_str()), 0) << read_file(path + ".log") << "\n" << text.data();
    }
    shader->release();
}

struct Built {
    vorn::IGraph_library* library = nullptr;
    vorn::IGraph_node_class* tint = nullptr;
    vorn::ICompage_node_class* doubler = nullptr;
    vorn::IGraph_node* root = nullptr;
    void release_all()
    {
        release(root);
        release(doubler);
        release(tint);
        release(library);
    }
};

// Tint from a source file, Doubler (x + x) as a compound of an intrinsic class, and
// root = tint(amount = doubler(x)) + right.
Built build_graph(Session& session, const std::string& dir)
{
    Built built;
    write_file(dir + "/tint.ovl", tint_source);
    vorn::ICompilation_unit* unit = session.compiler->compile_file((dir + "/tint.ovl").c_str(), nullptr);
    EXPECT_NE(unit, nullptr);
    if (!unit)
        return built;
    EXPECT_EQ(unit->get_node_class("Missing"), nullptr);
    vorn::IVelar_node_class* tint = unit->get_node_class("Tint");
    unit->release();  // the class keeps its unit
    EXPECT_NE(tint, nullptr);
    if (!tint)
        return built;
    built.tint = tint;

    built.library = session.graph->load_library_from_text(intrinsic_library, nullptr, nullptr);
    EXPECT_NE(built.library, nullptr);
    if (!built.library)
        return built;
    uint32_t intrinsic_count = built.library->get_class_count();
    EXPECT_GT(intrinsic_count, 300u);
    std::string file = tint->get_file_name();
    EXPECT_EQ(file.substr(file.rfind('/') + 1), "tint.ovl");
    EXPECT_EQ(file[0], '/') << "kept absolute, so that a library saved anywhere finds it";
    EXPECT_TRUE(built.library->add_class(tint));
    EXPECT_FALSE(built.library->add_class(tint)) << "a class belongs to one library";
    EXPECT_EQ(built.library->get_class_count(), intrinsic_count + 1);

    vorn::IGraph_node_class* made = built.library->create_class(vorn::NODE_CLASS_COMPAGE, "Doubler");
    EXPECT_NE(made, nullptr);
    if (!made)
        return built;
    built.doubler = static_cast<vorn::ICompage_node_class*>(made->get_interface(vorn::IID_COMPAGE_NODE_CLASS));
    EXPECT_EQ(made->get_interface(vorn::IID_VELAR_NODE_CLASS), nullptr);
    made->release();
    vorn::ICompage_node_class* doubler = built.doubler;
    vorn::IType* scalar = session.graph->create_type("ignored", vorn::TYPE_KIND_SCALAR, 1);
    EXPECT_STREQ(scalar->get_name(), "Scalar");
    float one_and_half = 1.5f;
    EXPECT_TRUE(doubler->add_parameter(vorn::PARAMETERS_INPUT, "x", scalar, &one_and_half));
    EXPECT_TRUE(doubler->add_parameter(vorn::PARAMETERS_OUTPUT, "y", scalar, nullptr));
    scalar->release();
    vorn::IGraph_node_class* add = built.library->find_class("Math_Scalar_Add");
    EXPECT_NE(add, nullptr);
    if (add) {
        EXPECT_STREQ(add->get_file_name(), "") << "an intrinsic class has no file";
    }
    vorn::IGraph_node* sum = doubler->create_node(add, "sum");
    EXPECT_NE(sum, nullptr);
    sum->attach("left", nullptr, "x");
    sum->attach("right", nullptr, "x");
    doubler->attach_interface("y", sum, "result");
    vorn::ICompage_node_class* parent = sum->get_parent();
    EXPECT_NE(parent, nullptr);
    if (parent) {
        EXPECT_STREQ(parent->get_name(), "Doubler");
    }
    release(parent);
    release(sum);

    vorn::IGraph_node* twice = built.library->create_node(doubler, "double");
    vorn::IGraph_node* tinted = built.library->create_node(tint, "tint");
    vorn::IGraph_node_class* color_add = built.library->find_class("Math_Color_Add");
    built.root = built.library->create_node(color_add, "root");
    EXPECT_TRUE(twice && tinted && built.root);
    if (twice && tinted && built.root) {
        tinted->attach("amount", twice, "y");
        built.root->attach("left", tinted, "result");
        const float right[4] = {0.1f, 0.0f, 0.25f, 1.0f};
        EXPECT_TRUE(built.root->set_parameter_value("right", right));
    }
    release(color_add);
    release(twice);
    release(tinted);
    release(add);
    return built;
}

}  // namespace

TEST(Host_graph, the_graph_interface_and_its_manager_loader)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    EXPECT_EQ(session.graph->get_internal(), nullptr);
    vorn::Interface* again = session.graph->get_interface(vorn::IID_VORN_GRAPH);
    EXPECT_EQ(again, session.graph);
    again->release();
    EXPECT_EQ(session.graph->get_interface(vorn::IID_VORN_COMPILER), nullptr);

    // No manager function is installed: null, and the collector emptied all the same.
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    EXPECT_EQ(session.compiler->compile_file("/no/such/file.ovl", errors), nullptr);
    ASSERT_EQ(errors->get_count(), 1u);
    EXPECT_EQ(session.graph->load_library_manager("/anywhere", errors), nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    errors->release();
}

TEST(Host_graph, built_wired_linked_and_generated_gl_is_valid)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    std::string dir = temp_dir("link");
    Built built = build_graph(session, dir);
    ASSERT_NE(built.root, nullptr);
    EXPECT_EQ(wires_of(built.root), "left<-tint.result ");

    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::ICompilation_unit* unit = session.compiler->compile_graph(built.root, errors, nullptr);
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    // The root's class names the linked shader; each class in the graph became a function.
    ASSERT_EQ(unit->get_shader_count(), 1u);
    EXPECT_STREQ(unit->get_shader_name(0), "Math_Color_Add");
    expect_valid_gl(unit, dir);
    unit->release();

    // A compound alone, and a class from a source alone, link through the class interface too.
    vorn::ICompilation_unit* compound = built.doubler->compile();
    ASSERT_NE(compound, nullptr);
    EXPECT_STREQ(compound->get_shader_name(0), "Doubler");
    expect_valid_gl(compound, dir);
    compound->release();
    vorn::ICompilation_unit* alone = session.compiler->compile_node_class(built.tint);
    ASSERT_NE(alone, nullptr);
    EXPECT_STREQ(alone->get_shader_name(0), "Tint");
    alone->release();

    // A reflectance link wants a compound that says it is one.
    vorn::ICompiler_options* options = session.compiler->create_options();
    options->set_option("compile_as_brdf", "true");
    EXPECT_EQ(session.compiler->compile_graph(built.root, errors, options), nullptr);
    options->set_option("shader_name", "root");
    options->set_option("compile_as_brdf", nullptr);
    vorn::ICompilation_unit* render = session.compiler->compile_for_render(built.library, errors, options);
    ASSERT_NE(render, nullptr);
    render->release();
    options->release();
    errors->release();
    built.release_all();
}

TEST(Host_graph, saved_and_loaded_back_the_graph_reads_the_same_and_saves_the_same_bytes)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    std::string dir = temp_dir("files");
    Built built = build_graph(session, dir);
    ASSERT_NE(built.root, nullptr);
    std::string first = dir + "/graph.xovl";
    ASSERT_TRUE(built.library->save_to_file(first.c_str()));
    EXPECT_FALSE(built.library->save_to_file((dir + "/no/such/dir/graph.xovl").c_str()));
    EXPECT_FALSE(built.library->save_to_file(nullptr));
    std::string text = read_file(first);
    EXPECT_NE(text.find("<ovrel_code intrinsic_nodes=\"true\"/>"), std::string::npos) << text;
    EXPECT_NE(text.find("<ovrel_code file_name=\"tint.ovl\"/>"), std::string::npos) << "relative to the file";

    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::IGraph_library* loaded = session.graph->load_library(first.c_str(), nullptr, errors);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    EXPECT_EQ(loaded->get_class_count(), built.library->get_class_count());
    ASSERT_EQ(loaded->get_node_count(), 3u);

    // Nodes come back after the nodes they read: double, tint, root.
    vorn::IGraph_node* names[3];
    for (uint32_t i = 0; i < 3; ++i)
        names[i] = loaded->get_node(i);
    EXPECT_EQ(name_of(names[0]) + " " + name_of(names[1]) + " " + name_of(names[2]), "double tint root");
    EXPECT_EQ(wires_of(names[1]), "amount<-double.y ");
    EXPECT_EQ(wires_of(names[2]), "left<-tint.result ");
    EXPECT_FLOAT_EQ(component(names[2], "right", 2), 0.25f);
    EXPECT_FLOAT_EQ(component(names[1], "base", 1), 0.4f) << "the class's default";
    // The compound's inner graph and interface wires.
    vorn::ICompage_node_class* doubler = names[0]->get_compage_class();
    ASSERT_NE(doubler, nullptr);
    EXPECT_FLOAT_EQ(*static_cast<const float*>(doubler->get_parameter_value("x")), 1.5f);
    ASSERT_EQ(doubler->get_node_count(), 1u);
    vorn::IGraph_node* sum = doubler->find_node("sum");
    ASSERT_NE(sum, nullptr);
    EXPECT_EQ(wires_of(sum), "left<-iface.x right<-iface.x ");
    sum->release();
    vorn::IParameter_iterator* outputs = doubler->get_parameters(vorn::PARAMETERS_OUTPUT);
    ASSERT_TRUE(outputs->find("y"));
    vorn::IAttachment_iterator* interface = outputs->get_attachments();
    ASSERT_FALSE(interface->at_end());
    vorn::IGraph_node* source = interface->get_target_node();
    EXPECT_EQ(name_of(source), "sum");
    EXPECT_STREQ(interface->get_target_name(), "result");
    release(source);
    interface->release();
    vorn::IType* type = outputs->get_type();
    EXPECT_EQ(type->get_kind(), vorn::TYPE_KIND_SCALAR);
    type->release();
    outputs->release();
    doubler->release();
    for (vorn::IGraph_node* node : names)
        node->release();

    // Saved again, the loaded library gives the same bytes.
    std::string second = dir + "/again.xovl";
    ASSERT_TRUE(loaded->save_to_file(second.c_str()));
    EXPECT_EQ(read_file(second), text);

    // A library read into an existing one keeps what it had and adds the file's nodes; the
    // source file it names is not compiled a second time.
    vorn::IGraph_library* grown = session.graph->load_library(first.c_str(), nullptr, nullptr);
    ASSERT_NE(grown, nullptr);
    uint32_t classes = grown->get_class_count();
    write_file(dir + "/more.xovl",
               "<root><ovrel_code file_name=\"tint.ovl\"/><node name=\"extra\" class=\"Tint\"/></root>");
    EXPECT_TRUE(grown->add_from_file((dir + "/more.xovl").c_str(), errors));
    EXPECT_EQ(errors->get_count(), 0u);
    EXPECT_EQ(grown->get_class_count(), classes) << "the source file was seen already";
    EXPECT_EQ(grown->get_node_count(), 4u);
    EXPECT_FALSE(grown->add_from_file((dir + "/none.xovl").c_str(), errors));
    EXPECT_EQ(errors->get_count(), 1u);

    // Merging moves everything, and the emptied library stays usable.
    uint32_t nodes = built.library->get_node_count();
    grown->merge(built.library);
    EXPECT_EQ(built.library->get_node_count(), 0u);
    EXPECT_EQ(built.library->get_class_count(), 0u);
    EXPECT_EQ(grown->get_node_count(), 4u + nodes);
    grown->release();
    loaded->release();
    errors->release();
    built.release_all();
}

TEST(Host_graph, values_exposure_parameters_and_annotations_are_edited_through_the_iterators)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    Built built = build_graph(session, temp_dir("edit"));
    ASSERT_NE(built.root, nullptr);
    vorn::IParameter_iterator* inputs = built.root->get_parameters(vorn::PARAMETERS_INPUT);
    ASSERT_TRUE(inputs->find("right"));
    EXPECT_EQ(inputs->get_exposure(), uint32_t(vorn::EXPOSURE_DECIDED));
    for (uint32_t exposure : {0u, 1u, 2u, 0u}) {
        inputs->set_exposure(exposure);
        EXPECT_EQ(inputs->get_exposure(), exposure);
    }
    inputs->set_exposure(3);
    EXPECT_EQ(inputs->get_exposure(), 0u) << "refused";
    inputs->reset();
    EXPECT_STREQ(inputs->get_name(), "left");
    inputs->next();
    inputs->next();
    EXPECT_TRUE(inputs->at_end());
    EXPECT_EQ(inputs->get_name(), nullptr);
    EXPECT_EQ(inputs->get_attachments(), nullptr);
    inputs->release();

    // A parameter of the node alone, wired and then removed with its wire.
    vorn::IType* scalar = session.graph->create_type(nullptr, vorn::TYPE_KIND_SCALAR, 1);
    EXPECT_TRUE(built.root->add_parameter(vorn::PARAMETERS_INPUT, "extra", scalar, nullptr));
    EXPECT_EQ(built.root->get_parameter_count(vorn::PARAMETERS_INPUT), 3u);
    vorn::IGraph_node* tinted = built.library->find_node("tint");
    ASSERT_NE(tinted, nullptr);
    built.root->attach("extra", tinted, "result.a");
    EXPECT_EQ(wires_of(built.root), "left<-tint.result extra<-tint.result.a ");
    EXPECT_TRUE(built.root->remove_parameter(vorn::PARAMETERS_INPUT, "extra"));
    EXPECT_FALSE(built.root->remove_parameter(vorn::PARAMETERS_INPUT, "extra"));
    EXPECT_EQ(wires_of(built.root), "left<-tint.result ");
    // The far record went with it: tint's output leads to root.left only.
    vorn::IParameter_iterator* outputs = tinted->get_parameters(vorn::PARAMETERS_OUTPUT);
    vorn::IAttachment_iterator* far = outputs->get_attachments();
    ASSERT_FALSE(far->at_end());
    EXPECT_STREQ(far->get_target_name(), "left");
    far->next();
    EXPECT_TRUE(far->at_end());
    far->release();
    outputs->release();

    // A class default changes, and a new class input reaches the class's nodes.
    const float two = 2.0f;
    EXPECT_TRUE(built.tint->set_parameter_value("amount", &two));
    EXPECT_FLOAT_EQ(*static_cast<const float*>(built.tint->get_parameter_value("amount")), 2.0f);
    EXPECT_TRUE(built.tint->add_parameter(vorn::PARAMETERS_INPUT, "gain", scalar, nullptr));
    EXPECT_EQ(tinted->get_parameter_count(vorn::PARAMETERS_INPUT), 3u);
    EXPECT_EQ(built.tint->find_parameter(vorn::PARAMETERS_INPUT, "gain"), 2);
    EXPECT_EQ(built.tint->get_instance_count(), 1u);
    scalar->release();

    // Annotations: added, found, changed and removed.
    vorn::IGraph_annotations* notes = built.tint->get_annotations();
    vorn::IType* types[2] = {session.graph->create_type(nullptr, vorn::TYPE_KIND_INT, 1),
                             session.graph->create_type(nullptr, vorn::TYPE_KIND_SCALAR, 1)};
    const int32_t pair[2] = {7, 0};
    EXPECT_TRUE(notes->add("ui_range", 2, types, pair));
    EXPECT_TRUE(notes->add("hidden", 0, nullptr, nullptr));
    vorn::IType* text_type = session.graph->create_type(nullptr, vorn::TYPE_KIND_STRING, 1);
    std::string label = "final colour";
    const char* label_text = label.c_str();
    EXPECT_TRUE(notes->add("display_name", 1, &text_type, &label_text));
    text_type->release();
    label = "changed by the host";  // the annotation holds its own copy
    const void* shown = notes->get_value(uint32_t(notes->find("display_name")));
    ASSERT_NE(shown, nullptr);
    EXPECT_STREQ(*static_cast<const char* const*>(shown), "final colour");
    int32_t index = notes->find("ui_range");
    ASSERT_GE(index, 0);
    EXPECT_EQ(*static_cast<const int32_t*>(notes->get_value(uint32_t(index))), 7);
    const int32_t changed[2] = {9, 0};
    EXPECT_TRUE(notes->set_value(uint32_t(index), changed));
    EXPECT_EQ(*static_cast<const int32_t*>(notes->get_value(uint32_t(index))), 9);
    vorn::IType* note_type = notes->get_type(uint32_t(index));
    ASSERT_NE(note_type, nullptr);
    vorn::IType* first = note_type->get_first_type();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->get_kind(), vorn::TYPE_KIND_INT);
    first->release();
    note_type->release();
    int32_t hidden = notes->find("hidden");
    EXPECT_EQ(notes->get_value(uint32_t(hidden)), nullptr);
    EXPECT_FALSE(notes->set_value(uint32_t(hidden), changed)) << "no arguments, no value";
    EXPECT_TRUE(notes->remove(uint32_t(index)));
    EXPECT_EQ(notes->find("ui_range"), -1);
    EXPECT_EQ(notes->find("hidden"), 0) << "the rest moved down";
    for (vorn::IType* type : types)
        type->release();
    notes->release();
    tinted->release();
    built.release_all();
}

TEST(Host_graph, the_observer_hears_edits_in_order)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    Built built = build_graph(session, temp_dir("observer"));
    ASSERT_NE(built.root, nullptr);
    Recorder recorder;
    built.library->set_observer(&recorder);
    built.tint->set_observer(&recorder);
    EXPECT_EQ(built.library->get_observer(), &recorder);
    built.root->set_observer(&recorder);

    vorn::IGraph_node* made = built.library->create_node(built.tint, "second tint");
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->get_name(), "second_tint") << "new names are identifiers";
    const float white[4] = {1, 1, 1, 1};
    built.root->set_parameter_value("right", white);
    built.root->attach("right", made, "result");
    built.root->detach("right");
    built.root->set_name("out");
    vorn::IType* scalar = session.graph->create_type(nullptr, vorn::TYPE_KIND_SCALAR, 1);
    built.tint->add_parameter(vorn::PARAMETERS_OUTPUT, "alpha", scalar, nullptr);
    scalar->release();
    EXPECT_TRUE(built.library->remove_node(made));
    made->release();

    const std::vector<std::string> expected = {
        "created Tint second_tint",
        "added library second_tint",
        "value root right",
        "attached root right",
        "detached root right ",
        "renamed root out",
        "parameter Tint out alpha",
        "removed second_tint",
    };
    std::vector<std::string> heard = recorder.events;
    EXPECT_EQ(heard, expected);

    built.library->set_observer(nullptr);
    built.tint->set_observer(nullptr);
    built.root->set_observer(nullptr);
    EXPECT_EQ(built.root->get_observer(), nullptr);
    built.release_all();
}

namespace {

// The GL fragment text of a unit.
std::string fragment_of(vorn::ICompilation_unit* unit)
{
    vorn::IGenerated_shader* shader = unit->generate("GL", nullptr);
    if (!shader)
        return std::string();
    std::vector<char> text(shader->get_program_size(1));
    shader->copy_program(1, text.data(), uint32_t(text.size()));
    shader->release();
    return text.data();
}

}  // namespace

TEST(Host_graph, render_export_names_its_lights_in_a_list_that_keeps_each_light_its_number)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    std::string dir = temp_dir("render");
    std::string file = std::string(VORN_SOURCE_DIR) + "/examples/lit_phong.xovl";
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::IGraph_library* library = session.graph->load_library(file.c_str(), nullptr, errors);
    ASSERT_NE(library, nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    options->set_option("shader_name", "surface");
    // Blanks after a comma and empty items are skipped; a name no node has keeps its place.
    options->set_option("lights", "key, nowhere,,sun");
    vorn::ICompilation_unit* unit = session.compiler->compile_for_render(library, errors, options);
    ASSERT_NE(unit, nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    expect_valid_gl(unit, dir);
    std::string fragment = fragment_of(unit);
    EXPECT_NE(fragment.find("uniform vec4 ovl___light0_color;"), std::string::npos) << fragment;
    EXPECT_NE(fragment.find("uniform vec3 ovl___light2_direction;"), std::string::npos) << fragment;
    EXPECT_EQ(fragment.find("__light1_"), std::string::npos) << fragment;
    unit->release();

    // A class from a source keeps its own main, with the loop unrolled in it.
    options->set_option("shader_name", "Phong");
    options->set_option("lights", "lamp");
    unit = session.compiler->compile_for_render(library, errors, options);
    ASSERT_NE(unit, nullptr);
    expect_valid_gl(unit, dir);
    fragment = fragment_of(unit);
    EXPECT_NE(fragment.find("uniform float ovl___light0_spread_cos;"), std::string::npos) << fragment;
    EXPECT_NE(fragment.find("ovl_Spot_light_main("), std::string::npos) << fragment;
    unit->release();
    options->release();
    errors->release();
    library->release();
}

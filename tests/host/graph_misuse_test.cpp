// A careless host of graphs: null pointers, indexes past the end, objects the host made itself,
// objects used after they ended (destroyed, removed, their library released). Each test runs in
// a process of its own; none may fault, and every refusal answers null, 0, -1 or false.
#include <cstdint>
#include <string>

#include "host/host_library.h"

using vorn_host_test::Session;

namespace {

const uint32_t far = 0xffffffffu;

const char* const intrinsic_library =
    "<root><ovrel_code intrinsic_nodes=\"true\"/>"
    "<node name=\"a\" class=\"Math_Scalar_Add\"/>"
    "<node name=\"b\" class=\"Math_Scalar_Add\"><input name=\"left\"><attachment target_node=\"a\" "
    "target_name=\"result\"/></input></node></root>";

// Host-made look-alikes: the library must take none of them for its own.
class Host_node final : public vorn::IGraph_node {
public:
    virtual ~Host_node() = default;
    void retain() override {}
    void release() override {}
    vorn::Interface* get_interface(int32_t) override { return nullptr; }
    void* get_internal() override { return this; }
    const char* get_name() override { return "host"; }
    void set_name(const char*) override {}
    vorn::IGraph_node_class* get_node_class() override { return nullptr; }
    vorn::ICompage_node_class* get_compage_class() override { return nullptr; }
    void attach(const char*, vorn::IGraph_node*, const char*) override {}
    void detach(const char*) override {}
    bool set_parameter_value(const char*, const void*) override { return false; }
    const void* get_parameter_value(const char*) override { return nullptr; }
    vorn::IParameter_iterator* get_parameters(uint32_t) override { return nullptr; }
    uint32_t get_parameter_count(uint32_t) override { return 0; }
    bool add_parameter(uint32_t, const char*, vorn::IType*, const void*) override { return false; }
    bool remove_parameter(uint32_t, const char*) override { return false; }
    vorn::IGraph_observer* get_observer() override { return nullptr; }
    void set_observer(vorn::IGraph_observer*) override {}
    void destroy() override {}
    vorn::IGraph_annotations* get_annotations() override { return nullptr; }
    vorn::ICompage_node_class* get_parent() override { return nullptr; }
};

class Host_class final : public vorn::IVelar_node_class {
public:
    virtual ~Host_class() = default;
    void retain() override {}
    void release() override {}
    vorn::Interface* get_interface(int32_t) override { return nullptr; }
    void* get_internal() override { return this; }
    const char* get_name() override { return "host"; }
    void set_name(const char*) override {}
    bool add_parameter(uint32_t, const char*, vorn::IType*, const void*) override { return false; }
    bool remove_parameter(uint32_t, const char*) override { return false; }
    bool set_parameter_value(const char*, const void*) override { return false; }
    const void* get_parameter_value(const char*) override { return nullptr; }
    vorn::IParameter_iterator* get_parameters(uint32_t) override { return nullptr; }
    int32_t find_parameter(uint32_t, const char*) override { return -1; }
    uint32_t get_instance_count() override { return 0; }
    vorn::IGraph_node* get_instance(uint32_t) override { return nullptr; }
    vorn::IGraph_observer* get_observer() override { return nullptr; }
    void set_observer(vorn::IGraph_observer*) override {}
    vorn::ISyntax_tree* get_shader_tree() override { return nullptr; }
    vorn::ICompilation_unit* compile() override { return nullptr; }
    vorn::IGraph_annotations* get_annotations() override { return nullptr; }
    const char* get_file_name() override { return ""; }
};

vorn::IGraph_library* load(Session& session)
{
    vorn::IGraph_library* library = session.graph->load_library_from_text(intrinsic_library, nullptr, nullptr);
    EXPECT_NE(library, nullptr);
    return library;
}

}  // namespace

TEST(Host_graph_misuse, loaders_and_types_with_null_empty_and_bad_arguments)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    EXPECT_EQ(session.graph->load_library(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(session.graph->load_library(nullptr, nullptr, errors), nullptr);
    EXPECT_EQ(session.graph->load_library("/no/such.xovl", nullptr, errors), nullptr);
    EXPECT_EQ(session.graph->load_library("/", nullptr, errors), nullptr);
    EXPECT_EQ(session.graph->load_library_from_text(nullptr, nullptr, errors), nullptr);
    EXPECT_EQ(session.graph->load_library_from_text("", nullptr, errors), nullptr);
    EXPECT_GE(errors->get_count(), 3u) << "each failed read says why";
    // Broken XML still gives a library (expat's reason goes to the log).
    vorn::IGraph_library* broken = session.graph->load_library_from_text("<root><node", nullptr, errors);
    ASSERT_NE(broken, nullptr);
    EXPECT_EQ(broken->get_node_count(), 0u);
    broken->release();
    EXPECT_EQ(session.graph->load_library_manager(nullptr, nullptr), nullptr);

    for (int32_t kind : {-1, 0, 29, 1000, INT32_MIN})
        EXPECT_EQ(session.graph->create_type("x", kind, 1), nullptr) << kind;
    vorn::IType* big = session.graph->create_type(nullptr, vorn::TYPE_KIND_MATRIX4X4, far);
    ASSERT_NE(big, nullptr);
    vorn::IGraph_library* library = load(session);
    ASSERT_NE(library, nullptr);
    vorn::IGraph_node* a = library->find_node("a");
    ASSERT_NE(a, nullptr);
    // A value block of that size is refused; the parameter has no value and reads as none.
    EXPECT_TRUE(a->add_parameter(vorn::PARAMETERS_INPUT, "huge", big, nullptr));
    EXPECT_EQ(a->get_parameter_value("huge[3]"), nullptr);
    big->release();
    a->release();
    library->release();
    errors->release();
}

TEST(Host_graph_misuse, library_operations_with_null_foreign_and_out_of_range_arguments)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::IGraph_library* library = load(session);
    ASSERT_NE(library, nullptr);
    Host_node host_node;
    Host_class host_class;
    uint32_t classes = library->get_class_count();
    for (uint32_t index : {classes, far})
        EXPECT_EQ(library->get_class(index), nullptr);
    for (uint32_t index : {library->get_node_count(), far})
        EXPECT_EQ(library->get_node(index), nullptr);
    EXPECT_EQ(library->find_class(nullptr), nullptr);
    EXPECT_EQ(library->find_class("No_such_class"), nullptr);
    EXPECT_EQ(library->find_node(nullptr), nullptr);
    EXPECT_FALSE(library->add_class(nullptr));
    EXPECT_FALSE(library->add_class(&host_class));
    EXPECT_FALSE(library->remove_class(nullptr));
    EXPECT_FALSE(library->remove_class(&host_class));
    EXPECT_FALSE(library->add_node(nullptr));
    EXPECT_FALSE(library->add_node(&host_node));
    EXPECT_FALSE(library->remove_node(&host_node));
    EXPECT_EQ(library->create_node(nullptr, "x"), nullptr);
    EXPECT_EQ(library->create_node(&host_class, "x"), nullptr);
    EXPECT_EQ(library->create_class(vorn::NODE_CLASS_VELAR, "x"), nullptr);
    EXPECT_EQ(library->create_class(7, "x"), nullptr);
    EXPECT_EQ(library->create_class(vorn::NODE_CLASS_COMPAGE, nullptr), nullptr);
    EXPECT_FALSE(library->add_from_file(nullptr, nullptr));
    EXPECT_FALSE(library->save_to_file(""));
    library->merge(nullptr);
    library->merge(library);  // refused: it would empty itself
    EXPECT_EQ(library->get_class_count(), classes);
    EXPECT_EQ(library->get_interface(vorn::IID_GRAPH_NODE), nullptr);

    // A node of this library handed to it again, or to a compound, is refused: it has an owner.
    vorn::IGraph_node* a = library->find_node("a");
    ASSERT_NE(a, nullptr);
    EXPECT_FALSE(library->add_node(a));
    vorn::IGraph_node_class* made = library->create_class(vorn::NODE_CLASS_COMPAGE, "Box");
    auto* box = static_cast<vorn::ICompage_node_class*>(made->get_interface(vorn::IID_COMPAGE_NODE_CLASS));
    ASSERT_NE(box, nullptr);
    EXPECT_FALSE(box->add_node(a));
    EXPECT_FALSE(box->remove_node(a)) << "not an inner node";
    EXPECT_FALSE(box->remove_node(&host_node));
    EXPECT_EQ(box->get_node(0), nullptr);
    EXPECT_EQ(box->create_node(&host_class, "x"), nullptr);
    box->attach_interface("missing", a, "result");  // a is not inside: refused
    box->attach_interface(nullptr, nullptr, nullptr);
    EXPECT_EQ(box->get_shader_tree(), nullptr);
    EXPECT_EQ(session.compiler->compile_node_class(&host_class), nullptr);
    EXPECT_EQ(session.compiler->compile_graph(&host_node, nullptr, nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_for_render(library, nullptr, nullptr), nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    EXPECT_EQ(session.compiler->compile_for_render(library, nullptr, options), nullptr) << "no shader_name";
    options->set_option("shader_name", "nobody");
    EXPECT_EQ(session.compiler->compile_for_render(library, nullptr, options), nullptr);
    options->release();
    box->release();
    made->release();
    a->release();
    library->release();
}

TEST(Host_graph_misuse, node_operations_with_null_foreign_and_out_of_range_arguments)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::IGraph_library* library = load(session);
    ASSERT_NE(library, nullptr);
    vorn::IGraph_node* b = library->find_node("b");
    ASSERT_NE(b, nullptr);
    Host_node host_node;
    b->attach(nullptr, nullptr, nullptr);
    b->attach("right", &host_node, "result");
    b->attach("no_such_input", nullptr, "x");  // no compound around b: logged, no wire
    b->detach(nullptr);
    b->detach("no_such_input");
    b->set_name(nullptr);
    EXPECT_STREQ(b->get_name(), "b");
    EXPECT_FALSE(b->set_parameter_value(nullptr, nullptr));
    EXPECT_FALSE(b->set_parameter_value("no_such_input", nullptr));
    EXPECT_TRUE(b->set_parameter_value("right", nullptr)) << "null bytes zero the value";
    EXPECT_EQ(b->get_parameter_value(nullptr), nullptr);
    for (const char* path : {"", "left[", "left[99]", "left.q", "{", "[0]", "no_such_input"})
        EXPECT_EQ(b->get_parameter_value(path), nullptr) << path;
    for (uint32_t selector : {2u, far}) {
        EXPECT_EQ(b->get_parameters(selector), nullptr);
        EXPECT_EQ(b->get_parameter_count(selector), 0u);
        EXPECT_FALSE(b->remove_parameter(selector, "left"));
    }
    vorn::IType* scalar = session.graph->create_type(nullptr, vorn::TYPE_KIND_SCALAR, 1);
    EXPECT_FALSE(b->add_parameter(0, nullptr, scalar, nullptr));
    EXPECT_FALSE(b->add_parameter(0, "x", nullptr, nullptr));
    EXPECT_FALSE(b->add_parameter(5, "x", scalar, nullptr));
    EXPECT_FALSE(b->remove_parameter(0, nullptr));
    EXPECT_FALSE(b->remove_parameter(0, "x"));
    EXPECT_EQ(b->get_compage_class(), nullptr);
    EXPECT_EQ(b->get_parent(), nullptr);

    // Iterators past their end, and annotations past theirs.
    vorn::IParameter_iterator* inputs = b->get_parameters(vorn::PARAMETERS_INPUT);
    EXPECT_FALSE(inputs->find(nullptr));
    EXPECT_FALSE(inputs->find("nope"));
    while (!inputs->at_end())
        inputs->next();
    inputs->next();
    EXPECT_EQ(inputs->get_type(), nullptr);
    EXPECT_EQ(inputs->get_value(), nullptr);
    EXPECT_EQ(inputs->get_annotations(), nullptr);
    inputs->set_exposure(0);
    inputs->reset();
    vorn::IAttachment_iterator* wires = inputs->get_attachments();
    ASSERT_NE(wires, nullptr);
    EXPECT_FALSE(wires->find("no_member"));
    wires->next();
    wires->next();
    EXPECT_TRUE(wires->at_end());
    EXPECT_EQ(wires->get_target_node(), nullptr);
    EXPECT_EQ(wires->get_member_name(), nullptr);
    wires->release();
    inputs->release();
    vorn::IGraph_annotations* notes = b->get_annotations();
    EXPECT_EQ(notes->get_count(), 0u);
    EXPECT_EQ(notes->get_name(0), nullptr);
    EXPECT_EQ(notes->get_type(far), nullptr);
    EXPECT_EQ(notes->get_value(0), nullptr);
    EXPECT_FALSE(notes->set_value(0, nullptr));
    EXPECT_FALSE(notes->remove(0));
    EXPECT_EQ(notes->find(nullptr), -1);
    EXPECT_FALSE(notes->add(nullptr, 0, nullptr, nullptr));
    EXPECT_FALSE(notes->add("x", 2, nullptr, nullptr));
    vorn::IType* no_type[1] = {nullptr};
    EXPECT_FALSE(notes->add("x", 1, no_type, nullptr));
    EXPECT_EQ(notes->get_count(), 0u);
    notes->release();
    scalar->release();
    b->release();
    library->release();
}

TEST(Host_graph_misuse, wrappers_outliving_their_objects_refuse_every_call)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::IGraph_library* library = load(session);
    ASSERT_NE(library, nullptr);
    vorn::IGraph_node* a = library->find_node("a");
    vorn::IGraph_node* b = library->find_node("b");
    ASSERT_TRUE(a && b);
    vorn::IParameter_iterator* inputs = b->get_parameters(vorn::PARAMETERS_INPUT);
    vorn::IAttachment_iterator* wires = inputs->get_attachments();
    ASSERT_FALSE(wires->at_end()) << "b.left reads a";
    vorn::IGraph_annotations* notes = a->get_annotations();

    // a ends through its wrapper: b's wire to it goes, and every handle on a refuses.
    a->destroy();
    EXPECT_TRUE(wires->at_end());
    EXPECT_EQ(a->get_name(), nullptr);
    EXPECT_EQ(a->get_internal(), nullptr);
    a->set_name("again");
    a->attach("left", b, "result");
    a->destroy();
    EXPECT_EQ(a->get_parameters(0), nullptr);
    EXPECT_EQ(a->get_node_class(), nullptr);
    EXPECT_EQ(notes->get_count(), 0u);
    EXPECT_FALSE(notes->add("x", 0, nullptr, nullptr));
    b->attach("right", a, "result");  // a dead target is refused
    EXPECT_FALSE(library->remove_node(a));
    EXPECT_EQ(library->get_node_count(), 1u);
    notes->release();
    a->release();

    // A class removed while a node of it and a wrapper of it live on.
    vorn::IGraph_node_class* add = library->find_class("Math_Scalar_Add");
    ASSERT_NE(add, nullptr);
    EXPECT_TRUE(library->remove_class(add));
    EXPECT_FALSE(library->remove_class(add));
    EXPECT_EQ(add->get_name(), nullptr);
    EXPECT_EQ(add->get_instance_count(), 0u);
    EXPECT_EQ(add->compile(), nullptr);
    EXPECT_EQ(add->get_file_name(), nullptr);
    EXPECT_EQ(library->create_node(add, "x"), nullptr);
    EXPECT_EQ(b->get_node_class(), nullptr) << "the node lost its class and kept its parameters";
    EXPECT_EQ(b->get_parameter_count(vorn::PARAMETERS_INPUT), 2u);
    EXPECT_EQ(session.compiler->compile_graph(b, nullptr, nullptr), nullptr);
    add->release();

    // The library goes first; node wrappers and iterators are left behind.
    vorn::IGraph_node_class* sub = library->find_class("Math_Scalar_Subtract");
    ASSERT_NE(sub, nullptr);
    library->release();
    EXPECT_EQ(b->get_name(), nullptr);
    EXPECT_EQ(b->get_parameter_count(0), 0u);
    EXPECT_TRUE(inputs->at_end());
    EXPECT_EQ(inputs->get_name(), nullptr);
    EXPECT_EQ(wires->get_target_name(), nullptr);
    EXPECT_EQ(sub->get_name(), nullptr);
    EXPECT_EQ(sub->get_parameters(0), nullptr);
    sub->release();
    wires->release();
    inputs->release();
    b->release();

    // A library wrapper that let go of its library refuses too, and the library ends with it.
    vorn::IGraph_library* kept = load(session);
    ASSERT_NE(kept, nullptr);
    vorn::IGraph_node* node = kept->find_node("b");
    kept->detach_object();
    EXPECT_EQ(kept->get_node_count(), 0u);
    EXPECT_EQ(kept->get_node(0), nullptr);
    EXPECT_EQ(node->get_name(), nullptr) << "the library ended with its last handle";
    node->release();
    kept->release();
}

TEST(Host_graph_misuse, a_class_from_a_unit_that_no_library_takes_ends_with_its_wrapper)
{
    Session session;
    ASSERT_NE(session.graph, nullptr);
    vorn::ICompilation_unit* unit = session.compiler->compile_source(
        "shader Grey { input: Scalar level = 0.5; output: Color result;"
        " void main() { result = Color(level, level, level, 1.0); } };",
        nullptr);
    ASSERT_NE(unit, nullptr);
    vorn::IVelar_node_class* grey = unit->get_node_class("Grey");
    ASSERT_NE(grey, nullptr);
    EXPECT_NE(grey->get_interface(vorn::IID_VELAR_NODE_CLASS), nullptr);
    grey->release();  // the extra reference of get_interface
    EXPECT_NE(grey->get_interface(vorn::IID_GRAPH_NODE_CLASS), nullptr);
    grey->release();
    EXPECT_EQ(grey->get_interface(vorn::IID_COMPAGE_NODE_CLASS), nullptr);
    vorn::ISyntax_tree* tree = grey->get_shader_tree();
    ASSERT_NE(tree, nullptr);
    tree->release();
    unit->release();  // the class keeps the unit
    EXPECT_STREQ(grey->get_name(), "Grey");
    vorn::IParameter_iterator* inputs = grey->get_parameters(vorn::PARAMETERS_INPUT);
    ASSERT_NE(inputs, nullptr);
    EXPECT_STREQ(inputs->get_name(), "level");
    inputs->release();
    vorn::ICompilation_unit* linked = grey->compile();
    ASSERT_NE(linked, nullptr);
    linked->release();
    // Nodes are made only of a class that a library holds.
    vorn::IGraph_library* library = session.graph->create_library();
    EXPECT_EQ(library->create_node(grey, "g"), nullptr);
    EXPECT_EQ(library->get_node_count(), 0u);
    library->release();
    grey->release();  // deletes the class: no library took it
}

// A careless host: every operation of every interface with null pointers, empty texts, indexes
// at 0, at the count and at 0xffffffff, objects of another unit or of the host itself, and in
// orders a host gets wrong. Each test runs in a process of its own; none may fault, and each
// answers what the header promises.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/host_library.h"

using vorn_host_test::Session;

namespace {

const uint32_t far = 0xffffffffu;

const char* const source =
    "struct Pair { Scalar a; Int b; };\n"
    "enum Mode { FLAT, SMOOTH = 5 };\n"
    "Scalar twice(Scalar x) { return x * 2.0; }\n"
    "shader Glow { input: Color c = Color(1, 0.5, 0, 1); output: Color result;\n"
    "  void main() { result = c * twice(0.5); } };\n";

// A node that the host made itself: the library must not take it for one of its own.
class Host_node final : public vorn::ISyntax_tree {
public:
    virtual ~Host_node() = default;
    void retain() override {}
    void release() override {}
    vorn::Interface* get_interface(int32_t) override { return nullptr; }
    void* get_internal() override { return this; }
    int32_t get_kind() override { return 0; }
    int32_t get_value_length() override { return 0; }
    const void* get_value() override { return nullptr; }
    vorn::IType* get_type() override { return nullptr; }
    bool get_value_as_bool() override { return false; }
    int32_t get_value_as_int() override { return 0; }
    double get_value_as_float() override { return 0; }
    const char* get_value_as_text() override { return nullptr; }
    int32_t get_child_count() override { return 0; }
    vorn::ISyntax_tree* get_child(int32_t) override { return nullptr; }
    vorn::IDeclaration* get_declaration() override { return nullptr; }
    void add_child(vorn::ISyntax_tree*) override {}
    void set_value(int32_t, const void*) override {}
    void set_value_bool(bool) override {}
    void set_value_int(int32_t) override {}
    void set_value_float(double) override {}
    void set_value_text(const char*) override {}
};

vorn::ICompilation_unit* compile_good(Session& session)
{
    vorn::ICompilation_unit* unit = session.compiler->compile_source(source, nullptr);
    EXPECT_NE(unit, nullptr);
    return unit;
}

std::string text_of(vorn::ISyntax_tree* node)
{
    const char* text = node->get_value_as_text();
    return text ? text : "<null>";
}

}  // namespace

TEST(Host_misuse, root_interface_ids_and_paths)
{
    Session session;
    ASSERT_NE(session.root, nullptr);
    for (int32_t id : {-1, 1, 4, 5, 18, 19, 24, 100, INT32_MAX, INT32_MIN})
        if (vorn::Interface* other = session.root->get_interface(id))
            other->release();
    session.root->set_shader_path(nullptr);
    session.root->set_shader_path("");
    session.root->set_shader_path(";;;${@NOT_SET_ANYWHERE};${UNCLOSED");
    session.root->set_texture_path(nullptr);
    session.root->set_icon_path(std::string(100000, 'x').c_str());
    EXPECT_GT(session.root->get_api_version(), 0);
    // A second start of the library in one process gives nothing.
    EXPECT_EQ(vorn_host_test::load_initialize()(), nullptr);
}

TEST(Host_misuse, compiler_with_null_empty_and_foreign_arguments)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    EXPECT_EQ(session.compiler->compile_file(nullptr, nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_file(nullptr, errors), nullptr);
    EXPECT_EQ(session.compiler->compile_file("", errors), nullptr);
    EXPECT_EQ(session.compiler->compile_file("/", errors), nullptr);
    // A directory is no source file.
    ASSERT_EQ(errors->get_count(), 1u);
    EXPECT_EQ(errors->get_error_number(0), 26u);
    EXPECT_EQ(session.compiler->compile_source(nullptr, errors), nullptr);
    EXPECT_EQ(session.compiler->compile_source("", nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_node_class(nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_graph(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_graph(nullptr, errors, nullptr), nullptr);
    EXPECT_EQ(session.compiler->compile_for_render(nullptr, errors, nullptr), nullptr);
    errors->release();
    for (int32_t id : {-1, 0, 3, 14, 15, 22, INT32_MAX})
        if (vorn::Interface* other = session.compiler->get_interface(id))
            other->release();
}

TEST(Host_misuse, options_with_null_and_empty_keys_and_values)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    options->set_option(nullptr, "x");
    options->set_option(nullptr, nullptr);
    options->set_option("", "x");
    options->set_option("shader_type", nullptr);
    options->set_option("shader_type", "no such type");
    options->set_option("shader_name", nullptr);
    options->set_option("key", "value");
    options->set_option("key", "");
    EXPECT_EQ(options->get_option(nullptr), nullptr);
    EXPECT_EQ(options->get_option(""), nullptr);
    EXPECT_EQ(options->get_option("key"), nullptr);
    EXPECT_FALSE(options->option_equals(nullptr, nullptr));
    EXPECT_FALSE(options->option_equals("shader_name", nullptr));
    options->release();
}

TEST(Host_misuse, error_list_indexes_and_buffers)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    EXPECT_EQ(session.compiler->compile_source("shader S { output: Color r; void main() { r = q; } };", errors),
              nullptr);
    uint32_t count = errors->get_count();
    ASSERT_GE(count, 1u);
    char buffer[8];
    for (uint32_t index : {count, count + 1, far}) {
        EXPECT_EQ(errors->get_error_number(index), 0u);
        EXPECT_EQ(errors->get_line(index), -1);
        EXPECT_EQ(errors->get_column(index), -1);
        EXPECT_EQ(errors->get_extra_position(index), -1);
        errors->get_message_length(index);
        std::memset(buffer, 'x', sizeof buffer);
        errors->get_message(index, buffer, sizeof buffer);
        EXPECT_LT(std::strlen(buffer), sizeof buffer);
    }
    // A buffer too small, of one byte, of none, or none at all.
    std::memset(buffer, 'x', sizeof buffer);
    errors->get_message(0, buffer, 4);
    EXPECT_EQ(std::strlen(buffer), 3u);
    errors->get_message(0, buffer, 1);
    EXPECT_EQ(buffer[0], '\0');
    buffer[0] = 'x';
    errors->get_message(0, buffer, 0);
    EXPECT_EQ(buffer[0], 'x');
    errors->get_message(0, nullptr, 100);
    errors->release();
}

TEST(Host_misuse, unit_indexes_names_and_targets)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = compile_good(session);
    ASSERT_NE(unit, nullptr);
    for (uint32_t index : {unit->get_import_count(), far}) {
        EXPECT_EQ(unit->get_import_name(index), nullptr);
        EXPECT_EQ(unit->get_import_unit(index), nullptr);
    }
    for (int32_t index : {-1, int32_t(unit->get_type_count()), INT32_MAX, INT32_MIN}) {
        unit->get_type_name(index);
        vorn::IType* type = unit->get_type(index);
        ASSERT_NE(type, nullptr);
        EXPECT_FALSE(type->is_valid());
        type->release();
    }
    for (uint32_t index : {unit->get_function_count(), far})
        EXPECT_EQ(unit->get_function(index), nullptr);
    for (uint32_t index : {unit->get_shader_count(), far}) {
        EXPECT_EQ(unit->get_shader(index), nullptr);
        EXPECT_EQ(unit->get_shader_name(index), nullptr);
    }
    EXPECT_EQ(unit->get_node_class(nullptr), nullptr);
    EXPECT_EQ(unit->get_node_class(""), nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    EXPECT_EQ(unit->generate(nullptr, options), nullptr);
    EXPECT_EQ(unit->generate("", options), nullptr);
    EXPECT_EQ(unit->generate("fx", options), nullptr);
    if (vorn::IGenerated_shader* shader = unit->generate("FX", nullptr))
        shader->release();
    options->release();
    unit->resolve();  // nothing pending: nothing happens
    unit->release();
}

TEST(Host_misuse, binary_files_with_bad_names)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = compile_good(session);
    ASSERT_NE(unit, nullptr);
    unit->save_binary(nullptr);
    unit->save_binary("");
    unit->save_binary("/nonexistent/directory/x.bovl");
    unit->save_binary("/");
    unit->load_binary(nullptr);
    unit->load_binary("");
    unit->load_binary("/");
    unit->load_binary("/dev/null");
    EXPECT_EQ(unit->get_shader_count(), 1u);
    // An empty unit saved, read back over the full one and generated from; views of the old
    // contents stay readable.
    vorn::ISyntax_tree* old_shader = unit->get_shader(0);
    vorn::IType* old_type = unit->get_type(0);
    vorn::ICompilation_unit* empty = session.compiler->create_compilation_unit();
    std::string path = "/tmp/vorn_misuse_" + std::to_string(::getpid()) + ".bovl";
    empty->save_binary(path.c_str());
    unit->load_binary(path.c_str());
    std::remove(path.c_str());
    unit->resolve();
    EXPECT_EQ(unit->get_shader_count(), 0u);
    EXPECT_EQ(unit->generate("FX", nullptr), nullptr);
    EXPECT_GT(old_shader->get_child_count(), 0);
    EXPECT_STREQ(old_type->get_name(), "Pair");
    old_shader->release();
    old_type->release();
    empty->release();
    unit->release();
}

TEST(Host_misuse, generated_shader_indexes_and_buffers)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = compile_good(session);
    ASSERT_NE(unit, nullptr);
    vorn::ICompiler_options* options = session.compiler->create_options();
    options->set_option("shader_type", "surface");
    vorn::IGenerated_shader* shader = unit->generate("GL", options);
    options->release();
    ASSERT_NE(shader, nullptr);
    EXPECT_STREQ(shader->get_target(), "GL");
    char buffer[4] = {'x', 'x', 'x', 'x'};
    for (uint32_t index : {shader->get_program_count(), far}) {
        shader->get_entry_name(index);
        EXPECT_LE(shader->get_program_size(index), 1u);
        shader->copy_program(index, buffer, sizeof buffer);
        EXPECT_EQ(buffer[0], '\0');
    }
    // At most size bytes, with no room for the end of the text.
    std::memset(buffer, 'x', sizeof buffer);
    shader->copy_program(0, buffer, 2);
    EXPECT_EQ(buffer[2], 'x');
    shader->copy_program(0, buffer, 0);
    shader->copy_program(0, nullptr, 100);
    // The text outlives the unit it came from.
    unit->release();
    std::vector<char> text(shader->get_program_size(0));
    shader->copy_program(0, text.data(), uint32_t(text.size()));
    EXPECT_NE(std::string(text.data()).find("void main"), std::string::npos);
    shader->release();
}

TEST(Host_misuse, tree_nodes_join_one_parent_only)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = compile_good(session);
    vorn::ICompilation_unit* other = session.compiler->create_compilation_unit();
    ASSERT_NE(unit, nullptr);
    vorn::ISyntax_tree* function = unit->get_function(0);
    ASSERT_NE(function, nullptr);
    int32_t children = function->get_child_count();
    ASSERT_GE(children, 1);
    vorn::ISyntax_tree* last = function->get_child(children - 1);
    vorn::ISyntax_tree* first = function->get_child(0);
    Host_node host_node;

    // A node in a tree already (the last child of its parent, or any other), the node itself,
    // one of another unit, one the host made and null: each refused, the tree unchanged.
    function->add_child(last);
    function->add_child(first);
    function->add_child(function);
    first->add_child(function);
    vorn::ISyntax_tree* foreign = other->create_tree_node(55);
    function->add_child(foreign);
    function->add_child(&host_node);
    function->add_child(nullptr);
    EXPECT_EQ(function->get_child_count(), children);

    // A loose node joins once; a loose node that holds this one cannot become its child.
    vorn::ISyntax_tree* outer = unit->create_tree_node(24);
    vorn::ISyntax_tree* inner = unit->create_tree_node(61);
    outer->add_child(inner);
    outer->add_child(inner);
    inner->add_child(outer);
    inner->add_child(inner);
    EXPECT_EQ(outer->get_child_count(), 1);
    EXPECT_EQ(inner->get_child_count(), 0);
    for (vorn::ISyntax_tree* node : {last, first, foreign, outer, inner})
        node->release();
    function->release();
    other->release();

    // The unit and its next compile are as good as before.
    vorn::IGenerated_shader* shader = unit->generate("FX", nullptr);
    if (shader)
        shader->release();
    vorn::ICompiler_errors* errors = session.compiler->create_errors();
    vorn::ICompilation_unit* again = session.compiler->compile_source(source, errors);
    EXPECT_NE(again, nullptr);
    EXPECT_EQ(errors->get_count(), 0u);
    if (again)
        again->release();
    errors->release();
    unit->release();
}

TEST(Host_misuse, tree_node_kinds_and_values_out_of_range)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = session.compiler->create_compilation_unit();
    for (int32_t kind : {-1, 72, 73, 1000, INT32_MAX, INT32_MIN}) {
        vorn::ISyntax_tree* node = unit->create_tree_node(kind);
        if (!node)
            continue;
        EXPECT_EQ(node->get_kind(), 72);
        node->set_value(-1, nullptr);
        EXPECT_EQ(text_of(node), "");
        node->set_value(16, nullptr);
        node->set_value(0, "abc");
        node->set_value(INT32_MIN, nullptr);
        node->set_value(3, "abc");
        EXPECT_EQ(node->get_value_length(), 3);
        EXPECT_EQ(text_of(node), "<binary data>");
        node->set_value_text(nullptr);
        EXPECT_EQ(node->get_value(), nullptr);
        node->set_value_float(1e308);
        node->set_value_float(-1e308);
        node->set_value_int(INT32_MIN);
        EXPECT_EQ(node->get_value_as_int(), 0);  // not a constant's kind
        EXPECT_EQ(node->get_child_count(), 0);
        EXPECT_EQ(node->get_declaration(), nullptr);
        vorn::IType* type = node->get_type();
        EXPECT_FALSE(type->is_valid());
        type->release();
        node->release();
    }
    vorn::ISyntax_tree* number = unit->create_tree_node(55);
    number->set_value_text("99999999999999999999");
    number->get_value_as_int();
    number->set_value_text("");
    EXPECT_EQ(number->get_value_as_int(), 0);
    number->release();
    unit->release();
}

TEST(Host_misuse, types_with_null_foreign_and_self_links)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = compile_good(session);
    vorn::ICompilation_unit* other = compile_good(session);
    ASSERT_NE(unit, nullptr);
    vorn::IType* pair = unit->get_type(0);
    vorn::IType* foreign = other->get_type(0);
    EXPECT_FALSE(pair->equals(nullptr));
    EXPECT_TRUE(pair->equals(foreign));
    EXPECT_EQ(pair->find_member(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(pair->find_member("", nullptr, nullptr), nullptr);
    EXPECT_EQ(pair->get_enumerator_name(far), nullptr);
    EXPECT_EQ(pair->get_enumerator_value(far), 0);
    pair->set_name(nullptr);
    pair->set_display_name(nullptr);
    pair->set_kind(-1);
    pair->set_kind(INT32_MAX);
    EXPECT_EQ(pair->get_kind(), vorn::TYPE_KIND_NONE);
    pair->set_kind(vorn::TYPE_KIND_STRUCT);
    // Links to itself and to a type of another unit take a copy, never the object.
    pair->set_first_type(pair);
    pair->set_second_type(pair);
    pair->set_first_type(foreign);
    pair->set_first_type(nullptr);
    pair->set_array_size(far);
    pair->get_size_of();
    pair->get_packed_size();
    pair->get_alignment();
    pair->finish();
    foreign->release();
    pair->release();
    other->release();

    // A type of the prelude is read only.
    vorn::ISyntax_tree* function = unit->get_function(0);
    vorn::IDeclaration* declaration = function->get_declaration();
    ASSERT_NE(declaration, nullptr);
    vorn::IType* scalar = declaration->get_type();
    scalar->set_name("Changed");
    scalar->set_kind(vorn::TYPE_KIND_INT);
    EXPECT_STREQ(scalar->get_name(), "Scalar");
    scalar->release();
    vorn::ISyntax_tree* tree = declaration->get_tree();
    EXPECT_NE(tree, nullptr);
    tree->release();
    declaration->release();
    function->release();
    unit->release();
}

TEST(Host_misuse, units_and_views_outlive_the_compiler_that_made_them)
{
    Session session;
    ASSERT_NE(session.compiler, nullptr);
    vorn::ICompilation_unit* unit = compile_good(session);
    ASSERT_NE(unit, nullptr);
    vorn::ISyntax_tree* shader_tree = unit->get_shader(0);
    vorn::IType* pair = unit->get_type(0);
    session.compiler->release();
    session.compiler = nullptr;
    // The unit still generates; views still read after the unit is released.
    vorn::IGenerated_shader* shader = unit->generate("FX", nullptr);
    if (shader)
        shader->release();
    unit->release();
    EXPECT_GT(shader_tree->get_child_count(), 0);
    EXPECT_STREQ(pair->get_name(), "Pair");
    shader_tree->release();
    pair->release();
}

TEST(Host_misuse, log_with_empty_null_and_long_texts)
{
    Session session;
    ASSERT_NE(session.root, nullptr);
    auto* log = static_cast<vorn::ILog*>(session.compiler->get_interface(vorn::IID_LOG));
    ASSERT_NE(log, nullptr);
    log->info("");
    log->warning("%s", "");
    log->error("%s", std::string(100000, 'y').c_str());
    log->info(nullptr);
    log->release();
}

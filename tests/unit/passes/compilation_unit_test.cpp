// The compilation unit's tables, and the visitor base the passes stand on.
#include <gtest/gtest.h>

#include "passes_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_traverser.h"

namespace {

using namespace QZ::SYNTAX_TREE;

TEST(Compilation_unit, BuiltinWordsStandAtTheirCodes)
{
    Compilation_unit unit;
    EXPECT_EQ(unit.find_type("void"), 0);
    EXPECT_EQ(unit.find_type("Int"), TYPE_INT32);
    EXPECT_EQ(unit.find_type("Matrix4x4"), TYPE_MATRIX);
    EXPECT_EQ(unit.find_type("Texture_cube"), TYPE_TEXTURE_CUBE);
    EXPECT_STREQ(unit.type_at(TYPE_MATRIX3X2)->name(), "Matrix3x2");
    EXPECT_EQ(unit.type_count(), int32_t(TYPE_CODE_COUNT));
    // Names of codes that are no language words find nothing.
    EXPECT_EQ(unit.find_type("int8"), -1);
    EXPECT_EQ(unit.find_type("int"), -1);
    EXPECT_EQ(unit.type_at(-1), nullptr);
    EXPECT_EQ(unit.type_at(unit.type_count()), nullptr);
}

TEST(Compilation_unit, ArrayVariantsAreAddedOnce)
{
    Compilation_unit unit;
    EXPECT_EQ(unit.lookup_type("Scalar", 4), -1);
    int32_t four = unit.find_type("Scalar", 4);
    int32_t open = unit.find_type("Scalar", 0);
    EXPECT_EQ(four, int32_t(TYPE_CODE_COUNT));
    EXPECT_EQ(open, four + 1);
    EXPECT_EQ(unit.find_type("Scalar", 4), four);
    EXPECT_EQ(unit.lookup_type("Scalar", 4), four);
    EXPECT_EQ(unit.type_at(four)->text(), "Scalar[4]");
    EXPECT_EQ(unit.type_at(open)->array_size(), 0u);
    EXPECT_EQ(unit.find_type("Nothing", 2), -1);
    EXPECT_EQ(unit.type_count(), int32_t(TYPE_CODE_COUNT) + 2);
}

TEST(Compilation_unit, NamedTypesEnumsAndTheirVariants)
{
    Compilation_unit unit;
    auto point = std::make_unique<Named_type>("Point", TYPE_STRUCT);
    point->append_member(new Named_type("x", TYPE_SCALAR, 1, "Scalar"));
    EXPECT_EQ(unit.add_named_type(std::move(point)), 0);
    EXPECT_EQ(unit.add_named_type(std::make_unique<Named_type>("Point", TYPE_STRUCT)), -1);
    EXPECT_EQ(unit.add_enum(std::make_unique<Enum_type>("Mode")), 0);
    EXPECT_TRUE(unit.add_enum_value("ON", 3, 0));
    EXPECT_FALSE(unit.add_enum_value("ON", 4, 0));
    Enum_value value;
    ASSERT_TRUE(unit.find_enum_value("ON", &value));
    EXPECT_EQ(value.value, 3);
    EXPECT_EQ(unit.enum_at(0)->values().at("ON"), 3);
    int32_t single = unit.find_type("Point");
    int32_t many = unit.find_type("Point", 3);
    ASSERT_GE(single, 0);
    EXPECT_EQ(unit.type_at(single)->text(), "struct Point");
    EXPECT_NE(unit.type_at(single)->find_member("x"), nullptr);
    EXPECT_EQ(unit.type_at(many)->text(), "struct Point[3]");
    EXPECT_EQ(unit.type_name(many), "Point");
}

TEST(Compilation_unit, PreludeTypesComeBeforeTheUnitsOwn)
{
    auto prelude = passes_test::test_prelude();
    EXPECT_TRUE(prelude->problems().empty());
    Compilation_unit one(prelude);
    Compilation_unit two(prelude);
    int32_t ray = one.find_type("Ray");
    ASSERT_GE(ray, int32_t(TYPE_CODE_COUNT));
    EXPECT_LT(ray, prelude->type_count());
    EXPECT_EQ(two.find_type("Ray"), ray);
    EXPECT_NE(one.type_at(ray)->find_member("origin"), nullptr);
    EXPECT_EQ(one.find_type("Light_iterator", 8), prelude->type_count());
    EXPECT_EQ(one.find_type("Texture_sampler_2d_vector3"), two.find_type("Texture_sampler_2d_vector3"));
}

TEST(Compilation_unit, PreludeIsLearntWithoutProblems)
{
    auto prelude = passes_test::test_prelude();
    // illumination is the first declaration and has id 0; the built-ins follow.
    const Overload_set* illumination = prelude->find_functions("illumination");
    ASSERT_NE(illumination, nullptr);
    ASSERT_EQ(illumination->size(), 1u);
    EXPECT_EQ(illumination->front().id, 0);
    EXPECT_EQ(illumination->front().result_type, TYPE_VECTOR4);
    EXPECT_GT(prelude->function_entry_count(), 500u);
    EXPECT_EQ(size_t(prelude->next_function_id()), prelude->function_entry_count());
    const Overload_set* modf = prelude->find_functions("modf");
    ASSERT_NE(modf, nullptr);
    EXPECT_EQ(modf->front().by_reference, (std::vector<uint8_t>{0, 1}));
}

TEST(Compilation_unit, ShadersByOrderAndFirstName)
{
    Compilation_unit unit;
    auto first = std::make_unique<Shader_declaration>();
    first->name = "S";
    auto second = std::make_unique<Shader_declaration>();
    second->name = "S";
    Shader_declaration* a = unit.add_shader(std::move(first));
    Shader_declaration* b = unit.add_shader(std::move(second));
    EXPECT_EQ(unit.shader_count(), 2);
    EXPECT_EQ(unit.find_shader("S"), a);
    EXPECT_EQ(unit.shader_at(1), b);
    EXPECT_EQ(unit.shader_at(2), nullptr);
    EXPECT_EQ(unit.find_shader("T"), nullptr);
}

// The visitor base.

class Recorder : public Tree_traverser_base {
public:
    std::vector<std::string> seen;
    int32_t deepest = 0;
    bool exceeded = false;

protected:
    St_node* visit_default(St_node* node) override
    {
        seen.push_back(St_node::kind_name(node->kind));
        deepest = std::max(deepest, depth());
        return Tree_traverser_base::visit_default(node);
    }
    // Every constant 1 is replaced by a constant 2.
    St_node* visit_int_constant(St_node* node) override
    {
        seen.push_back("INT " + std::string(node->text_view()));
        if (node->text_view() == "1")
            return new St_node(NODE_INT_CONSTANT, node->file, "2");
        return nullptr;
    }
    void depth_exceeded(St_node*) override { exceeded = true; }
};

TEST(Tree_traverser, DispatchesByKindAndFallsBack)
{
    File_name file = make_file_name("t.ovl");
    St_node root(NODE_ADDITIVE_EXPRESSION, file, "+",
                 {new St_node(NODE_INT_CONSTANT, file, "1"), new St_node(NODE_VARIABLE_ID, file, "x")});
    Recorder recorder;
    EXPECT_EQ(recorder.visit(&root), nullptr);
    EXPECT_EQ(recorder.seen, (std::vector<std::string>{"ADDITIVE_EXPRESSION", "INT 1", "VARIABLE_ID"}));
    // The replacement stands in the old child's place, before the sibling.
    EXPECT_EQ(root.child(0)->text_view(), "2");
    EXPECT_EQ(root.child(1)->text_view(), "x");
    EXPECT_EQ(root.child_count(), 2);
}

TEST(Tree_traverser, KindsOutsideTheTableFallBackToDefault)
{
    File_name file = make_file_name("t.ovl");
    St_node root(999, file, {new St_node(-5, file)});
    Recorder recorder;
    recorder.visit(&root);
    EXPECT_EQ(recorder.seen, (std::vector<std::string>{"unknown", "unknown"}));
}

TEST(Tree_traverser, LongSiblingListsIterate)
{
    File_name file = make_file_name("t.ovl");
    St_node root(NODE_STATEMENT_BLOCK, file);
    St_node* last = nullptr;
    for (int i = 0; i < 200000; ++i) {
        St_node* node = new St_node(NODE_INT_CONSTANT, file, "1");
        if (last)
            last->next_sibling = node;
        else
            root.first_child = node;
        last = node;
    }
    Recorder recorder;
    recorder.visit(&root);
    EXPECT_EQ(recorder.seen.size(), 200001u);
    EXPECT_EQ(recorder.deepest, 1);
    for (St_node* node = root.first_child; node; node = node->next_sibling)
        ASSERT_EQ(node->text_view(), "2");
}

TEST(Tree_traverser, NestingBeyondTheLimitIsReportedNotEntered)
{
    File_name file = make_file_name("t.ovl");
    auto chain = [&](int depth) {
        St_node* root = new St_node(NODE_UNARY_EXPRESSION, file, "-");
        St_node* node = root;
        for (int i = 1; i < depth; ++i) {
            St_node* child = new St_node(NODE_UNARY_EXPRESSION, file, "-");
            node->add_child(child);
            node = child;
        }
        return std::unique_ptr<St_node>(root);
    };
    Recorder within;
    within.visit(chain(Tree_traverser_base::DEPTH_LIMIT).get());
    EXPECT_FALSE(within.exceeded);
    EXPECT_EQ(within.deepest, Tree_traverser_base::DEPTH_LIMIT);
    Recorder beyond;
    beyond.visit(chain(Tree_traverser_base::DEPTH_LIMIT + 1).get());
    EXPECT_TRUE(beyond.exceeded);
    EXPECT_EQ(beyond.depth(), 0);
}

}  // namespace

// Trees that live in an arena: every node of a unit's tree must be in the unit's arena, since
// the tree is dropped with it unwalked; a node made elsewhere would leak, and one of another
// arena would be freed under the unit.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "compiler/mod_compiler.h"
#include "front12/mod_front12.h"
#include "front12/ovrel_parser.h"
#include "serial/memory_stream.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"
#include "system/mod_string.h"
#include "trans12/mod_trans12.h"

using namespace QZ::SYNTAX_TREE;

namespace {

// The first node, in depth-first order, that is not in arena; null when there is none.
const St_node* stray_node(const St_node* root, const Node_arena* arena)
{
    std::vector<const St_node*> pending{root};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        if (Node_arena::of(node) != arena)
            return node;
        pending.push_back(node->first_child);
        pending.push_back(node->next_sibling);
    }
    return nullptr;
}

std::unique_ptr<Compilation_unit> compile(const std::string& text, const char* name = "arena.ovl")
{
    Error_list errors;
    std::unique_ptr<Compilation_unit> unit(QZ::COMPILER::mod_compiler->compile_text(name, text.c_str(), &errors));
    EXPECT_TRUE(errors.empty()) << format_error(errors[0], name);
    return unit;
}

// Uses state variables (made references by the first pass), a declaration with constructor
// arguments (made a constructor call by the second), texts of every size class and a binary
// text.
const char* const shader_text =
    "shader Arena_test {\n"
    "  input: Color tint = Color(1, 0.5, 0.25, 1);\n"
    "         String label = \"a label that is longer than the small text blocks of a tree\";\n"
    "  output: Color result;\n"
    "  void main() {\n"
    "    Vector3 n(0, 0, 1);\n"
    "    Scalar facing = dot(normalize(normal), n);\n"
    "    result = tint * facing;\n"
    "  }\n"
    "};\n";

File_name test_file() { return make_file_name("arena_test.ovl"); }

// The text with a comment after it, long enough for the parse to take an arena.
std::string arena_sized(const std::string& text)
{
    return text + "/*" + std::string(Node_arena::MIN_SOURCE, '.') + "*/\n";
}

}  // namespace

TEST(Node_arena, nodes_and_texts_are_known_by_address_and_come_back_when_freed_alone)
{
    ASSERT_TRUE(Node_arena::available());
    Node_arena arena;
    St_node* node = new (&arena) St_node(NODE_IDENTIFIER, test_file(), "x");
    St_node on_stack(NODE_IDENTIFIER, test_file(), "y");
    std::unique_ptr<St_node> pooled(new St_node(NODE_IDENTIFIER, test_file(), "z"));
    EXPECT_EQ(Node_arena::of(node), &arena);
    EXPECT_EQ(Node_arena::of(node->text), &arena);
    EXPECT_EQ(Node_arena::of(&on_stack), nullptr);
    EXPECT_EQ(Node_arena::of(pooled.get()), nullptr);
    EXPECT_EQ(Node_arena::of(pooled->text), nullptr);
    EXPECT_EQ(Node_arena::of(nullptr), nullptr);

    // A node freed alone is the next one made; so is a small text block.
    void* freed = node;
    delete node;
    node = new (&arena) St_node(NODE_IDENTIFIER, test_file(), "a");
    EXPECT_EQ(static_cast<void*>(node), freed);
    const char* short_text = node->text;
    node->set_text("b");
    EXPECT_EQ(node->text, short_text);
    node->set_text("a text of twenty-odd");
    const char* small_text = node->text;
    node->set_text("a text of twenty-one!");
    EXPECT_EQ(node->text, small_text);

    // Texts of every size, binary ones with zero bytes too, read back whole.
    std::string large(100000, 'q');
    std::string medium(600, 'm');
    const char binary[] = {'a', 0, 'b', 0, 'c'};
    for (const std::string& text : {large, medium, std::string("tiny"), large}) {
        node->set_text(text);
        EXPECT_EQ(node->text_view(), text);
    }
    node->set_binary_text(binary, int32_t(sizeof binary));
    EXPECT_EQ(node->text_view(), std::string(binary, sizeof binary));

    // A clone goes where it is asked to.
    std::unique_ptr<St_node> pooled_copy(node->clone());
    EXPECT_EQ(Node_arena::of(pooled_copy.get()), nullptr);
    EXPECT_EQ(pooled_copy->text_view(), node->text_view());
    St_node* arena_copy = pooled->clone(&arena);
    EXPECT_EQ(Node_arena::of(arena_copy), &arena);
    EXPECT_EQ(arena_copy->text_view(), "z");
    delete arena_copy;
    delete node;
}

TEST(Node_arena, a_root_that_keeps_its_arena_takes_the_whole_tree_along)
{
    int64_t before = Node_arena::live_count();
    auto* arena = new Node_arena;
    St_node* root = new (arena) St_node(NODE_DECLARATION_LIST, test_file());
    List_builder children(root);
    for (int i = 0; i < 20000; ++i)
        children.add(new (arena) St_node(NODE_VARIABLE_ID, test_file(), "v" + std::to_string(i)));
    arena->set_keeper(root);
    EXPECT_EQ(Node_arena::live_count(), before + 1);
    delete root;
    EXPECT_EQ(Node_arena::live_count(), before);

    // Deleted as a child of a tree being freed node by node, it still takes its arena.
    arena = new Node_arena;
    St_node* kept = new (arena) St_node(NODE_STATEMENT_BLOCK, test_file(),
                                        {new (arena) St_node(NODE_NO_OP, test_file(), "inside")});
    arena->set_keeper(kept);
    delete new St_node(NODE_FUNCTION_DEFINITION, test_file(), {kept, new St_node(NODE_NO_OP, test_file())});
    EXPECT_EQ(Node_arena::live_count(), before);
}

TEST(Node_arena, an_absorbed_arena_hands_over_its_blocks_and_its_freed_ones)
{
    Node_arena arena;
    auto other = std::make_unique<Node_arena>();
    St_node* kept = new (other.get()) St_node(NODE_IDENTIFIER, test_file(), "kept");
    St_node* freed = new (other.get()) St_node(NODE_IDENTIFIER, test_file(), "freed");
    void* freed_block = freed;
    delete freed;
    arena.absorb(std::move(other));
    EXPECT_EQ(Node_arena::of(kept), &arena);
    EXPECT_EQ(Node_arena::of(kept->text), &arena);
    St_node* reused = new (&arena) St_node(NODE_IDENTIFIER, test_file());
    EXPECT_EQ(static_cast<void*>(reused), freed_block);
    delete reused;
    delete kept;
}

TEST(Node_arena, a_unit_holds_every_node_of_its_tree_in_its_own_arena)
{
    compile(shader_text);  // the prelude, which keeps an arena of its own, is loaded
    int64_t before = Node_arena::live_count();
    {
        // Small sources make pooled trees, except in checking builds.
        std::unique_ptr<Compilation_unit> small = compile(shader_text);
        EXPECT_EQ(Node_arena::of(small->tree()) != nullptr, Node_arena::MIN_SOURCE == 0);

        std::unique_ptr<Compilation_unit> unit = compile(arena_sized(shader_text));
        ASSERT_TRUE(unit && unit->tree());
        Node_arena* arena = unit->node_arena();
        EXPECT_EQ(Node_arena::of(unit->tree()), arena);
        const St_node* stray = stray_node(unit->tree(), arena);
        EXPECT_EQ(stray, nullptr) << St_node::kind_name(stray->kind) << " at line " << stray->line;
        std::string printed = tree_text(unit->tree());
        EXPECT_NE(printed.find("STATE_VARIABLE_REFERENCE"), std::string::npos) << "the first pass's nodes";
        EXPECT_NE(printed.find("CONSTRUCTOR_CALL_EXPRESSION"), std::string::npos) << "the second pass's nodes";

        // A node made for the host joins the tree from the same arena.
        St_node* loose = unit->make_loose_node(NODE_NO_OP, "host.ovl");
        EXPECT_EQ(Node_arena::of(loose), arena);
        ASSERT_TRUE(unit->adopt_loose_node(loose));
        unit->tree()->add_child(loose);

        // A copy is a unit of its own, which outlives the original.
        auto copy = std::make_unique<Compilation_unit>(*unit);
        EXPECT_NE(copy->node_arena(), arena);
        EXPECT_EQ(stray_node(copy->tree(), copy->node_arena()), nullptr);
        std::string whole = tree_text(unit->tree());
        unit.reset();
        EXPECT_EQ(tree_text(copy->tree()), whole);

        // A unit read back makes its tree in its arena too.
        QZ::SERIAL::Memory_serializer out;
        copy->serialize(out);
        Compilation_unit loaded;
        QZ::SERIAL::Memory_deserializer in(out.take_bytes());
        loaded.deserialize(in);
        ASSERT_TRUE(loaded.tree());
        EXPECT_EQ(stray_node(loaded.tree(), loaded.node_arena()), nullptr);
        EXPECT_EQ(tree_text(loaded.tree()), whole);
    }
    // Every arena went with its unit, the parse's included.
    EXPECT_EQ(Node_arena::live_count(), before);
    Error_list errors;
    delete QZ::COMPILER::mod_compiler->compile_text(
        "bad.ovl", arena_sized("shader S { output: Color c; void main() { c = ; } };").c_str(), &errors);
    EXPECT_FALSE(errors.empty());
    EXPECT_EQ(Node_arena::live_count(), before);
}

TEST(Node_arena, included_files_bring_their_nodes_into_the_includers_arena)
{
    std::string dir = vorn_test::make_temp_dir("arena_include");
    std::ofstream(dir + "/first.ovl") << "#include <second.ovl>\nScalar from_first = 1;\n";
    std::ofstream(dir + "/second.ovl") << "Scalar from_second = 2;\nString long_text = \"" << std::string(5000, 's')
                                       << "\";\n";
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    compile(shader_text);
    int64_t before = Node_arena::live_count();
    {
        std::unique_ptr<Compilation_unit> unit =
            compile(arena_sized("#include <first.ovl>\n" + std::string(shader_text) +
                                "Scalar last = from_first + from_second;\n"));
        ASSERT_TRUE(unit && unit->tree());
        EXPECT_EQ(stray_node(unit->tree(), unit->node_arena()), nullptr);
        EXPECT_NE(tree_text(unit->tree()).find(std::string(5000, 's')), std::string::npos);
        // The include's arenas are one with the unit's.
        EXPECT_EQ(Node_arena::live_count(), before + 1);
    }
    EXPECT_EQ(Node_arena::live_count(), before);
    QZ::SYSTEM::mod_string->set_path(2, "shader", "");
}

TEST(Node_arena, a_file_included_many_times_is_parsed_into_the_includers_arena)
{
    // Each inclusion once took an arena, and a chunk, of its own: thousands of them.
    std::string dir = vorn_test::make_temp_dir("arena_many_includes");
    std::ofstream(dir + "/small.ovl") << "Scalar from_small = 1;\n";
    std::string includes;
    for (int i = 0; i < 2000; ++i)
        includes += "#include <small.ovl>\n";
    std::ofstream(dir + "/many.ovl") << includes;
    QZ::SYSTEM::mod_string->set_path(2, "shader", dir.c_str());
    Error_list errors;
    std::unique_ptr<St_node> tree(
        QZ::FRONT12::mod_front12->parse(arena_sized("#include <many.ovl>\n").c_str(), "arena.ovl", &errors));
    ASSERT_TRUE(tree);
    EXPECT_EQ(tree->child_count(), 2000);
    Node_arena* arena = Node_arena::of(tree.get());
    ASSERT_NE(arena, nullptr);
    EXPECT_EQ(stray_node(tree.get(), arena), nullptr);
    EXPECT_LE(arena->chunk_bytes(), size_t(4) << 20);

    // A parser without an arena copies what an included tree in an arena holds, since that
    // arena goes with the included root.
    QZ::FRONT12::Parse_result parsed =
        QZ::FRONT12::parse_text("#include <small.ovl>\nScalar own = 2;\n", "pooled.ovl",
                                [](const std::string& name, const QZ::FRONT12::Token&) {
                                    Error_list ignored;
                                    std::string text = arena_sized("#include <" + name + ">\n");
                                    return QZ::FRONT12::mod_front12->parse(text.c_str(), "includer.ovl", &ignored);
                                });
    ASSERT_TRUE(parsed.tree);
    EXPECT_EQ(stray_node(parsed.tree.get(), nullptr), nullptr);
    EXPECT_NE(tree_text(parsed.tree.get()).find("from_small"), std::string::npos);
    QZ::SYSTEM::mod_string->set_path(2, "shader", "");
}

TEST(Node_arena, units_on_several_threads_keep_their_trees_apart)
{
    const std::string text = arena_sized(shader_text);
    std::string expected = tree_text(compile(text)->tree());
    std::vector<std::string> failures(4);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < failures.size(); ++t) {
        threads.emplace_back([t, &failures, &expected, &text] {
            std::vector<std::unique_ptr<Compilation_unit>> kept;
            for (int i = 0; i < 40; ++i) {
                // Parsing and the passes, without the compiler's cache of imports, which is
                // the host's to guard.
                Error_list errors;
                St_node* tree = QZ::FRONT12::mod_front12->parse(text.c_str(), "arena.ovl", &errors);
                std::unique_ptr<Compilation_unit> unit(
                    tree ? QZ::TRANS12::mod_trans12->translate(tree, nullptr, nullptr) : nullptr);
                if (!unit || !unit->tree() || tree_text(unit->tree()) != expected ||
                    stray_node(unit->tree(), unit->node_arena())) {
                    failures[t] = "unit " + std::to_string(i) + " differs";
                    return;
                }
                // Some units live on while others go, so that chunks change hands.
                if (i % 3 == 0)
                    kept.push_back(std::move(unit));
            }
            for (const auto& unit : kept)
                if (tree_text(unit->tree()) != expected)
                    failures[t] = "a kept unit changed";
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string& failure : failures)
        EXPECT_EQ(failure, "");
}

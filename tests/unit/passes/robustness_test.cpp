// Damaged sources: every one gets its messages, none brings the passes down.
#include <gtest/gtest.h>

#include <dirent.h>
#include <random>
#include <string>
#include <vector>

#include "passes_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"
#include "support/test_support.h"

namespace {

std::vector<std::string> seed_sources()
{
    std::vector<std::string> seeds;
    std::string dir = std::string(VORN_TEST_DATA_DIR) + "/diagnostics";
    if (DIR* handle = opendir(dir.c_str())) {
        while (dirent* entry = readdir(handle)) {
            std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".ovl") == 0)
                seeds.push_back(vorn_test::read_file(dir + "/" + name));
        }
        closedir(handle);
    }
    return seeds;
}

// Cuts, pasted fragments of the language and copies of the source's own text, at random
// places, with a fixed seed.
std::string mutate(std::string text, std::mt19937& random)
{
    static const char* const pieces[] = {
        "{", "}", "(", ")", ";", ".", ",", "=", "shader S {", "input:", "output:", "public:", "struct", "enum E {A};",
        "x", "normal", "Color", "Vector3", "[", "]", "[0]", "::", "return", "foreach", "technique T : S", "?", ":",
        "main", "State state", "\"s\"", "1.5", "-1", "{1,2}", "#import <x.ovl>\n", "void f()", "case 1:",
        "switch(x){", "default:", "union", "Light_iterator", ".xyzw", "operator"};
    int edits = 1 + int(random() % 6);
    for (int k = 0; k < edits && !text.empty(); ++k) {
        size_t at = random() % text.size();
        switch (random() % 4) {
        case 0:
            text.erase(at, 1 + random() % 10);
            break;
        case 1:
            text.insert(at, pieces[random() % (sizeof pieces / sizeof *pieces)]);
            break;
        case 2:
            text.insert(at, text.substr(random() % text.size(), random() % 40));
            break;
        default:
            text[at] = " {};().x1"[random() % 9];
            break;
        }
    }
    return text;
}

TEST(Passes_robustness, MutatedSourcesAreReportedNotFatal)
{
    std::vector<std::string> seeds = seed_sources();
    ASSERT_FALSE(seeds.empty());
    std::mt19937 random(20240611);
    int trees = 0;
    int reported = 0;
    for (int i = 0; i < 3000; ++i) {
        auto compiled = passes_test::compile(mutate(seeds[random() % seeds.size()], random), "mutated.ovl");
        trees += compiled.unit->tree() != nullptr;
        reported += !compiled.messages.empty();
    }
    // Most damage still parses, so the passes see broken trees, not only the parser.
    EXPECT_GT(trees, 2000);
    EXPECT_GT(reported, 2000);
}

}  // namespace

namespace {

using namespace QZ::SYNTAX_TREE;

// A tree of any shape, as other code could build one by mistake: kinds, texts and child counts
// at random, state references with texts of any size.
St_node* random_tree(std::mt19937& random, const File_name& file, int depth)
{
    static const char* const texts[] = {"", "main", "x", "Int", "Color", "normal", "shader", "struct", "input",
                                        "operator+", "=", "+", "return", "declaration", "S", "Ray", "light"};
    int32_t kind = int32_t(random() % (NODE_KIND_COUNT + 2)) - 1;
    St_node* node;
    if (random() % 8 == 0) {
        char bytes[7] = {char(random()), char(random()), 0, 0, 0, 0, 0};
        node = new St_node(kind, file, 1, 1, bytes, int32_t(random() % 7), -1);
    } else {
        node = new St_node(kind, file, texts[random() % (sizeof texts / sizeof *texts)]);
    }
    if (depth > 0) {
        int children = int(random() % 4);
        for (int i = 0; i < children; ++i)
            node->add_child(random_tree(random, file, depth - 1));
    }
    return node;
}

// void f() { <random statements> }, so that the semantic pass walks what it holds.
St_node* function_around(St_node* body, const File_name& file)
{
    St_node* declaration =
        new St_node(NODE_FUNCTION_DECLARATION, file,
                    {new St_node(NODE_SIMPLE_TYPE_SPECIFIER, file, "Int"),
                     new St_node(NODE_FUNCTION_DECLARATOR, file, {new St_node(NODE_IDENTIFIER, file, "main")})});
    return new St_node(NODE_FUNCTION_DEFINITION, file,
                       {declaration, new St_node(NODE_STATEMENT_BLOCK, file, {body})});
}

// shader S { output: <random> main }
St_node* shader_around(St_node* member, St_node* body, const File_name& file)
{
    St_node* block = new St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, file, "output",
                                 {member, function_around(body, file)});
    return new St_node(NODE_CLASS_DECLARATION, file, "shader",
                       {new St_node(NODE_IDENTIFIER, file, "S"),
                        new St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST, file, {block})});
}

TEST(Passes_robustness, TreesOfAnyShapeAreWalked)
{
    std::mt19937 random(7);
    File_name file = make_file_name("built.ovl");
    for (int i = 0; i < 3000; ++i) {
        Compilation_unit unit(passes_test::test_prelude());
        St_node* list = new St_node(NODE_DECLARATION_LIST, file);
        list->add_child(random_tree(random, file, 6));
        list->add_child(function_around(random_tree(random, file, 6), file));
        list->add_child(shader_around(random_tree(random, file, 3), random_tree(random, file, 6), file));
        unit.set_tree(list);
        Tree_traverser_prepass(unit).run();
        unit.link_shaders();
        Tree_traverser_semantic_pass(unit).run();
        ASSERT_LE(unit.error_count(), 10000u);
    }
}

}  // namespace

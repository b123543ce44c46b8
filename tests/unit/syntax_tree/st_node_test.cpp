#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"

using namespace QZ::SYNTAX_TREE;

namespace {

File_name test_file() { return make_file_name("test.ovl"); }

St_node* leaf(int32_t kind, const char* text)
{
    return text ? new St_node(kind, test_file(), text) : new St_node(kind, test_file());
}

// A list node with count children, built with a tail pointer so that building stays linear.
St_node* wide_list(int32_t count)
{
    File_name file = test_file();
    St_node* list = new St_node(NODE_STATEMENT_BLOCK, file);
    St_node* tail = nullptr;
    for (int32_t i = 0; i < count; ++i) {
        St_node* node = new St_node(NODE_EXPRESSION_STATEMENT, file);
        if (tail)
            tail->next_sibling = node;
        else
            list->first_child = node;
        tail = node;
    }
    return list;
}

// Each node the only child of the one above.
St_node* deep_chain(int32_t depth)
{
    File_name file = test_file();
    St_node* root = new St_node(NODE_UNARY_EXPRESSION, file, "-");
    St_node* bottom = root;
    for (int32_t i = 1; i < depth; ++i) {
        St_node* node = new St_node(NODE_UNARY_EXPRESSION, file, "-");
        bottom->first_child = node;
        bottom = node;
    }
    return root;
}

}  // namespace

TEST(St_node_children, access_past_the_end_gives_null)
{
    std::unique_ptr<St_node> list(new St_node(NODE_FUNCTION_CALL_PARAMETERS, test_file(),
                                              {leaf(NODE_INT_CONSTANT, "1"), nullptr, leaf(NODE_INT_CONSTANT, "2")}));
    EXPECT_EQ(list->child_count(), 2);
    EXPECT_EQ(list->child(1)->text_view(), "2");
    EXPECT_EQ(list->child(2), nullptr);
    EXPECT_EQ(list->child(100), nullptr);
    EXPECT_EQ(list->child(-1), nullptr);
    EXPECT_EQ(list->child(0)->child(0), nullptr);
    EXPECT_EQ(list->child(0)->child_count(), 0);
}

TEST(St_node_children, a_node_joins_one_list_once)
{
    // Each refusal here would otherwise link a node twice, and the destructor free it twice.
    std::unique_ptr<St_node> list(new St_node(NODE_STATEMENT_BLOCK, test_file()));
    St_node* first = leaf(NODE_EXPRESSION_STATEMENT, nullptr);
    St_node* last = leaf(NODE_EXPRESSION_STATEMENT, nullptr);
    list->add_child(first);
    list->add_child(last);
    list->add_child(last);   // the last child again
    list->add_child(first);  // the first one, which would close a loop
    list->add_child(list.get());
    list->add_child(nullptr);
    EXPECT_EQ(list->child(0), first);
    EXPECT_EQ(list->child(1), last);
    EXPECT_EQ(list->child_count(), 2);
    EXPECT_EQ(last->next_sibling, nullptr);
}

TEST(St_node_children, add_replace_and_find)
{
    std::unique_ptr<St_node> list(new St_node(NODE_INIT_IDENTIFIER, test_file(), "x"));
    list->add_child(leaf(NODE_ARRAY_SPECIFIER, nullptr));
    list->add_child(leaf(NODE_INT_CONSTANT, "1"));
    list->add_child(leaf(NODE_ANNOTATION_BLOCK, nullptr));
    EXPECT_EQ(list->child(2)->kind, NODE_ANNOTATION_BLOCK);
    EXPECT_EQ(list->find_child(NODE_INT_CONSTANT), list->child(1));
    EXPECT_EQ(list->find_child(NODE_STRING_CONSTANT), nullptr);

    // The middle child goes; the list stays linked behind the replacement.
    St_node* old = list->child(1);
    std::unique_ptr<St_node> removed(old);
    EXPECT_TRUE(list->replace_child(old, leaf(NODE_FLOAT_CONSTANT, "2.5")));
    EXPECT_EQ(removed->next_sibling, nullptr);
    EXPECT_EQ(list->child(1)->kind, NODE_FLOAT_CONSTANT);
    EXPECT_EQ(list->child(2)->kind, NODE_ANNOTATION_BLOCK);
    EXPECT_EQ(list->child_count(), 3);

    std::unique_ptr<St_node> stranger(leaf(NODE_INT_CONSTANT, "3"));
    std::unique_ptr<St_node> unused(leaf(NODE_INT_CONSTANT, "4"));
    EXPECT_FALSE(list->replace_child(stranger.get(), unused.get()));
    EXPECT_EQ(list->child_count(), 3);
}

TEST(St_node_text, text_sizes_for_string_none_and_binary)
{
    St_node string(NODE_VARIABLE_ID, test_file(), 3, 4, "name", -1, 9);
    EXPECT_EQ(string.text_size, -1);
    EXPECT_STREQ(string.text, "name");
    EXPECT_EQ(string.line, 3);
    EXPECT_EQ(string.column, 4);
    EXPECT_EQ(string.extra_position, 9);
    EXPECT_EQ(string.type_index, -1);

    St_node none(NODE_STATEMENT_BLOCK, test_file(), 1, 1, "ignored", 0, -1);
    EXPECT_EQ(none.text, nullptr);
    EXPECT_EQ(none.text_size, 0);

    // An empty string is a text, not the absence of one: "" is a valid string constant.
    St_node empty(NODE_STRING_CONSTANT, test_file(), "");
    EXPECT_NE(empty.text, nullptr);
    EXPECT_EQ(empty.text_size, -1);
}

// A shared text is never freed by its node (a sanitizer build reports a free of static memory);
// a clone or a later set_text copies as usual.
TEST(St_node_text, static_text_is_shared_and_never_freed)
{
    static const char marked[] = "\x02" "Vector3";
    std::unique_ptr<St_node> node(new St_node(NODE_SIMPLE_TYPE_SPECIFIER, test_file()));
    node->set_static_text(marked + 1);
    EXPECT_EQ(node->text, marked + 1);
    EXPECT_EQ(node->text_size, -1);
    EXPECT_EQ(node->text_view(), "Vector3");

    std::unique_ptr<St_node> copy(node->clone());
    EXPECT_NE(copy->text, node->text);
    EXPECT_EQ(copy->text_view(), "Vector3");

    node->set_static_text(marked + 1);  // replacing a shared text frees nothing
    node->set_text("Scalar");
    EXPECT_EQ(node->text_view(), "Scalar");
    node->set_static_text(marked + 1);  // a copied text is freed on replacement as before
    node.reset();
    EXPECT_STREQ(marked + 1, "Vector3");
}

TEST(St_node_clone, copies_binary_text_by_length)
{
    const char bytes[4] = {0x0a, 0x00, 0x00, 0x07};
    std::unique_ptr<St_node> reference(new St_node(NODE_STATE_VARIABLE_REFERENCE, test_file(), 5, 2, bytes, 4, -1));
    reference->type_index = 12;
    std::unique_ptr<St_node> copy(reference->clone());
    ASSERT_EQ(copy->text_size, 4);
    ASSERT_NE(copy->text, reference->text);
    EXPECT_EQ(std::memcmp(copy->text, bytes, 4), 0);
    EXPECT_EQ(copy->line, 5);
    EXPECT_EQ(copy->column, 2);
    EXPECT_EQ(copy->type_index, 12);
    EXPECT_EQ(copy->file, reference->file);
}

TEST(St_node_clone, deep_copy_leaves_siblings_and_original_alone)
{
    std::unique_ptr<St_node> list(new St_node(NODE_EXPRESSION_LIST, test_file()));
    St_node* sum = new St_node(NODE_ADDITIVE_EXPRESSION, test_file(), "+",
                               {leaf(NODE_VARIABLE_ID, "a"), leaf(NODE_VARIABLE_ID, "b")});
    list->add_child(sum);
    list->add_child(leaf(NODE_VARIABLE_ID, "c"));

    std::unique_ptr<St_node> copy(sum->clone());
    EXPECT_EQ(copy->next_sibling, nullptr);
    EXPECT_EQ(tree_text(copy.get()), "ADDITIVE_EXPRESSION \"+\" -1:-1\n"
                                     "  VARIABLE_ID \"a\" -1:-1\n"
                                     "  VARIABLE_ID \"b\" -1:-1\n");
    copy->child(0)->set_text("z");
    EXPECT_EQ(sum->child(0)->text_view(), "a");
}

TEST(St_node_values, integer_forms)
{
    auto value = [](int32_t kind, const char* text) { return St_node(kind, test_file(), text).int_value(); };
    EXPECT_EQ(value(NODE_INT_CONSTANT, "42"), 42);
    EXPECT_EQ(value(NODE_INT_CONSTANT, "42L"), 42);
    EXPECT_EQ(value(NODE_HEX_CONSTANT, "0x1F"), 31);
    EXPECT_EQ(value(NODE_HEX_CONSTANT, "0XfF"), 255);
    EXPECT_EQ(value(NODE_HEX_CONSTANT, "0xFFFFFFFF"), -1);
    EXPECT_EQ(value(NODE_OCT_CONSTANT, "017"), 15);
    EXPECT_EQ(value(NODE_OCT_CONSTANT, "0777l"), 511);
    EXPECT_EQ(value(NODE_BOOL_CONSTANT, "true"), 1);
    EXPECT_EQ(value(NODE_BOOL_CONSTANT, "false"), 0);
    EXPECT_EQ(value(NODE_VARIABLE_ID, "12"), 0);

    St_node negative(NODE_UNARY_EXPRESSION, test_file(), "-", {leaf(NODE_HEX_CONSTANT, "0x10")});
    EXPECT_EQ(negative.int_value(), -16);
    St_node negated_twice(NODE_UNARY_EXPRESSION, test_file(), "-",
                          {new St_node(NODE_UNARY_EXPRESSION, test_file(), "-", {leaf(NODE_INT_CONSTANT, "3")})});
    EXPECT_EQ(negated_twice.int_value(), 3);
    St_node not_a_sign(NODE_UNARY_EXPRESSION, test_file(), "!", {leaf(NODE_INT_CONSTANT, "3")});
    EXPECT_EQ(not_a_sign.int_value(), 0);
}

TEST(St_node_values, float_and_bool_forms)
{
    auto value = [](int32_t kind, const char* text) { return St_node(kind, test_file(), text).float_value(); };
    EXPECT_DOUBLE_EQ(value(NODE_FLOAT_CONSTANT, "1.5"), 1.5);
    EXPECT_DOUBLE_EQ(value(NODE_FLOAT_CONSTANT, ".5f"), 0.5);
    EXPECT_DOUBLE_EQ(value(NODE_FLOAT_CONSTANT, "1.e5"), 1e5);
    EXPECT_DOUBLE_EQ(value(NODE_FLOAT_CONSTANT, "1E-5L"), 1e-5);
    EXPECT_DOUBLE_EQ(value(NODE_INT_CONSTANT, "7"), 7.0);
    St_node negative(NODE_UNARY_EXPRESSION, test_file(), "-", {leaf(NODE_FLOAT_CONSTANT, "2.25")});
    EXPECT_DOUBLE_EQ(negative.float_value(), -2.25);

    EXPECT_TRUE(St_node(NODE_BOOL_CONSTANT, test_file(), "true").bool_value());
    EXPECT_FALSE(St_node(NODE_BOOL_CONSTANT, test_file(), "True").bool_value());
    EXPECT_FALSE(St_node(NODE_BOOL_CONSTANT, test_file()).bool_value());
}

TEST(St_node_kinds, names_follow_the_numbers)
{
    EXPECT_STREQ(St_node::kind_name(NODE_DECLARATION_LIST), "DECLARATION_LIST");
    EXPECT_STREQ(St_node::kind_name(21), "STATEMENT_BLOCK");
    EXPECT_STREQ(St_node::kind_name(43), "CAST_EXPRESSION");
    EXPECT_STREQ(St_node::kind_name(54), "FUNCTION_CALL_PARAMETERS");
    EXPECT_STREQ(St_node::kind_name(63), "STATE_VARIABLE_REFERENCE");
    EXPECT_STREQ(St_node::kind_name(71), "IMPORT_DECLARATION");
    EXPECT_STREQ(St_node::kind_name(NODE_NO_OP), "NO_OP");
    EXPECT_EQ(NODE_NO_OP, 72);
    EXPECT_STREQ(St_node::kind_name(73), "unknown");
    EXPECT_STREQ(St_node::kind_name(-1), "unknown");
}

// A recursive destructor or copy would need tens of megabytes of stack for these.
TEST(St_node_long_chains, million_siblings_are_destroyed_without_recursion)
{
    St_node* list = wide_list(1000000);
    EXPECT_EQ(list->child(999999)->kind, NODE_EXPRESSION_STATEMENT);
    delete list;
}

TEST(St_node_long_chains, million_deep_chain_is_cloned_and_destroyed_without_recursion)
{
    std::unique_ptr<St_node> chain(deep_chain(1000000));
    std::unique_ptr<St_node> copy(chain->clone());
    const St_node* node = copy.get();
    int32_t depth = 1;
    while (node->first_child) {
        node = node->first_child;
        ++depth;
    }
    EXPECT_EQ(depth, 1000000);
    chain.reset();
    copy.reset();
}

// Every length around the sizes of the small text blocks: the text, its zero byte and its size
// survive setting, copying and replacing by a text of another size.
TEST(St_node_text, texts_of_every_length_near_the_block_sizes)
{
    for (size_t length = 0; length <= 40; ++length) {
        std::string text(length, 'a');
        for (size_t i = 0; i < length; ++i)
            text[i] = char('a' + i % 26);
        St_node node(NODE_STRING_CONSTANT, test_file(), text);
        ASSERT_EQ(node.text_view(), text) << length;
        ASSERT_EQ(node.text[length], '\0') << length;
        std::unique_ptr<St_node> copy(node.clone());
        node.set_text(std::string(40 - length, 'z'));
        EXPECT_EQ(copy->text_view(), text) << length;
        EXPECT_EQ(node.text_view(), std::string(40 - length, 'z')) << length;
        copy->set_binary_text(text.data(), int32_t(length));
        EXPECT_EQ(copy->text_size, int32_t(length));
        if (length > 0) {
            EXPECT_EQ(std::memcmp(copy->text, text.data(), length), 0) << length;
        }
    }
}

TEST(St_node_file, one_entry_per_name_from_any_thread)
{
    File_name first = make_file_name("a.ovl");
    File_name other;
    std::thread([&other] { other = make_file_name(std::string("a") + ".ovl"); }).join();
    EXPECT_EQ(first, other);
    EXPECT_EQ(first.get(), other.get());
    EXPECT_EQ(*first, "a.ovl");
    EXPECT_NE(make_file_name("b.ovl"), first);
    EXPECT_NE(make_file_name(""), File_name());

    St_node unnamed(NODE_NO_OP, File_name());
    EXPECT_STREQ(unnamed.file_name(), "");
    St_node named(NODE_NO_OP, make_file_name("b.ovl"));
    EXPECT_STREQ(named.file_name(), "b.ovl");
}

namespace {

// A tree of count nodes in a random shape (any node may have children and siblings) with texts
// of random lengths; the nodes and the texts of the two pooled sizes (up to 14 bytes, 15 to 30)
// are collected.
St_node* random_tree(std::mt19937& random, size_t count, std::set<const void*>& nodes,
                     std::set<const void*> (&texts)[2])
{
    File_name file = test_file();
    std::vector<St_node*> all;
    for (size_t i = 0; i < count; ++i) {
        size_t length = random() % 40;
        St_node* node = random() % 4 ? new St_node(NODE_VARIABLE_ID, file, std::string(length, 'x'))
                                     : new St_node(NODE_STATEMENT_BLOCK, file);
        nodes.insert(node);
        if (node->text && length <= 30)
            texts[length > 14].insert(node->text);
        if (!all.empty()) {
            St_node* parent = all[random() % all.size()];
            // The root keeps siblings of its own, freed with it.
            if (parent == all[0] && random() % 8 == 0) {
                node->next_sibling = parent->next_sibling;
                parent->next_sibling = node;
            } else {
                parent->add_child(node);
            }
        }
        all.push_back(node);
    }
    return all[0];
}

}  // namespace

// Freeing a tree gives back every node and every pooled text, whatever its shape: the pool hands
// the freed blocks out again first, so the same number of new nodes and texts take exactly them.
TEST(St_node_memory, freeing_a_tree_gives_back_every_node_and_text)
{
    std::mt19937 random(19);
    for (size_t count : {1u, 2u, 7u, 300u, 20000u}) {
        std::set<const void*> nodes;
        std::set<const void*> texts[2];
        delete random_tree(random, count, nodes, texts);
#ifndef VORN_NO_POOLS
        std::vector<std::unique_ptr<St_node>> again;
        std::set<const void*> new_nodes;
        for (size_t i = 0; i < nodes.size(); ++i) {
            again.emplace_back(new St_node(NODE_NO_OP, test_file()));
            new_nodes.insert(again.back().get());
        }
        EXPECT_EQ(new_nodes, nodes) << count;
        again.clear();
        for (int size = 0; size < 2; ++size) {
            std::set<const void*> new_texts;
            for (size_t i = 0; i < texts[size].size(); ++i) {
                again.emplace_back(new St_node(NODE_VARIABLE_ID, test_file(), std::string(size ? 20 : 1, 'y')));
                new_texts.insert(again.back()->text);
            }
            EXPECT_EQ(new_texts, texts[size]) << count << " " << size;
        }
#endif
    }
}

TEST(Tree_printer, indents_children_and_prints_binary_text_as_bytes)
{
    const char bytes[2] = {0x01, static_cast<char>(0xff)};
    St_node* reference = new St_node(NODE_STATE_VARIABLE_REFERENCE, test_file(), 2, 7, bytes, 2, -1);
    St_node* text = new St_node(NODE_STRING_CONSTANT, test_file(), 2, 12, "a\"b\\c\td", -1, -1);
    std::unique_ptr<St_node> root(new St_node(NODE_FUNCTION_CALL_PARAMETERS, test_file(), {reference, text}));
    root->line = 2;
    root->column = 6;
    EXPECT_EQ(tree_text(root.get()), "FUNCTION_CALL_PARAMETERS 2:6\n"
                                     "  STATE_VARIABLE_REFERENCE [01 ff] 2:7\n"
                                     "  STRING_CONSTANT \"a\\\"b\\\\c\\x09d\" 2:12\n");
    EXPECT_EQ(tree_text(nullptr), "");
}

TEST(Tree_printer, long_sibling_chains_print_without_recursion)
{
    std::unique_ptr<St_node> list(wide_list(200000));
    std::string text = tree_text(list.get());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 200001);
    std::unique_ptr<St_node> chain(deep_chain(2000));
    text = tree_text(chain.get());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2000);
    EXPECT_NE(text.find(std::string(2 * 1999, ' ') + "UNARY_EXPRESSION \"-\" -1:-1\n"), std::string::npos);
}

// The prelude's symbols are learnt once and shared by every unit: they must be the records that a
// declaration sweep over the same list gives, entry for entry.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "front12/ovrel_parser.h"
#include "syntax_tree/builtins.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"

namespace {

using namespace QZ::SYNTAX_TREE;

const char* const prelude_text =
    "Vector4 illumination(Scalar dot_nl,Scalar dot_nh,Scalar exponent);\n"
    "void split(Vector3 v, out Scalar x, inout Scalar y[2]);\n"
    "void split(Vector3 v, out Scalar x, inout Scalar y[2]);\n"  // repeated: one entry
    "void mark(out Scalar x);\nvoid mark(Scalar x);\nvoid mark(Int x);\nvoid mark(Scalar x, Scalar y);\n"
    "Int count(Int v[3]);\nvoid split(Vector3 v, out Scalar x, inout Scalar y[2]);\nInt count(Scalar v[4]);\n"
    "Scalar sin(Scalar a);\n";  // a built-in's signature: the built-in is the repeat

// A header as a pass sees it: name, result and parameters as written.
std::string written(const St_node* declaration)
{
    std::string signature;
    Tree_traverser_semantic_pass::written_signature(declaration, signature);
    const St_node* declarator = declaration->find_child(NODE_FUNCTION_DECLARATOR);
    return std::string(declaration->first_child->text_view()) + " " +
           std::string(declarator->first_child->text_view()) + "(" + signature + ")";
}

TEST(Prelude_symbols, the_learnt_overload_sets_are_those_of_a_declaration_sweep)
{
    // As loaded: the text and the built-in types; the built-in functions come from their table.
    std::unique_ptr<St_node> list = std::move(QZ::FRONT12::parse_text(prelude_text, "stdlib.ovl").tree);
    append_builtin_types(list.get());
    Prelude_symbols symbols(list.get());
    EXPECT_TRUE(symbols.problems().empty());
    // The reference holds every built-in tree, as a sweep over the whole prelude sees it.
    std::unique_ptr<St_node> whole = std::move(QZ::FRONT12::parse_text(prelude_text, "stdlib.ovl").tree);
    append_builtin_declarations(whole.get());
    Prelude_symbols symbols_of_whole(whole.get());

    // The same sweep, kept apart, as the reference.
    Compilation_unit scratch(Prelude_symbols::builtin_only());
    Tree_traverser_prepass(scratch).run_read_only(whole.get());
    Tree_traverser_semantic_pass pass(scratch);
    pass.declare_only(whole.get());
    const auto* reference = pass.global_scope().own_functions();
    ASSERT_NE(reference, nullptr);

    // Sets are learnt in the order they are asked for, not in list order: the array types their
    // headers name must still have the indices of the sweep and be in the table.
    const Overload_set* count = symbols.find_functions("count");
    ASSERT_NE(count, nullptr);
    ASSERT_EQ(count->size(), 2u);
    for (const Overload_entry& entry : *count) {
        ASSERT_EQ(entry.parameter_types.size(), 1u);
        EXPECT_NE(symbols.type_at(entry.parameter_types[0]), nullptr);
        EXPECT_EQ(symbols.type_at(entry.parameter_types[0])->array_size(), entry.id == (*count)[0].id ? 3u : 4u);
    }
    EXPECT_EQ(symbols.type_count(), scratch.type_count());

    size_t entries = 0;
    size_t names = 0;
    reference->for_each([&](const std::string& name, const Overload_set& expected) {
        ++names;
        entries += expected.size();
        const Overload_set* learnt = symbols.find_functions(name);
        const Overload_set* learnt_from_whole = symbols_of_whole.find_functions(name);
        ASSERT_NE(learnt, nullptr) << name;
        ASSERT_NE(learnt_from_whole, nullptr) << name;
        ASSERT_EQ(learnt->size(), expected.size()) << name;
        ASSERT_EQ(learnt_from_whole->size(), expected.size()) << name;
        for (size_t i = 0; i < expected.size(); ++i) {
            const Overload_entry& b = expected[i];
            for (const Overload_entry* a : {&(*learnt)[i], &(*learnt_from_whole)[i]}) {
                EXPECT_EQ(a->id, b.id) << name << " #" << i;
                EXPECT_EQ(a->result_type, b.result_type) << name << " #" << i;
                EXPECT_EQ(a->parameter_types, b.parameter_types) << name << " #" << i;
                EXPECT_EQ(a->by_reference, b.by_reference) << name << " #" << i;
                EXPECT_EQ(written(a->declaration), written(b.declaration)) << name << " #" << i;
            }
            EXPECT_EQ((*learnt_from_whole)[i].declaration, b.declaration) << name << " #" << i;
        }
    });
    EXPECT_GT(names, 50u);  // the built-in functions and operators
    EXPECT_EQ(symbols.function_entry_count(), entries);
    EXPECT_EQ(symbols.next_function_id(), pass.next_function_id());
    EXPECT_EQ(symbols_of_whole.next_function_id(), pass.next_function_id());

    // The hand-written prototypes, as declared: reference parameters marked, the repeat dropped.
    const Overload_set* split = symbols.find_functions("split");
    ASSERT_NE(split, nullptr);
    ASSERT_EQ(split->size(), 1u);
    EXPECT_EQ((*split)[0].by_reference, (std::vector<uint8_t>{0, 1, 1}));
    EXPECT_EQ((*split)[0].parameter_types.size(), 3u);
    EXPECT_EQ((*split)[0].parameter_types[0], int32_t(TYPE_VECTOR3));
    // Overloads apart by a reference mark, a type or a count are all kept, in order.
    const Overload_set* mark = symbols.find_functions("mark");
    ASSERT_NE(mark, nullptr);
    ASSERT_EQ(mark->size(), 4u);
    EXPECT_EQ((*mark)[0].by_reference, std::vector<uint8_t>{1});
    EXPECT_EQ((*mark)[1].by_reference, std::vector<uint8_t>{0});
    EXPECT_EQ((*mark)[2].parameter_types.size(), 1u);
    EXPECT_NE((*mark)[2].parameter_types, (*mark)[1].parameter_types);
    EXPECT_EQ((*mark)[3].parameter_types.size(), 2u);
    EXPECT_EQ((*mark)[1].id + 1, (*mark)[2].id);
    EXPECT_EQ(symbols.find_functions("no_such_function"), nullptr);
    // The text's sin stands; the built-in of the same signature is the repeat.
    const Overload_set* sin = symbols.find_functions("sin");
    ASSERT_NE(sin, nullptr);
    const St_node* parameters = (*sin)[0].declaration->find_child(NODE_FUNCTION_PARAMETER_LIST);
    EXPECT_EQ(parameters->first_child->text_view(), "a");
    EXPECT_EQ((*sin)[0].parameter_types, std::vector<int32_t>{int32_t(TYPE_SCALAR)});
}

// Units on several threads share one prelude: the first lookups of a name may meet.
TEST(Prelude_symbols, sets_learnt_by_threads_at_once_are_each_learnt_once)
{
    std::unique_ptr<St_node> whole(new St_node(NODE_DECLARATION_LIST, make_file_name("stdlib.ovl")));
    append_builtin_declarations(whole.get());
    Compilation_unit scratch(Prelude_symbols::builtin_only());
    Tree_traverser_prepass(scratch).run_read_only(whole.get());
    Tree_traverser_semantic_pass pass(scratch);
    pass.declare_only(whole.get());
    std::vector<std::string> names;
    pass.global_scope().own_functions()->for_each(
        [&names](const std::string& name, const Overload_set&) { names.push_back(name); });

    std::unique_ptr<St_node> list(new St_node(NODE_DECLARATION_LIST, make_file_name("stdlib.ovl")));
    append_builtin_types(list.get());
    Prelude_symbols symbols(list.get());
    std::vector<std::vector<const Overload_set*>> seen(4);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < seen.size(); ++t) {
        threads.emplace_back([&, t] {
            std::vector<std::string> order = names;
            if (t % 2)
                std::reverse(order.begin(), order.end());
            for (const std::string& name : order)
                seen[t].push_back(symbols.find_functions(name));
            if (t % 2)
                std::reverse(seen[t].begin(), seen[t].end());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (size_t i = 0; i < names.size(); ++i) {
        const Overload_set* set = symbols.find_functions(names[i]);
        ASSERT_NE(set, nullptr) << names[i];
        EXPECT_EQ(set->size(), pass.global_scope().own_functions()->find(names[i])->size()) << names[i];
        for (const auto& thread_seen : seen)
            EXPECT_EQ(thread_seen[i], set) << names[i];
    }
}

}  // namespace

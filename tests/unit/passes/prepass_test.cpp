// The declaration pass: what it sorts into the unit, and how it rewrites shader code.
#include <gtest/gtest.h>

#include <cstring>

#include "front12/ovrel_parser.h"
#include "passes_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"

namespace {

using namespace QZ::SYNTAX_TREE;
using passes_test::compile;
using passes_test::find_node;

struct Prepassed {
    std::unique_ptr<Compilation_unit> unit;
    std::vector<uint32_t> numbers;
};

// The prepass and the shader links alone.
Prepassed prepass(const std::string& text, Tree_traverser_prepass::Import_resolver resolver = {})
{
    Prepassed result;
    auto parsed = QZ::FRONT12::parse_text(text, "test.ovl");
    EXPECT_TRUE(parsed.errors.empty());
    result.unit = std::make_unique<Compilation_unit>(passes_test::test_prelude());
    result.unit->set_tree(parsed.tree.release());
    Tree_traverser_prepass(*result.unit, std::move(resolver)).run();
    result.unit->link_shaders();
    for (const Error_record& error : result.unit->errors())
        result.numbers.push_back(error.number);
    return result;
}

int32_t reference_index(const St_node* node)
{
    int32_t index = -1;
    if (node && node->text_size == 4)
        std::memcpy(&index, node->text, 4);
    return index;
}

int32_t enum_value(const Compilation_unit& unit, const std::string& name)
{
    Enum_value value;
    return unit.find_enum_value(name, &value) ? value.value : -999;
}

TEST(Prepass, EnumsNumberOnFromTheLastValue)
{
    auto p = prepass("enum E { A, B = 5, C, D = 0x10, F = 017, G };\nenum E2 { A };");
    EXPECT_EQ(enum_value(*p.unit, "A"), 0);
    EXPECT_EQ(enum_value(*p.unit, "B"), 5);
    EXPECT_EQ(enum_value(*p.unit, "C"), 6);
    EXPECT_EQ(enum_value(*p.unit, "D"), 16);
    EXPECT_EQ(enum_value(*p.unit, "F"), 15);
    EXPECT_EQ(enum_value(*p.unit, "G"), 16);
    EXPECT_EQ(p.numbers, std::vector<uint32_t>{33});
    // The enum is an Int named type as well, and holds its values.
    ASSERT_GE(p.unit->find_enum("E"), 0);
    EXPECT_EQ(p.unit->enum_at(p.unit->find_enum("E"))->values().size(), 6u);
    const Named_type* named = p.unit->named_type_at(p.unit->find_named_type("E"));
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(named->code(), TYPE_INT32);
}

TEST(Prepass, FailedEnumValueCountsAsZero)
{
    auto p = prepass("enum E { A = 4, B = 2.5, C };");
    EXPECT_EQ(p.numbers, std::vector<uint32_t>{31});
    EXPECT_EQ(enum_value(*p.unit, "B"), 0);
    EXPECT_EQ(enum_value(*p.unit, "C"), 1);
}

TEST(Prepass, ShaderEnumsAndStructsAreScoped)
{
    auto p = prepass("enum Mode { A };\nshader S { enum Mode { A, B }; struct Inner { Int x; }; output: Int r; void main() { } };");
    EXPECT_TRUE(p.numbers.empty());
    EXPECT_EQ(enum_value(*p.unit, "S::B"), 1);
    EXPECT_GE(p.unit->find_named_type("S::Mode"), 0);
    EXPECT_GE(p.unit->find_named_type("S::Inner"), 0);
    EXPECT_EQ(p.unit->find_shader("S")->local_types, (std::vector<std::string>{"S::Mode", "S::Inner"}));
}

TEST(Prepass, UnionDeclaresNothing)
{
    auto p = prepass("union U { Int a; Unknown b; };");
    EXPECT_TRUE(p.numbers.empty());
    EXPECT_EQ(p.unit->named_type_count(), 0);
    EXPECT_EQ(p.unit->find_type("U"), -1);
}

TEST(Prepass, StructMembersKeepNameTypeAndArraySize)
{
    auto p = prepass("struct P { Vector3 at; Scalar w[4], v[]; Ray ray; };\nclass Q { P p; };");
    EXPECT_TRUE(p.numbers.empty());
    const Named_type* type = p.unit->named_type_at(p.unit->find_named_type("P"));
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->code(), TYPE_STRUCT);
    const Type* at = type->find_member("at");
    const Type* w = type->find_member("w");
    const Type* v = type->find_member("v");
    const Type* ray = type->find_member("ray");
    ASSERT_TRUE(at && w && v && ray);
    EXPECT_EQ(at->code(), TYPE_VECTOR3);
    EXPECT_EQ(w->array_size(), 4u);
    EXPECT_EQ(v->array_size(), 0u);
    EXPECT_STREQ(ray->type_name_text(), "Ray");
    EXPECT_EQ(p.unit->named_type_at(p.unit->find_named_type("Q"))->find_member("p")->code(), TYPE_STRUCT);
}

TEST(Prepass, PublicLabelInAShaderIsAnUnknownBlock)
{
    auto p = prepass("shader S { public: Int x; };");
    ASSERT_EQ(p.numbers, std::vector<uint32_t>{49});
    EXPECT_EQ(p.unit->errors()[0].text, "public");
    // In a struct a label means nothing.
    EXPECT_TRUE(prepass("struct T { public: Int x; private: Int y; };").numbers.empty());
}

TEST(Prepass, UnnamedStructIsRejected)
{
    // The grammar always names a class; a tree built by other code may not.
    Compilation_unit unit(passes_test::test_prelude());
    File_name file = make_file_name("built.ovl");
    unit.set_tree(new St_node(NODE_DECLARATION_LIST, file,
                              {new St_node(NODE_CLASS_DECLARATION, file, "struct",
                                           {new St_node(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST, file)}),
                               new St_node(NODE_CLASS_DECLARATION, file, "shader")}));
    Tree_traverser_prepass(unit).run();
    ASSERT_EQ(unit.error_count(), 2u);
    EXPECT_EQ(unit.errors()[0].number, 16u);
    EXPECT_EQ(unit.errors()[1].number, 16u);
}

TEST(Prepass, SortsDeclarationsIntoTheUnit)
{
    auto p = prepass(
        "Int g;\n"
        "Scalar proto(Scalar x);\n"
        "shader S { input: Scalar a, b; output: Color r;\n"
        "  Scalar proto_in_shader(Scalar x);\n"
        "  Scalar m(Scalar x) { Scalar local; return x; }\n"
        "  void main() { }\n"
        "};\n"
        "Scalar S::outside(Scalar x) { return x; }\n"
        "void S::main() { }\n"
        "Scalar free(Scalar x) { return x; }\n");
    EXPECT_TRUE(p.numbers.empty());
    EXPECT_EQ(p.unit->global_declarations().size(), 1u);
    ASSERT_EQ(p.unit->function_count(), 2);
    EXPECT_EQ(p.unit->function_at(0)->kind, NODE_FUNCTION_DECLARATION);
    EXPECT_EQ(p.unit->function_at(1)->kind, NODE_FUNCTION_DEFINITION);
    Shader_declaration* s = p.unit->find_shader("S");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->key, "shader");
    EXPECT_EQ(s->input_variables.size(), 1u);  // one declaration of two names
    EXPECT_EQ(s->output_variables.size(), 1u);
    // m, outside, and the second main (kept to be checked); the first main is main.
    EXPECT_EQ(s->methods.size(), 3u);
    ASSERT_NE(s->main_method, nullptr);
    EXPECT_EQ(s->main_method->line, 6);
}

TEST(Prepass, StateNamesInShaderCodeBecomeReferences)
{
    auto p = prepass(
        "Vector3 f(Vector3 normal) { return normal; }\n"
        "shader S { input: Vector3 normal; Vector3 start = position;\n"
        "  output: Color r;\n"
        "  void main() { Vector3 normal = direction; r = Color(normal.x + get_trace_depth()); }\n"
        "};");
    Shader_declaration* s = p.unit->find_shader("S");
    ASSERT_NE(s, nullptr);
    // The file-level function keeps its names.
    St_node* function = p.unit->function_at(0);
    EXPECT_EQ(find_node(function, NODE_STATE_VARIABLE_REFERENCE), nullptr);
    // In the shader, an input's initializer and the local of a state name are replaced.
    EXPECT_TRUE(s->uses_state_variable[0]);  // position
    EXPECT_TRUE(s->uses_state_variable[1]);  // direction
    EXPECT_TRUE(s->uses_state_variable[2]);  // normal, though declared in the shader
    EXPECT_FALSE(s->uses_state_variable[3]);
    EXPECT_TRUE(s->uses_state_function[7]);
    St_node* main = s->main_method;
    St_node* reference = find_node(main, NODE_STATE_VARIABLE_REFERENCE, 1);
    ASSERT_NE(reference, nullptr);
    EXPECT_EQ(reference_index(reference), 2);
    EXPECT_EQ(reference->text_size, 4);
    EXPECT_EQ(reference->line, 4);
    // Only r is left a name.
    ASSERT_NE(find_node(main, NODE_VARIABLE_ID), nullptr);
    EXPECT_EQ(find_node(main, NODE_VARIABLE_ID)->text_view(), "r");
    EXPECT_EQ(find_node(main, NODE_VARIABLE_ID, 1), nullptr);
    St_node* call = find_node(main, NODE_STATE_FUNCTION_REFERENCE);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(reference_index(call), 7);
}

TEST(Prepass, StateFunctionKeepsItsArgumentsAndMethodsAndAnnotationsKeepTheirNames)
{
    auto p = prepass(
        "shader S { input: Scalar k = 1 { info(\"a\"); error(2); };\n"
        "  output: Vector3 r;\n"
        "  void main() { r = transform_point(\"object\", \"world\", position); r.trace(1); }\n"
        "};");
    St_node* main = p.unit->find_shader("S")->main_method;
    St_node* call = find_node(main, NODE_STATE_FUNCTION_REFERENCE);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(reference_index(call), 15);
    St_node* arguments = call->find_child(NODE_FUNCTION_CALL_PARAMETERS);
    ASSERT_NE(arguments, nullptr);
    EXPECT_EQ(arguments->child_count(), 3);
    EXPECT_EQ(arguments->child(0)->text_view(), "object");
    EXPECT_EQ(arguments->child(2)->kind, NODE_STATE_VARIABLE_REFERENCE);
    // r.trace(1) names a method, not the state function trace.
    EXPECT_EQ(find_node(main, NODE_STATE_FUNCTION_REFERENCE, 1), nullptr);
    EXPECT_NE(find_node(main, NODE_FUNCTION_CALL_EXPRESSION), nullptr);
    St_node* annotation = find_node(p.unit->tree(), NODE_ANNOTATION_BLOCK);
    EXPECT_EQ(find_node(annotation, NODE_STATE_FUNCTION_REFERENCE), nullptr);
    EXPECT_FALSE(p.unit->find_shader("S")->uses_state_function[10]);
}

TEST(Prepass, ExistingReferencesOnlySetFlags)
{
    // A second prepass over a tree that was rewritten already (as on loading a stored unit).
    auto p = prepass("shader S { output: Vector3 r; void main() { r = normal + transform_vector(\"a\", \"b\", r); } };");
    std::string before = tree_text(p.unit->tree());
    Compilation_unit again(passes_test::test_prelude());
    again.set_tree(p.unit->tree()->clone());
    Tree_traverser_prepass(again).run();
    EXPECT_EQ(tree_text(again.tree()), before);
    Shader_declaration* s = again.find_shader("S");
    EXPECT_TRUE(s->uses_state_variable[2]);
    EXPECT_TRUE(s->uses_state_function[16]);
}

TEST(Prepass, TechniquesJoinTheClassTheyNameFirst)
{
    auto p = prepass(
        "shader S { output: Color r; void main() { } };\n"
        "technique T1 : S { void main() { } };\n"
        "technique T2 : S :: Other { void main() { } };\n"
        "technique Lone { void main() { } };");
    EXPECT_EQ(p.numbers, std::vector<uint32_t>{41});
    Shader_declaration* s = p.unit->find_shader("S");
    ASSERT_EQ(s->techniques.size(), 2u);
    EXPECT_EQ(s->techniques[0]->name, "T1");
    EXPECT_EQ(s->techniques[1]->name, "T2");
    EXPECT_TRUE(s->techniques[0]->is_technique());
}

TEST(Prepass, ParentsLendTheirListsAndFlags)
{
    auto p = prepass(
        "shader A { input: Scalar a; output: Color r; Scalar fa() { return a; } void main() { r = Color(normal.x); } };\n"
        "shader B : A { input: Scalar b; Scalar fb() { return b; } void main() { } };\n"
        "shader C : B { input: Scalar c; void main() { Scalar p = ray_length; } };\n");
    EXPECT_TRUE(p.numbers.empty());
    Shader_declaration* c = p.unit->find_shader("C");
    EXPECT_EQ(c->input_variables.size(), 1u);  // its own
    EXPECT_EQ(c->all_inputs().size(), 3u);     // c, then b, then a
    EXPECT_EQ(c->all_outputs().size(), 1u);
    EXPECT_EQ(c->all_methods().size(), 2u);
    EXPECT_TRUE(c->uses_state_variable[2]);   // from A
    EXPECT_TRUE(c->uses_state_variable[10]);  // its own
    EXPECT_FALSE(p.unit->find_shader("A")->uses_state_variable[10]);
    // Linking twice changes nothing.
    p.unit->link_shaders();
    EXPECT_EQ(c->all_inputs().size(), 3u);
}

TEST(Prepass, ParentCyclesEndAndTechniqueParentsLendNothing)
{
    auto p = prepass(
        "shader A : B { input: Scalar a; void main() { } };\n"
        "shader B : A { input: Scalar b; void main() { } };\n"
        "technique T : A { void main() { } };\n"
        "shader D : T { void main() { } };\n");
    EXPECT_TRUE(p.numbers.empty());
    EXPECT_EQ(p.unit->find_shader("A")->all_inputs().size(), 2u);
    EXPECT_EQ(p.unit->find_shader("D")->all_inputs().size(), 0u);
}

// Link_0 : Link_1 : ... : Link_{count-1}; each declares an input, an output and a method of its own.
std::string shader_chain(int count, const std::string& first_body)
{
    std::string text;
    for (int i = count - 1; i >= 0; --i) {
        std::string n = std::to_string(i);
        text += "shader Link_" + n + (i + 1 < count ? " : Link_" + std::to_string(i + 1) : "") + " { input: Scalar gain_" +
                n + " = 1.0; output: Color result_" + n + "; Scalar twice_" + n + "() { return gain_" + n +
                " * 2.0; } void main() { " + (i == 0 ? first_body : "") + " } };\n";
    }
    return text;
}

TEST(Prepass, LongChainsLendEveryAncestorNearestFirst)
{
    const int count = 300;
    auto p = prepass(shader_chain(count, ""));
    EXPECT_TRUE(p.numbers.empty());
    Shader_declaration* first = p.unit->find_shader("Link_0");
    std::vector<St_node*> inputs = first->all_inputs();
    ASSERT_EQ(inputs.size(), size_t(count));
    ASSERT_EQ(first->all_methods().size(), size_t(count));  // main is kept apart
    for (int i : {0, 1, 150, count - 1}) {
        const St_node* list = inputs[size_t(i)]->find_child(NODE_INIT_IDENTIFIER_LIST);
        ASSERT_TRUE(list && list->first_child);
        EXPECT_EQ(list->first_child->text_view(), "gain_" + std::to_string(i));
    }
    EXPECT_EQ(p.unit->find_shader("Link_150")->all_inputs().size(), size_t(count - 150));
    EXPECT_EQ(p.unit->find_shader("Link_299")->all_inputs().size(), 1u);

    // A name repeated far down the chain is reported once, for the ancestor that declares it.
    auto repeated = prepass(shader_chain(count, "") +
                            "shader Top : Link_0 { input: Scalar gain_250; Scalar gain_7; void main() { } };\n");
    EXPECT_EQ(repeated.numbers, (std::vector<uint32_t>{42, 42}));
    EXPECT_EQ(repeated.unit->find_shader("Top")->all_inputs().size(), size_t(count + 2));
}

TEST(Prepass, LongChainsResolveDistantMembersAndMethods)
{
    const int count = 300;
    auto resolved = compile(shader_chain(count, "result_0 = Color(twice_299() + gain_299, gain_150, twice_0(), 1.0);"));
    EXPECT_TRUE(resolved.messages.empty()) << resolved.messages.front();
    // The same names one past the end of the chain are unknown.
    auto unknown = compile(shader_chain(count, "result_0 = Color(twice_300(), gain_300, 0.0, 1.0);"));
    EXPECT_EQ(unknown.messages.size(), 2u);
}

// Every node's kind, text and type index, the type table in order, and the messages: what a
// way of lending must leave alike.
std::string digest(const passes_test::Compiled& compiled)
{
    std::string out;
    for (const std::string& message : compiled.messages)
        out += message + "\n";
    const Compilation_unit& unit = *compiled.unit;
    for (int32_t i = 0; i < unit.type_count(); ++i)
        out += std::to_string(i) + " " + passes_test::type_text(unit, i) + "\n";
    std::vector<const St_node*> pending{unit.tree()};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        out += std::to_string(node->kind) + " " + std::string(node->text_view()) + " " +
               std::to_string(node->type_index) + "\n";
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
    return out;
}

TEST(Prepass, LendingOnlyWhatTheCodeNamesChangesNothing)
{
    const char* const cases[] = {
        // The nearest lender wins; an own member hides a lent one; a lent input reads in an own
        // initializer; lent methods join the own overloads.
        "shader A { input: Scalar x = 1.0; Scalar w[7]; output: Color r; Scalar f(Scalar s) { return s; }\n"
        "  void main() { r = Color(x); } };\n"
        "shader B : A { input: Vector3 v; Scalar m; Scalar f(Vector3 s) { return s.x; } void main() { } };\n"
        "shader C : B { input: Scalar y = x * 2.0; output: Color q; Color m;\n"
        "  void main() { q = m + Color(f(y) + f(v) + w[6]); Scalar bad = m; } };\n",
        // A diamond, a technique in the way, names one past what is lent, a cycle.
        "shader A { input: Scalar a; Vector3 pair[2]; void main() { } };\n"
        "shader B : A { input: Scalar b; void main() { } };\n"
        "shader C : A { input: Scalar c; void main() { } };\n"
        "shader D : B :: C { output: Color r; void main() { r = Color(a + b + c + pair[1].x); } };\n"
        "technique T : D { void main() { } };\n"
        "shader E : T { output: Color s; void main() { s = r + Color(a); } };\n"
        "shader F : G { input: Scalar f; void main() { Scalar u = g; } };\n"
        "shader G : F { input: Scalar g; void main() { Scalar u = f; } };\n",
        // Children before their parents, and types of a shader's own: each lends everything.
        "shader Child : Parent { struct Inner { Scalar k; }; input: Inner own; Scalar z[5];\n"
        "  void main() { Scalar t = own.k + p.k + z[4] + q[2] + gone; } };\n"
        "shader Parent { struct Inner { Scalar k; }; input: Inner p; Scalar q[3]; Scalar n[4]; void main() { } };\n"
        "shader Grandchild : Child { output: Color r; void main() { r = Color(p.k + q[1] + n[3]); } };\n",
        // Methods named by qualified names and lent through two links.
        "shader A { Scalar half_of(Scalar s) { return s * 0.5; } Scalar half_of(Int i) { return Scalar(i); }\n"
        "  void main() { } };\n"
        "shader B : A { void main() { Scalar h = half_of(2) + A::half_of(1.0); } };\n"
        "shader C : B { Scalar half_of(Scalar s) { return s; } void main() { Scalar h = half_of(1.0) + half_of(3); } };\n",
    };
    for (const char* text : cases) {
        auto quick = compile(text);
        EXPECT_EQ(digest(quick), digest(compile(text, "test.ovl", {}, true))) << text;
        EXPECT_FALSE(quick.messages.empty()) << "each case has a fault to report: " << text;
    }
}

TEST(Prepass, RepeatedNamesAreReportedByTheNearestAncestorFirst)
{
    auto p = prepass(
        "shader A { input: Scalar x; Scalar y; void main() { } };\n"
        "shader B : A { input: Scalar x2; output: Color x; void main() { } };\n"
        "shader C : B { input: Scalar y; Scalar x; void main() { } };\n"
        "shader D { input: Scalar y; void main() { } };\n");
    std::vector<std::string> names;
    for (const Error_record& error : p.unit->errors()) {
        EXPECT_EQ(error.number, 42u);
        names.push_back(error.text + "@" + std::to_string(error.line));
    }
    // B's x (an output) against A; then C's names: B's x first, then A's y and x in C's order.
    EXPECT_EQ(names, (std::vector<std::string>{"x@2", "x@3", "y@3", "x@3"}));
}

TEST(Prepass, ImportsThroughTheResolver)
{
    std::vector<std::string> asked;
    auto good = compile("Scalar shared_gain = 2.0;", "good.ovl");
    std::shared_ptr<Compilation_unit> good_unit = std::move(good.unit);
    std::shared_ptr<Compilation_unit> bad_unit = std::move(compile("Int x = y;", "bad.ovl").unit);
    auto resolver = [&](const std::string& name, const std::string& importer) -> std::shared_ptr<Compilation_unit> {
        asked.push_back(name + " from " + importer);
        if (name == "good.ovl")
            return good_unit;
        if (name == "bad.ovl")
            return bad_unit;
        return nullptr;
    };
    auto p = prepass("#import <good.ovl>\n#import <bad.ovl>\n#import <gone.ovl>\n#import <good.ovl>\n", resolver);
    // Each failure is 54, then a 55 that says why.
    EXPECT_EQ(p.numbers, (std::vector<uint32_t>{54, 55, 54, 55}));
    EXPECT_EQ(p.unit->errors()[0].text, "bad.ovl");
    EXPECT_EQ(p.unit->errors()[1].text,
              "import \"bad.ovl\": Error in file 'bad.ovl' line 1: unknown variable: \"y\"");
    EXPECT_EQ(p.unit->errors()[2].line, 3);
    EXPECT_EQ(p.unit->errors()[3].text, "import \"gone.ovl\": cannot be compiled");
    ASSERT_EQ(p.unit->import_count(), 1);
    EXPECT_EQ(p.unit->import_name(0), "good.ovl");
    EXPECT_EQ(p.unit->import_unit(0), good_unit);
    EXPECT_EQ(asked.front(), "good.ovl from test.ovl");
}

TEST(Prepass, ReadOnlyWalkChangesNothing)
{
    auto parsed = QZ::FRONT12::parse_text("shader S { output: Vector3 r; void main() { r = normal; } };\n#import <x.ovl>",
                                          "test.ovl");
    std::string before = tree_text(parsed.tree.get());
    Compilation_unit unit;
    Tree_traverser_prepass(unit, [](const std::string&, const std::string&) {
        ADD_FAILURE() << "a read-only walk follows no import";
        return std::shared_ptr<Compilation_unit>();
    }).run_read_only(parsed.tree.get());
    EXPECT_EQ(tree_text(parsed.tree.get()), before);
    EXPECT_EQ(unit.shader_count(), 1);
    EXPECT_EQ(unit.error_count(), 0u);
}

TEST(Prepass, DeepTreeIsReportedNotOverflowed)
{
    File_name file = make_file_name("deep.ovl");
    St_node* root = new St_node(NODE_DECLARATION_LIST, file);
    St_node* node = root;
    for (int i = 0; i < Tree_traverser_base::DEPTH_LIMIT + 100; ++i) {
        St_node* child = new St_node(NODE_STATEMENT_BLOCK, file);
        node->add_child(child);
        node = child;
    }
    Compilation_unit unit;
    unit.set_tree(root);
    Tree_traverser_prepass(unit).run();
    ASSERT_EQ(unit.error_count(), 1u);
    EXPECT_EQ(unit.errors()[0].number, 74u);
}

}  // namespace

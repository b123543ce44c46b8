// The semantic pass: expression types, rewrites and the statement rules.
#include <gtest/gtest.h>

#include "front12/ovrel_parser.h"
#include "passes_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/tree_printer.h"

namespace {

using namespace QZ::SYNTAX_TREE;
using passes_test::compile;
using passes_test::find_node;
using passes_test::statement_type;

// The types of the statements of f, in order.
std::vector<std::string> types_of(const std::string& parameters, const std::string& body)
{
    auto c = compile("void f(" + parameters + ") {\n" + body + "\n}");
    EXPECT_TRUE(c.messages.empty()) << (c.messages.empty() ? "" : c.messages[0]);
    std::vector<std::string> types;
    for (int i = 0;; ++i) {
        std::string type = statement_type(c, "f", i);
        if (type == "<no statement>")
            break;
        types.push_back(type);
    }
    return types;
}

TEST(Semantic_pass, ConstantsAndLists)
{
    EXPECT_EQ(types_of("", "1; 0x1F; 017; 1.5; true; \"text\"; (1, 2.0, \"s\");"),
              (std::vector<std::string>{"Int", "Int", "Int", "Scalar", "Bool", "String", "String"}));
}

TEST(Semantic_pass, UnaryOperatorsKeepTheOperandsType)
{
    // No operator is searched: ! and - take any type.
    EXPECT_EQ(types_of("Vector3 v, String s", "-v; !v; -s; +1;"),
              (std::vector<std::string>{"Vector3", "Vector3", "String", "Int"}));
}

TEST(Semantic_pass, ComparisonsWorkComponentWise)
{
    EXPECT_EQ(types_of("Vector3 a, Vector3 b, Vector2i i, Scalar s, Color c",
                       "a < b; a >= s; s > a; i <= i; s < 1; a && true; a == b; i != i; c == c; s == s;"),
              (std::vector<std::string>{"Vector3b", "Vector3b", "Vector3b", "Vector2b", "Bool", "Vector3b", "Vector3b",
                                        "Vector2b", "Vector4b", "Bool"}));
    // Equal structs and strings compare to Bool; unequal widths fall to operators, which have none.
    auto c = compile("void f(Ray a, Ray b, Vector2 u, Vector3 v, Scalar s) { a == b; u < v; v == s; }");
    ASSERT_EQ(c.messages.size(), 2u);
    EXPECT_NE(c.messages[0].find("\"operator<\""), std::string::npos);
    EXPECT_NE(c.messages[1].find("\"operator==\""), std::string::npos);
    EXPECT_EQ(statement_type(c, "f", 0), "Bool");
}

TEST(Semantic_pass, EqualVectorsInAConditionPass)
{
    // The test of an if is not checked, so a boolean vector is accepted there.
    EXPECT_TRUE(compile("void f(Vector3 a, Vector3 b) { if (a == b) a = b; }").messages.empty());
}

TEST(Semantic_pass, AssignmentRuleBeforeOperators)
{
    EXPECT_EQ(types_of("Vector3 v, Vector3i w, Color c, Vector4 q, Scalar s, Int i, Matrix3x3 m",
                       "v = 1; v = w; c = q; q = c; s = i; s = true; m = 2.0; v += 1; v *= s; i = i;"),
              (std::vector<std::string>{"Vector3", "Vector3", "Color", "Vector4", "Scalar", "Scalar", "Matrix3x3",
                                        "Vector3", "Vector3", "Int"}));
    auto c = compile("void f(Int i, Vector3 v, Color c) { i = 1.5; c = v; i = i = 2; }");
    ASSERT_EQ(c.messages.size(), 2u);
    EXPECT_NE(c.messages[0].find("\"operator=\""), std::string::npos);
    EXPECT_NE(c.messages[1].find("\"operator=\""), std::string::npos);
}

TEST(Semantic_pass, OnlyPlacesAreWritten)
{
    // Variables, state, members, elements, distinct swizzles and chains are places.
    EXPECT_TRUE(compile("struct P { Scalar a; };\n"
                        "void f(Scalar s, Vector3 v, P p, Scalar a[3]) {\n"
                        "  s = 1.0; v.xz = Vector2(1.0, 2.0); p.a = s; a[1] = s; s = v.x = 2.0; s++; --a[0];\n"
                        "  v.y += s;\n"
                        "}")
                    .messages.empty());
    auto c = compile("enum E { ONE };\n"
                     "Scalar g(Scalar x) { return x; }\n"
                     "void f(Scalar s, Vector3 v) {\n"
                     "  s + 1.0 = s; g(s) = s; v.xx = Vector2(s, s); ONE = 1; 2.0 = s; s++ = s;\n"
                     "  g(s)++; --(s + s); (s = s) = s;\n"
                     "}");
    ASSERT_EQ(c.messages.size(), 8u);
    for (size_t i = 0; i < 6; ++i)
        EXPECT_NE(c.messages[i].find("line 4: operator=: illegal left operator argument"), std::string::npos)
            << c.messages[i];
    EXPECT_NE(c.messages[6].find("line 5: operator++: illegal operator argument"), std::string::npos);
    EXPECT_NE(c.messages[7].find("line 5: operator--: illegal operator argument"), std::string::npos);

    // A chained place that changes something when found would change it twice.
    c = compile("void f(Scalar a[2], Int i, Scalar s) {\n"
                "  (a[i] = s) = s; a[i++] = s = s; (a[--i] += s) = s; (a[Int(s)] = s) += s;\n"
                "}");
    ASSERT_EQ(c.messages.size(), 2u);
    EXPECT_NE(c.messages[0].find("line 2: operator=: illegal left operator argument"), std::string::npos);
    EXPECT_NE(c.messages[1].find("line 2: operator=: illegal left operator argument"), std::string::npos);

    // Arguments written back by the callee.
    c = compile("void g(Scalar x, out Scalar y, inout Scalar z) { y = x; z += x; }\n"
                "void f(Scalar s, Vector3 v) { g(1.0, s, v.x); g(s, 1.0, s + s); }");
    ASSERT_EQ(c.messages.size(), 2u);
    EXPECT_NE(c.messages[0].find("line 2: g: illegal call argument in position 2"), std::string::npos);
    EXPECT_NE(c.messages[1].find("line 2: g: illegal call argument in position 3"), std::string::npos);
}

TEST(Semantic_pass, ConditionalTypes)
{
    EXPECT_EQ(types_of("Bool b, Vector3 v, Int i, Scalar s, String t",
                       "b ? v : v; b ? i : s; b ? s : i; b ? i : i; b ? t : i;"),
              (std::vector<std::string>{"Vector3", "Scalar", "Scalar", "Int", "<none>"}));
}

TEST(Semantic_pass, SwizzlesFollowTheComponentKind)
{
    EXPECT_EQ(types_of("Vector3 v, Color c, Vector4i i, Vector2b b, Scalar s, Int n",
                       "v.xxxx; v.zy; c.rgb; c.a; i.wzy; b.y; b.xyx; s.x; s.xx; n.x;"),
              (std::vector<std::string>{"Vector4", "Vector2", "Vector3", "Scalar", "Vector3i", "Bool", "Vector3b",
                                        "Scalar", "Vector2", "Int"}));
    auto c = compile("void f(Vector3 v, Vector2 u) { v.xg; v.xxxxx; v.w; u.z; }");
    std::vector<std::string> unknown;
    for (const std::string& message : c.messages)
        if (message.find("unknown member variable") != std::string::npos)
            unknown.push_back(message.substr(message.find('"')));
    EXPECT_EQ(unknown, (std::vector<std::string>{"\"xg\"", "\"xxxxx\"", "\"w\"", "\"z\""}));
}

TEST(Semantic_pass, IndexingByKind)
{
    EXPECT_EQ(types_of("Vector3 v, Vector4i i, Vector2b b, Matrix4x4 m, Matrix2x3 m23, Matrix3x2 m32, Scalar a[4], Ray r[]",
                       "v[0]; i[1]; b[1]; m[0]; m23[1]; m32[2]; a[3]; r[7].origin; a.count;"),
              (std::vector<std::string>{"Scalar", "Int", "Bool", "Vector4", "Vector3", "Vector2", "Scalar", "Vector3",
                                        "Int"}));
}

TEST(Semantic_pass, CastNamesTheType)
{
    EXPECT_EQ(types_of("Scalar s", "(Int) s; (Ray) s;"), (std::vector<std::string>{"Int", "struct Ray"}));
    auto c = compile("void f(Scalar x) { (Unknown) x; }");
    ASSERT_EQ(c.messages.size(), 1u);
    EXPECT_NE(c.messages[0].find("unknown type: \"Unknown\""), std::string::npos);
}

TEST(Semantic_pass, ConstructorFormBecomesACall)
{
    auto c = compile("Vector3 up(0, 1, 0);\nvoid f() { Color c(1, 0, 0, 1); Vector2 bad(1, 2, 3); }");
    ASSERT_EQ(c.messages.size(), 1u);
    EXPECT_NE(c.messages[0].find("line 2: no overloaded version of function: \"Vector2\""), std::string::npos);
    St_node* call = find_node(c.unit->tree(), NODE_CONSTRUCTOR_CALL_EXPRESSION);
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(call->child(0)->text_view(), "Vector3");
    EXPECT_EQ(call->child(1)->kind, NODE_FUNCTION_CALL_PARAMETERS);
    EXPECT_EQ(call->child(1)->child_count(), 3);
    EXPECT_EQ(call->type_index, TYPE_VECTOR3);
    EXPECT_EQ(find_node(c.unit->tree(), NODE_INIT_IDENTIFIER)->first_child, call);
}

TEST(Semantic_pass, DeclarationsAreTyped)
{
    auto c = compile("Scalar w[3];\nRay f(Scalar a[], out Color c) { Int i, j[2]; return Ray(Vector3(0), Vector3(1)); }");
    EXPECT_TRUE(c.messages.empty());
    const Compilation_unit& unit = *c.unit;
    St_node* tree = unit.tree();
    EXPECT_EQ(unit.type_at(find_node(tree, NODE_INIT_IDENTIFIER, 0)->type_index)->text(), "Scalar[3]");
    EXPECT_EQ(unit.type_at(find_node(tree, NODE_FUNCTION_DECLARATION)->type_index)->text(), "struct Ray");
    EXPECT_EQ(unit.type_at(find_node(tree, NODE_FUNCTION_PARAMETER, 0)->type_index)->text(), "Scalar[0]");
    EXPECT_EQ(find_node(tree, NODE_FUNCTION_PARAMETER, 1)->type_index, TYPE_COLOR);
    EXPECT_EQ(find_node(tree, NODE_INIT_IDENTIFIER, 1)->type_index, TYPE_INT32);
    EXPECT_EQ(unit.type_at(find_node(tree, NODE_INIT_IDENTIFIER, 2)->type_index)->text(), "Int[2]");
}

TEST(Semantic_pass, EnumValuesByScope)
{
    auto c = compile(
        "enum Kind { A, B };\n"
        "shader S { enum Local { C }; output: Int r;\n"
        "  void main() { Kind k = B; Local l = C; r = D; } };");
    ASSERT_EQ(c.messages.size(), 1u);
    EXPECT_NE(c.messages[0].find("unknown variable: \"D\""), std::string::npos);
    // The class's value is found under its scoped name, which the node takes.
    St_node* main = c.unit->find_shader("S")->main_method;
    St_node* value = find_node(main, NODE_VARIABLE_ID, 1);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->text_view(), "S::C");
    EXPECT_EQ(c.unit->type_name(value->type_index), "S::Local");
    EXPECT_EQ(c.unit->type_name(find_node(main, NODE_VARIABLE_ID, 0)->type_index), "Kind");
}

TEST(Semantic_pass, ScopesEndWithTheirBlocks)
{
    auto c = compile(
        "void f(Int a) {\n"
        "  { Int inner; }\n"
        "  inner = 1;\n"
        "  for (Int i = 0; i < 2; i++) { Int a; }\n"
        "  i = 2;\n"
        "  Int a;\n"
        "  Int a;\n"
        "}");
    ASSERT_EQ(c.messages.size(), 3u);
    EXPECT_NE(c.messages[0].find("line 3: unknown variable: \"inner\""), std::string::npos);
    EXPECT_NE(c.messages[1].find("line 5: unknown variable: \"i\""), std::string::npos);
    // The body is a scope of its own inside the parameters'.
    EXPECT_NE(c.messages[2].find("line 7: redefinition of variable \"a\""), std::string::npos);
}

TEST(Semantic_pass, ForeachMarksLightsAndSamples)
{
    auto c = compile(
        "shader S { output: Color r;\n"
        "  void main() { Light_iterator l; Sample_iterator s = Sample_iterator(8); Scalar x;\n"
        "    foreach (l) r += l.contribution; foreach (s) r += Color(s.sample); foreach (x) { } } };\n"
        "shader T : S { void main() { } };\n"
        "void free_function() { Light_iterator l; foreach (l) { } }");
    EXPECT_TRUE(c.messages.empty());
    Shader_declaration* s = c.unit->find_shader("S");
    EXPECT_TRUE(s->uses_lights);
    EXPECT_TRUE(c.unit->find_shader("T")->uses_lights);
    EXPECT_EQ(find_node(s->main_method, NODE_FOREACH_STATEMENT, 0)->text_view(), "light");
    EXPECT_EQ(find_node(s->main_method, NODE_FOREACH_STATEMENT, 1)->text_view(), "sample");
    EXPECT_FALSE(find_node(s->main_method, NODE_FOREACH_STATEMENT, 2)->has_text());
    EXPECT_FALSE(find_node(c.unit->function_at(0), NODE_FOREACH_STATEMENT)->has_text());
}

TEST(Semantic_pass, StateParameterOpensTheStateVariables)
{
    // In generated code a method with a State parameter reads state by name; elsewhere the
    // names were rewritten by the prepass already.
    auto built = QZ::FRONT12::parse_text(
        "shader S { output: Color r;\n"
        "  Color eval(State state) { return Color(normal_seen + animation_time); }\n"
        "  void main() { r = eval(state_value); } };", "test.ovl");
    ASSERT_TRUE(built.errors.empty());
    Compilation_unit unit(passes_test::test_prelude());
    unit.set_tree(built.tree.release());
    Tree_traverser_prepass(unit).run();
    unit.link_shaders();
    // As the linker builds it: a variable the prepass did not see as a state name.
    St_node* seen = find_node(unit.find_shader("S")->methods[0], NODE_VARIABLE_ID);
    ASSERT_NE(seen, nullptr);
    seen->set_text("incident_ior");
    Tree_traverser_semantic_pass(unit).run();
    ASSERT_EQ(unit.error_count(), 1u);
    EXPECT_EQ(unit.errors()[0].text, "state_value");
    EXPECT_EQ(seen->type_index, TYPE_SCALAR);
}

TEST(Semantic_pass, AlwaysReturnIsLax)
{
    auto body = [](const std::string& text) {
        auto parsed = QZ::FRONT12::parse_text("void f() " + text, "t.ovl");
        return Tree_traverser_semantic_pass::always_return(find_node(parsed.tree.get(), NODE_STATEMENT_BLOCK));
    };
    EXPECT_TRUE(body("{ return; }"));
    EXPECT_TRUE(body("{ if (a) return; }"));
    EXPECT_TRUE(body("{ if (a) return; else { b; return; } }"));
    EXPECT_FALSE(body("{ if (a) return; else { return; b; } }"));
    EXPECT_FALSE(body("{ }"));
    EXPECT_FALSE(body("{ while (a) return; }"));
    EXPECT_FALSE(body("{ return; break; }"));
    EXPECT_TRUE(body("{ { { return; } } }"));
    EXPECT_TRUE(body("{ switch (a) { case 1: return; default: return; } }"));
    EXPECT_FALSE(body("{ switch (a) { case 1: return; case 2: return; } }"));
    EXPECT_FALSE(body("{ switch (a) { case 1: case 2: return; default: return; } }"));
    EXPECT_FALSE(Tree_traverser_semantic_pass::always_return(nullptr));
}

TEST(Semantic_pass, MethodCallsOnValuesAreUnknown)
{
    auto c = compile("void f(Ray r) { r.trace(1); r.origin.normalize(); missing.go(); }");
    ASSERT_EQ(c.messages.size(), 3u);
    EXPECT_NE(c.messages[0].find("unknown function: \"trace\""), std::string::npos);
    EXPECT_NE(c.messages[1].find("unknown function: \"normalize\""), std::string::npos);
    EXPECT_NE(c.messages[2].find("unknown variable: \"missing\""), std::string::npos);
}

TEST(Semantic_pass, ImportedFunctionsTypesAndGlobalsAreVisible)
{
    std::shared_ptr<Compilation_unit> library = std::move(
        compile("struct Sample { Scalar weight; };\nScalar library_gain = 2.0;\nSample make(Scalar w) { Sample s; s.weight = w; return s; }",
                "library.ovl")
            .unit);
    ASSERT_EQ(library->error_count(), 0u);
    std::string before = tree_text(library->tree());
    auto c = compile("#import <library.ovl>\nvoid f() { Sample s = make(library_gain); Scalar w = s.weight; unknown(); }",
                     "test.ovl", [&](const std::string&, const std::string&) { return library; });
    ASSERT_EQ(c.messages.size(), 1u);
    EXPECT_NE(c.messages[0].find("unknown function: \"unknown\""), std::string::npos);
    // The imported unit is shared, not changed.
    EXPECT_EQ(tree_text(library->tree()), before);
}

TEST(Semantic_pass, PreludeIsNotChangedByCompiles)
{
    auto parsed = QZ::FRONT12::parse_text("Vector4 illumination(Scalar dot_nl,Scalar dot_nh,Scalar exponent);", "stdlib.ovl");
    std::unique_ptr<St_node> list = std::move(parsed.tree);
    std::string before = tree_text(list.get());
    auto symbols = std::make_shared<const Prelude_symbols>(list.get());
    for (int i = 0; i < 2; ++i) {
        Compilation_unit unit(symbols);
        unit.set_tree(QZ::FRONT12::parse_text("void f() { Vector4 v = illumination(1, 2, 3); }", "t.ovl").tree.release());
        Tree_traverser_prepass(unit).run();
        unit.link_shaders();
        Tree_traverser_semantic_pass(unit).run();
        EXPECT_EQ(unit.error_count(), 0u);
    }
    EXPECT_EQ(tree_text(list.get()), before);
}

TEST(Semantic_pass, DeepExpressionsWithinTheParserLimitCompile)
{
    std::string sum = "x";
    for (int i = 0; i < 1900; ++i)
        sum += " + x";
    auto c = compile("Scalar f(Scalar x) { return " + sum + "; }");
    EXPECT_TRUE(c.messages.empty());
}

}  // namespace

namespace {

TEST(Semantic_pass, NestingBeyondTheLimitIsOneSystemError)
{
    using namespace QZ::SYNTAX_TREE;
    auto parsed = QZ::FRONT12::parse_text("void f() { x; }", "deep.ovl");
    St_node* statement = find_node(parsed.tree.get(), NODE_EXPRESSION_STATEMENT);
    ASSERT_NE(statement, nullptr);
    // A chain deeper than any parse, as other code might build it.
    St_node* chain = new St_node(NODE_UNARY_EXPRESSION, statement->file, "-");
    St_node* node = chain;
    for (int i = 0; i < Tree_traverser_base::DEPTH_LIMIT + 500; ++i) {
        St_node* child = new St_node(NODE_UNARY_EXPRESSION, statement->file, "-");
        node->add_child(child);
        node = child;
    }
    node->add_child(new St_node(NODE_VARIABLE_ID, statement->file, "undeclared"));
    St_node* old = statement->first_child;
    statement->replace_child(old, chain);
    delete old;

    Compilation_unit unit(passes_test::test_prelude());
    unit.set_tree(parsed.tree.release());
    Tree_traverser_prepass(unit).run();
    unit.link_shaders();
    Tree_traverser_semantic_pass(unit).run();
    std::vector<std::string> texts;
    for (const Error_record& error : unit.errors())
        texts.push_back(std::to_string(error.number) + " " + error.text);
    EXPECT_EQ(texts, (std::vector<std::string>{"74 declaration nested too deeply", "74 expression nested too deeply"}));
}

}  // namespace

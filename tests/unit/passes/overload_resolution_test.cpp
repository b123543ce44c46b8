// Overload resolution: the rules of match_overloads and find_function, and the resolutions that
// the language's edge cases depend on.
#include <gtest/gtest.h>

#include "passes_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/scope.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace {

using namespace QZ::SYNTAX_TREE;
using passes_test::compile;
using passes_test::statement_type;

Overload_entry entry(int32_t id, std::vector<int32_t> parameters, int32_t result = TYPE_SCALAR,
                     std::vector<uint8_t> by_reference = {})
{
    Overload_entry e;
    e.id = id;
    e.result_type = result;
    by_reference.resize(parameters.size());
    e.parameter_types = std::move(parameters);
    e.by_reference = std::move(by_reference);
    return e;
}

Overload_candidates candidates(const Overload_set& set)
{
    Overload_candidates c;
    c.parts[1] = &set;
    return c;
}

class Match_overloads : public ::testing::Test {
protected:
    Compilation_unit unit;  // built-in types only: a type index is its code
};

TEST_F(Match_overloads, ExactEntryWinsWhereverItStands)
{
    Overload_set set{entry(1, {TYPE_SCALAR}), entry(2, {TYPE_INT32})};
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32}, true, unit), 2);
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_SCALAR}, true, unit), 1);
}

TEST_F(Match_overloads, TwoConvertedEntriesAreAmbiguousWithoutRanking)
{
    Overload_set set{entry(1, {TYPE_COLOR, TYPE_SCALAR}), entry(2, {TYPE_VECTOR4, TYPE_SCALAR})};
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_COLOR, TYPE_INT32}, true, unit), OVERLOAD_AMBIGUOUS);
    // The second converted entry ends the search, so an exact entry behind it is not reached
    // here: find_function finds it, since it looks for exact entries before converting.
    set.push_back(entry(3, {TYPE_COLOR, TYPE_INT32}));
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_COLOR, TYPE_INT32}, true, unit), OVERLOAD_AMBIGUOUS);
    Scope scope;
    scope.function_set("f") = set;
    EXPECT_EQ(find_function(scope, unit, "f", {TYPE_COLOR, TYPE_INT32}, true), 3);
}

TEST_F(Match_overloads, AnEntryWithIdZeroDoesNotCountAsAnEarlierMatch)
{
    Overload_set first_set{entry(0, {TYPE_SCALAR}), entry(7, {TYPE_COLOR})};
    Overload_set with_color{entry(0, {TYPE_COLOR, TYPE_SCALAR}), entry(7, {TYPE_VECTOR4, TYPE_SCALAR})};
    // Both convert; the first has id 0, so the second takes its place instead of a tie.
    EXPECT_EQ(match_overloads(candidates(with_color), {TYPE_COLOR, TYPE_INT32}, true, unit), 7);
    // The same entries with ids from 1 are ambiguous.
    Overload_set later{entry(1, {TYPE_COLOR, TYPE_SCALAR}), entry(7, {TYPE_VECTOR4, TYPE_SCALAR})};
    EXPECT_EQ(match_overloads(candidates(later), {TYPE_COLOR, TYPE_INT32}, true, unit), OVERLOAD_AMBIGUOUS);
    // A lone converted entry with id 0 is chosen as 0.
    EXPECT_EQ(match_overloads(candidates(first_set), {TYPE_INT32}, true, unit), 0);
}

TEST_F(Match_overloads, WithoutConversionOnlyExactEntriesFit)
{
    Overload_set set{entry(1, {TYPE_SCALAR})};
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32}, false, unit), OVERLOAD_NONE_FITS);
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32}, true, unit), 1);
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32, TYPE_INT32}, true, unit), OVERLOAD_NONE_FITS);
}

TEST_F(Match_overloads, OpenEndedEntryTakesAnyTailAfterExactFixedParameters)
{
    Overload_set set{entry(4, {TYPE_INT32, -1})};
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32}, false, unit), 4);
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32, TYPE_STRING, TYPE_COLOR}, false, unit), 4);
    EXPECT_EQ(match_overloads(candidates(set), {}, true, unit), OVERLOAD_NONE_FITS);
    // Fixed parameters are never converted.
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_BOOLEAN}, true, unit), OVERLOAD_NONE_FITS);
}

TEST_F(Match_overloads, OutParametersTakeTheirTypeOnly)
{
    Overload_set set{entry(1, {TYPE_SCALAR, TYPE_SCALAR}, TYPE_SCALAR, {1, 0})};
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32, TYPE_SCALAR}, true, unit), OVERLOAD_NONE_FITS);
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_SCALAR, TYPE_INT32}, true, unit), 1);
    // An enum is an Int type, and passes for one by reference.
    int32_t mode = unit.add_type(std::make_unique<Named_type>("Mode", TYPE_INT32));
    Overload_set ints{entry(2, {TYPE_INT32}, TYPE_INT32, {1})};
    EXPECT_EQ(match_overloads(candidates(ints), {mode}, true, unit), 2);
}

TEST_F(Match_overloads, ChosenEntryIsReported)
{
    Overload_set set{entry(1, {TYPE_SCALAR}, TYPE_COLOR), entry(2, {TYPE_INT32}, TYPE_STRING)};
    const Overload_entry* chosen = nullptr;
    EXPECT_EQ(match_overloads(candidates(set), {TYPE_INT32}, true, unit, &chosen), 2);
    ASSERT_NE(chosen, nullptr);
    EXPECT_EQ(chosen->result_type, TYPE_STRING);
}

TEST(Find_function, SearchesExactlyOutwardsBeforeConverting)
{
    Compilation_unit unit;
    Scope outer;
    Scope inner(&outer);
    outer.function_set("f").push_back(entry(1, {TYPE_INT32}, TYPE_INT32));
    inner.function_set("f").push_back(entry(2, {TYPE_SCALAR}, TYPE_SCALAR));
    // The outer exact entry beats the inner converted one.
    EXPECT_EQ(find_function(inner, unit, "f", {TYPE_INT32}, true), 1);
    EXPECT_EQ(find_function(inner, unit, "f", {TYPE_SCALAR}, true), 2);
    EXPECT_EQ(find_function(inner, unit, "g", {TYPE_SCALAR}, true), OVERLOAD_UNKNOWN_NAME);
    EXPECT_EQ(find_function(inner, unit, "f", {TYPE_STRING}, true), OVERLOAD_NONE_FITS);
    EXPECT_EQ(find_function(outer, unit, "f", {TYPE_BOOLEAN}, false), OVERLOAD_NONE_FITS);
}

TEST(Find_function, AmbiguityInAnInnerScopeIsFinal)
{
    Compilation_unit unit;
    Scope outer;
    Scope inner(&outer);
    inner.function_set("f").push_back(entry(1, {TYPE_COLOR}));
    inner.function_set("f").push_back(entry(2, {TYPE_SCALAR}));
    inner.function_set("f").push_back(entry(3, {TYPE_VECTOR4}));
    outer.function_set("f").push_back(entry(4, {TYPE_VECTOR4}));
    EXPECT_EQ(find_function(inner, unit, "f", {TYPE_VECTOR4}, true), 3);
    outer.function_set("h").push_back(entry(5, {TYPE_SCALAR}));
    inner.function_set("h").push_back(entry(6, {TYPE_COLOR}));
    inner.function_set("h").push_back(entry(7, {TYPE_VECTOR4}));
    EXPECT_EQ(find_function(inner, unit, "h", {TYPE_INT32}, true), 5);
    Overload_set& k = inner.function_set("k");
    k.push_back(entry(8, {TYPE_COLOR}));
    k.push_back(entry(9, {TYPE_VECTOR4}));
    outer.function_set("k").push_back(entry(10, {TYPE_VECTOR2}));
    EXPECT_EQ(find_function(inner, unit, "k", {TYPE_VECTOR3}, true), OVERLOAD_NONE_FITS);
    inner.function_set("m").push_back(entry(11, {TYPE_COLOR, TYPE_SCALAR}));
    inner.function_set("m").push_back(entry(12, {TYPE_VECTOR4, TYPE_SCALAR}));
    outer.function_set("m").push_back(entry(13, {TYPE_COLOR, TYPE_SCALAR}));
    EXPECT_EQ(find_function(inner, unit, "m", {TYPE_COLOR, TYPE_INT32}, true), OVERLOAD_AMBIGUOUS);
}

// The edge cases of the language, through whole compiles against the built-in declarations.

TEST(Overloads_in_source, ScalarFactorReachesVectorsThroughIntToScalar)
{
    auto c = compile("void f(Vector3 a) { a * 2; 2 * a; a / 2; }");
    EXPECT_TRUE(c.messages.empty());
    EXPECT_EQ(statement_type(c, "f", 0), "Vector3");
    EXPECT_EQ(statement_type(c, "f", 1), "Vector3");
    EXPECT_EQ(statement_type(c, "f", 2), "Vector3");
}

TEST(Overloads_in_source, ColorTakesTheVector4FormOfDot)
{
    auto c = compile("void f(Color a, Color b) { dot(a, b); length(a); }");
    EXPECT_TRUE(c.messages.empty());
    EXPECT_EQ(statement_type(c, "f", 0), "Scalar");
    EXPECT_EQ(statement_type(c, "f", 1), "Scalar");
}

TEST(Overloads_in_source, ColorAndVector4OverloadsAreAmbiguousForConvertedCalls)
{
    const char* prelude = "void f(Color c) { }\nvoid f(Vector4 v) { }\n";
    auto vector3 = compile(std::string(prelude) + "void g(Vector3 v) { f(v); }");
    ASSERT_EQ(vector3.messages.size(), 1u);
    EXPECT_EQ(vector3.messages[0],
              "Error in file 'test.ovl' line 3: no overloaded version of function: \"f\" matches calling parameters");
    EXPECT_TRUE(compile(std::string(prelude) + "void g(Color c, Vector4 v) { f(c); f(v); }").messages.empty());
    auto mixed = compile("void f(Color c, Scalar s) { }\nvoid f(Vector4 v, Scalar s) { }\nvoid g(Color c) { f(c, 1); }");
    ASSERT_EQ(mixed.messages.size(), 1u);
    EXPECT_EQ(mixed.messages[0], "Error in file 'test.ovl' line 3: ambiguous call to overloaded function: \"f\"");
}

TEST(Overloads_in_source, ExactIntEntryBeatsAnEarlierScalarEntry)
{
    auto c = compile("Scalar f(Scalar a);\nString f(Int a);\nvoid g() { f(1); f(1.0); }");
    EXPECT_TRUE(c.messages.empty());
    EXPECT_EQ(statement_type(c, "g", 0), "String");
    EXPECT_EQ(statement_type(c, "g", 1), "Scalar");
}

TEST(Overloads_in_source, PrototypeAndDefinitionAreOneFunction)
{
    auto c = compile("Scalar f(Scalar a);\nScalar f(Scalar a) { return a; }\nvoid g() { f(1); }");
    EXPECT_TRUE(c.messages.empty());
}

TEST(Overloads_in_source, MatrixConstructorForms)
{
    auto c = compile(
        "void f() {\n"
        "  Matrix3x2(1, 2, 3, 4, 5, 6);\n"
        "  Matrix3x2(Vector2(1, 2), Vector2(3, 4), Vector2(5, 6));\n"
        "  Matrix3x2(Vector3(1, 2, 3), 4, 5, 6);\n"
        "  Matrix3x2(1.0);\n"
        "  Matrix3x2(Matrix4x4(1.0));\n"
        "  Matrix4x4(Matrix3x3(1.0));\n"
        "  Matrix2x2(1, 2, 3);\n"
        "  Matrix2x2(Vector2(1, 2), 3, 4);\n"
        "}");
    ASSERT_EQ(c.messages.size(), 3u);
    EXPECT_EQ(c.messages[0],
              "Error in file 'test.ovl' line 4: no overloaded version of function: \"Matrix3x2\" matches calling parameters");
    EXPECT_NE(c.messages[1].find("line 7:"), std::string::npos);
    EXPECT_NE(c.messages[2].find("line 8:"), std::string::npos);
    EXPECT_EQ(statement_type(c, "f", 0), "Matrix3x2");
    EXPECT_EQ(statement_type(c, "f", 7), "Matrix2x2");
}

TEST(Overloads_in_source, VectorConstructorsAddUpComponents)
{
    auto c = compile(
        "void f(Vector2 a) {\n"
        "  Vector4(a, a); Vector4(a, 1, 2); Vector3(1); Color(a.x); Scalar(2); Int(true);\n"
        "  Vector4(a, a, 1);\n"
        "  Scalar(a);\n"
        "  Vector3();\n"
        "}");
    ASSERT_EQ(c.messages.size(), 3u);
    EXPECT_NE(c.messages[0].find("line 3: no overloaded version of function: \"Vector4\""), std::string::npos);
    EXPECT_NE(c.messages[1].find("line 4: no overloaded version of function: \"Scalar\""), std::string::npos);
    EXPECT_NE(c.messages[2].find("line 5: no overloaded version of function: \"Vector3\""), std::string::npos);
}

TEST(Overloads_in_source, IntFromScalarFindsNoAssignment)
{
    auto c = compile("void f() { Int i = 1.5; Int j; j = 2.5; }");
    ASSERT_EQ(c.messages.size(), 2u);
    EXPECT_EQ(c.messages[0],
              "Error in file 'test.ovl' line 1: no overloaded version of function: \"operator=\" matches calling parameters");
    EXPECT_EQ(c.messages[1], c.messages[0]);
}

TEST(Overloads_in_source, UnknownOperandsSilenceTheSearch)
{
    // One mistake, one message: the unknown name, not the operators above it.
    auto c = compile("void f(Vector3 a) { Scalar s = (a + missing) * 2 + dot(a, missing); }");
    ASSERT_EQ(c.messages.size(), 2u);
    EXPECT_NE(c.messages[0].find("unknown variable: \"missing\""), std::string::npos);
    EXPECT_EQ(c.messages[1], c.messages[0]);
}

}  // namespace

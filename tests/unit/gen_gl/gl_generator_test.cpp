// The GL generator on small shaders: what GLSL 1.10 makes most likely to break (Int beside
// Scalar, matrix products and shapes that GLSL lacks, exclusive or, negation and comparison of
// vectors, conversions to Bool), the two texts around them, its messages, and robustness on
// trees that the passes would not make.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "compiler/mod_compiler.h"
#include "gen_gl/gl_code_generator.h"
#include "gen_gl/gl_code_generator_plugin.h"
#include "support/generator_support.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/st_node.h"
#include "system/module.h"

using namespace QZ;
using QZ::GEN_GL::Gl_code_generator;
using QZ::GEN_GL::Gl_value_type;
using QZ::SYNTAX_TREE::St_node;

namespace {

using namespace vorn_test;

struct Texts {
    std::string vertex;
    std::string fragment;
};

Texts generate(SYNTAX_TREE::Compilation_unit* unit, const COMPILER::Compile_options& options)
{
    BACK12::Generator_input input;
    EXPECT_TRUE(BACK12::build_generator_input(unit, options, input));
    Gl_code_generator generator(input, options);
    generator.generate();
    return Texts{generator.vertex_text(), generator.get_text()};
}

Texts generate(const std::string& source, Attributes attributes = {})
{
    auto unit = compile_clean(source);
    return unit ? generate(unit.get(), options_of(attributes)) : Texts();
}

std::string root_of(const std::string& text) { return function_text(text, "vec4 S_eval(State state)"); }

std::string root(const std::string& body, const std::string& inputs = "")
{
    return root_of(generate(shader(body, inputs)).fragment);
}

const Gl_value_type FLOAT1 = Gl_value_type::make(Gl_value_type::FLOAT, 1);
const Gl_value_type FLOAT3 = Gl_value_type::make(Gl_value_type::FLOAT, 3);
const Gl_value_type INT1 = Gl_value_type::make(Gl_value_type::INT, 1);
const Gl_value_type INT3 = Gl_value_type::make(Gl_value_type::INT, 3);
const Gl_value_type BOOL1 = Gl_value_type::make(Gl_value_type::BOOL, 1);
const Gl_value_type BOOL3 = Gl_value_type::make(Gl_value_type::BOOL, 3);

}  // namespace

// Conversions, as a table

TEST(GlConversions, IntAndFloatMeetThroughConstructors)
{
    EXPECT_EQ(GEN_GL::gl_conversion_open(INT1, FLOAT1), "float(");
    EXPECT_EQ(GEN_GL::gl_conversion_open(FLOAT1, INT1), "int(");
    EXPECT_EQ(GEN_GL::gl_conversion_open(INT3, FLOAT3), "vec3(");
    // A scalar spreads over a vector; a vector never narrows.
    EXPECT_EQ(GEN_GL::gl_conversion_open(FLOAT1, FLOAT3), "vec3(");
    EXPECT_EQ(GEN_GL::gl_conversion_open(FLOAT3, FLOAT1), "");
    EXPECT_EQ(GEN_GL::gl_conversion_open(FLOAT1, FLOAT1), "");
    EXPECT_EQ(GEN_GL::gl_conversion_open(Gl_value_type(), FLOAT1), "");
}

TEST(GlConversions, BooleansFromNumbersCompareWithZero)
{
    EXPECT_EQ(GEN_GL::gl_conversion_open(INT1, BOOL1), "(0 < ");
    EXPECT_EQ(GEN_GL::gl_conversion_open(FLOAT1, BOOL1), "(0.0 < ");
    EXPECT_EQ(GEN_GL::gl_conversion_open(FLOAT3, BOOL3), "lessThan(vec3(0.0), ");
    EXPECT_EQ(GEN_GL::gl_conversion_open(INT3, BOOL3), "lessThan(ivec3(0), ");
    EXPECT_EQ(GEN_GL::gl_conversion_open(BOOL1, BOOL1), "");
}

TEST(GlConversions, TypeWords)
{
    EXPECT_EQ(GEN_GL::gl_type_word(FLOAT1), "float");
    EXPECT_EQ(GEN_GL::gl_type_word(INT3), "ivec3");
    EXPECT_EQ(GEN_GL::gl_type_word(BOOL3), "bvec3");
    // A matrix shape that GLSL lacks is held in the next larger square one.
    EXPECT_EQ(GEN_GL::gl_type_word(Gl_value_type{Gl_value_type::MATRIX, 0, 2, 3}), "mat3");
    EXPECT_EQ(GEN_GL::gl_type_word(Gl_value_type{Gl_value_type::MATRIX, 0, 4, 2}), "mat4");
}

// Int beside Scalar

TEST(GlMixing, IntSideOfAdditionMultiplicationAndAssignmentBecomesFloat)
{
    std::string text = root("Int i = 2;\nScalar a = i;\na = a + i;\na = i * a - 1;\na += i;\n"
                            "Scalar s = 2;\nVector3 v = Vector3(a, a, a) * i;");
    EXPECT_TRUE(contains(text, "float ovl_a = float(ovl_i);"));
    EXPECT_TRUE(contains(text, "ovl_a = ovl_a + float(ovl_i);"));
    EXPECT_TRUE(contains(text, "ovl_a = float(ovl_i) * ovl_a - float(1);"));
    EXPECT_TRUE(contains(text, "ovl_a += float(ovl_i);"));
    EXPECT_TRUE(contains(text, "float ovl_s = float(2);"));
    EXPECT_TRUE(contains(text, "vec3 ovl_v = vec3(ovl_a, ovl_a, ovl_a) * float(ovl_i);"));
}

TEST(GlMixing, IntsAloneStayIntsAndCastsOrAssignmentsToIntAreConstructors)
{
    std::string text = root("Int i = 2;\nInt j = i * 3 + 1;\nBool b = i < j;\nScalar a = 1.5;\ni = a;\n"
                            "Int k = (Int) a;\nScalar c = (Scalar) i / 2;");
    EXPECT_TRUE(contains(text, "int ovl_j = ovl_i * 3 + 1;"));
    EXPECT_TRUE(contains(text, "bool ovl_b = ovl_i < ovl_j;"));
    EXPECT_TRUE(contains(text, "ovl_i = int(ovl_a);"));
    EXPECT_TRUE(contains(text, "int ovl_k = int(ovl_a);"));
    EXPECT_TRUE(contains(text, "float ovl_c = float(ovl_i) / float(2);"));
}

TEST(GlMixing, ArgumentsAndResultsOfUnitFunctionsTakeTheDeclaredTypes)
{
    std::string source = "Scalar half_of(Scalar x) { return x / 2.0; }\n"
                         "Scalar widen(Int n) { return n; }\n" +
                         shader("Int i = 3;\nScalar a = half_of(i) + widen(i);");
    std::string text = generate(source).fragment;
    EXPECT_TRUE(contains(text, "float ovl_widen(State state, int ovl_n)\n{\n\treturn float(ovl_n);\n}"));
    EXPECT_TRUE(contains(root_of(text), "float ovl_a = ovl_half_of(state, float(ovl_i)) + ovl_widen(state, ovl_i);"));
}

TEST(GlMixing, BuiltInsTakeFloatsAndScalarsWidenBesideVectors)
{
    std::string text = root("Int i = 2;\nVector3 v = Vector3(1.0, 2.0, 3.0);\nColor c = Color(1, 1, 1, 1);\n"
                            "Scalar s = sin(i);\nv = pow(v, 2.0) + max(v, 0.5) + step(0.5, v);\n"
                            "c = lerp(c, c, 0.25);\nScalar d = ddx(s);\nScalar m = max(s, 1.0);");
    EXPECT_TRUE(contains(text, "float ovl_s = sin(float(ovl_i));"));
    EXPECT_TRUE(contains(text, "ovl_v = pow(ovl_v, vec3(2.0)) + max(ovl_v, vec3(0.5)) + step(vec3(0.5), ovl_v);"));
    EXPECT_TRUE(contains(text, "ovl_c = mix(ovl_c, ovl_c, vec4(0.25));"));
    EXPECT_TRUE(contains(text, "float ovl_d = dFdx(ovl_s);"));
    // Scalars among scalars stay as they are.
    EXPECT_TRUE(contains(text, "float ovl_m = max(ovl_s, 1.0);"));
}

// Matrices

TEST(GlMatrices, ProductsSwapTheirOperandsForRowGivenMatrices)
{
    std::string text = root("Vector3 v = Vector3(1.0, 0.0, 0.0);\nVector3 a = basis * v;\nVector3 b = v * basis;\n"
                            "Matrix3x3 both = basis * basis;\nMatrix3x3 scaled = basis * 2;",
                            "Matrix3x3 basis = Matrix3x3(1.0);");
    // A matrix is held transposed (a row of the source in a column), so the order turns.
    EXPECT_TRUE(contains(text, "vec3 ovl_a = ovl_v * ovl_basis;"));
    EXPECT_TRUE(contains(text, "vec3 ovl_b = ovl_basis * ovl_v;"));
    EXPECT_TRUE(contains(text, "mat3 ovl_both = ovl_basis * ovl_basis;"));
    EXPECT_TRUE(contains(text, "mat3 ovl_scaled = ovl_basis * float(2);"));
    EXPECT_FALSE(contains(text, "mul("));
}

TEST(GlMatrices, IdentityFactorsDropOut)
{
    std::string text = root("Vector4 h = Vector4(1.0, 2.0, 3.0, 1.0);\nVector4 k = internal_to_camera * h;\n"
                            "Matrix4x4 same = camera_to_internal;\nVector4 j = h * same;");
    EXPECT_TRUE(contains(text, "vec4 ovl_k = ovl_h;"));
    EXPECT_TRUE(contains(text, "mat4 ovl_same = mat4(1.0);"));
    EXPECT_TRUE(contains(text, "vec4 ovl_j = ovl_h;"));
}

TEST(GlMatrices, ShapesThatGlslLacksAreHandledRowByRow)
{
    std::string text = root("Matrix3x2 b = a + a;\nMatrix3x2 c = a * 2;\nMatrix3x2 d = -a;\nVector2 r = a[1];",
                            "Matrix3x2 a = Matrix3x2(1, 0, 0, 1, 0, 0);");
    EXPECT_TRUE(contains(generate(shader("result = Color(1, 1, 1, 1);", "Matrix3x2 a;")).fragment,
                         "uniform mat3 ovl_a;"));
    EXPECT_TRUE(contains(text, "mat3 ovl_b = mat3(ovl_a[0] + ovl_a[0], ovl_a[1] + ovl_a[1], ovl_a[2] + ovl_a[2]);"));
    EXPECT_TRUE(contains(text, "mat3 ovl_c = mat3(ovl_a[0] * float(2), ovl_a[1] * float(2), ovl_a[2] * float(2));"));
    EXPECT_TRUE(contains(text, "mat3 ovl_d = mat3(-ovl_a[0], -ovl_a[1], -ovl_a[2]);"));
    // Row 1 of three rows of two is the first two components of column vector 1.
    EXPECT_TRUE(contains(text, "vec2 ovl_r = ovl_a[1].xy;"));
}

TEST(GlMatrices, RowsOfRowsPrintInline)
{
    std::string text = root("Matrix2x3 b = (a + a) * 0.5 - a;", "Matrix2x3 a;");
    EXPECT_TRUE(contains(text, "mat3 ovl_b = mat3((ovl_a[0] + ovl_a[0]) * 0.5 - ovl_a[0], "
                               "(ovl_a[1] + ovl_a[1]) * 0.5 - ovl_a[1], (ovl_a[2] + ovl_a[2]) * 0.5 - ovl_a[2]);"));
}

TEST(GlMatrices, ConstructorsOfShapesThatGlslLacksFillRows)
{
    std::string text = root("Matrix2x3 w = Matrix2x3(1, 2, 3, 4, 5, 6);\nMatrix3x2 t = Matrix3x2(1, 2, 3, 4, 5, 6);\n"
                            "Matrix3x3 cut = Matrix3x3(object_to_world);\nMatrix3x3 same = Matrix3x3(cut);\n"
                            "Matrix3x3 unit = Matrix3x3(1.0);");
    EXPECT_TRUE(contains(text, "mat3 ovl_w = mat3(vec3(1, 2, 3), vec3(4, 5, 6), vec3(0.0));"));
    EXPECT_TRUE(contains(text, "mat3 ovl_t = mat3(vec3(1, 2, 0.0), vec3(3, 4, 0.0), vec3(5, 6, 0.0));"));
    // GLSL 1.10 makes no matrix from a matrix.
    EXPECT_TRUE(contains(text, "mat3 ovl_cut = vorn_mat3(object_to_world);"));
    EXPECT_TRUE(contains(text, "mat3 ovl_same = ovl_cut;"));
    EXPECT_TRUE(contains(text, "mat3 ovl_unit = mat3(1.0);"));
}

TEST(GlMatrices, LongChainsOfRowsStayLinear)
{
    std::string sum = "a";
    for (int i = 0; i < 40; ++i)
        sum += " + a";
    std::string text = root("Matrix3x2 b = " + sum + ";", "Matrix3x2 a;");
    // Three rows of 41 terms, not three to the power of forty.
    EXPECT_EQ(count_of(text, "ovl_a["), 3u * 41u);
}

// Logic

TEST(GlLogic, ExclusiveOrIsNotEqual)
{
    std::string text = root("Bool p = true;\nBool q = false;\nBool r = p ^^ q;\nBool s = (p ^^ q) && r;\n"
                            "Bool t = p || q ^^ r;");
    EXPECT_TRUE(contains(text, "bool ovl_r = ovl_p != ovl_q;"));
    EXPECT_TRUE(contains(text, "bool ovl_s = (ovl_p != ovl_q) && ovl_r;"));
    EXPECT_TRUE(contains(text, "bool ovl_t = ovl_p || ovl_q != ovl_r;"));
    EXPECT_FALSE(contains(text, "bool("));
}

TEST(GlLogic, NegationOfVectorsIsNot)
{
    std::string text = root("Vector3b m = Vector3b(true, false, true);\nm = !m;\nBool p = !m.x;");
    EXPECT_TRUE(contains(text, "ovl_m = not(ovl_m);"));
    EXPECT_TRUE(contains(text, "bool ovl_p = !ovl_m.x;"));
}

TEST(GlLogic, VectorComparisonsAreFunctions)
{
    std::string text = root("Vector3 v = Vector3(1.0, 2.0, 3.0);\nVector3 w = v;\nScalar s = 1.0;\n"
                            "Vector3b a = v < w;\nVector3b b = v <= w;\nVector3b c = v == w;\n"
                            "Vector3b d = v != w;\nVector3b e = v >= w;\nVector3b f = v > w;\n"
                            "Vector3b g = v < s;\nVector3i k = Vector3i(1, 2, 3);\nVector3b h = k >= 1;\n"
                            "Bool x = s < 2;");
    EXPECT_TRUE(contains(text, "bvec3 ovl_a = lessThan(ovl_v, ovl_w);"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_b = lessThanEqual(ovl_v, ovl_w);"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_c = equal(ovl_v, ovl_w);"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_d = notEqual(ovl_v, ovl_w);"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_e = greaterThanEqual(ovl_v, ovl_w);"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_f = greaterThan(ovl_v, ovl_w);"));
    // The scalar side takes the vector's type.
    EXPECT_TRUE(contains(text, "bvec3 ovl_g = lessThan(ovl_v, vec3(ovl_s));"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_h = greaterThanEqual(ovl_k, ivec3(1));"));
    // Scalars compare with operators.
    EXPECT_TRUE(contains(text, "bool ovl_x = ovl_s < float(2);"));
}

TEST(GlLogic, BooleansFromNumbers)
{
    std::string text = root("Int i = 2;\nScalar a = 0.5;\nVector3 v = Vector3(a, a, a);\n"
                            "Bool p = Bool(i);\nBool q = Bool(a);\nVector3b m = Vector3b(v);\n"
                            "Scalar c = p ? i : a;");
    EXPECT_TRUE(contains(text, "bool ovl_p = (0 < ovl_i);"));
    EXPECT_TRUE(contains(text, "bool ovl_q = (0.0 < ovl_a);"));
    EXPECT_TRUE(contains(text, "bvec3 ovl_m = lessThan(vec3(0.0), ovl_v);"));
    EXPECT_TRUE(contains(text, "float ovl_c = ovl_p ? float(ovl_i) : ovl_a;"));
}

// Names, calls, iterators

TEST(GlNames, VariablesArePrefixedAndMembersKeepPoint)
{
    std::string source = "struct Pair { Scalar weight; Vector3 point; Scalar max; };\n" +
                         shader("Pair p = Pair(1, Vector3(0, 0, 0), 2);\nScalar mix = p.weight + p.max;\n"
                                "p.point = position;\nScalar texture = mix;\n"
                                "Bool spot = light_type == light_spot;");
    std::string text = generate(source).fragment;
    EXPECT_TRUE(contains(text, "struct Pair {\n\tfloat weight;\n\tvec3 point;\n\tfloat _max;\n};"));
    std::string body = root_of(text);
    EXPECT_TRUE(contains(body, "Pair ovl_p = Pair(float(1), vec3(0, 0, 0), float(2));"));
    EXPECT_TRUE(contains(body, "float ovl_mix = ovl_p.weight + ovl_p._max;"));
    EXPECT_TRUE(contains(body, "ovl_p.point = state.position;"));
    EXPECT_TRUE(contains(body, "float ovl_texture = ovl_mix;"));
    EXPECT_TRUE(contains(body, "bool ovl_spot = state.light_type == LIGHT_SPOT;"));
}

TEST(GlNames, FunctionMapAndTheStateFirst)
{
    std::string source = "Scalar twice(Scalar x) { return x * 2.0; }\n" +
                         shader("Scalar a = frac(1.5) + fmod(3.0, 2.0) + atan2(1.0, 2.0) + rsqrt(4.0);\n"
                                "a = lerp(a, twice(a), 0.5) + log10(a) + round(a) + saturate(a);\n"
                                "Vector4 l = illumination(a, a, 8.0);");
    std::string text = generate(source).fragment;
    EXPECT_TRUE(contains(text, "float ovl_twice(State state, float ovl_x)\n{"));
    std::string body = root_of(text);
    EXPECT_TRUE(contains(body, "float ovl_a = fract(1.5) + mod(3.0, 2.0) + atan(1.0, 2.0) + inversesqrt(4.0);"));
    EXPECT_TRUE(contains(body, "ovl_a = mix(ovl_a, ovl_twice(state, ovl_a), 0.5) + log10(ovl_a) + round(ovl_a) + "
                               "saturate(ovl_a);"));
    EXPECT_TRUE(contains(body, "vec4 ovl_l = illumination(ovl_a, ovl_a, 8.0);"));
}

TEST(GlNames, ArraysWithoutALiteralSizeHold256)
{
    std::string source = "Scalar first(Scalar w[]) { return w[0]; }\n" +
                         shader("Scalar c = weights.count + first(weights);\nScalar local[4] = {1.0, 2.0, 3.0, 4.0};\n"
                                "c += local.count;",
                                "Scalar weights[] = {1.0, 2.0};");
    std::string text = generate(source).fragment;
    EXPECT_TRUE(contains(text, "uniform float ovl_weights[256];"));
    EXPECT_TRUE(contains(text, "float ovl_first(State state, float ovl_w[256])"));
    std::string body = root_of(text);
    EXPECT_TRUE(contains(body, "float ovl_c = float(256) + ovl_first(state, ovl_weights);"));
    // GLSL 1.10 has no array initialisers: the values are assigned one by one.
    EXPECT_TRUE(contains(body, "float ovl_local[4];\n\tovl_local[0] = 1.0;\n\tovl_local[1] = 2.0;\n"
                               "\tovl_local[2] = 3.0;\n\tovl_local[3] = 4.0;"));
    EXPECT_TRUE(contains(body, "ovl_c += float(4);"));
}

TEST(GlIterators, SampleMembersAreConstantsAndLightIteratorsStartAtZero)
{
    vorn_test::Log_capture log;
    std::string text = root("Sample_iterator s = Sample_iterator(4);\nScalar a = s.sample;\n"
                            "Vector2 b = s.sample2;\nVector3 c = s.sample3;\nVector4 d = s.sample4;\n"
                            "Light_iterator l = Light_iterator();");
    EXPECT_FALSE(contains(text, "Sample_iterator"));
    EXPECT_TRUE(contains(text, "float ovl_a = 0.0;"));
    EXPECT_TRUE(contains(text, "vec2 ovl_b = vec2(0.0,0.0);"));
    EXPECT_TRUE(contains(text, "vec3 ovl_c = vec3(0.0,0.0,0.0);"));
    EXPECT_TRUE(contains(text, "vec4 ovl_d = vec4(0.0,0.0,0.0,0.0);"));
    EXPECT_TRUE(contains(text, "Light_iterator ovl_l = "
                               "Light_iterator(vec3(0.0),vec3(0.0),0.0,0.0,vec4(0.0),vec4(0.0),vec4(0.0),0);"));
    EXPECT_TRUE(logged(log, SYSTEM::MODULE_GL, GEN_GL::LOG_LIGHT_ITERATOR_PARAMETERS,
                        "Light_iterator parameters not supported"));
}

// Statements

TEST(GlStatements, SwitchDoAndForeach)
{
    std::string source = "Int pick(Int n) { return n + 1; }\n" +
                         shader("Int n = 2;\nswitch (pick(n)) {\ncase 1: n = 3; break;\ncase 2:\ncase 4: n = 5; "
                                "break;\ndefault: n = 0;\n}\nswitch (n) { case 1: n = 2; break; }\n"
                                "do { n++; } while (n < 8);\nLight_iterator light;\n"
                                "foreach (light) { n++; }\nresult = Color(n, n, n, 1);");
    std::string text = root_of(generate(source).fragment);
    EXPECT_TRUE(contains(text, "int switch_value0 = ovl_pick(state, ovl_n);\n"));
    EXPECT_TRUE(contains(text, "if ( (switch_value0 == 1))\n"));
    EXPECT_TRUE(contains(text, "if ( (switch_value0 == 2) || (switch_value0 == 4))\n"));
    EXPECT_TRUE(contains(text, "if ( (ovl_n == 1))\n"));
    EXPECT_FALSE(contains(text, "switch_value1"));
    EXPECT_TRUE(contains(text, "do\n\t{\n\t\tovl_n++;\n\t}\n\twhile( ovl_n < 8);\n"));
    // The light loop is the linker's to unroll: nothing of it prints here.
    EXPECT_EQ(count_of(text, "ovl_n++;"), 1u);
    EXPECT_FALSE(contains(text, "for ("));
}

// The two texts

TEST(GlSkeleton, VertexTextOfAShaderThatReadsNoState)
{
    Texts texts = generate(shader("result = Color(1, 1, 1, 1);"));
    const std::string banner_end = std::string("/") + std::string(77, '*') + "/\n\n";
    size_t end = texts.vertex.find(banner_end);
    ASSERT_NE(end, std::string::npos);
    // The rest of the vertex text is pinned by the golden of alpha.ovl, which reads no state either.
    EXPECT_TRUE(contains(texts.vertex, "varying vec3 position;\n\nvoid main()\n"));
    EXPECT_EQ(texts.fragment.find(texts.vertex.substr(0, end + banner_end.size())), 0u);
    EXPECT_TRUE(contains(texts.fragment, "void main()\n{\n\tState state;\n\tstate.position = position;\n"
                                         "\tgl_FragColor = S_eval(state);\n}\n"));
}

TEST(GlSkeleton, VaryingsAndTheFragmentMainFollowTheState)
{
    Texts texts = generate(shader("Vector3 n = normal + texture_tangent[0] + motion;\n"
                                  "Vector2 r = raster + texture_coordinate[0].xy;\nScalar d = dot_nd;"));
    for (const std::string* text : {&texts.vertex, &texts.fragment}) {
        EXPECT_TRUE(contains(*text, "varying vec3 position;\nvarying vec3 normal;\nvarying vec4 tex_coord0;\n"
                                    "varying vec4 tex_coord1;\nvarying vec4 tex_coord2;\nvarying vec4 tex_coord3;\n"
                                    "varying vec3 tex_tangent;\nvarying vec3 motion;\n\n"));
    }
    // Every varying that the fragment main reads is written; raster is the fragment's own position.
    EXPECT_TRUE(contains(texts.vertex, "\ttex_tangent = gl_NormalMatrix * gl_MultiTexCoord4.xyz;\n"
                                       "\tmotion = vec3(0.0);\n"));
    EXPECT_FALSE(contains(texts.vertex, "tex_binormal"));
    EXPECT_TRUE(contains(texts.fragment, "\tstate.raster = gl_FragCoord.xy;\n\tstate.direction = normalize(state.position);\n"
                                         "\tstate.dot_nd = dot(state.direction, state.normal);\n"));
}

TEST(GlSkeleton, StateUniformsCarryBareNames)
{
    vorn_test::Log_capture log;
    std::string text = generate(shader("Scalar t = animation_time + dof_focus;\n"
                                       "Matrix4x4 m = internal_to_object * object_to_world;\n"
                                       "Matrix4x4 n = camera_to_object;"))
                           .fragment;
    EXPECT_TRUE(contains(text, "uniform float animation_time;\n"));
    EXPECT_TRUE(contains(text, "uniform mat4 camera_to_object;\n"));
    EXPECT_EQ(count_of(text, "uniform mat4 camera_to_object;"), 1u);
    EXPECT_TRUE(contains(text, "uniform mat4 object_to_world;\n"));
    EXPECT_TRUE(contains(text, "uniform mat4 object_to_camera;\nuniform mat4 object_to_raster;\n"));
    EXPECT_FALSE(contains(text, "__"));
    EXPECT_TRUE(contains(root_of(text), "mat4 ovl_m = object_to_world * camera_to_object;"));
    // dof_focus is a uniform like the other camera values.
    EXPECT_TRUE(contains(text, "uniform float dof_focus;\n"));
    EXPECT_TRUE(contains(root_of(text), "float ovl_t = animation_time + dof_focus;"));
    EXPECT_FALSE(log.contains("state variable 37"));
}

TEST(GlSkeleton, TwoSidedAndDepthPeeling)
{
    Texts texts = generate(shader("Bool b = backside;\nVector3 n = normal;"), {{"two_sided", "true"}, {"use_oit", "true"}});
    EXPECT_TRUE(contains(texts.fragment, "\tfloat flip = sign(gl_Color.r - 0.5);\n"
                                         "\tstate.normal = normalize(normal) * flip;\n"
                                         "\tstate.backside = (flip < 0.0);\n"));
    EXPECT_TRUE(contains(texts.fragment, "uniform bool _using_depth;\nuniform sampler2DRect _depth_texture;\n\n"));
    EXPECT_TRUE(contains(texts.fragment, "void main()\n{\n\tif (_using_depth) {\n"
                                         "\t\tfloat d = texture2DRect(_depth_texture, gl_FragCoord.xy).x;\n"));
    // Only the exact word "true" turns an option on.
    Texts plain = generate(shader("Vector3 n = normal;"), {{"two_sided", "TRUE"}, {"use_oit", "yes"}});
    EXPECT_TRUE(contains(plain.fragment, "\tstate.normal = normalize(normal);\n"));
    EXPECT_FALSE(contains(plain.fragment, "_using_depth"));
}

TEST(GlSkeleton, LightShaderHasNoMain)
{
    auto unit = compile_clean("shader L {\noutput:\nColor light_color;\nvoid main() {\n"
                        "light_color = Color(1, 1, 1, 1) * light_dot_nl;\n}\n};\n");
    ASSERT_TRUE(unit);
    Texts texts = generate(unit.get(), options_of({}, COMPILER::SHADER_LIGHT, 0));
    EXPECT_TRUE(contains(texts.vertex, "uniform float flip_normal;\n"));
    EXPECT_FALSE(contains(texts.vertex, "main"));
    EXPECT_FALSE(contains(texts.fragment, "void main()"));
    EXPECT_TRUE(contains(texts.fragment, "Light_iterator L_eval(State state)\n{\n"
                                         "\tstate.light_to_surface = state.position - light_position;\n"));
    EXPECT_TRUE(contains(texts.fragment, "uniform vec3 light_position;\nuniform vec3 light_direction;\n"));
    EXPECT_FALSE(contains(texts.fragment, "uniform int light_type"));
    EXPECT_TRUE(contains(texts.fragment, "\tlight_out.contribution = light_out.raw_contribution;\n"
                                         "\tlight_out.point = light_position;\n"));
}

// Messages and robustness

TEST(GlMessages, UnsupportedStateFunctionsLogUnderTheGlModule)
{
    vorn_test::Log_capture log;
    std::string text = root("Matrix4x4 m = get_transform(\"object\", \"world\");\n"
                            "Vector3 p = transform_point(\"object\", \"world\", position);\n"
                            "Color e = reflect_environment(normal) + get_shadowing();\nScalar o = occlusion(Ray(position, normal));");
    EXPECT_TRUE(contains(text, "mat4 ovl_m = mat4(1.0);"));
    EXPECT_TRUE(contains(text, "vec3 ovl_p = state.position;"));
    EXPECT_TRUE(contains(text, "vec4 ovl_e = vec4(0.0) + vec4(1.0);"));
    // The neutral value is an Int: the declared type takes it.
    EXPECT_TRUE(contains(text, "float ovl_o = float(0);"));
    for (const auto& line : log.lines())
        EXPECT_EQ(line.module, SYSTEM::MODULE_GL);
    EXPECT_TRUE(logged(log, SYSTEM::MODULE_GL, GEN_GL::LOG_GET_TRANSFORM, "Unsupported call to get_transform()"));
    EXPECT_TRUE(
        logged(log, SYSTEM::MODULE_GL, GEN_GL::LOG_TRANSFORM_POINT, "Unsupported call to transform_point()"));
}

TEST(GlMessages, NestedDeclarationsAndUnknownStateNumbers)
{
    auto unit = compile_clean(shader("Vector3 p = position;\nresult = Color(1, 1, 1, 1);"));
    ASSERT_TRUE(unit);
    St_node* body = main_body(*unit);
    // The passes reject these; a tree made by hand may hold them.
    SYNTAX_TREE::Node_arena* arena = SYNTAX_TREE::Node_arena::of(body);
    body->add_child(new (arena) St_node(SYNTAX_TREE::NODE_CLASS_DECLARATION, body->file, "struct"));
    body->add_child(new (arena) St_node(SYNTAX_TREE::NODE_FUNCTION_DEFINITION, body->file));
    St_node* reference = first_initialiser(body);
    ASSERT_EQ(reference->kind, SYNTAX_TREE::NODE_STATE_VARIABLE_REFERENCE);
    int32_t unknown = 4000;
    reference->set_binary_text(&unknown, int32_t(sizeof unknown));
    vorn_test::Log_capture log;
    std::string text = root_of(generate(unit.get(), options_of({})).fragment);
    EXPECT_TRUE(contains(text, "vec3 ovl_p = ;"));
    EXPECT_TRUE(log.contains("Unknown state variable 4000"));
    EXPECT_TRUE(log.contains("Nested classes are not supported"));
    EXPECT_TRUE(log.contains("Nested functions are not supported"));
    for (const auto& line : log.lines())
        EXPECT_EQ(line.module, SYSTEM::MODULE_GL);
}

TEST(GlRobustness, DeepNestingStopsWithAMessage)
{
    auto unit = compile_clean(shader("Scalar x = 1.0;\nx = -x;\nresult = Color(x, x, x, 1);"));
    ASSERT_TRUE(unit);
    bury_in_signs(main_body(*unit)->child(1)->first_child->child(1), 100000);
    vorn_test::Log_capture log;
    std::string text = root_of(generate(unit.get(), options_of({})).fragment);
    EXPECT_TRUE(contains(text, "ovl_result = vec4(ovl_x, ovl_x, ovl_x, 1);"));
    bool reported = false;
    for (const auto& line : log.lines())
        reported = reported || (line.module == SYSTEM::MODULE_GL && line.code == GEN_GL::LOG_NESTING_TOO_DEEP &&
                                (contains(line.text, "nesting too deep") || contains(line.text, "Nesting too deep")));
    EXPECT_TRUE(reported);
}

TEST(GlRobustness, LongStatementListsIterate)
{
    std::string body;
    for (int i = 0; i < 20000; ++i)
        body += "x += 1;\n";
    std::string text = root("Scalar x = 0.0;\n" + body + "result = Color(x, x, x, 1);");
    EXPECT_EQ(count_of(text, "ovl_x += float(1);"), 20000u);
}

// The plug-in through the dispatch

TEST(GlPlugin, DispatchGivesOneVertexAndOneFragmentProgram)
{
    auto unit = compile_clean(shader("result = Color(1, 1, 1, 1);"));
    ASSERT_TRUE(unit);
    std::unique_ptr<BACK12::Generated_shader> result(
        COMPILER::mod_compiler->generate_shader(unit.get(), "GL", options_of({})));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->get_code_type(), BACK12::CODE_HARDWARE);
    EXPECT_STREQ(result->get_target(), "GL");
    ASSERT_EQ(result->program_count(), 2u);
    auto* hardware = static_cast<BACK12::Hardware_shader*>(result.get());
    EXPECT_EQ(hardware->vertex_texts.size(), 1u);
    EXPECT_EQ(*result->program_entry_name(0), "main");
    EXPECT_EQ(*result->program_entry_name(1), "main");
    EXPECT_TRUE(contains(*result->program_text(0), "gl_Position = ftransform();"));
    EXPECT_TRUE(contains(*result->program_text(1), "gl_FragColor = S_eval(state);"));
    EXPECT_EQ(COMPILER::mod_compiler->generate_shader(unit.get(), "gl", options_of({})), nullptr);
    auto no_shader = compile_clean("Scalar f(Scalar x) { return x; }\n");
    ASSERT_TRUE(no_shader);
    EXPECT_EQ(COMPILER::mod_compiler->generate_shader(no_shader.get(), "GL", options_of({})), nullptr);

    GEN_GL::Gl_code_generator_plugin plugin;
    EXPECT_STREQ(plugin.get_name(), "Gl_code_generator_plugin");
    EXPECT_STREQ(plugin.get_target_name(), "GL");
    EXPECT_EQ(plugin.get_code_type(), 0);
}

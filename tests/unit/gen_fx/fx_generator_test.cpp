// The FX generator on small shaders: the pieces most likely to break (matrix rule, switch
// lowering, string hashes, constructors, state declarations, debug display), its messages, and
// robustness on trees that the passes would not make.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "compiler/mod_compiler.h"
#include "gen_fx/fx_code_generator.h"
#include "gen_fx/fx_text.h"
#include "support/generator_support.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/st_node.h"
#include "system/module.h"

using namespace QZ;
using QZ::GEN_FX::Fx_code_generator;
using QZ::SYNTAX_TREE::St_node;

namespace {

using namespace vorn_test;

// The annotation map is one that no search path holds, so that no installed map changes the text.
COMPILER::Compile_options fx_options(Attributes attributes, int32_t shader_type = COMPILER::SHADER_SURFACE,
                                     uint8_t complete_program = 1)
{
    COMPILER::Compile_options options = options_of(attributes, shader_type, complete_program);
    options.attributes.emplace("annotation_map", "no_such_map.axml");
    return options;
}

std::string generate(SYNTAX_TREE::Compilation_unit* unit, const COMPILER::Compile_options& options,
                     const BACK12::Debug_display& debug = BACK12::Debug_display())
{
    BACK12::Generator_input input;
    EXPECT_TRUE(BACK12::build_generator_input(unit, options, input, debug));
    Fx_code_generator generator(input, options);
    generator.generate();
    return generator.get_text();
}

std::string generate(const std::string& source, Attributes attributes = {})
{
    auto unit = compile_clean(source);
    return unit ? generate(unit.get(), fx_options(attributes)) : std::string();
}

std::string root_of(const std::string& text) { return function_text(text, "float4 S_eval(State state)"); }

}  // namespace

// Strings

TEST(FxStrings, HashIsTimesFivePlusByteFromZero)
{
    EXPECT_EQ(GEN_FX::fx_string_hash("ab"), 583u);
    EXPECT_EQ(GEN_FX::fx_string_hash(""), 0u);
    // Bytes count as unsigned, and the hash wraps at 32 bits.
    EXPECT_EQ(GEN_FX::fx_string_hash("\xff"), 255u);
    EXPECT_EQ(GEN_FX::fx_string_hash("The quick brown fox jumps"), 612676670u);
}

TEST(FxStrings, LiteralsPrintAsTheirHash)
{
    std::string root = root_of(generate(shader("Int code = \"ab\";\nBool same = \"ab\" == \"ab\";")));
    EXPECT_TRUE(contains(root, "int code = 583;"));
    EXPECT_TRUE(contains(root, "bool same = 583 == 583;"));
}

// The matrix rule

TEST(FxMatrixRule, ProductsPrintAsMulAndSwapWithRowVectors)
{
    std::string source = shader("Vector3 a = basis * v;\nVector3 b = v * basis;\nScalar s = 2.0 * 3.0;",
                                "Matrix3x3 basis;\nVector3 v;");
    std::string plain = root_of(generate(source));
    EXPECT_TRUE(contains(plain, "float3 a = mul(basis, v);"));
    EXPECT_TRUE(contains(plain, "float3 b = mul(v, basis);"));
    EXPECT_TRUE(contains(plain, "float s = 2.0 * 3.0;"));
    std::string swapped = root_of(generate(source, {{"swap_matrix_multiply", "true"}}));
    EXPECT_TRUE(contains(swapped, "float3 a = mul(v, basis);"));
    EXPECT_TRUE(contains(swapped, "float3 b = mul(basis, v);"));
    // HLSL swaps unless told otherwise.
    std::string hlsl = root_of(generate(source, {{"format", "HLSL"}}));
    EXPECT_TRUE(contains(hlsl, "float3 a = mul(v, basis);"));
}

TEST(FxMatrixRule, IdentityFactorsDropOutAlsoThroughAVariable)
{
    std::string root = root_of(generate(shader("Vector4 a = internal_to_camera * p;\n"
                                               "Vector4 b = p * camera_to_internal;\n"
                                               "Matrix4x4 same = internal_to_camera;\n"
                                               "Vector4 c = same * p;\n"
                                               "same = object_to_world;\n"
                                               "Vector4 d = same * p;",
                                               "Vector4 p;")));
    EXPECT_TRUE(contains(root, "float4 a = p;"));
    EXPECT_TRUE(contains(root, "float4 b = p;"));
    EXPECT_TRUE(contains(root, "float4x4 same = " + std::string(GEN_FX::TEXT::identity_matrix) + ";"));
    EXPECT_TRUE(contains(root, "float4 c = p;"));
    // Assigned another transform, the variable is a factor again.
    EXPECT_TRUE(contains(root, "float4 d = mul(same, p);"));
}

TEST(FxMatrixRule, IdentityDeclaresNoParameterAndFoldsInternalSpace)
{
    std::string text = generate(shader("Matrix4x4 m = internal_to_camera * internal_to_world;"));
    EXPECT_FALSE(contains(text, "__internal"));
    EXPECT_TRUE(contains(text, "float4x4 __camera_to_world;"));
    EXPECT_TRUE(contains(root_of(text), "float4x4 m = __camera_to_world;"));
}

// Switch lowering

TEST(FxSwitch, CallSelectorIsSavedOnceAndCountedPerSwitch)
{
    std::string root = root_of(generate(
        "Int f(Int x) { return x; }\n" +
        shader("Int n = 1;\n"
               "switch (f(n)) { case 1: n = 2; break; default: n = 3; }\n"
               "switch (f(2)) { case 4: n = 5; break; }\n"
               "switch (n) { case 6: n = 7; break; }")));
    EXPECT_TRUE(contains(root, "int __switch_value0 = f(n);\n\tif((__switch_value0 == 1))"));
    EXPECT_TRUE(contains(root, "int __switch_value1 = f(2);\n\tif((__switch_value1 == 4))"));
    // A plain variable is its own selector.
    EXPECT_TRUE(contains(root, "if((n == 6))"));
    EXPECT_EQ(count_of(root, "f(n)"), 1u);
    EXPECT_FALSE(contains(root, "break"));
}

TEST(FxSwitch, EmptyLabelsCollectAndDefaultComesLast)
{
    std::string root = root_of(generate(shader("Int n = 1;\nScalar x = 0.0;\n"
                                               "switch (n) {\n"
                                               "default: x = 9.0; break;\n"
                                               "case 1: case 2: case -3: x = 1.0; break;\n"
                                               "case 4: x = 4.0;\n"
                                               "}")));
    const char* expected = "if((n == 1) || (n == 2) || (n == -3))\n"
                           "\t{\n\t\tx = 1.0;\n\t}\n"
                           "\telse\n"
                           "\tif((n == 4))\n"
                           "\t{\n\t\tx = 4.0;\n\t}\n"
                           "\telse\n"
                           "\t{\n\t\tx = 9.0;\n\t}";
    EXPECT_TRUE(contains(root, expected)) << root;
}

TEST(FxSwitch, BreakOnlyDropsAtTheEndOfACase)
{
    std::string root = root_of(generate(shader("Int n = 1;\n"
                                               "switch (n) { case 1: while (n < 3) { n++; break; } break; }")));
    EXPECT_EQ(count_of(root, "break;"), 1u) << root;
}

// Constructors, names and calls

TEST(FxConstructors, SplatInBodyAndInParameterDefault)
{
    std::string source = shader("Vector3 v = Vector3(x);", "Vector3 tint = Vector3(0.5);\nScalar x = 1.0;");
    std::string hlsl = generate(source, {{"format", "HLSL"}});
    EXPECT_TRUE(contains(root_of(hlsl), "float3 v = __float3_ctor(x);"));
    EXPECT_TRUE(contains(hlsl, "float3 tint = float3(0.5, 0.5, 0.5);"));
    std::string cgfx = generate(source);
    EXPECT_TRUE(contains(root_of(cgfx), "float3 v = float3(x);"));
    EXPECT_TRUE(contains(cgfx, "float3 tint = float3(0.5);"));
}

TEST(FxConstructors, StructsUseTheirHlslConstructorExceptInInitialisers)
{
    std::string source = "struct Pair { Scalar a; Vector3 point; };\n" +
                         shader("Pair p = Pair(1.0, v);\np.point = v;", "Vector3 v = Vector3(1, 2, 3);");
    std::string hlsl = generate(source, {{"format", "HLSL"}});
    EXPECT_TRUE(contains(hlsl, "Pair __Pair_ctor(\n\t\tfloat a,\n\t\tfloat3 _point)\n{\n\tPair s;\n"
                               "\ts.a = a;\n\ts._point = _point;\n\treturn s;\n}\n"));
    EXPECT_TRUE(contains(root_of(hlsl), "Pair p = __Pair_ctor(1.0, v);"));
    // A variable named point prints _point, also as a struct field.
    EXPECT_TRUE(contains(root_of(hlsl), "p._point = v;"));
    EXPECT_TRUE(contains(hlsl, "struct Pair {\n\tfloat a;\n\tfloat3 _point;\n};\n"));
    EXPECT_TRUE(contains(root_of(generate(source)), "Pair p = Pair(1.0, v);"));
}

TEST(FxConstructors, MatrixFromOneValueIsACast)
{
    std::string root = root_of(generate(shader("Matrix3x3 m = Matrix3x3(2.0 + 1.0);")));
    EXPECT_TRUE(contains(root, "float3x3 m = (float3x3)(2.0 + 1.0);"));
}

TEST(FxCalls, FunctionAndIdentifierMaps)
{
    std::string root = root_of(generate(shader("Scalar min = 1.0;\nScalar max = 2.0;\n"
                                               "Vector4 l = illumination(min, max, 8.0);\n"
                                               "Scalar m = min(min, max);")));
    EXPECT_TRUE(contains(root, "float _min = 1.0;"));
    EXPECT_TRUE(contains(root, "float4 l = lit(_min, _max, 8.0);"));
    // A call keeps its name: only variables are renamed.
    EXPECT_TRUE(contains(root, "float m = min(_min, _max);"));
}

TEST(FxCalls, ReachableFunctionsOnly)
{
    std::string text = generate("Scalar used(Scalar x) { return x; }\nScalar unused(Scalar x) { return x; }\n" +
                                shader("Scalar y = used(1.0);"));
    EXPECT_TRUE(contains(text, "float used(float x)"));
    EXPECT_FALSE(contains(text, "unused"));
}

TEST(FxExpressions, ParenthesesFollowTheTree)
{
    std::string root = root_of(generate(shader("Scalar a = 1.0;\nScalar b = 2.0;\nBool p = true;\nBool q = false;\n"
                                               "a = a - (b - 1.0);\na = (a + b) * -(-b);\n"
                                               "p = (p ^^ q) && a < b;")));
    EXPECT_TRUE(contains(root, "a = a - (b - 1.0);"));
    EXPECT_TRUE(contains(root, "a = (a + b) * -(-b);"));
    EXPECT_TRUE(contains(root, "p = (bool(p) != bool(q)) && a < b;"));
}

TEST(FxStatements, LightLoopWalksTheAttachmentsOnlyWithInterfaces)
{
    std::string source = shader("Light_iterator light;\nColor sum = Color(0, 0, 0, 0);\n"
                                "foreach (light) { sum += light.contribution; }\nresult = sum;");
    std::string with = root_of(generate(source, {{"interfaces", "true"}, {"light_list_name", "__lamps"}}));
    EXPECT_TRUE(contains(with, "for (int light_index=0;\n\t     light_index < __lamps.length;\n"
                               "\t     light_index++)\n\t{\n"
                               "\t\tlight = __lamps[light_index].eval(state); light.count = light_index;\n"
                               "\t\tsum += light.contribution;\n\t}\n"))
        << with;
    // Without attachments there is no light to walk.
    std::string without = root_of(generate(source));
    EXPECT_FALSE(contains(without, "light_index"));
    EXPECT_FALSE(contains(without, "light.contribution"));
}

TEST(FxDialects, EnumsAndArrayCountsInHlsl)
{
    std::string source = "enum Mode { ONE, FIVE = 5, SIX };\n" +
                         shader("Scalar w[3];\nInt n = w.count;\nMode m = SIX;\nresult = Color(n, m, 0, 1);");
    std::string cgfx = generate(source);
    EXPECT_TRUE(contains(cgfx, "enum Mode {\n\tONE = 0,\n\tFIVE = 5,\n\tSIX = 6,\n};\n\n"));
    EXPECT_TRUE(contains(root_of(cgfx), "int n = w.length;"));
    EXPECT_TRUE(contains(root_of(cgfx), "int m = 6;"));
    std::string hlsl = generate(source, {{"format", "HLSL"}});
    EXPECT_TRUE(contains(hlsl, "// enum Mode\nstatic const int ONE = 0;\nstatic const int FIVE = 5;\n"
                               "static const int SIX = 6;\n\n"));
    EXPECT_TRUE(contains(root_of(hlsl), "int n = 3;"));
}

// The skeleton

TEST(FxSkeleton, BannerIsSixLinesOf79Characters)
{
    std::string text = generate(shader("result = Color(1, 1, 1, 1);"));
    size_t start = 0;
    for (int line = 0; line < 6; ++line) {
        size_t end = text.find('\n', start);
        ASSERT_NE(end, std::string::npos);
        EXPECT_EQ(end - start, 79u) << "banner line " << line;
        start = end + 1;
    }
    EXPECT_EQ(text.compare(0, 2, "/*"), 0);
    EXPECT_EQ(text.compare(start - 3, 3, "*/\n"), 0);
    EXPECT_EQ(text[start], '\n');
}

TEST(FxSkeleton, HlslIgnoresTwoSidedAndInterfaces)
{
    std::string source = shader("Bool back = backside;\nresult = Color(normal, 1);");
    std::string forced = generate(source, {{"format", "HLSL"}, {"two_sided", "true"}, {"interfaces", "true"}});
    EXPECT_EQ(forced, generate(source, {{"format", "HLSL"}}));
    EXPECT_FALSE(contains(forced, "interface "));
    EXPECT_TRUE(contains(root_of(forced), "bool back = false;"));
}

TEST(FxSkeleton, WholeProgramDeclaresTheVertexTransformsAndPositionWithoutStateReads)
{
    std::string text = generate(shader("result = Color(1, 1, 1, 1);"));
    EXPECT_TRUE(contains(text, "\tfloat3 position : TEXCOORD0;\n"));
    EXPECT_TRUE(contains(text, "\tstate.position = fs_in.position;\n"));
    EXPECT_TRUE(contains(text, "float4x4 __object_to_camera;\nfloat4x4 __object_to_raster;\n"
                               "float4x4 __camera_to_object;\n"));
    EXPECT_FALSE(contains(text, "__object_to_world"));
    EXPECT_TRUE(contains(generate(shader("result = Color(1, 1, 1, 1);"), {{"two_sided", "true"}}),
                         "float4x4 __object_to_world;"));
    EXPECT_TRUE(contains(generate(shader("result = Color(1, 1, 1, 1);"), {{"screen_space_vertices", "true"}}),
                         "float4x4 __raster_to_camera;"));

    auto unit = compile_clean(shader("result = Color(1, 1, 1, 1);"));
    std::string component = generate(unit.get(), fx_options({}, COMPILER::SHADER_ENVIRONMENT, 0));
    EXPECT_FALSE(contains(component, "__object_to_camera"));
    EXPECT_TRUE(contains(component, "struct S : IColor\n{\n"));
    EXPECT_TRUE(contains(component, "\tfloat4 eval(State state)\n"));
}

TEST(FxSkeleton, RefractionDeclaresTheIndices)
{
    std::string text = generate(shader("result = refract_environment(normal);"), {{"interfaces", "true"}});
    EXPECT_TRUE(contains(text, "float __refracted_ior = 1.01;"));
    EXPECT_TRUE(contains(text, "float __incident_ior = 1.0;"));
    EXPECT_TRUE(contains(root_of(text), "result = __refract_environment(state, __environment_shader, "
                                        "__refracted_ior/__incident_ior);"));
}

TEST(FxSkeleton, StateStructHoldsWhatTheFragmentMainWrites)
{
    // Volume evaluation is on by default in CgFX and reads the ray length.
    std::string text = generate(shader("result = Color(1, 1, 1, 1);"));
    EXPECT_TRUE(contains(text, "\tfloat ray_length;\n"));
    EXPECT_TRUE(contains(text, "\tstate.ray_length = length(state.position);\n"));
    // dot_nd is derived from the direction and the normal.
    std::string facing = generate(shader("result = Color(dot_nd, 0, 0, 1);"), {{"format", "HLSL"}});
    EXPECT_TRUE(contains(facing, "\tfloat3 direction;\n"));
    EXPECT_TRUE(contains(facing, "\tfloat3 normal;\n"));
}

TEST(FxSkeleton, LightComponentDeclaresItsValuesAsMembers)
{
    auto unit = compile_clean(shader("light_color = Color(1, 1, 1, 1);", "", "Color light_color;"));
    std::string text = generate(unit.get(), fx_options({}, COMPILER::SHADER_LIGHT, 0));
    EXPECT_TRUE(contains(text, "struct S : ILight\n{\n\tfloat3 __light_position;\n\tfloat3 __light_direction;\n"
                               "\tint __light_type;\n"));
    EXPECT_TRUE(contains(text, "\tLight_iterator eval(State state)\n"));
    EXPECT_TRUE(contains(text, "\t\t__light_out.contribution = __light_out.raw_contribution;\n"));
}

// Debug display

TEST(FxDebug, MatrixRowComesFromTheNameSuffix)
{
    auto unit = compile_clean(shader("Matrix4x4 m = object_to_world;\nresult = Color(1, 1, 1, 1);"));
    BACK12::Debug_display debug;
    debug.name = "m[2]";
    debug.index = 0;
    std::string root = root_of(generate(unit.get(), fx_options({}), debug));
    EXPECT_TRUE(contains(root, "\tif (!__debug_generated_flag && __debug_use_discard) discard;\n"
                               "\tif (__debug_map_to_color) debug(float4(abs(determinant(m)), 0, 0, 1));\n"
                               "\telse debug(m[2]);\n\treturn result;"))
        << root;
}

TEST(FxDebug, WatchOnlyInLoopsAndNotInHlsl)
{
    std::string source = shader("Scalar s = 0.0;\ns = 1.0;\nfor (Int i = 0; i < 2; i++) s += 1.0;\n"
                                "result = Color(s, s, s, 1);");
    auto unit = compile_clean(source);
    BACK12::Debug_display debug;
    debug.name = "s";
    debug.index = 1;
    std::string cgfx = root_of(generate(unit.get(), fx_options({}), debug));
    EXPECT_EQ(count_of(cgfx, "__debug_loop_count++==__debug_loop_break"), 1u);
    // A single statement body gets braces, so the watch stays in the loop.
    EXPECT_TRUE(contains(cgfx, "for (int i = 0; i < 2; i++)\n\t{\n\t\ts += 1.0;\n\t\tif (__debug_loop_count++"));
    std::string hlsl = root_of(generate(unit.get(), fx_options({{"format", "HLSL"}}), debug));
    EXPECT_EQ(count_of(hlsl, "__debug_loop_count"), 0u);
    EXPECT_TRUE(contains(hlsl, "discard;"));
}

TEST(FxDebug, ParametersAreGuardedAndDeclaredOnce)
{
    std::string text = generate(shader("result = Color(1, 1, 1, 1);"), {{"debug", "true"}});
    EXPECT_TRUE(contains(text, "#ifndef __DEBUG_MAP_TO_COLOR\n#define __DEBUG_MAP_TO_COLOR\n"
                               "bool __debug_map_to_color = true;\n#endif\n\n#ifndef __DEBUG_RANGE_MIN\n"));
    EXPECT_EQ(count_of(text, "#ifndef __DEBUG_"), 8u);
    // Without a debug index there is no epilogue.
    EXPECT_FALSE(contains(text, "discard;"));
}

// Messages and robustness

TEST(FxMessages, UnsupportedStateFunctionsLogAndGoOn)
{
    vorn_test::Log_capture log;
    std::string root = root_of(generate(shader("Vector3 p = transform_point(\"object\", \"world\", position);\n"
                                               "Vector3 n = transform_normal(\"object\", \"world\", normal);")));
    EXPECT_TRUE(contains(root, "float3 p = state.position;"));
    EXPECT_TRUE(contains(root, "float3 n = state.normal;"));
    for (const auto& line : log.lines())  // the unit tests have no annotation map, which is warned about
        EXPECT_TRUE(line.module == SYSTEM::MODULE_FX || line.module == SYSTEM::MODULE_STR) << line.text;
    EXPECT_TRUE(logged(log, SYSTEM::MODULE_FX, GEN_FX::LOG_TRANSFORM_POINT, "Unsupported call to transform_point()"));
    EXPECT_TRUE(logged(log, SYSTEM::MODULE_FX, GEN_FX::LOG_TRANSFORM_VECTOR,
                        "Unsupported call to transform_vector/normal()"));
}

TEST(FxMessages, LightIteratorArgumentsAndNestedDeclarations)
{
    auto unit = compile_clean(shader("Light_iterator l = Light_iterator();\nresult = Color(1, 1, 1, 1);"));
    ASSERT_TRUE(unit);
    St_node* body = main_body(*unit);
    // The passes reject both; a tree made by hand may hold them.
    St_node* call = first_initialiser(body);
    ASSERT_NE(call, nullptr);
    add_int_argument(call);
    SYNTAX_TREE::Node_arena* arena = SYNTAX_TREE::Node_arena::of(body);
    body->add_child(new (arena) St_node(SYNTAX_TREE::NODE_CLASS_DECLARATION, call->file, "struct"));
    body->add_child(new (arena) St_node(SYNTAX_TREE::NODE_FUNCTION_DEFINITION, call->file));

    vorn_test::Log_capture log;
    std::string root = root_of(generate(unit.get(), fx_options({})));
    EXPECT_TRUE(contains(root, "Light_iterator l = Light_iterator(float3(0,0,0), float4(0,0,0,0), "
                               "float4(0,0,0,0),0, float3(0,0,0), 0, float4(0,0,0,0), 0);"));
    EXPECT_TRUE(log.contains("Light_iterator parameters not supported"));
    EXPECT_TRUE(log.contains("Nested classes are not supported"));
    EXPECT_TRUE(log.contains("Nested functions are not supported"));
}

TEST(FxRobustness, DeepNestingStopsWithAMessage)
{
    auto unit = compile_clean(shader("Scalar x = 1.0;\nx = -x;\nresult = Color(x, x, x, 1);"));
    ASSERT_TRUE(unit);
    // Far deeper than any source would nest.
    bury_in_signs(main_body(*unit)->child(1)->first_child->child(1), 100000);
    vorn_test::Log_capture log;
    std::string root = root_of(generate(unit.get(), fx_options({})));
    EXPECT_TRUE(contains(root, "result = float4(x, x, x, 1);"));
    bool reported = false;
    for (const auto& line : log.lines())
        reported = reported || (line.code == GEN_FX::LOG_NESTING_TOO_DEEP && contains(line.text, "nesting too deep"));
    EXPECT_TRUE(reported);
}

TEST(FxRobustness, BracesInSourceAndHostTextKeepTheLayout)
{
    std::string text = generate(shader("result = c;", "Color c = Color(1, 1, 1, 1) { author(\"}}\"); };\n"
                                                      "Texture2d t = \"{odd}.dds\";"),
                                {{"fx_header", "} }"}, {"fx_footer", "{"}, {"technique_annotations", "}"}});
    EXPECT_TRUE(contains(text, "string author = \"}}\";\n"));
    EXPECT_TRUE(contains(text, "string File = \"{odd}.dds\";\n"));
    EXPECT_TRUE(contains(text, "struct App2vert\n{\n\tfloat4 position : POSITION;\n"));
    EXPECT_TRUE(contains(text, "\tpass P0\n\t{\n\t\tVertexShader"));
}

TEST(FxRobustness, LongStatementListsIterate)
{
    std::string body;
    for (int i = 0; i < 20000; ++i)
        body += "x += 1.0;\n";
    std::string root = root_of(generate(shader("Scalar x = 0.0;\n" + body + "result = Color(x, x, x, 1);")));
    EXPECT_EQ(count_of(root, "x += 1.0;"), 20000u);
}

// The plug-in through the dispatch

TEST(FxPlugin, DispatchGivesOneFragmentProgram)
{
    auto unit = compile_clean(shader("result = Color(1, 1, 1, 1);"));
    ASSERT_TRUE(unit);
    std::unique_ptr<BACK12::Generated_shader> result(
        COMPILER::mod_compiler->generate_shader(unit.get(), "FX", fx_options({})));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->get_code_type(), BACK12::CODE_HARDWARE);
    EXPECT_STREQ(result->get_target(), "FX");
    ASSERT_EQ(result->program_count(), 1u);
    auto* hardware = static_cast<BACK12::Hardware_shader*>(result.get());
    EXPECT_TRUE(hardware->vertex_texts.empty());
    EXPECT_EQ(*result->program_entry_name(0), "fragment_main");
    EXPECT_TRUE(contains(*result->program_text(0), "technique T0"));
    EXPECT_EQ(COMPILER::mod_compiler->generate_shader(unit.get(), "fx", fx_options({})), nullptr);
    auto no_shader = compile_clean("Scalar f(Scalar x) { return x; }\n");
    ASSERT_TRUE(no_shader);
    EXPECT_EQ(COMPILER::mod_compiler->generate_shader(no_shader.get(), "FX", fx_options({})), nullptr);
}

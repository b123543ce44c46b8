// The Cg generator on small shaders: where its main files go and what a missing one does, the
// state names that are easy to get wrong (a shared name, the front-face test, the identity),
// the members that lights, environments, shadows and volumes need, and its messages.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "compiler/mod_compiler.h"
#include "gen_cg/cg_code_generator.h"
#include "gen_cg/cg_code_generator_plugin.h"
#include "support/generator_support.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "system/mod_string.h"

using namespace QZ;
using QZ::GEN_CG::Cg_code_generator;

namespace {

using namespace vorn_test;

std::unique_ptr<SYNTAX_TREE::Compilation_unit> compile_clean_unit(const std::string& source)
{
    return compile_clean(source, true);
}

std::string generate(SYNTAX_TREE::Compilation_unit* unit, const COMPILER::Compile_options& options,
                     const BACK12::Debug_display& debug = BACK12::Debug_display())
{
    BACK12::Generator_input input;
    EXPECT_TRUE(BACK12::build_generator_input(unit, options, input, debug));
    Cg_code_generator generator(input, options);
    generator.generate();
    return generator.get_text();
}

// A component unless the options say otherwise.
std::string cg_text(const std::string& source, Attributes attributes = {},
                    int32_t shader_type = COMPILER::SHADER_SURFACE)
{
    auto unit = compile_clean(source, true);
    return unit ? generate(unit.get(), options_of(attributes, shader_type, 0)) : std::string();
}

// The "shader" path set to one directory for the life of the object; the old lists come back.
class Shader_path {
public:
    explicit Shader_path(const std::string& directory)
    {
        const SYSTEM::Path_set* set = SYSTEM::mod_string->find_path_set("shader");
        for (int i = 0; i < 3; ++i) {
            const std::string* list = set ? set->list(i) : nullptr;
            saved_[i] = list ? *list : std::string();
            SYSTEM::mod_string->set_path(i, "shader", i == 0 ? directory.c_str() : "");
        }
    }
    ~Shader_path()
    {
        for (int i = 0; i < 3; ++i)
            SYSTEM::mod_string->set_path(i, "shader", saved_[i].c_str());
    }

private:
    std::string saved_[3];
};

void write_file(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::unique_ptr<BACK12::Hardware_shader> generate_result(SYNTAX_TREE::Compilation_unit* unit, uint8_t complete)
{
    GEN_CG::Cg_code_generator_plugin plugin;
    BACK12::Generated_shader* result = plugin.generate(unit, options_of({}, COMPILER::SHADER_SURFACE, complete));
    return std::unique_ptr<BACK12::Hardware_shader>(static_cast<BACK12::Hardware_shader*>(result));
}

}  // namespace

TEST(CgPrograms, MainFilesStandBeforeTheGeneratedTextAndOnlyInAWholeProgram)
{
    std::string directory = vorn_test::make_temp_dir("cg_main_files");
    write_file(directory + "/main_v.cg", "// vertex main\n");
    write_file(directory + "/main_vorn_nimbal_f.cg", "// fragment main\n");
    Shader_path path(directory);
    auto unit = compile_clean_unit(shader("result = Color(1, 0, 0, 1);"));
    ASSERT_TRUE(unit);

    auto whole = generate_result(unit.get(), 1);
    ASSERT_TRUE(whole);
    EXPECT_STREQ(whole->get_target(), "Cg");
    ASSERT_EQ(whole->vertex_texts.size(), 1u);
    ASSERT_EQ(whole->fragment_texts.size(), 2u);
    EXPECT_EQ(whole->vertex_texts[0], "// vertex main\n");
    EXPECT_EQ(whole->fragment_texts[0], "// fragment main\n");
    EXPECT_TRUE(contains(whole->fragment_texts[1], "struct S : qziColor\n{\n"));

    // Without complete_program the same generated text stands alone.
    auto part = generate_result(unit.get(), 0);
    ASSERT_TRUE(part);
    EXPECT_TRUE(part->vertex_texts.empty());
    ASSERT_EQ(part->fragment_texts.size(), 1u);
    EXPECT_EQ(part->fragment_texts[0], whole->fragment_texts[1]);
}

TEST(CgPrograms, AMissingMainFileLogsAndGivesNull)
{
    auto unit = compile_clean_unit(shader("result = Color(1, 0, 0, 1);"));
    ASSERT_TRUE(unit);
    std::string only_fragment = vorn_test::make_temp_dir("cg_only_fragment");
    write_file(only_fragment + "/main_vorn_nimbal_f.cg", "// fragment main\n");
    {
        Shader_path path(only_fragment);
        vorn_test::Log_capture log;
        EXPECT_FALSE(generate_result(unit.get(), 1));
        EXPECT_TRUE(log.contains("The main file for vertex program was not found"));
    }
    std::string only_vertex = vorn_test::make_temp_dir("cg_only_vertex");
    write_file(only_vertex + "/main_v.cg", "// vertex main\n");
    {
        Shader_path path(only_vertex);
        vorn_test::Log_capture log;
        EXPECT_FALSE(generate_result(unit.get(), 1));
        EXPECT_TRUE(log.contains("The main file for fragment program was not found"));
        // A component needs no main file.
        EXPECT_TRUE(generate_result(unit.get(), 0));
    }
}

TEST(CgState, SharedNamesFrontFaceAndIdentity)
{
    std::string text = cg_text(shader("Scalar a = shutter_duration + shutter_position;\n"
                                       "Matrix4x4 m = internal_to_camera;\n"
                                       "Vector4 p = internal_to_camera * Vector4(position, 1.0);\n"
                                       "Vector2 uv = parametric_uv;\n"
                                       "Vector3 t = texture_dv[0];\n"
                                       "if (backside) a = -a;\n"
                                       "result = Color(a, uv.x, t.x + p.x, m[0][0]);"));
    // Number 26 reads the name of number 25, which the struct holds once.
    EXPECT_TRUE(contains(text, "float a = qzShutterDuration + qzShutterDuration;"));
    EXPECT_EQ(count_of(text, "\tfloat qzShutterDuration;\n"), 1u);
    EXPECT_TRUE(contains(text, "if ((state.frontface.r < 1.0))"));
    // The identity is a matrix, and a product with it is the other factor.
    EXPECT_TRUE(contains(text, "float4x4 m = float4x4(1,0,0,0, 0,1,0,0, 0,0,1,0, 0,0,0,1);"));
    EXPECT_TRUE(contains(text, "float4 p = float4(state.position, 1.0);"));
    EXPECT_TRUE(contains(text, "float2 uv = state.texCoord[0].xy;"));
    EXPECT_TRUE(contains(text, "float3 t = state.tangent[0];"));
    EXPECT_FALSE(contains(text, "qzCameraToCamera"));
}

TEST(CgMembers, LightsEnvironmentShadowAndTheLightsArrayName)
{
    std::string source = shader("Light_iterator light;\nColor sum = Color(0, 0, 0, 0);\n"
                                "foreach (light) { sum += light.contribution; }\n"
                                "result = sum + reflect_environment() + refract_environment() + get_shadowing();");
    std::string text = cg_text(source);
    EXPECT_TRUE(contains(text, "struct S : qziColor\n{\n\tfloat qzSurfaceIOR;\n\tfloat qzOutsideIOR;\n"
                               "\tqziLight __lights[];\n\tqziColor qzRayEnvironment;\n\tqziColor qzShadowMap;\n"));
    EXPECT_TRUE(contains(text, "light_index < __lights.length;"));
    EXPECT_TRUE(contains(text, "light = __lights[light_index].eval(state); light.count = light_index;\n"));
    EXPECT_TRUE(contains(text, "qz_reflect_env(state, qzRayEnvironment)"));
    EXPECT_TRUE(contains(text, "qz_refract_env(state, qzRayEnvironment, qzSurfaceIOR/qzOutsideIOR)"));
    EXPECT_TRUE(contains(text, "qz_shadowmap(state, qzShadowMap)"));
    EXPECT_FALSE(contains(text, "= lights;"));

    // The renderer's array is "lights", copied into the name that the loop walks.
    std::string hald3 = cg_text(source, {{"target_product", "hald3"}});
    EXPECT_TRUE(contains(hald3, "\tqziLight lights[];\n"));
    EXPECT_TRUE(contains(hald3, "\t\tqziLight __lights[] = lights;\n"));
    EXPECT_TRUE(contains(hald3, "light_index < __lights.length;"));
    // Only that exact value names the renderer.
    std::string other = cg_text(source, {{"target_product", "Hald3"}});
    EXPECT_TRUE(contains(other, "\tqziLight __lights[];\n"));
    EXPECT_FALSE(contains(other, "= lights;"));
}

TEST(CgMembers, ALightHasItsPlaceDirectionAndTypeOnce)
{
    std::string text = cg_text(shader("if (light_type == \"light_infinite\")\n"
                                       "    result = Color(light_distance, light_dot_nl, 0, 1);\n"
                                       "else\n"
                                       "    result = Color(light_to_surface, 1);"),
                                {}, COMPILER::SHADER_LIGHT);
    EXPECT_TRUE(contains(text, "struct S : qziLight\n{\n\tfloat3 qzLightOrigin;\n\tfloat3 qzLightDir;\n"
                               "\tint qzLightType;\n\tqzsLightOut eval(State state)\n\t{\n"));
    EXPECT_EQ(count_of(text, "qzLightType;"), 1u);
    // The prologue's values are locals, not members.
    EXPECT_FALSE(contains(text, "\tfloat qzLightDistance;\n\tfloat3"));
    EXPECT_TRUE(contains(text, "\t\tfloat qzLightDistance;\n\t\tfloat3 qzSurfaceDir;\n"));
    EXPECT_TRUE(contains(text, "if (qzLightType == LIGHT_INFINITE)"));
    EXPECT_TRUE(contains(text, "\t\tfloat3 qzLightToSurface = -qzSurfaceDir;\n"));
    EXPECT_TRUE(contains(text, "\t\tqzs_light_out.contribution = qzs_light_out.raw_contribution;\n"));
    EXPECT_TRUE(contains(text, "\t\treturn qzs_light_out;\n\t}\n};\n"));
}

TEST(CgMembers, AVolumeEvaluatesItsInput)
{
    std::string text = cg_text(shader("result = volume_input * 0.5;"), {}, COMPILER::SHADER_VOLUME);
    EXPECT_TRUE(contains(text, "struct S : qziColor\n{\n\tqziColor    input;\n"));
    EXPECT_TRUE(contains(text, "\t\tfloat4 result;\n\t\tfloat4 volume_input;\n"
                               "\t\tvolume_input = input.eval(state);\n\t\tresult = volume_input * 0.5;\n"));
}

TEST(CgResults, BooleansAndVectorsBecomeAColour)
{
    EXPECT_TRUE(contains(cg_text(shader("b = true;", "", "Bool b;")),
                         "\t\treturn b ? float4(1,1,1,1) : float4(0,0,0,0);\n"));
    EXPECT_TRUE(contains(cg_text(shader("v = Vector2(1, 2);", "", "Vector2 v;")),
                         "\t\treturn float4(v.x, v.y, 0.0, 1.0);\n"));
    EXPECT_TRUE(contains(cg_text(shader("m = Matrix3x3(1,0,0, 0,1,0, 0,0,1);", "", "Matrix3x3 m;")),
                         "\t\treturn m[0][0];\n"));
}

TEST(CgMessages, SampleLoopsAndLightIteratorArguments)
{
    vorn_test::Log_capture log;
    std::string text = cg_text(shader("Scalar total = 0.0;\nSample_iterator samples = Sample_iterator(4);\n"
                                       "foreach (samples) { total += samples.sample; }\n"
                                       "result = Color(total, 0, 0, 1);"));
    EXPECT_TRUE(log.contains("foreach is currently only supported for lights"));
    // The body runs once with the iterator's constant.
    EXPECT_TRUE(contains(text, "total += 0.0;"));

    auto unit = compile_clean_unit(shader("Light_iterator l = Light_iterator();\nresult = Color(1, 1, 1, 1);"));
    ASSERT_TRUE(unit);
    SYNTAX_TREE::St_node* call = first_initialiser(main_body(*unit));
    ASSERT_NE(call, nullptr);
    add_int_argument(call);
    std::string built = generate(unit.get(), options_of({}, COMPILER::SHADER_SURFACE, 0));
    EXPECT_TRUE(contains(built, "qzsLightOut l = qzsLightOut(float3(0,0,0), float4(0,0,0,0), "
                                "float4(0,0,0,0),0, 0, float3(0,0,0), 0, float4(0,0,0,0), 0);"));
    EXPECT_TRUE(log.contains("Light_iterator parameters not supported"));
}

namespace {

// The type hook, which only a linked unit's interface parameters reach.
class Type_names : public Cg_code_generator {
public:
    using Cg_code_generator::Cg_code_generator;
    using Cg_code_generator::type_name;
};

}  // namespace

TEST(CgTypes, InterfaceMarkedTypesPrintAsTheirInterface)
{
    auto unit = compile_clean_unit(shader("result = Color(1, 1, 1, 1);"));
    ASSERT_TRUE(unit);
    COMPILER::Compile_options options = options_of({}, COMPILER::SHADER_SURFACE, 0);
    BACK12::Generator_input input;
    ASSERT_TRUE(BACK12::build_generator_input(unit.get(), options, input));
    Type_names names(input, options);
    EXPECT_EQ(names.type_name("Color__interface__"), "qziColor");
    EXPECT_EQ(names.type_name("__interface__Scalar"), "qziScalar");
    EXPECT_EQ(names.type_name("Matrix4x4__interface__"), "qziMatrix");
    // A type with no interface of its own keeps its target name.
    EXPECT_EQ(names.type_name("Vector2__interface__"), "float2");
    EXPECT_EQ(names.type_name("Light_iterator"), "qzsLightOut");
    EXPECT_EQ(names.type_name("Color"), "float4");
}

TEST(CgDebug, TheWatchedValueShowsBeforeTheReturnByItsType)
{
    auto unit = compile_clean_unit(shader("Scalar weights[3];\nweights[0] = 0.5; weights[1] = 0.25; weights[2] = 1.0;\n"
                               "Vector3 v = Vector3(1, 0, 0);\nresult = Color(v, weights[1]);"));
    ASSERT_TRUE(unit);
    auto watched = [&](const char* name) {
        BACK12::Debug_display debug;
        debug.name = name;
        debug.index = 0;
        return generate(unit.get(), options_of({}, COMPILER::SHADER_SURFACE, 0), debug);
    };
    EXPECT_TRUE(contains(watched("weights[2]"), "\t\tdebug(weights[2]);\n\t\treturn result;\n"));
    EXPECT_TRUE(contains(watched("v"), "\t\tdebug(float4(abs(fmod(((v)*0.5)+0.5, 1)), 1));\n"));
    EXPECT_TRUE(contains(watched("result"), "\t\tdebug(abs(fmod(result, 1)));\n"));
    // A state variable shows through its Cg name.
    EXPECT_TRUE(contains(watched("normal"), "\t\tdebug(float4(abs(fmod(((state.normal)*0.5)+0.5, 1)), 1));\n"));
    // Without a debug index nothing is shown.
    EXPECT_FALSE(contains(cg_text(shader("result = Color(1, 1, 1, 1);")), "debug("));
}

// The software generator on small shaders: the messages of writes to read-only state and their
// exact spellings, the texts of writes and derivatives, shaders sharing one file, the plug-in's
// names, and a unit without a function.
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "back12/generated_shader.h"
#include "back12/generator_input.h"
#include "compiler/mod_compiler.h"
#include "gen_swrc/swrc_code_generator.h"
#include "gen_swrc/swrc_code_generator_plugin.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"

using namespace QZ;

namespace {

using Attributes = std::initializer_list<std::pair<const char*, const char*>>;

std::unique_ptr<SYNTAX_TREE::Compilation_unit> compile(const std::string& source)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(
        COMPILER::mod_compiler->compile_text("swrc_test.ovl", source.c_str(), &errors));
    EXPECT_TRUE(errors.empty() && unit && unit->errors().empty()) << "the test source has errors";
    return unit;
}

std::unique_ptr<BACK12::Software_shader> generate(const std::string& source, Attributes attributes = {})
{
    auto unit = compile(source);
    if (!unit)
        return nullptr;
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    for (const auto& attribute : attributes) {
        if (std::string(attribute.first) == "shader_name")
            options.shader_name = attribute.second;
        else
            options.attributes[attribute.first] = attribute.second;
    }
    GEN_SWRC::Swrc_code_generator_plugin plugin;
    return std::unique_ptr<BACK12::Software_shader>(
        static_cast<BACK12::Software_shader*>(plugin.generate(unit.get(), options)));
}

std::string cpp_text(const std::string& source, Attributes attributes = {})
{
    auto result = generate(source, attributes);
    return result && !result->texts.empty() ? result->texts[0] : std::string();
}

std::string shader(const std::string& body, const std::string& name = "S")
{
    return "shader " + name + " {\noutput:\nColor result;\nvoid main() {\n" + body + "\n}\n};\n";
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST(SwrcState, ReadOnlyStateWritesAreLeftOutWithTheirOwnSpellings)
{
    const std::pair<const char*, const char*> cases[] = {
        {"world_to_object = world_to_camera;", "assignment to const state variable worl_to_object"},
        {"world_to_internal = world_to_camera;", "assignment to const state variable worl_to_internal"},
        {"raster_to_world = world_to_camera;", "assignment to const state variable raster_to_worl"},
        {"direction = normal;", "assignment to const state variable direction"},
        {"texture_dv[0] = normal;", "assignment to const state variable texture_du"},
        {"texture_du[0] = normal;", "assignment to const state variable dot_dv"},
        {"texture_tangent[1] = normal;", "assignment to const state variable texture_tangent"},
        {"ray_length = 1.0;", "assignment to const state variable ray_length"},
        {"animation_time = 1.0;", "assignment to const state variable animation_time"},
    };
    for (const auto& item : cases) {
        vorn_test::Log_capture log;
        std::string text = cpp_text(shader(std::string(item.first) + "\nresult = Color(1, 1, 1, 1);"));
        EXPECT_TRUE(log.contains(item.second)) << item.first;
        // The statement is left out; the rest of the body stands.
        EXPECT_FALSE(contains(text, "state->set_")) << item.first;
        EXPECT_TRUE(contains(text, "result->ovl_result = Vector4(1, 1, 1, 1);")) << item.first;
    }
    // Writing these two transforms is left out without a word.
    vorn_test::Log_capture log;
    cpp_text(shader("camera_to_world = world_to_camera; camera_to_object = world_to_camera;"));
    EXPECT_FALSE(log.contains("assignment to const state variable"));
}

TEST(SwrcState, WritesGoThroughSettersAndDerivativesReadTheirSymbols)
{
    std::string text = cpp_text(shader("position = normal;\nimportance += 0.5;\n"
                                       "texture_coordinate[1] = Vector4(1.0, 2.0, 0.0, 0.0);\n"
                                       "Vector3 d = ddx(position) + ddy(normal);\n"
                                       "Scalar time_change = ddx(animation_time);\n"
                                       "Vector4 t = texture_coordinate[2];\n"
                                       "result = Color(d + t.xyz, 1.0);"));
    EXPECT_TRUE(contains(text, "state->set_vector3(State_sym::POINT,state->get_vector3(State_sym::NORMAL))"));
    EXPECT_TRUE(contains(text, "state->set_scalar(State_sym::IMPORTANCE,state->get_scalar(State_sym::IMPORTANCE) + "
                               "0.5)"));
    EXPECT_TRUE(contains(text, "state->set_vector4(static_cast<State_sym::Id>(State_sym::TEXTURE+1),"
                               "Vector4(1.0, 2.0, 0.0, 0.0))"));
    EXPECT_TRUE(contains(text, "state->get_vector3(State_sym::POINT_DX) + state->get_vector3(State_sym::NORMAL_DY)"));
    EXPECT_TRUE(contains(text, "state->get_vector4(static_cast<State_sym::Id>(State_sym::TEXTURE+2))"));
    // The frame's values have no derivative symbols: the call stays, and answers zero.
    EXPECT_TRUE(contains(text, "ddx(state->get_frame()->get_scalar(Frame_sym::ANIMATION_TIME))"));
}

TEST(SwrcFile, ShadersSharingAFileSplitTheHeadAndTheExport)
{
    const std::string source = "shader First { output: Color result; void main() { result = Color(1, 0, 0, 1); } };\n"
                               "shader Second { output: Color result; void main() { result = Color(0, 1, 0, 1); } };\n";
    std::string first =
        cpp_text(source, {{"shader_name", "First"}, {"shader_index", "0"}, {"shader_count", "2"}});
    EXPECT_EQ(first.rfind("/****", 0), 0u);
    EXPECT_TRUE(contains(first, "#include <ovrel.h>"));
    EXPECT_FALSE(contains(first, "initializer"));

    std::string last =
        cpp_text(source, {{"shader_name", "Second"}, {"shader_index", "1"}, {"shader_count", "2"}});
    EXPECT_TRUE(contains(last, "class ovl_Second : public Shader"));
    EXPECT_FALSE(contains(last, "class ovl_First"));
    EXPECT_FALSE(contains(last, "/****"));
    EXPECT_FALSE(contains(last, "#include"));
    EXPECT_TRUE(contains(last, "    switch(index) {\n"
                               "    case 0:\n"
                               "        return new QZ::SHADER::First_shader_plugin;\n"
                               "    case 1:\n"
                               "        return new QZ::SHADER::Second_shader_plugin;\n"
                               "    default:\n"
                               "        return 0;\n"
                               "    }\n"));

    // Alone, a shader has the head and an export of one plug-in.
    std::string alone = cpp_text(source, {{"shader_name", "Second"}});
    EXPECT_TRUE(contains(alone, "#include <ovrel.h>"));
    EXPECT_TRUE(contains(alone, "    if(!index) {\n        return new QZ::SHADER::Second_shader_plugin;\n"));
}

TEST(SwrcFile, ThePluginKeepsTheBareNameAndEverythingElseIsPrefixed)
{
    std::string text = cpp_text("struct Pair { Scalar a; Scalar b[2]; };\n"
                                "shader My_shade { input: Scalar gain = 1.0; output: Color result;\n"
                                "void main() { Pair p; p.a = gain; result = Color(p.a, 0, 0, 1); } };\n");
    EXPECT_TRUE(contains(text, "        return \"softshader_My_shade\";\n"));
    EXPECT_TRUE(contains(text, "class My_shade_shader_plugin: public  Software_shader_plugin\n"));
    EXPECT_TRUE(contains(text, "class ovl_My_shade : public Shader\n"));
    EXPECT_TRUE(contains(text, "struct ovl_Pair {\n\tfloat ovl_a;\n\tArray<float> ovl_b;\n"));
    // The array member owns its two elements from the start.
    EXPECT_TRUE(contains(text, "\tovl_Pair() : ovl_b(2) {}\n"));
    EXPECT_TRUE(contains(text, "ovl_p.ovl_a = ovl_gain;"));
}

TEST(SwrcFile, AShaderWithoutOutputsHasOnlyTheSinkAndAUnitWithoutFunctionsNoTexts)
{
    std::string text = cpp_text("shader Quiet { input: Scalar gain = 1.0; void main() { Scalar x = gain; } };\n");
    EXPECT_TRUE(contains(text, "\tclass Result {\n\tpublic:\n\t\tVector4 ovl_none;\n\t\tResult(Data_block *outputs)\n"
                               "\t\t{}\n"));

    auto result = generate("struct Only { Scalar a; };\n");
    ASSERT_TRUE(result) << "the software target runs for a unit without functions";
    EXPECT_STREQ(result->get_target(), "Swrc");
    EXPECT_EQ(result->program_count(), 0u);
}

TEST(SwrcState, ALightWritesTheValuesOfTheLightItComputes)
{
    vorn_test::Log_capture log;
    std::string text = cpp_text(shader("light_to_surface = -normal;\nlight_distance = 2.0;\nlight_dot_nl *= 0.5;\n"
                                       "light_position = position;\nlight_spread_cos = 0.5;\n"
                                       "result = Color(light_distance, light_dot_nl, 0.0, 1.0);"));
    EXPECT_FALSE(log.contains("assignment to const state variable"));
    EXPECT_TRUE(contains(text, "state->set_vector3(State_sym::LIGHT_TO_SURFACE,-state->get_vector3(State_sym::NORMAL))"));
    EXPECT_TRUE(contains(text, "state->set_scalar(State_sym::LIGHT_DISTANCE,2.0)"));
    EXPECT_TRUE(contains(text, "state->set_scalar(State_sym::LIGHT_DOT_NL,state->get_scalar(State_sym::LIGHT_DOT_NL) * 0.5)"));
    EXPECT_TRUE(contains(text, "state->set_vector3(State_sym::LIGHT_POINT,state->get_vector3(State_sym::POINT))"));
    EXPECT_TRUE(contains(text, "state->set_scalar(State_sym::LIGHT_SPREAD_COS,0.5)"));

    // The type of a light is a name that the state makes from its number: it stays read-only.
    vorn_test::Log_capture type_log;
    text = cpp_text(shader("light_type = \"light_spot\";\nresult = Color(1, 1, 1, 1);"));
    EXPECT_TRUE(type_log.contains("assignment to const state variable light_type"));
    EXPECT_FALSE(contains(text, "state->set_"));
}

TEST(SwrcFile, SharingOptionsThatAreNoNumbersAreToldAndLeftOut)
{
    const std::string source = "shader First { output: Color result; void main() { result = Color(1, 0, 0, 1); } };\n";
    const struct {
        const char* index;
        const char* count;
        const char* message;
    } cases[] = {
        {"one", "2", "option 'shader_index' takes a decimal number from 0 to 1, not 'one'; it is ignored"},
        {"2", "2", "option 'shader_index' takes a decimal number from 0 to 1, not '2'; it is ignored"},
        {"-1", "2", "option 'shader_index' takes a decimal number from 0 to 1, not '-1'; it is ignored"},
        {"00", "2", "option 'shader_index' takes a decimal number from 0 to 1, not '00'; it is ignored"},
        {"", "2", "option 'shader_index' takes a decimal number from 0 to 1, not ''; it is ignored"},
        {"0", "0", "option 'shader_count' takes a decimal number from 1 to 4096, not '0'; it is ignored"},
        {"0", "2x", "option 'shader_count' takes a decimal number from 1 to 4096, not '2x'; it is ignored"},
        {"0", "4097", "option 'shader_count' takes a decimal number from 1 to 4096, not '4097'; it is ignored"},
    };
    for (const auto& item : cases) {
        vorn_test::Log_capture log;
        std::string text = cpp_text(source, {{"shader_index", item.index}, {"shader_count", item.count}});
        EXPECT_TRUE(log.contains(item.message)) << item.index << " of " << item.count;
        // Without a valid pair the file stands alone: its head, and an export of its own shader.
        EXPECT_TRUE(contains(text, "#include <ovrel.h>")) << item.index << " of " << item.count;
        EXPECT_TRUE(contains(text, "initializer")) << item.index << " of " << item.count;
    }
    // A count alone still lists that many plug-ins; valid values give no message.
    vorn_test::Log_capture log;
    std::string text = cpp_text(source, {{"shader_index", "0"}, {"shader_count", "1"}});
    EXPECT_FALSE(log.contains("option '"));
    EXPECT_TRUE(contains(text, "    switch(index) {\n    case 0:\n        return new QZ::SHADER::First_shader_plugin;\n"
                               "    default:\n"));
}

TEST(SwrcFile, OutputsThatNothingNamesStandOnTheSink)
{
    std::string text = cpp_text("shader Two { output: Color result; Scalar depth; Color glow[2];\n"
                                "void paint() { glow[0] = Color(1, 1, 1, 1); }\n"
                                "void main() { result = Color(1, 0, 0, 1); paint(); } };\n");
    EXPECT_TRUE(contains(text, "\t\t\t: ovl_result(*(Vector4 *)outputs->get_field(\"result\"))\n"
                               "\t\t\t, ovl_depth(*(float *)&ovl_none)\n"
                               "\t\t\t, ovl_glow(2,(Vector4 *)outputs->get_field(\"glow\"))\n"));
}

TEST(SwrcFile, StructsCarryTheirMetadata)
{
    std::string text = cpp_text("enum Mode { ADD, MUL };\n"
                                "struct Inner { Vector2i cell; Matrix3x2 m; };\n"
                                "struct Outer { Inner inner; Scalar weights[3]; Color tint; Mode mode; Bool on; "
                                "String label; Texture2d map; Matrix4x4 frame; Scalar open[]; };\n"
                                "shader S { output: Color result; void main() { Outer o; result = o.tint; } };\n");
    EXPECT_TRUE(contains(text, "\t{}\n"
                               "\tstatic constexpr const char *info_name = \"Inner\";\n"
                               "\tstatic constexpr int info_member_count = 2;\n"
                               "\tstatic constexpr Struct_member info_members[2] = {\n"
                               "\t\t{\"cell\", Type_code::VECTOR2I, 1},\n"
                               "\t\t{\"m\", Type_code::MATRIX3x2, 1},\n"
                               "\t};\n};\n"));
    EXPECT_TRUE(contains(text, "\t\t{\"inner\", Type_code::STRUCT, 1},\n"
                               "\t\t{\"weights\", Type_code::SCALAR, 3},\n"
                               "\t\t{\"tint\", Type_code::COLOR, 1},\n"
                               "\t\t{\"mode\", Type_code::INT, 1},\n"
                               "\t\t{\"on\", Type_code::BOOL, 1},\n"
                               "\t\t{\"label\", Type_code::STRING, 1},\n"
                               "\t\t{\"map\", Type_code::TEXTURE2D, 1},\n"
                               "\t\t{\"frame\", Type_code::MATRIX4x4, 1},\n"
                               "\t\t{\"open\", Type_code::SCALAR, 0},\n"));
}

TEST(SwrcBridge, StructParametersAreFetchedMemberByMember)
{
    auto result = generate("struct Tint { Color color; String name; };\n"
                           "struct Layer { Tint tint; Tint more[]; Scalar scales[2]; };\n"
                           "shader S { input: Layer top; Tint list[2];\n"
                           "output: Color result; void main() { result = top.tint.color + list[1].color; } };\n");
    ASSERT_TRUE(result && result->texts.size() == 2);
    const std::string& text = result->texts[0];
    // The renderer's layout: inner structs first, arrays as start, count and first element.
    EXPECT_TRUE(contains(text, "struct hd_ovl_Tint {\n\tqzColor v_color;\n\tqzTag v_name;\n};\n"
                               "struct hd_ovl_Layer {\n\thd_ovl_Tint v_tint;\n"
                               "\tint i_more;\n\tint n_more;\n\thd_ovl_Tint v_more[1];\n"
                               "\tint i_scales;\n\tint n_scales;\n\tqzScalar v_scales[1];\n};\n"
                               "struct ovl_S_args {\n\thd_ovl_Layer v_top;\n"
                               "\tint i_list;\n\tint n_list;\n\thd_ovl_Tint v_list[1];\n};\n"));
    EXPECT_TRUE(contains(text, "\t\tovl_top.ovl_tint.ovl_color = *(Vector4 *)qz_eval_color(&args->v_top.v_tint.v_color);\n"
                               "\t\t{\n\t\tTag string_tag = *(Tag *)qz_eval_tag(&args->v_top.v_tint.v_name);\n"));
    EXPECT_TRUE(contains(text, "\t\thd_ovl_Tint *v_top_more = (hd_ovl_Tint *)qz_eval_void(&args->v_top.v_more);\n"
                               "\t\tint i_top_more = *qz_eval_integer(&args->v_top.i_more);\n"
                               "\t\tint n_top_more = *qz_eval_integer(&args->v_top.n_more);\n"
                               "\t\tovl_top.ovl_more.set_count(n_top_more);\n"
                               "\t\tovl_top.ovl_more.set_data(new ovl_Tint[n_top_more]);\n"
                               "\t\tfor(int i_1 = 0; i_1 < n_top_more; i_1++) {\n"
                               "\t\t\tovl_top.ovl_more[i_1].ovl_color = *(Vector4 *)qz_eval_color("
                               "&v_top_more[i_top_more + i_1].v_color);\n"));
    EXPECT_TRUE(contains(text, "\t\tfor(int i_1 = 0; i_1 < n_top_scales; i_1++) {\n"
                               "\t\t\tovl_top.ovl_scales[i_1] = v_top_scales[i_top_scales + i_1];\n\t\t}\n"));
    EXPECT_TRUE(contains(text, "\t\tfor(int i = 0; i < n_list; i++) {\n"
                               "\t\t\tovl_list[i].ovl_color = *(Vector4 *)qz_eval_color(&v_list[i_list + i].v_color);\n"));
    // The declaration nests the members one level deeper.
    EXPECT_TRUE(contains(result->texts[1], "\t\tstruct \"top\" {\n"
                                           "\t\t\tstruct \"tint\" {\n\t\t\t\tcolor \"color\",\n\t\t\t\tstring \"name\"\n\t\t\t},\n"
                                           "\t\t\tarray\n\t\t\tstruct \"more\" {\n"));
    EXPECT_TRUE(contains(result->texts[1], "\t\t\tarray\n\t\t\tscalar \"scales\"\n\t\t},\n"
                                           "\t\tarray\n\t\tstruct \"list\" {\n"));
}

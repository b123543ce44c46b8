// The FX option readers: defaults, the exact-word rules of booleans, and the forcing rules.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "gen_fx/fx_options.h"

using QZ::COMPILER::Compile_options;
using QZ::GEN_FX::Fx_options;
using QZ::GEN_FX::read_fx_options;

namespace {

Compile_options whole_program(std::initializer_list<std::pair<const char*, const char*>> attributes = {})
{
    Compile_options options;
    options.complete_program = 1;
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    for (const auto& attribute : attributes)
        options.attributes[attribute.first] = attribute.second;
    return options;
}

Fx_options read(std::initializer_list<std::pair<const char*, const char*>> attributes, int32_t debug_index = -1)
{
    return read_fx_options(whole_program(attributes), debug_index);
}

}  // namespace

TEST(FxOptions, DefaultsOfAnEmptyRecord)
{
    Fx_options fx = read({});
    EXPECT_FALSE(fx.hlsl);
    EXPECT_FALSE(fx.debug);
    EXPECT_EQ(fx.annotation_map, "default.axml");
    EXPECT_FALSE(fx.swap_mul);
    EXPECT_TRUE(fx.eval_volume);
    EXPECT_TRUE(fx.generate_unmapped_annotations);
    EXPECT_TRUE(fx.depth_test);
    EXPECT_TRUE(fx.depth_write);
    EXPECT_FALSE(fx.render_state);
    EXPECT_EQ(fx.vertex_shader_profile, "vs_3_0");
    EXPECT_EQ(fx.fragment_shader_profile, "ps_3_0");
    EXPECT_EQ(fx.vs_binding_texcoord[0], "TEXCOORD0");
    EXPECT_EQ(fx.vs_binding_texcoord[3], "TEXCOORD3");
    EXPECT_EQ(fx.vs_binding_tangent, "TEXCOORD4");
    EXPECT_EQ(fx.vs_binding_binormal, "TEXCOORD5");
    EXPECT_EQ(fx.vs_binding_motion, "TEXCOORD6");
    EXPECT_EQ(fx.light_interface_name, "ILight");
    EXPECT_EQ(fx.light_list_name, "__light_shaders");
    EXPECT_FALSE(fx.component);
    for (int n = 0; n < QZ::GEN_FX::TEXTURE_TRANSFORM_COUNT; ++n)
        EXPECT_EQ(fx.vs_texture_transform[n], QZ::GEN_FX::TRANSFORM_NONE);
}

TEST(FxOptions, HlslForcesTwoSidedAndInterfacesOffAndSwapsByDefault)
{
    Fx_options fx = read({{"format", "HLSL"}, {"two_sided", "true"}, {"interfaces", "true"},
                          {"light_interfaces_only", "true"}});
    EXPECT_TRUE(fx.hlsl);
    EXPECT_FALSE(fx.two_sided);
    EXPECT_FALSE(fx.interfaces);
    EXPECT_FALSE(fx.light_interfaces_only);
    EXPECT_TRUE(fx.swap_mul);
    EXPECT_FALSE(fx.eval_volume);

    // The format word is compared byte for byte.
    Fx_options lower = read({{"format", "hlsl"}, {"two_sided", "true"}});
    EXPECT_FALSE(lower.hlsl);
    EXPECT_TRUE(lower.two_sided);
}

TEST(FxOptions, SwapMatrixMultiplyKeyPresentMeansOnlyTrue)
{
    EXPECT_FALSE(read({{"format", "HLSL"}, {"swap_matrix_multiply", "false"}}).swap_mul);
    EXPECT_FALSE(read({{"format", "HLSL"}, {"swap_matrix_multiply", "1"}}).swap_mul);
    EXPECT_TRUE(read({{"swap_matrix_multiply", "true"}}).swap_mul);
    EXPECT_FALSE(read({{"swap_matrix_multiply", "TRUE"}}).swap_mul);
}

TEST(FxOptions, BooleansAreTrueOnlyForTheWordTrue)
{
    EXPECT_FALSE(read({{"debug", "1"}}).debug);
    EXPECT_FALSE(read({{"debug", "yes"}}).debug);
    EXPECT_TRUE(read({{"debug", "true"}}).debug);
    EXPECT_FALSE(read({{"use_oit", "True"}}).use_oit);
    // A present depth key is on only for "true"; a missing one is on.
    EXPECT_FALSE(read({{"depth_test", "yes"}}).depth_test);
    EXPECT_TRUE(read({{"depth_write", "true"}}).depth_write);
}

TEST(FxOptions, DefaultOnFlagsOnlyTurnOffForTheWordFalse)
{
    EXPECT_TRUE(read({{"eval_volume", "False"}}).eval_volume);
    EXPECT_TRUE(read({{"eval_volume", "0"}}).eval_volume);
    EXPECT_FALSE(read({{"eval_volume", "false"}}).eval_volume);
    EXPECT_TRUE(read({{"generate_umapped_annotations", "no"}}).generate_unmapped_annotations);
    EXPECT_FALSE(read({{"generate_umapped_annotations", "false"}}).generate_unmapped_annotations);
}

TEST(FxOptions, DebugIndexForcesDebugDisplay)
{
    EXPECT_TRUE(read({}, 0).debug);
    EXPECT_TRUE(read({{"debug", "false"}}, 3).debug);
    EXPECT_FALSE(read({}, -1).debug);
}

TEST(FxOptions, LightInterfacesOnlyNeedsInterfaces)
{
    EXPECT_FALSE(read({{"light_interfaces_only", "true"}}).light_interfaces_only);
    EXPECT_TRUE(read({{"interfaces", "true"}, {"light_interfaces_only", "true"}}).light_interfaces_only);
}

TEST(FxOptions, ComponentIsNoWholeProgramOfAShaderOtherThanSurface)
{
    Compile_options options;
    EXPECT_TRUE(read_fx_options(options, -1).component);  // shader type none, no whole program
    options.shader_type = QZ::COMPILER::SHADER_SURFACE;
    EXPECT_FALSE(read_fx_options(options, -1).component);
    options.shader_type = QZ::COMPILER::SHADER_LIGHT;
    EXPECT_TRUE(read_fx_options(options, -1).component);
    options.complete_program = 1;
    EXPECT_FALSE(read_fx_options(options, -1).component);
}

TEST(FxOptions, ComponentTurnsOffVolumesAndTextureObjects)
{
    Compile_options options;
    options.shader_type = QZ::COMPILER::SHADER_ENVIRONMENT;
    options.attributes["generate_samplers"] = "true";
    Fx_options fx = read_fx_options(options, -1);
    EXPECT_TRUE(fx.component);
    EXPECT_FALSE(fx.eval_volume);
    EXPECT_FALSE(fx.generate_texture_parameters);
    EXPECT_TRUE(fx.generate_sampler_states);
}

TEST(FxOptions, GenerateSamplersTurnsOnBothHalves)
{
    Fx_options both = read({{"generate_samplers", "true"}});
    EXPECT_TRUE(both.generate_texture_parameters);
    EXPECT_TRUE(both.generate_sampler_states);
    Fx_options states = read({{"generate_sampler_states", "true"}});
    EXPECT_FALSE(states.generate_texture_parameters);
    EXPECT_TRUE(states.generate_sampler_states);
}

TEST(FxOptions, TextureTransformSidesAndTexts)
{
    Fx_options fx = read({{"vs_texture_transform_0", "left"}, {"vs_texture_transform_1", "right"},
                          {"vs_texture_transform_2", "Left"}, {"vs_texture_transform_3", "up"},
                          {"vs_binding_texcoord2", "TEXCOORD9"}, {"light_list_name", "__lamps"},
                          {"fx_header", "// header"}, {"fragment_shader_profile", "ps_2_0"}});
    EXPECT_EQ(fx.vs_texture_transform[0], QZ::GEN_FX::TRANSFORM_LEFT);
    EXPECT_EQ(fx.vs_texture_transform[1], QZ::GEN_FX::TRANSFORM_RIGHT);
    EXPECT_EQ(fx.vs_texture_transform[2], QZ::GEN_FX::TRANSFORM_NONE);
    EXPECT_EQ(fx.vs_texture_transform[3], QZ::GEN_FX::TRANSFORM_NONE);
    EXPECT_EQ(fx.vs_binding_texcoord[2], "TEXCOORD9");
    EXPECT_EQ(fx.light_list_name, "__lamps");
    EXPECT_EQ(fx.fx_header, "// header");
    EXPECT_EQ(fx.fragment_shader_profile, "ps_2_0");
}

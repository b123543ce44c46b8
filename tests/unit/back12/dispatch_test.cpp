// The dispatch by target name, plug-ins of generator type from real libraries, and the host's
// reading of the result. CTest runs each test in a process of its own, so every test loads the
// libraries before the first compile of its process, as a host would.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "back12/code_generator.h"
#include "back12/generated_shader.h"
#include "back12/mod_back12.h"
#include "back12/plugin_adapters.h"
#include "compiler/mod_compiler.h"
#include "host/compiler_facade.h"
#include "host/unit_facade.h"
#include "plug/mod_plug.h"
#include "support/test_support.h"
#include "syntax_tree/compilation_unit.h"

using namespace QZ;
using QZ::BACK12::Generated_shader;
using QZ::BACK12::mod_back12;

namespace {

std::string plugin_path(const char* name) { return std::string(VORN_TEST_BINARY_DIR) + "/plugins/" + name + ".so"; }

const char* const shader_source =
    "shader Plain { input: Color c = Color(1,0,0,1); output: Color result; void main() { result = c; } };\n";

// Loads the generator set once per process; the registry stays loaded until the process ends.
void load_generator_set()
{
    if (PLUG::mod_plug->find_plugin("Test_hardware_generator")) {
        PLUG::mod_plug->release_plugin(PLUG::mod_plug->find_plugin("Test_hardware_generator"));
        PLUG::mod_plug->release_plugin(PLUG::mod_plug->find_plugin("Test_hardware_generator"));
        return;
    }
    ASSERT_TRUE(PLUG::mod_plug->load_library(plugin_path("test_generator_set").c_str()));
}

int live_generator_objects()
{
    void* library = dlopen(plugin_path("test_generator_set").c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (!library)
        return -1;
    auto count = reinterpret_cast<int (*)()>(dlsym(library, "test_generator_live_objects"));
    int live = count ? count() : -1;
    dlclose(library);
    return live;
}

std::unique_ptr<SYNTAX_TREE::Compilation_unit> compile(const char* source)
{
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit(
        COMPILER::mod_compiler->compile_text("dispatch.ovl", source, &errors));
    EXPECT_TRUE(errors.empty());
    EXPECT_TRUE(unit);
    if (unit) {
        EXPECT_EQ(unit->error_count(), 0u);
    }
    return unit;
}

std::unique_ptr<Generated_shader> generate(SYNTAX_TREE::Compilation_unit* unit, const char* target,
                                           const COMPILER::Compile_options& options = {})
{
    return std::unique_ptr<Generated_shader>(mod_back12->compile(unit, target, options));
}

bool is_adapter(BACK12::Code_generator12_plugin* generator)
{
    return dynamic_cast<BACK12::Code_generator12_plugin_adapter*>(generator) != nullptr;
}

}  // namespace

TEST(Back12_dispatch, hardware_plugin_gets_the_unit_options_and_log)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    COMPILER::Compile_options options;
    options.shader_type = COMPILER::SHADER_SURFACE;
    options.attributes["greeting"] = "hello";
    vorn_test::Log_capture capture;
    auto shader = generate(unit.get(), "Hard", options);
    ASSERT_TRUE(shader);
    EXPECT_EQ(shader->get_code_type(), BACK12::CODE_HARDWARE);
    EXPECT_STREQ(shader->get_target(), "Hard");
    auto* hardware = dynamic_cast<BACK12::Hardware_shader*>(shader.get());
    ASSERT_NE(hardware, nullptr);
    EXPECT_EQ(hardware->vertex_entry_names, std::vector<std::string>{"vs_main"});
    EXPECT_EQ(hardware->vertex_texts,
              std::vector<std::string>{"vertex shaders=1 first=Plain greeting=hello type=surface"});
    EXPECT_EQ(hardware->fragment_entry_names, std::vector<std::string>{"ps_main"});
    EXPECT_EQ(hardware->fragment_texts,
              std::vector<std::string>{"fragment shaders=1 first=Plain greeting=hello type=surface"});
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "test generator Hard runs");
    EXPECT_EQ(capture.lines()[0].module, SYSTEM::MODULE_COMP);
    // The generator, its result and the three lent wrappers are gone; five plug-ins stay.
    EXPECT_EQ(live_generator_objects(), 5);
    EXPECT_EQ(unit->shader_count(), 1);
}

TEST(Back12_dispatch, software_plugin_keeps_its_result_for_the_target_name)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    auto shader = generate(unit.get(), "Soft");
    ASSERT_TRUE(shader);
    EXPECT_EQ(shader->get_code_type(), BACK12::CODE_SOFTWARE);
    EXPECT_STREQ(shader->get_target(), "Soft_result");
    auto* software = dynamic_cast<BACK12::Software_shader*>(shader.get());
    ASSERT_NE(software, nullptr);
    EXPECT_EQ(software->names, (std::vector<std::string>{"shader.cpp", "shader.h", "empty"}));
    EXPECT_EQ(software->texts, (std::vector<std::string>{"// C++ shaders=1 first=Plain greeting=(none) type=(none)",
                                                         "// header", ""}));
    EXPECT_EQ(live_generator_objects(), 6);
    shader.reset();
    EXPECT_EQ(live_generator_objects(), 5);
}

TEST(Back12_dispatch, unknown_code_type_logs_and_yields_null)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    vorn_test::Log_capture capture;
    EXPECT_FALSE(generate(unit.get(), "Bad"));
    ASSERT_TRUE(capture.contains("unknown code type 2"));
    const auto& line = capture.lines().back();
    EXPECT_EQ(line.text, "unknown code type 2");
    EXPECT_EQ(line.module, 54);
    EXPECT_EQ(line.category, 5);
    EXPECT_EQ(line.code, 1);
    EXPECT_EQ(line.severity, LOG::SEV_ERROR);
    EXPECT_EQ(live_generator_objects(), 5);
}

TEST(Back12_dispatch, names_are_exact_and_unknown_targets_are_silent)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    vorn_test::Log_capture capture;
    EXPECT_FALSE(generate(unit.get(), "hard"));
    EXPECT_FALSE(generate(unit.get(), "Hard "));
    EXPECT_FALSE(generate(unit.get(), "fx"));
    EXPECT_FALSE(generate(unit.get(), "No_such_target"));
    EXPECT_FALSE(generate(unit.get(), ""));
    EXPECT_FALSE(generate(unit.get(), nullptr));
    EXPECT_TRUE(capture.lines().empty());
}

TEST(Back12_dispatch, plugins_join_behind_the_builtins_once)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    EXPECT_FALSE(mod_back12->plugins_scanned());
    EXPECT_TRUE(generate(unit.get(), "Hard"));
    ASSERT_TRUE(mod_back12->plugins_scanned());

    // Built-ins first, then the four generator plug-ins in load order; the other kind is left out.
    const auto& list = mod_back12->generators();
    size_t builtins = 0;
    while (builtins < list.size() && !is_adapter(list[builtins]))
        ++builtins;
    ASSERT_EQ(list.size(), builtins + 5);
    EXPECT_STREQ(list[builtins]->get_name(), "Test_hardware_generator");
    EXPECT_STREQ(list[builtins]->get_type(), "Code_generator12_plugin");
    EXPECT_EQ(list[builtins]->get_version(), 7);
    EXPECT_STREQ(list[builtins + 1]->get_target_name(), "Soft");
    EXPECT_EQ(list[builtins + 1]->get_code_type(), 1);
    EXPECT_EQ(list[builtins + 2]->get_code_type(), 1);  // a non-zero foreign code type reads as 1
    EXPECT_STREQ(list[builtins + 3]->get_target_name(), "FX");
    EXPECT_STREQ(list[builtins + 4]->get_name(), "Test_second_hardware_generator");
    // The one other plug-in went back to the registry; the generators keep theirs.
    EXPECT_EQ(PLUG::mod_plug->get_plugin_count(), 6u);

    // A library loaded after the first compile is never seen.
    ASSERT_TRUE(PLUG::mod_plug->load_library(plugin_path("test_generator_late").c_str()));
    EXPECT_FALSE(generate(unit.get(), "Late"));
    EXPECT_EQ(mod_back12->generators().size(), builtins + 5);
}

TEST(Back12_dispatch, first_of_two_plugins_with_one_target_answers)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    vorn_test::Log_capture capture;
    EXPECT_TRUE(generate(unit.get(), "Hard"));
    // The second "Hard" would log the same line; only one generator ran.
    EXPECT_EQ(capture.lines().size(), 1u);
}

TEST(Back12_dispatch, builtin_fx_wins_over_a_plugin_of_that_name)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    auto shader = generate(unit.get(), "FX");
    ASSERT_TRUE(shader);
    ASSERT_NE(dynamic_cast<BACK12::Hardware_shader*>(shader.get()), nullptr);
    EXPECT_EQ(dynamic_cast<BACK12::Hardware_shader_adapter*>(shader.get()), nullptr);
    // The plug-in is listed all the same.
    bool listed = false;
    for (BACK12::Code_generator12_plugin* generator : mod_back12->generators())
        listed = listed || (is_adapter(generator) && std::strcmp(generator->get_target_name(), "FX") == 0);
    EXPECT_TRUE(listed);
}

TEST(Back12_dispatch, plugin_without_a_unit_gets_no_unit_handle)
{
    load_generator_set();
    auto shader = generate(nullptr, "Hard");
    ASSERT_TRUE(shader);
    auto* hardware = dynamic_cast<BACK12::Hardware_shader*>(shader.get());
    ASSERT_NE(hardware, nullptr);
    EXPECT_EQ(hardware->vertex_texts, std::vector<std::string>{"vertex shaders=0 greeting=(none) type=(none)"});
}

TEST(Back12_dispatch, failing_plugin_generator_yields_null)
{
    load_generator_set();
    auto unit = compile(shader_source);
    ASSERT_TRUE(unit);
    COMPILER::Compile_options options;
    options.attributes["fail"] = "true";
    EXPECT_FALSE(generate(unit.get(), "Hard", options));
    EXPECT_EQ(live_generator_objects(), 5);
}

TEST(Back12_dispatch, unit_without_shader_gives_null_from_builtin_hardware_targets)
{
    load_generator_set();
    auto unit = compile("Scalar twice(Scalar x) { return 2.0 * x; }\n");
    ASSERT_TRUE(unit);
    for (const char* target : {"FX", "GL", "Cg"}) {
        bool builtin = false;
        for (BACK12::Code_generator12_plugin* generator : mod_back12->generators())
            if (!is_adapter(generator) && std::strcmp(generator->get_target_name(), target) == 0)
                builtin = true;
        if (builtin) {
            EXPECT_FALSE(generate(unit.get(), target)) << target;
        }
    }
}

// The registry as the scan sees it, with a hole at index 1.
class Holed_registry : public PLUG::Mod_plug {
public:
    bool load_library(const char*) override { return false; }
    void unload_library(const char*) override {}
    uint32_t get_plugin_count() override { return 2; }
    PLUG::Plugin* get_plugin(uint32_t index) override { return index == 0 ? &plugin_ : nullptr; }
    PLUG::Plugin* find_plugin(const char*) override { return nullptr; }
    void release_plugin(PLUG::Plugin*) override { ++released; }
    void add_listener(PLUG::Plugin_listener*) override {}

    struct Other : PLUG::Plugin {
        const char* get_name() override { return "Other"; }
        const char* get_type() override { return "Not_a_generator"; }
    } plugin_;
    int released = 0;
};

TEST(Back12_dispatch, null_plugin_is_logged_and_the_scan_goes_on)
{
    Holed_registry registry;
    PLUG::Mod_plug* saved = PLUG::mod_plug;
    PLUG::mod_plug = &registry;
    {
        vorn_test::Log_capture capture;
        BACK12::Mod_back12 dispatch;
        EXPECT_EQ(dispatch.compile(nullptr, "No_such_target", {}), nullptr);
        EXPECT_EQ(dispatch.compile(nullptr, "No_such_target", {}), nullptr);
        ASSERT_EQ(capture.lines().size(), 1u);  // scanned once
        EXPECT_EQ(capture.lines()[0].text, "get_plugin returned zero");
        EXPECT_EQ(capture.lines()[0].module, 54);
        EXPECT_EQ(capture.lines()[0].category, 5);
        EXPECT_EQ(capture.lines()[0].code, 1);
        EXPECT_EQ(capture.lines()[0].severity, LOG::SEV_ERROR);
        EXPECT_EQ(registry.released, 1);
    }
    PLUG::mod_plug = saved;
}

// A foreign plug-in of the test's own, to watch the adapter's count.
class Counting_plugin : public vorn::IGenerator_plugin {
public:
    const char* get_name() override { return "Counting"; }
    const char* get_target_name() override { return "Counting"; }
    int32_t get_code_type() override { return 0; }
    vorn::IGenerator* create_generator(vorn::ICompilation_unit*, vorn::ICompiler_options*) override { return nullptr; }
};

TEST(Back12_dispatch, adapter_release_counts_up_and_ends_only_on_wrap)
{
    Holed_registry registry;
    PLUG::Mod_plug* saved = PLUG::mod_plug;
    PLUG::mod_plug = &registry;
    Counting_plugin foreign;
    PLUG::Plugin* plugin = &foreign;
    {
        BACK12::Code_generator12_plugin_adapter adapter(plugin);
        EXPECT_EQ(adapter.reference_count(), 1u);
        adapter.release();
        adapter.release();
        EXPECT_EQ(adapter.reference_count(), 3u);
        EXPECT_STREQ(adapter.get_target_name(), "Counting");
        EXPECT_EQ(registry.released, 0);
    }
    EXPECT_EQ(registry.released, 1);

    // At the top of the range one more release wraps to zero: the plug-in goes back to the
    // registry and the adapter ends.
    auto* last = new BACK12::Code_generator12_plugin_adapter(plugin, 0xfffffffeu);
    last->release();
    EXPECT_EQ(last->reference_count(), 0xffffffffu);
    EXPECT_EQ(registry.released, 1);
    last->release();
    EXPECT_EQ(registry.released, 2);
    PLUG::mod_plug = saved;
}

// A foreign result held by the test: one program whose size understates its text.
class Short_result final : public vorn::IGenerator_result {
public:
    void release() override { ++released; }
    const char* get_target() override { return nullptr; }
    uint32_t get_count() override { return 1; }
    const char* get_entry(uint32_t) override { return nullptr; }
    uint32_t get_size(uint32_t) override { return 4; }
    void get_text(uint32_t, char* buffer, uint32_t size) override
    {
        last_buffer_size = size;
        std::snprintf(buffer, size, "%s", "abcdefgh");
    }
    int released = 0;
    uint32_t last_buffer_size = 0;
};

TEST(Back12_dispatch, result_adapters_copy_by_the_reported_size)
{
    Short_result result;
    BACK12::Hardware_shader_adapter hardware(&result);
    EXPECT_EQ(result.last_buffer_size, 5u);  // the size and its zero byte
    EXPECT_EQ(hardware.vertex_texts, std::vector<std::string>{"abcd"});
    EXPECT_EQ(hardware.vertex_entry_names, std::vector<std::string>{""});
    EXPECT_TRUE(hardware.fragment_texts.empty());  // no program 1 is asked for
    EXPECT_STREQ(hardware.get_target(), "");
    EXPECT_EQ(result.released, 0);
    {
        BACK12::Software_shader_adapter software(&result);
        EXPECT_EQ(software.texts, std::vector<std::string>{"abcd"});
        EXPECT_STREQ(software.get_target(), "");
    }
    // The software adapter owned the result for its target name.
    EXPECT_EQ(result.released, 1);
}

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "plug/mod_plug.h"
#include "support/test_support.h"

using namespace QZ::PLUG;

namespace {

std::string plugin_path(const char* name) { return std::string(VORN_TEST_BINARY_DIR) + "/plugins/" + name + ".so"; }

class Recording_listener : public Plugin_listener {
public:
    void plugin_loaded(const char* path, const char* type, const char* name) override
    {
        seen.push_back(std::string(path) + "|" + type + "|" + name);
    }
    std::vector<std::string> seen;
};

// Live plug-in objects of the two-plug-in library, read through its own export.
int live_objects(void* library)
{
    auto count = reinterpret_cast<int (*)()>(dlsym(library, "test_plugin_live_objects"));
    return count ? count() : -1;
}

}  // namespace

TEST(Plugin_registry, library_without_initializer_is_refused_with_an_info_line)
{
    vorn_test::Log_capture capture;
    std::string path = plugin_path("test_plugin_none");
    EXPECT_FALSE(mod_plug->load_library(path.c_str()));
    EXPECT_EQ(mod_plug->get_plugin_count(), 0u);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, path + ": symbol \"initializer\" not found");
    EXPECT_EQ(capture.lines()[0].severity, QZ::LOG::SEV_INFO);
    EXPECT_EQ(capture.lines()[0].module, 27);
    EXPECT_EQ(capture.lines()[0].category, 5);
}

TEST(Plugin_registry, missing_library_is_refused_silently)
{
    vorn_test::Log_capture capture;
    EXPECT_FALSE(mod_plug->load_library("/no/such/library.so"));
    EXPECT_FALSE(mod_plug->load_library(nullptr));
    EXPECT_TRUE(capture.lines().empty());
}

TEST(Plugin_registry, empty_initializer_loads_with_no_plugins)
{
    EXPECT_TRUE(mod_plug->load_library(plugin_path("test_plugin_empty").c_str()));
    EXPECT_EQ(mod_plug->get_plugin_count(), 0u);
    EXPECT_EQ(static_cast<Mod_plug_impl*>(mod_plug)->library_count(), 1u);
}

TEST(Plugin_registry, two_plugins_are_listed_logged_and_announced)
{
    Recording_listener listener;
    mod_plug->add_listener(&listener);
    vorn_test::Log_capture capture;
    std::string path = plugin_path("test_plugin_two");
    ASSERT_TRUE(mod_plug->load_library(path.c_str()));
    ASSERT_EQ(mod_plug->get_plugin_count(), 2u);
    EXPECT_EQ(listener.seen, (std::vector<std::string>{path + "|Test_kind_a|First_test_plugin",
                                                         path + "|First_test_plugin|Second_test_plugin"}));
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[0].text, "library \"" + path + "\": loaded Test_kind_a plugin \"First_test_plugin\"");

    Plugin* first = mod_plug->get_plugin(0);
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->get_name(), "First_test_plugin");
    EXPECT_EQ(first->get_version(), 3);
    EXPECT_STREQ(first->get_compiler(), "unknown");
    EXPECT_EQ(first->init(), 1);
    EXPECT_EQ(mod_plug->get_plugin(2), nullptr);
    mod_plug->release_plugin(first);

    // Matching is by name, not by type: the second plug-in's type is the first one's name.
    Plugin* found = mod_plug->find_plugin("First_test_plugin");
    EXPECT_EQ(found, first);
    mod_plug->release_plugin(found);
    EXPECT_EQ(mod_plug->find_plugin("Test_kind_a"), nullptr);
    EXPECT_EQ(mod_plug->find_plugin(nullptr), nullptr);
}

TEST(Plugin_registry, unload_releases_plugins_not_held_elsewhere)
{
    std::string path = plugin_path("test_plugin_two");
    ASSERT_TRUE(mod_plug->load_library(path.c_str()));
    // Keep the library mapped ourselves so its counter can be read after the registry closes it.
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    ASSERT_EQ(live_objects(library), 2);

    Plugin* held = mod_plug->get_plugin(1);
    mod_plug->unload_library(path.c_str());
    // The held record stays until its own count falls.
    EXPECT_EQ(mod_plug->get_plugin_count(), 1u);
    EXPECT_EQ(live_objects(library), 1);
    EXPECT_EQ(static_cast<Mod_plug_impl*>(mod_plug)->library_count(), 0u);
    mod_plug->release_plugin(held);
    EXPECT_EQ(mod_plug->get_plugin_count(), 0u);
    EXPECT_EQ(live_objects(library), 0);
    dlclose(library);

    mod_plug->unload_library(path.c_str());  // unknown by now: ignored
    mod_plug->unload_library(nullptr);
}

TEST(Plugin_registry, stop_releases_everything)
{
    std::string path = plugin_path("test_plugin_two");
    ASSERT_TRUE(mod_plug->load_library(path.c_str()));
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(library, nullptr);
    mod_plug->get_plugin(0);  // a reference the caller never gives back
    stop();
    EXPECT_EQ(live_objects(library), 0);
    dlclose(library);
    start();
}

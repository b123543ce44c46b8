#include "host/host_library.h"

using vorn_host_test::load_initialize;

TEST(Entry_point, second_call_gives_null_and_the_first_root_keeps_working)
{
    Initialize_vorn_function initialize = load_initialize();
    ASSERT_NE(initialize, nullptr);
    vorn::IVorn* root = initialize();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(initialize(), nullptr);
    EXPECT_EQ(root->get_api_version(), 1);
    root->set_shader_path("/tmp");
    root->set_texture_path(nullptr);
    root->set_icon_path("icons");
    root->release();
}

TEST(Entry_point, after_the_root_is_released_the_library_stays_stopped)
{
    Initialize_vorn_function initialize = load_initialize();
    ASSERT_NE(initialize, nullptr);
    vorn::IVorn* root = initialize();
    ASSERT_NE(root, nullptr);
    root->release();
    EXPECT_EQ(initialize(), nullptr);
}

TEST(Entry_point, get_interface_dispatch)
{
    vorn::IVorn* root = load_initialize()();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->get_interface(1), nullptr);
    EXPECT_EQ(root->get_interface(4), nullptr);
    EXPECT_EQ(root->get_interface(-1), nullptr);
    EXPECT_EQ(root->get_internal(), static_cast<void*>(root));

    // Id 0 retains: the root survives one extra release.
    vorn::Interface* again = root->get_interface(vorn::IID_VORN);
    ASSERT_EQ(again, static_cast<vorn::Interface*>(root));
    again->release();
    EXPECT_EQ(root->get_api_version(), 1);
    root->release();
}

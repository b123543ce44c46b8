#include <gtest/gtest.h>

#include <string>

#include "log/mod_log_impl.h"
#include "support/test_support.h"
#include "system/mod_conf.h"

using namespace QZ::LOG;
using vorn_test::Capture_target;
using vorn_test::Log_capture;

namespace {

Mod_log_impl& log_impl() { return *static_cast<Mod_log_impl*>(mod_log); }

}  // namespace

TEST(Log_limits, defaults)
{
    Log_capture capture;
    mod_log->debug(55, CAT_PLUG, "hidden");
    mod_log->vstat(55, CAT_PLUG, "hidden");
    mod_log->error(55, CAT_TRAC, 0, "hidden");
    mod_log->info(55, CAT_PLUG, "shown");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "shown");
    EXPECT_EQ(mod_log->get_severity_limit(), 2543u);
    EXPECT_EQ(mod_log->get_category_limit(CAT_MAIN), 65535u);
    EXPECT_EQ(mod_log->get_category_limit(CAT_GPU), 0u);
    EXPECT_EQ(mod_log->get_category_limit(CAT_PREP), 0u);
}

TEST(Log_limits, category_limit_for_all_categories_also_widens_the_global_limit)
{
    mod_log->set_category_limit(ALL_CATEGORIES, severity_bit(SEV_DEBUG) | severity_bit(SEV_INFO));
    for (int32_t category = 0; category < CATEGORY_COUNT; ++category)
        EXPECT_EQ(mod_log->get_category_limit(category), 768u) << category;
    EXPECT_TRUE(mod_log->get_severity_limit() & severity_bit(SEV_DEBUG));

    Log_capture capture;
    mod_log->debug(55, CAT_TRAC, "now shown");
    mod_log->error(55, CAT_TRAC, 0, "now hidden by its category");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].text, "now shown");
}

TEST(Log_lines, embedded_line_ends_split_the_message)
{
    Log_capture capture;
    mod_log->info(55, CAT_PLUG, "one\ntwo\r\nthree\n\rfour\rfive\n\nseven\n");
    std::vector<std::string> texts;
    for (const auto& line : capture.lines())
        texts.push_back(line.text);
    EXPECT_EQ(texts, (std::vector<std::string>{"one", "two", "three", "four", "five", "", "seven"}));
    for (const auto& line : capture.lines())
        EXPECT_EQ(line.prefix, capture.lines()[0].prefix);
}

TEST(Log_lines, long_lines_go_out_in_pieces_of_8192)
{
    Log_capture capture;
    std::string text(8193, 'a');
    mod_log->info(55, CAT_PLUG, "%s", text.c_str());
    ASSERT_EQ(capture.lines().size(), 2u);
    EXPECT_EQ(capture.lines()[0].text.size(), 8192u);
    EXPECT_EQ(capture.lines()[1].text, "a");
}

TEST(Log_lines, messages_are_cut_at_65535_characters_ending_in_dots)
{
    Log_capture capture;
    std::string text(70000, 'b');
    mod_log->info(55, CAT_PLUG, "%s", text.c_str());
    std::string joined;
    for (const auto& line : capture.lines())
        joined += line.text;
    EXPECT_EQ(joined.size(), 65535u);
    EXPECT_EQ(joined.substr(joined.size() - 4), "b...");
}

TEST(Log_prefix, default_fields)
{
    Log_capture capture;
    mod_log->error(55, CAT_PLUG, 3, "x");
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].prefix, "  0.SYS COMP plug error:");
}

TEST(Log_prefix, every_field)
{
    mod_log->set_prefix(PREFIX_CODE | PREFIX_TRANSACTION, 1);
    mod_log->set_prefix(PREFIX_NET, 0);
    EXPECT_TRUE(mod_log->get_prefix(PREFIX_CODE | PREFIX_TIME));
    EXPECT_FALSE(mod_log->get_prefix(PREFIX_NET | PREFIX_TIME));
    Log_capture capture;
    mod_log->warning(27, CAT_DISK, 7, "x");
    // (severity + (module * 100 + category) * 10) * 1000 + code
    EXPECT_EQ(Mod_log_impl::reference_code(27, 4, 7, 2), 27042007);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].prefix, "27042007 -:- PLUG disk warn :");

    mod_log->set_prefix(127, 0);
    mod_log->warning(27, CAT_DISK, 7, "y");
    EXPECT_EQ(capture.lines()[1].prefix, "");

    mod_log->set_prefix(PREFIX_NET, 1);
    mod_log->set_host_number(12);
    mod_log->warning(27, CAT_DISK, 7, "z");
    EXPECT_EQ(capture.lines()[2].prefix, " 12.SYS :");
}

TEST(Log_delivery, extra_targets_are_offered_the_line_from_last_added_to_first)
{
    std::vector<int> order;
    struct Ordered : Mod_log::Log_target {
        Ordered(std::vector<int>& o, int n, bool h) : order(o), number(n), handles(h) {}
        bool message(int32_t, int32_t, int32_t, int32_t, const char*, const char*, bool handled) override
        {
            order.push_back(number * 10 + (handled ? 1 : 0));
            return handles;
        }
        std::vector<int>& order;
        int number;
        bool handles;
    };
    Ordered first(order, 1, false), second(order, 2, true), third(order, 3, false);
    mod_log->add_target(&first);
    mod_log->add_target(&second);
    mod_log->add_target(&third);
    mod_log->info(55, CAT_PLUG, "x");
    // Third sees nothing handled yet, second handles it, first is told so.
    EXPECT_EQ(order, (std::vector<int>{30, 20, 11}));

    mod_log->remove_target(&second);
    order.clear();
    Capture_target fallback;
    log_impl().set_override_target(&fallback);
    mod_log->warning(55, CAT_PLUG, 0, "unhandled");
    EXPECT_EQ(order, (std::vector<int>{30, 10}));
    // A warning nobody handled goes to the override target.
    ASSERT_EQ(fallback.lines.size(), 1u);
    EXPECT_EQ(fallback.lines[0].text, "unhandled");

    // So does any severity numbered 2 or above, info among them; an error (1) that the extra
    // targets leave unhandled goes nowhere.
    mod_log->info(55, CAT_PLUG, "info");
    mod_log->error(55, CAT_PLUG, 0, "error");
    ASSERT_EQ(fallback.lines.size(), 2u);
    EXPECT_EQ(fallback.lines[1].text, "info");
    log_impl().set_override_target(nullptr);
    mod_log->remove_target(&first);
    mod_log->remove_target(&third);
}

TEST(Log_delivery, default_delivery_writes_prefix_and_text_to_stderr)
{
    ::testing::internal::CaptureStderr();
    mod_log->error(55, CAT_PLUG, 0, "to stderr");
    std::string written = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(written, "  0.SYS COMP plug error: to stderr\n");
}

TEST(Log_assertion, log_module_writes_directly_without_delivery)
{
    mod_log->get_severity_limit();  // the first operation reads the configuration
    ASSERT_TRUE(QZ::SYSTEM::mod_conf->set(24, "assert_is_fatal", "0"));
    Log_capture capture;
    ::testing::internal::CaptureStderr();
    mod_log->assertion(24, "x > 0", "log.cpp", 12);
    std::string written = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(written, "assertion failed in log.cpp 12: \"x > 0\"\n");
    EXPECT_TRUE(capture.lines().empty());

    mod_log->set_severity_limit(0);  // assertions pass with no limit check
    mod_log->assertion(55, "y", "f.cpp", 3);
    ASSERT_EQ(capture.lines().size(), 1u);
    EXPECT_EQ(capture.lines()[0].severity, SEV_ASSERT);
    EXPECT_EQ(capture.lines()[0].text, "assertion failed in f.cpp 3: \"y\"");
}

TEST(Log_assertion_death, fatal_by_default)
{
    EXPECT_DEATH(mod_log->assertion(55, "z", "f.cpp", 4), "assertion failed in f.cpp 4");
}

TEST(Log_fatal_death, delivers_then_exits_with_one)
{
    EXPECT_EXIT(mod_log->fatal(55, CAT_PLUG, 0, "the end"), ::testing::ExitedWithCode(1), "the end");
}

TEST(Log_configuration, variables_are_registered_on_first_use)
{
    mod_log->info(55, CAT_PLUG, "configure");
    const auto* severity_limit = QZ::SYSTEM::mod_conf->find(24, "severity_limit");
    ASSERT_NE(severity_limit, nullptr);
    EXPECT_EQ(severity_limit->description,
              "only show messages with these severities, sum of fatal=1, error=2, warn=4, stat=8, vstat=16, "
              "progr=32, perct=64, time=128, info=256, debug=512, vdebg=1024, assrt=2048");
    const auto* trac = QZ::SYSTEM::mod_conf->find(24, "severity_for_trac");
    ASSERT_NE(trac, nullptr);
    EXPECT_EQ(trac->description, "severity limit sum for category");
    ASSERT_NE(QZ::SYSTEM::mod_conf->find(24, "coloring"), nullptr);
    ASSERT_NE(QZ::SYSTEM::mod_conf->find(24, "prefix"), nullptr);

    ASSERT_TRUE(QZ::SYSTEM::mod_conf->set(24, "severity_for_trac", "2"));
    Log_capture capture;
    mod_log->error(55, CAT_TRAC, 0, "trace error");
    EXPECT_EQ(capture.lines().size(), 1u);
    EXPECT_FALSE(QZ::SYSTEM::mod_conf->set(24, "prefix", "many"));
}

TEST(Log_stderr_target, colours_by_severity)
{
    Log_target_stderr target;
    target.coloring = true;
    ::testing::internal::CaptureStderr();
    target.message(55, 5, 0, SEV_ERROR, "p", "l", false);
    target.message(55, 5, 0, SEV_INFO, "p", "l", false);
    std::string written = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(written, "\033[32mp l\033[0m\n\033[0mp l\033[0m\n");
}

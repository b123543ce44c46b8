#include "support/test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vorn_test {

bool Capture_target::message(int32_t module, int32_t category, int32_t code, int32_t severity,
                             const char* prefix, const char* line, bool)
{
    lines.push_back({module, category, code, severity, prefix ? prefix : "", line ? line : ""});
    return handles_;
}

Log_capture::Log_capture() { QZ::LOG::mod_log->add_target(&target_); }

Log_capture::~Log_capture() { QZ::LOG::mod_log->remove_target(&target_); }

bool Log_capture::contains(const std::string& text) const
{
    for (const auto& line : target_.lines)
        if (line.text.find(text) != std::string::npos)
            return true;
    return false;
}

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

std::string make_temp_dir(const std::string& name)
{
    std::string dir = std::string(VORN_TEST_BINARY_DIR) + "/tmp/";
    if (const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info())
        dir += std::string(test->test_suite_name()) + "." + test->name() + "/";
    dir += name;
    std::string command = "rm -rf '" + dir + "' && mkdir -p '" + dir + "'";
    if (std::system(command.c_str()) != 0)
        return std::string();
    return dir;
}

}  // namespace vorn_test

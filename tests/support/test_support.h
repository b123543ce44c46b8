// Helpers shared by the unit tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "log/mod_log.h"

namespace vorn_test {

// A log target that records every line it is offered; it handles them so nothing reaches stderr.
class Capture_target : public QZ::LOG::Mod_log::Log_target {
public:
    struct Line {
        int32_t module;
        int32_t category;
        int32_t code;
        int32_t severity;
        std::string prefix;
        std::string text;
    };

    explicit Capture_target(bool handles = true) : handles_(handles) {}
    bool message(int32_t module, int32_t category, int32_t code, int32_t severity,
                 const char* prefix, const char* line, bool handled) override;

    std::vector<Line> lines;

private:
    bool handles_;
};

// Adds a capture target to the running log for the life of the object.
class Log_capture {
public:
    Log_capture();
    ~Log_capture();
    const std::vector<Capture_target::Line>& lines() const { return target_.lines; }
    bool contains(const std::string& text) const;

private:
    Capture_target target_;
};

// Reads a whole file; empty if it cannot be read.
std::string read_file(const std::string& path);

// A fresh empty directory under the test binary directory, in one of the running test's own:
// tests run in parallel processes, and two of them may ask for the same name.
std::string make_temp_dir(const std::string& name);

}  // namespace vorn_test

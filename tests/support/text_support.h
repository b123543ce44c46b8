// Small checks on generated texts and log lines, shared by the tests of the back ends and the
// linker.
#pragma once

#include <cstdint>
#include <string>

#include "support/test_support.h"

namespace vorn_test {

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

// How often part stands in text, not overlapping.
inline size_t count_of(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

// Whether the log holds a line of that module and code whose text is exactly text.
inline bool logged(const Log_capture& log, int32_t module, int32_t code, const std::string& text)
{
    for (const auto& line : log.lines())
        if (line.module == module && line.code == code && line.text == text)
            return true;
    return false;
}

}  // namespace vorn_test

#include "reporting.h"

#include <unistd.h>

#include <cstdio>
#include <vector>

namespace vornc {

uint32_t print_diagnostics(vorn::ICompiler_errors* errors)
{
    uint32_t count = errors->get_count();
    std::vector<char> message;
    for (uint32_t i = 0; i < count; ++i) {
        message.resize(errors->get_message_length(i) + 1);
        errors->get_message(i, message.data(), static_cast<uint32_t>(message.size()));
        std::fprintf(stderr, "%s\n", message.data());
    }
    return count;
}

std::string caught_log_lines(const std::function<void()>& action)
{
    std::fflush(stderr);
    std::FILE* caught = std::tmpfile();
    int saved = caught ? ::dup(2) : -1;
    if (saved < 0 || ::dup2(fileno(caught), 2) < 0) {
        if (saved >= 0)
            ::close(saved);
        if (caught)
            std::fclose(caught);
        action();
        return std::string();
    }
    action();
    std::fflush(stderr);
    ::dup2(saved, 2);
    ::close(saved);
    std::string text;
    std::rewind(caught);
    char block[4096];
    for (size_t got; (got = std::fread(block, 1, sizeof block, caught)) > 0;)
        text.append(block, got);
    std::fclose(caught);
    std::fputs(text.c_str(), stderr);
    return text;
}

}  // namespace vornc

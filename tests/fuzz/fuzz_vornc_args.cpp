// vornc's argument parser over arbitrary command lines: the input's lines are the words.
#include <cstdint>
#include <string>
#include <vector>

#include "arguments.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> words{"vornc"};
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        words.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    vornc::Arguments arguments;
    vornc::parse_arguments(int(argv.size() - 1), argv.data(), arguments);
    return 0;
}

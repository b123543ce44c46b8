// Search path lists and environment expansion over arbitrary text: the three lists of a set,
// the entries they give, ${NAME}, $NAME, ${@NAME} and $@NAME, and a file looked up through them.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "system/mod_string.h"
#include "system/sequence.h"

namespace {

bool started = false;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace QZ;
    if (!started) {
        if (!SYSTEM::mod_string)
            SYSTEM::start_sequence();
        // Values long enough to overrun a fixed buffer if expansion ever forgot its size.
        setenv("VORN_FUZZ_SHORT", "/tmp", 1);
        setenv("VORN_FUZZ_LONG", std::string(700, 'L').c_str(), 1);
        setenv("VORN_FUZZ_SELF", "${VORN_FUZZ_SELF}$VORN_FUZZ_LONG", 1);
        started = true;
    }
    // Up to three lists separated by newlines, the rest a file name.
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string parts[4];
    size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        size_t end = i < 3 ? text.find('\n', start) : std::string::npos;
        parts[i] = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (end == std::string::npos) {
            start = text.size();
            continue;
        }
        start = end + 1;
    }
    SYSTEM::mod_string->expand(text.c_str());
    for (int i = 0; i < 3; ++i)
        SYSTEM::mod_string->set_path(i, "fuzz", parts[i].c_str());
    SYSTEM::mod_string->get_entry_count("fuzz");
    SYSTEM::mod_string->get_path_list("fuzz");
    SYSTEM::mod_string->resolve_file("fuzz", parts[3].c_str());
    SYSTEM::is_absolute_path(parts[3].c_str());
    return 0;
}

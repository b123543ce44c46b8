// Lexer, preprocessor and parser over arbitrary bytes: errors are fine, faults and hangs are not.
#include <cstdint>
#include <memory>
#include <string>

#include "front12/mod_front12.h"
#include "syntax_tree/st_node.h"
#include "system/mod_string.h"
#include "system/sequence.h"

namespace {

bool started = false;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (!started) {
        // Under libFuzzer nothing else starts the library; the replay driver already has.
        if (!QZ::FRONT12::mod_front12)
            QZ::SYSTEM::start_sequence();
        // A few files to include and import, good and faulty, so that those paths are reached.
        QZ::SYSTEM::mod_string->set_path(2, "shader", VORN_FUZZ_LIBRARY_DIR);
        started = true;
    }
    std::string text(reinterpret_cast<const char*>(data), size);
    QZ::SYNTAX_TREE::Error_list errors;
    std::unique_ptr<QZ::SYNTAX_TREE::St_node> tree(
        QZ::FRONT12::mod_front12->parse(text.c_str(), "fuzz.ovl", &errors));
    return 0;
}

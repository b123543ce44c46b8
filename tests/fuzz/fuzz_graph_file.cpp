// The graph file reader over arbitrary text: whatever it reads must save, and the saved text
// must read again. Messages are fine; faults, hangs and leaks are not.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

#include "compiler/mod_compiler.h"
#include "graph/graph_file.h"
#include "graph/graph_library.h"
#include "log/mod_log.h"
#include "system/sequence.h"

using namespace QZ;

namespace {

bool started = false;

void ignore_text(void*, const char*) {}
void ignore_node_text(void*, GRAPH::Graph_node*, const char*) {}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (!started) {
        if (!COMPILER::mod_compiler)
            SYSTEM::start_sequence();
        LOG::mod_log->set_severity_limit(LOG::severity_bit(LOG::SEV_FATAL));
        started = true;
    }
    std::string text(reinterpret_cast<const char*>(data), size);
    GRAPH::Graph_read_hooks hooks;
    hooks.gui = &ignore_node_text;
    hooks.render = &ignore_text;
    SYNTAX_TREE::Error_list errors;
    std::unique_ptr<GRAPH::Graph_library> library(GRAPH::load_string(text.c_str(), nullptr, &errors, hooks));
    if (!library)
        return 0;
    // What was read writes out, and reads in again.
    std::string path = "/tmp/vorn_fuzz_graph_file_" + std::to_string(long(getpid())) + ".xovl";
    if (library->save(path.c_str())) {
        std::unique_ptr<GRAPH::Graph_library> again(GRAPH::load_file(path.c_str(), nullptr, &errors));
        std::remove(path.c_str());
    }
    return 0;
}

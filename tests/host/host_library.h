// Loads libvorn.so as a host does. Each test runs in a process of its own.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "vorn/vorn.h"

namespace vorn_host_test {

inline Initialize_vorn_function load_initialize()
{
    void* library = dlopen(VORN_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        ADD_FAILURE() << dlerror();
        return nullptr;
    }
    return reinterpret_cast<Initialize_vorn_function>(dlsym(library, "initialize_vorn"));
}

// The library started, with its compiler and graph interfaces; all released at the end, the
// root last.
struct Session {
    vorn::IVorn* root = nullptr;
    vorn::IVorn_compiler* compiler = nullptr;
    vorn::IVorn_graph* graph = nullptr;

    Session()
    {
        Initialize_vorn_function initialize = load_initialize();
        root = initialize ? initialize() : nullptr;
        if (root) {
            compiler = static_cast<vorn::IVorn_compiler*>(root->get_interface(vorn::IID_VORN_COMPILER));
            graph = static_cast<vorn::IVorn_graph*>(root->get_interface(vorn::IID_VORN_GRAPH));
        }
    }
    ~Session()
    {
        if (graph)
            graph->release();
        if (compiler)
            compiler->release();
        if (root)
            root->release();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
};

// Message index of a collector, as a host reads it through the buffer interface.
inline std::string message_of(vorn::ICompiler_errors* errors, uint32_t index)
{
    std::string text(errors->get_message_length(index) + 1, '\0');
    errors->get_message(index, &text[0], uint32_t(text.size()));
    text.pop_back();
    return text;
}

inline std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void write_file(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace vorn_host_test

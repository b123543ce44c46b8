// Loads libvorn.so as a host does. Each test runs in a process of its own.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

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

}  // namespace vorn_host_test

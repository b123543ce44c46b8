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

}  // namespace vorn_host_test

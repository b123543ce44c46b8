// The operating-system layer: files, environment, shared libraries, time.
#pragma once

#include <string>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Mod_hal : public Module {
public:
    Mod_hal();

    bool file_exists(const char* path) const;
    // Null when the variable is not set.
    const char* get_environment(const char* name) const;

    // Shared libraries. open_library returns null on failure; last_library_error says why.
    void* open_library(const char* path);
    void* find_symbol(void* library, const char* name);
    void close_library(void* library);
    std::string last_library_error() const { return library_error_; }

    // Whether the process has an interactive console on standard error.
    bool has_console() const;
    void sleep_seconds(double seconds) const;

private:
    std::string library_error_;
};

extern Mod_hal* mod_hal;

}  // namespace SYSTEM
}  // namespace QZ

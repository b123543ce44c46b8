// What a plug-in library offers. Self-contained, so that plug-in libraries need only this header.
#pragma once

#include <cstdint>

namespace QZ {
namespace PLUG {

class Plugin {
public:
    virtual int32_t init() { return 1; }
    virtual const char* get_name() = 0;
    // Names the kind of plug-in; consumers keep those of the kind they handle.
    virtual const char* get_type() = 0;
    virtual int32_t get_version() { return 1; }
    virtual const char* get_compiler() { return "unknown"; }
    virtual void release() { delete this; }
    virtual ~Plugin() = default;
};

// Handed to every initializer; it offers nothing else.
class Plugin_context {
public:
    virtual ~Plugin_context() = default;
};

// The function a plug-in library exports under the name "initializer". It is called with
// index 0, 1, 2, ... until it returns null.
using Initializer_function = Plugin* (*)(uint32_t index, void* context);

}  // namespace PLUG
}  // namespace QZ

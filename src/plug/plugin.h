// What a plug-in library offers. Self-contained, so that plug-in libraries need only this header.
#pragma once

#include <cstdint>

#include "vorn/vorn_generator.h"

namespace QZ {
namespace PLUG {

// The slots every plug-in starts with. Plug-in libraries compile against the public header, so
// the class is the public one, and a plug-in is one object type on both sides.
using Plugin = vorn::Plugin_base;

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

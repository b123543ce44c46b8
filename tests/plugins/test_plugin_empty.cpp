// A library whose initializer offers nothing.
#include "plug/plugin.h"

extern "C" __attribute__((visibility("default"))) QZ::PLUG::Plugin* initializer(uint32_t, void*)
{
    return nullptr;
}

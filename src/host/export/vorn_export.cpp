// The library's only exported symbol.
#include "host/vorn_impl.h"

extern "C" __attribute__((visibility("default"))) vorn::IVorn* initialize_vorn(void)
{
    return QZ::HOST::initialize();
}

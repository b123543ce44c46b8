// Benchmarks that need the library running share one start.
#pragma once

#include "compiler/mod_compiler.h"
#include "system/sequence.h"

namespace vorn_bench {

inline void ensure_library_started()
{
    if (!QZ::COMPILER::mod_compiler)
        QZ::SYSTEM::start_sequence();
}

}  // namespace vorn_bench

// What vornc shows of the library's diagnostics and log lines.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "vorn/vorn.h"

namespace vornc {

// Prints every diagnostic the collector holds on standard error, one per line; returns how
// many there were.
uint32_t print_diagnostics(vorn::ICompiler_errors* errors);

// Some failures of the library reach a host as log lines on standard error and nothing else.
// Runs action with standard error caught, passes what came on, and returns it.
std::string caught_log_lines(const std::function<void()>& action);

}  // namespace vornc

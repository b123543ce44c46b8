// The start and stop sequences that bring every module of the library up and down.
#pragma once

namespace QZ {
namespace SYSTEM {

// Starts every module in the fixed order, from MEM to COMP and the modules under it.
void start_sequence();

// Stops every module in the fixed order. Safe to call when nothing is running.
void stop_sequence();

}  // namespace SYSTEM
}  // namespace QZ

// vornc reflect: what a host must supply to a shader, as JSON, in one schema for every target.
#pragma once

#include <string>
#include <vector>

#include "diagnostics.h"
#include "vorn/vorn.h"

namespace vornc {

// The declarations of a generated text that a host sets: uniforms of a GL text, parameters at
// file level of an FX text.
std::vector<std::string> declared_parameters(const std::string& target, const std::string& text);

// The JSON of unit for target; false (and reported) when the target gives no text.
bool reflect(vorn::IVorn_compiler* compiler, vorn::ICompilation_unit* unit, const std::string& target,
             const std::string& shader, std::string& json, Diagnostic_printer& printer);

}  // namespace vornc

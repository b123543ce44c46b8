// Checks shared by the linker tests.
#pragma once

#include <string>

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}
}

namespace link_test {

// The unit has no errors, both targets' texts are accepted by glslangValidator (GL as desktop
// GLSL, FX in its HLSL form with the effect-only parts cut as the FX golden test does), and
// the unit survives the round trip through its source text.
// Texts that a host puts before the fragment stage (GL) or the effect (FX), for functions the
// unit leaves to it, are given as prefixes.
void expect_valid(QZ::SYNTAX_TREE::Compilation_unit* unit, const std::string& name,
                  const std::string& gl_prefix = std::string(), const std::string& fx_prefix = std::string());

}  // namespace link_test

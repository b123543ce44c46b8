// Math tables.
#pragma once

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Mod_math : public Module {
public:
    static constexpr int DIRECTION_COUNT = 65536;

    Mod_math();
    ~Mod_math() override;

    // Unit direction for a packed index: theta from the high 9 bits, phi from the low 7.
    const float* direction(unsigned index) const { return directions_ + 3 * (index & 0xffff); }

private:
    float* directions_;
};

extern Mod_math* mod_math;

}  // namespace SYSTEM
}  // namespace QZ

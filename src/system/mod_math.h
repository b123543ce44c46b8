// Math tables.
#pragma once

#include <mutex>

#include "system/module.h"

namespace QZ {
namespace SYSTEM {

class Mod_math : public Module {
public:
    static constexpr int DIRECTION_COUNT = 65536;
    static constexpr int THETA_STEPS = 512;
    static constexpr int PHI_STEPS = 128;

    Mod_math();
    ~Mod_math() override;

    // Unit direction for a packed index: theta from the high 9 bits, phi from the low 7.
    const float* direction(unsigned index) const { return directions() + 3 * (index & 0xffff); }
    // The whole table, three floats per index; built at the first call.
    const float* directions() const;

private:
    void build_directions() const;

    mutable std::once_flag built_;
    mutable float* directions_ = nullptr;
};

extern Mod_math* mod_math;

}  // namespace SYSTEM
}  // namespace QZ

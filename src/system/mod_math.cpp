#include "system/mod_math.h"

#include <cmath>

#include "system/mod_mem.h"

namespace QZ {
namespace SYSTEM {

Mod_math* mod_math = nullptr;

Mod_math::Mod_math() : Module(MODULE_MATH, "MATH")
{
    directions_ = static_cast<float*>(memory().allocate(sizeof(float) * 3 * DIRECTION_COUNT));
    const double pi = 3.14159265358979323846;
    for (unsigned index = 0; index < DIRECTION_COUNT; ++index) {
        double theta = (index >> 7) * (2.0 * pi / 511.0);
        double phi = (index & 127) * (pi / 127.0) - pi / 2.0;
        float* d = directions_ + 3 * index;
        d[0] = static_cast<float>(std::cos(phi) * std::cos(theta));
        d[1] = static_cast<float>(std::cos(phi) * std::sin(theta));
        d[2] = static_cast<float>(std::sin(phi));
    }
}

Mod_math::~Mod_math() { memory().release(directions_); }

}  // namespace SYSTEM
}  // namespace QZ

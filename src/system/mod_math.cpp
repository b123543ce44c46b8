#include "system/mod_math.h"

#include <cmath>

#include "system/mod_mem.h"

namespace QZ {
namespace SYSTEM {

Mod_math* mod_math = nullptr;

// The table is 768 KB that nothing on the compile path reads, so it waits for its first reader.
Mod_math::Mod_math() : Module(MODULE_MATH, "MATH") {}

Mod_math::~Mod_math()
{
    if (directions_)
        memory().release(directions_);
}

const float* Mod_math::directions() const
{
    std::call_once(built_, [this] { build_directions(); });
    return directions_;
}

// Every entry is a product of a function of theta and one of phi, so 512 + 128 sine and cosine
// pairs give the same bits as one pair per entry would: the factors are the same doubles.
void Mod_math::build_directions() const
{
    const double pi = 3.14159265358979323846;
    double cos_theta[THETA_STEPS], sin_theta[THETA_STEPS];
    double cos_phi[PHI_STEPS], sin_phi[PHI_STEPS];
    for (int t = 0; t < THETA_STEPS; ++t) {
        double theta = t * (2.0 * pi / 511.0);
        cos_theta[t] = std::cos(theta);
        sin_theta[t] = std::sin(theta);
    }
    for (int p = 0; p < PHI_STEPS; ++p) {
        double phi = p * (pi / 127.0) - pi / 2.0;
        cos_phi[p] = std::cos(phi);
        sin_phi[p] = std::sin(phi);
    }
    float* table = static_cast<float*>(memory().allocate(sizeof(float) * 3 * DIRECTION_COUNT));
    float* d = table;
    for (int t = 0; t < THETA_STEPS; ++t) {
        for (int p = 0; p < PHI_STEPS; ++p, d += 3) {
            d[0] = static_cast<float>(cos_phi[p] * cos_theta[t]);
            d[1] = static_cast<float>(cos_phi[p] * sin_theta[t]);
            d[2] = static_cast<float>(sin_phi[p]);
        }
    }
    directions_ = table;
}

}  // namespace SYSTEM
}  // namespace QZ

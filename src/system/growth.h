// Growth of vectors whose capacity the library manages itself.
#pragma once

#include <cstddef>
#include <vector>

namespace QZ {
namespace SYSTEM {

// Capacity times three halves, and at least what is needed.
inline size_t grown_capacity(size_t capacity, size_t needed)
{
    size_t grown = capacity * 3 / 2;
    return grown < needed ? needed : grown;
}

// Makes room for one more element by the library's growth rule.
template <typename T>
void reserve_for_one_more(std::vector<T>& vector)
{
    if (vector.size() == vector.capacity())
        vector.reserve(grown_capacity(vector.capacity(), vector.size() + 1));
}

}  // namespace SYSTEM
}  // namespace QZ

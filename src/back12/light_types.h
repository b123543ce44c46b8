// The light-type words of the language and the macros that the hardware targets print for them.
#pragma once

#include <string_view>

namespace QZ {
namespace BACK12 {

// "LIGHT_POINT" for "light_point" and likewise for spot, infinite and planar; null otherwise.
inline const char* light_type_macro(std::string_view name)
{
    struct Entry {
        const char* word;
        const char* macro;
    };
    static const Entry entries[] = {
        {"light_point", "LIGHT_POINT"},
        {"light_spot", "LIGHT_SPOT"},
        {"light_infinite", "LIGHT_INFINITE"},
        {"light_planar", "LIGHT_PLANAR"},
    };
    for (const Entry& entry : entries)
        if (name == entry.word)
            return entry.macro;
    return nullptr;
}

}  // namespace BACK12
}  // namespace QZ

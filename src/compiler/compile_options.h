// The option record handed by value to a code generator.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace QZ {
namespace COMPILER {

enum Shader_type : int32_t {
    SHADER_NONE = 0,
    SHADER_SURFACE = 1,
    SHADER_LIGHT = 2,
    SHADER_ENVIRONMENT = 3,
    SHADER_VOLUME = 4,
};

struct Compile_options {
    int32_t shader_type = SHADER_NONE;
    uint8_t complete_program = 0;
    std::string primary_output;
    std::string shader_name;
    int32_t option_count_hint = 0;
    std::map<std::string, std::string> attributes;

    // The attribute's text, or null when it is not set.
    const char* get_attribute(const std::string& key) const
    {
        auto it = attributes.find(key);
        return it == attributes.end() ? nullptr : it->second.c_str();
    }

    // Boolean options are true only when their text is exactly "true".
    bool attribute_equals(const std::string& key, const char* value) const
    {
        const char* text = get_attribute(key);
        return text && value && std::string(text) == value;
    }
};

}  // namespace COMPILER
}  // namespace QZ

// What a code generator returns: program texts for the hardware targets, sources for the
// software target.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QZ {
namespace BACK12 {

enum Code_type : int32_t {
    CODE_HARDWARE = 0,
    CODE_SOFTWARE = 1,
};

class Generated_shader {
public:
    explicit Generated_shader(std::string target) : target_(std::move(target)) {}
    virtual ~Generated_shader() = default;
    virtual int32_t get_code_type() const = 0;
    virtual const char* get_target() const { return target_.c_str(); }

    // Programs as the host sees them: for a hardware shader the vertex programs, then the
    // fragment programs; for a software shader its texts. Null past the end.
    virtual uint32_t program_count() const = 0;
    virtual const std::string* program_text(uint32_t index) const = 0;
    virtual const std::string* program_entry_name(uint32_t index) const = 0;

private:
    std::string target_;
};

// A group of parameters as some hosts want them listed; the built-in generators leave the list
// empty.
using Parameter_group = std::vector<std::vector<std::string>>;

class Hardware_shader : public Generated_shader {
public:
    using Generated_shader::Generated_shader;
    int32_t get_code_type() const override { return CODE_HARDWARE; }

    void add_vertex_program(const std::string& entry_name, const std::string& text)
    {
        vertex_entry_names.push_back(entry_name);
        vertex_texts.push_back(text);
    }
    void add_fragment_program(const std::string& entry_name, const std::string& text)
    {
        fragment_entry_names.push_back(entry_name);
        fragment_texts.push_back(text);
    }

    uint32_t program_count() const override
    {
        return static_cast<uint32_t>(vertex_texts.size() + fragment_texts.size());
    }
    const std::string* program_text(uint32_t index) const override
    {
        if (index < vertex_texts.size())
            return &vertex_texts[index];
        index -= static_cast<uint32_t>(vertex_texts.size());
        return index < fragment_texts.size() ? &fragment_texts[index] : nullptr;
    }
    const std::string* program_entry_name(uint32_t index) const override
    {
        if (index < vertex_entry_names.size())
            return &vertex_entry_names[index];
        index -= static_cast<uint32_t>(vertex_entry_names.size());
        return index < fragment_entry_names.size() ? &fragment_entry_names[index] : nullptr;
    }

    std::vector<std::string> vertex_entry_names;
    std::vector<std::string> vertex_texts;
    std::vector<std::string> fragment_entry_names;
    std::vector<std::string> fragment_texts;
    std::vector<Parameter_group> parameter_groups;
};

class Software_shader : public Generated_shader {
public:
    using Generated_shader::Generated_shader;
    int32_t get_code_type() const override { return CODE_SOFTWARE; }

    void add_program(const std::string& name, const std::string& text)
    {
        names.push_back(name);
        texts.push_back(text);
    }

    uint32_t program_count() const override { return static_cast<uint32_t>(texts.size()); }
    const std::string* program_text(uint32_t index) const override
    {
        return index < texts.size() ? &texts[index] : nullptr;
    }
    const std::string* program_entry_name(uint32_t index) const override
    {
        return index < names.size() ? &names[index] : nullptr;
    }

    std::vector<std::string> names;
    std::vector<std::string> texts;
};

}  // namespace BACK12
}  // namespace QZ

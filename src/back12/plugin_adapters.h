// Adapters through which a generator from a plug-in library takes part like a built-in one.
#pragma once

#include <cstdint>

#include "back12/code_generator.h"
#include "back12/generated_shader.h"
#include "vorn/vorn_generator.h"

namespace QZ {
namespace BACK12 {

// Wraps a foreign generator plug-in that the registry lists.
class Code_generator12_plugin_adapter : public Code_generator12_plugin {
public:
    // Takes over one registry reference on foreign; initial_count is for tests of release.
    explicit Code_generator12_plugin_adapter(PLUG::Plugin* foreign, uint32_t initial_count = 1);
    ~Code_generator12_plugin_adapter() override;

    const char* get_name() override;
    const char* get_type() override;
    int32_t get_version() override;
    // Raises the count; only when it wraps round to zero does the foreign plug-in go back and the
    // adapter end. Kept that way on purpose: the dispatch owns its adapters and ends them itself.
    void release() override;

    Generated_shader* generate(SYNTAX_TREE::Compilation_unit* unit, COMPILER::Compile_options options) override;
    const char* get_target_name() override;
    int32_t get_code_type() override;

    uint32_t reference_count() const { return count_; }

private:
    vorn::IGenerator_plugin* foreign() const;

    PLUG::Plugin* plugin_;
    uint32_t count_;
};

// Program 0 of a foreign result as the vertex program, program 1 as the fragment program.
class Hardware_shader_adapter : public Hardware_shader {
public:
    explicit Hardware_shader_adapter(vorn::IGenerator_result* result);
};

// Every program of a foreign result; keeps the result for its target name.
class Software_shader_adapter : public Software_shader {
public:
    explicit Software_shader_adapter(vorn::IGenerator_result* result);
    ~Software_shader_adapter() override;
    const char* get_target() const override;

private:
    vorn::IGenerator_result* result_;
};

}  // namespace BACK12
}  // namespace QZ

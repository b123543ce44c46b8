// The Cg generator: the shader as one struct that implements qziColor or qziLight, for a
// renderer whose main programs are ready-made files. The walk of expressions and statements is
// the FX one; this class states its tables, the order of the text and a few hooks.
#pragma once

#include <cstdint>
#include <string>

#include "gen_fx/fx_code_generator.h"

namespace QZ {
namespace GEN_CG {

// Log codes of this back end (module CG, category plug-in). The walk's messages keep the codes
// of the FX walk (1 to 6).
enum Cg_log_code : int32_t {
    LOG_FOREACH_NOT_LIGHTS = 8,
    LOG_NESTING_TOO_DEEP = 9,
    LOG_MAIN_FILE_MISSING = 10,
};

// The value of option target_product that names the lights array of that renderer.
constexpr const char* HALD3_PRODUCT = "hald3";

class Cg_code_generator : public GEN_FX::Fx_code_generator {
public:
    Cg_code_generator(const BACK12::Generator_input& input, const COMPILER::Compile_options& options);
    ~Cg_code_generator() override;

    void generate() override;

    // The member that holds the light attachments.
    std::string lights_member_name() const;

protected:
    // Hooks of the FX walk
    std::string type_name(std::string_view name) const override;
    bool print_state_function(const St_node* call, int32_t index) override;
    int32_t log_module() const override;
    int32_t nesting_log_code() const override { return LOG_NESTING_TOO_DEEP; }
    std::string light_list_name() const override { return "__lights"; }
    bool has_light_attachments() const override { return true; }
    void print_other_foreach(const St_node* body) override;
    const char* light_iterator_constructor_format() const override;
    bool enums_as_constants() const override { return true; }
    bool print_target_call(const St_node* call, const std::string& name, const St_node* arguments) override;
    void write_root_line(const std::string& line) override;

private:
    void fill_cg_tables();

    // Sections, in the order of the text
    void print_imports();
    void print_shader_struct();
    void print_members();
    void print_eval();
    void print_derived_state();
    void print_light_prologue();
    void print_output_locals();
    void print_light_result(const BACK12::Generator_variable& result);
    void print_debug_output();

    bool is_volume() const;
    bool uses_lights() const;
    // A parameter whose type carries the interface marker, by name.
    bool is_interface_parameter(const std::string& name) const;

    bool hald3_ = false;
};

}  // namespace GEN_CG
}  // namespace QZ

// The host's view of a compilation unit.
#pragma once

#include <memory>

#include "host/interface_impl.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace HOST {

class Compilation_unit_wrapper : public Counted_interface<vorn::ICompilation_unit, vorn::IID_COMPILATION_UNIT> {
public:
    // The wrapper owns the unit together with whoever else shares it (importing units).
    explicit Compilation_unit_wrapper(std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit) : unit_(std::move(unit)) {}

    void* get_internal() override { return unit_.get(); }
    vorn::IGenerated_shader* generate(const char* target, vorn::ICompiler_options* options) override;
    uint32_t get_import_count() override;
    const char* get_import_name(uint32_t index) override;
    vorn::ICompilation_unit* get_import_unit(uint32_t index) override;
    uint32_t get_type_count() override;
    const char* get_type_name(int32_t index) override;
    vorn::IType* get_type(int32_t index) override;
    uint32_t get_function_count() override;
    vorn::ISyntax_tree* get_function(uint32_t index) override;
    uint32_t get_shader_count() override;
    const char* get_shader_name(uint32_t index) override;
    vorn::ISyntax_tree* get_shader(uint32_t index) override;
    vorn::IVelar_node_class* get_node_class(const char* shader_name) override;
    vorn::ISyntax_tree* create_tree_node(int32_t kind) override;
    void load_binary(const char* file_name) override;
    void save_binary(const char* file_name) override;
    void resolve() override;

    SYNTAX_TREE::Compilation_unit& unit() { return *unit_; }

private:
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit_;
};

}  // namespace HOST
}  // namespace QZ

// The host's view of generated text.
#pragma once

#include <memory>

#include "back12/generated_shader.h"
#include "host/interface_impl.h"

namespace QZ {
namespace HOST {

class Generated_shader_wrapper
    : public Counted_interface<vorn::IGenerated_shader, vorn::IID_GENERATED_SHADER> {
public:
    // Takes ownership of shader, which must not be null.
    explicit Generated_shader_wrapper(BACK12::Generated_shader* shader) : shader_(shader) {}

    void* get_internal() override { return shader_.get(); }
    const char* get_target() override;
    uint32_t get_program_count() override;
    const char* get_entry_name(uint32_t index) override;
    // The text's length plus its terminating zero; 0 for an index out of range.
    uint32_t get_program_size(uint32_t index) override;
    // At most size bytes; the zero byte is copied when it fits. An index out of range copies the
    // empty text.
    void copy_program(uint32_t index, char* buffer, uint32_t size) override;

private:
    std::unique_ptr<BACK12::Generated_shader> shader_;
};

}  // namespace HOST
}  // namespace QZ

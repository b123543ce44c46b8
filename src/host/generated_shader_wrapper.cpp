#include "host/generated_shader_wrapper.h"

#include <cstring>

namespace QZ {
namespace HOST {

const char* Generated_shader_wrapper::get_target() { return shader_->get_target(); }

uint32_t Generated_shader_wrapper::get_program_count() { return shader_->program_count(); }

const char* Generated_shader_wrapper::get_entry_name(uint32_t index)
{
    const std::string* name = shader_->program_entry_name(index);
    return name ? name->c_str() : nullptr;
}

uint32_t Generated_shader_wrapper::get_program_size(uint32_t index)
{
    const std::string* text = shader_->program_text(index);
    return text ? static_cast<uint32_t>(text->size() + 1) : 0;
}

void Generated_shader_wrapper::copy_program(uint32_t index, char* buffer, uint32_t size)
{
    if (!buffer || size == 0)
        return;
    const std::string* text = shader_->program_text(index);
    const char* source = text ? text->c_str() : "";
    size_t length = text ? text->size() + 1 : 1;
    std::memcpy(buffer, source, length < size ? length : size);
}

}  // namespace HOST
}  // namespace QZ

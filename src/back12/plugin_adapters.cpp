#include "back12/plugin_adapters.h"

#include <vector>

#include "host/compiler_facade.h"
#include "host/unit_facade.h"
#include "log/mod_log.h"
#include "plug/mod_plug.h"
#include "syntax_tree/compilation_unit.h"

namespace QZ {
namespace BACK12 {

namespace {

// The foreign result keeps its texts; each is copied out through a buffer one byte longer than
// the size it reports, for the terminating zero.
std::string copy_text(vorn::IGenerator_result* result, uint32_t index)
{
    uint32_t size = result->get_size(index);
    std::vector<char> buffer(size_t(size) + 1, '\0');
    result->get_text(index, buffer.data(), size + 1);
    buffer[size] = '\0';
    return std::string(buffer.data());
}

std::string entry_name(vorn::IGenerator_result* result, uint32_t index)
{
    const char* name = result->get_entry(index);
    return name ? name : "";
}

std::string result_target(vorn::IGenerator_result* result)
{
    const char* target = result ? result->get_target() : nullptr;
    return target ? target : "";
}

// The options as a host would have set them, key by key.
HOST::Compiler_options_wrapper* options_handle(const COMPILER::Compile_options& options)
{
    // ORDER: COMPILER::Shader_type from 1 on.
    static const char* const shader_type_names[] = {"surface", "light", "environment", "volume"};
    auto* handle = new HOST::Compiler_options_wrapper;
    for (const auto& attribute : options.attributes)
        handle->set_option(attribute.first.c_str(), attribute.second.c_str());
    if (options.shader_type >= COMPILER::SHADER_SURFACE && options.shader_type <= COMPILER::SHADER_VOLUME)
        handle->set_option("shader_type", shader_type_names[options.shader_type - 1]);
    handle->set_option("shader_name", options.shader_name.c_str());
    handle->set_option("primary_output", options.primary_output.c_str());
    return handle;
}

// A handle that lends the unit: the caller of the dispatch keeps owning it. No unit, no handle.
HOST::Compilation_unit_wrapper* unit_handle(SYNTAX_TREE::Compilation_unit* unit)
{
    if (!unit)
        return nullptr;
    return new HOST::Compilation_unit_wrapper(
        std::shared_ptr<SYNTAX_TREE::Compilation_unit>(unit, [](SYNTAX_TREE::Compilation_unit*) {}));
}

}  // namespace

// Plug-in adapter

Code_generator12_plugin_adapter::Code_generator12_plugin_adapter(PLUG::Plugin* foreign, uint32_t initial_count)
    : plugin_(foreign), count_(initial_count)
{
}

Code_generator12_plugin_adapter::~Code_generator12_plugin_adapter()
{
    if (PLUG::mod_plug)
        PLUG::mod_plug->release_plugin(plugin_);
}

// The dispatch wraps only plug-ins that are generator plug-ins.
vorn::IGenerator_plugin* Code_generator12_plugin_adapter::foreign() const
{
    return static_cast<vorn::IGenerator_plugin*>(plugin_);
}

const char* Code_generator12_plugin_adapter::get_name() { return plugin_->get_name(); }

const char* Code_generator12_plugin_adapter::get_type() { return plugin_->get_type(); }

int32_t Code_generator12_plugin_adapter::get_version() { return plugin_->get_version(); }

void Code_generator12_plugin_adapter::release()
{
    if (++count_ == 0)
        delete this;
}

const char* Code_generator12_plugin_adapter::get_target_name() { return foreign()->get_target_name(); }

int32_t Code_generator12_plugin_adapter::get_code_type() { return foreign()->get_code_type() != 0 ? 1 : 0; }

Generated_shader* Code_generator12_plugin_adapter::generate(SYNTAX_TREE::Compilation_unit* unit,
                                                            COMPILER::Compile_options options)
{
    auto* log = new HOST::Log_wrapper;
    HOST::Compilation_unit_wrapper* unit_wrapper = unit_handle(unit);
    HOST::Compiler_options_wrapper* options_wrapper = options_handle(options);

    Generated_shader* shader = nullptr;
    vorn::IGenerator* generator = foreign()->create_generator(unit_wrapper, options_wrapper);
    vorn::IGenerator_result* result = generator ? generator->generate(log, unit_wrapper, options_wrapper) : nullptr;
    if (result) {
        int32_t code_type = foreign()->get_code_type();
        if (code_type == CODE_HARDWARE) {
            shader = new Hardware_shader_adapter(result);
            result->release();
        } else if (code_type == CODE_SOFTWARE) {
            shader = new Software_shader_adapter(result);
        } else {
            LOG::mod_log->error(SYSTEM::MODULE_CB12, LOG::CAT_PLUG, 1, "unknown code type %d", int(code_type));
            result->release();
        }
    }
    if (generator)
        generator->release();
    options_wrapper->release();
    if (unit_wrapper)
        unit_wrapper->release();
    log->release();
    return shader;
}

// Result adapters

Hardware_shader_adapter::Hardware_shader_adapter(vorn::IGenerator_result* result)
    : Hardware_shader(result_target(result))
{
    // A result with fewer programs has no vertex or no fragment program; nothing is asked past
    // its count.
    uint32_t count = result->get_count();
    if (count > 0)
        add_vertex_program(entry_name(result, 0), copy_text(result, 0));
    if (count > 1)
        add_fragment_program(entry_name(result, 1), copy_text(result, 1));
}

Software_shader_adapter::Software_shader_adapter(vorn::IGenerator_result* result)
    : Software_shader(result_target(result)), result_(result)
{
    uint32_t count = result->get_count();
    for (uint32_t i = 0; i < count; ++i)
        add_program(entry_name(result, i), copy_text(result, i));
}

Software_shader_adapter::~Software_shader_adapter() { result_->release(); }

const char* Software_shader_adapter::get_target() const
{
    const char* target = result_->get_target();
    return target ? target : "";
}

}  // namespace BACK12
}  // namespace QZ

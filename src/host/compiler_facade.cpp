#include "host/compiler_facade.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "graph/graph_library.h"
#include "host/compile_session.h"
#include "log/mod_log.h"
#include "syntax_tree/diagnostics.h"

namespace QZ {
namespace HOST {

namespace {

// ORDER: COMPILER::Shader_type from 1 on.
const char* const shader_type_names[] = {"surface", "light", "environment", "volume"};

int32_t shader_type_from_name(const char* value)
{
    for (int32_t i = 0; i < 4; ++i)
        if (value && std::strcmp(value, shader_type_names[i]) == 0)
            return i + 1;
    return -1;
}

const SYNTAX_TREE::Error_record& missing_record()
{
    static const SYNTAX_TREE::Error_record record{};
    return record;
}

}  // namespace

// Options

void Compiler_options_wrapper::set_option(const char* key, const char* value)
{
    if (!key || !*key)
        return;
    if (std::strcmp(key, "shader_type") == 0) {
        int32_t type = shader_type_from_name(value);
        if (type > 0)
            options_.shader_type = type;
        else if (value && *value)
            options_.attributes[key] = value;
        else
            options_.attributes.erase(key);
        return;
    }
    if (std::strcmp(key, "shader_name") == 0) {
        options_.shader_name = value ? value : "";
        return;
    }
    if (std::strcmp(key, "primary_output") == 0) {
        options_.primary_output = value ? value : "";
        return;
    }
    // A whole program (the Cg target's main files): "true" or a number other than 0.
    if (std::strcmp(key, "complete_program") == 0) {
        options_.complete_program = value && (std::strcmp(value, "true") == 0 || std::atoi(value) != 0) ? 1 : 0;
        return;
    }
    if (!value || !*value)
        options_.attributes.erase(key);
    else
        options_.attributes[key] = value;
}

const char* Compiler_options_wrapper::get_option(const char* key)
{
    if (!key)
        return nullptr;
    if (std::strcmp(key, "shader_type") == 0 && options_.shader_type >= 1 && options_.shader_type <= 4)
        return shader_type_names[options_.shader_type - 1];
    if (std::strcmp(key, "shader_name") == 0)
        return options_.shader_name.c_str();
    if (std::strcmp(key, "primary_output") == 0)
        return options_.primary_output.c_str();
    if (std::strcmp(key, "complete_program") == 0)
        return options_.complete_program ? "1" : "0";
    return options_.get_attribute(key);
}

bool Compiler_options_wrapper::option_equals(const char* key, const char* value)
{
    const char* current = get_option(key);
    return current && value && std::strcmp(current, value) == 0;
}

// Errors

void Compiler_errors_wrapper::add_list(const std::string& file_name, const SYNTAX_TREE::Error_list& errors)
{
    lists_.push_back(Error_list_entry{file_name, errors});
}

const SYNTAX_TREE::Error_record& Compiler_errors_wrapper::at(uint32_t index, const char** file_name) const
{
    for (const Error_list_entry& list : lists_) {
        if (index < list.errors.size()) {
            *file_name = list.file_name.c_str();
            return list.errors[index];
        }
        index -= static_cast<uint32_t>(list.errors.size());
    }
    *file_name = "";
    return missing_record();
}

uint32_t Compiler_errors_wrapper::get_count()
{
    size_t count = 0;
    for (const Error_list_entry& list : lists_)
        count += list.errors.size();
    return static_cast<uint32_t>(count);
}

uint32_t Compiler_errors_wrapper::get_error_number(uint32_t index)
{
    const char* file_name;
    return at(index, &file_name).number;
}

int32_t Compiler_errors_wrapper::get_line(uint32_t index)
{
    const char* file_name;
    return at(index, &file_name).line;
}

int32_t Compiler_errors_wrapper::get_column(uint32_t index)
{
    const char* file_name;
    return at(index, &file_name).column;
}

int32_t Compiler_errors_wrapper::get_extra_position(uint32_t index)
{
    const char* file_name;
    return at(index, &file_name).extra_position;
}

uint32_t Compiler_errors_wrapper::get_message_length(uint32_t index)
{
    const char* file_name;
    const SYNTAX_TREE::Error_record& record = at(index, &file_name);
    return static_cast<uint32_t>(SYNTAX_TREE::format_error(record, file_name).size());
}

void Compiler_errors_wrapper::get_message(uint32_t index, char* buffer, uint32_t size)
{
    if (!buffer || size == 0)
        return;
    const char* file_name;
    const SYNTAX_TREE::Error_record& record = at(index, &file_name);
    std::string message = SYNTAX_TREE::format_error(record, file_name);
    size_t copied = std::min<size_t>(message.size(), size - 1);
    std::memcpy(buffer, message.data(), copied);
    buffer[copied] = '\0';
}

// Log

void* Log_wrapper::get_internal() { return LOG::mod_log; }

#define QZ_LOG_WRAPPER_FORMAT(text)                      \
    char text[1024];                                     \
    va_list values;                                      \
    va_start(values, format);                            \
    std::vsnprintf(text, sizeof text, format ? format : "", values); \
    va_end(values)

void Log_wrapper::info(const char* format, ...)
{
    QZ_LOG_WRAPPER_FORMAT(text);
    LOG::mod_log->info(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, "%s", text);
}

void Log_wrapper::warning(const char* format, ...)
{
    QZ_LOG_WRAPPER_FORMAT(text);
    LOG::mod_log->warning(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, 1, "%s", text);
}

void Log_wrapper::error(const char* format, ...)
{
    QZ_LOG_WRAPPER_FORMAT(text);
    LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, 6, "%s", text);
}

#undef QZ_LOG_WRAPPER_FORMAT

// Compiler

vorn::Interface* Vorn_compiler_impl::get_interface(int32_t id)
{
    if (id == vorn::IID_LOG)
        return new Log_wrapper;
    if (id == vorn::IID_COMPILE_SESSION)
        return new Compile_session;
    return Counted_interface::get_interface(id);
}

vorn::ICompiler_options* Vorn_compiler_impl::create_options() { return new Compiler_options_wrapper; }

vorn::ICompiler_errors* Vorn_compiler_impl::create_errors() { return new Compiler_errors_wrapper; }

std::vector<std::string> split_light_names(const char* text)
{
    std::vector<std::string> names;
    if (!text)
        return names;
    const char* p = text;
    while (*p) {
        const char* comma = std::strchr(p, ',');
        const char* end = comma ? comma : p + std::strlen(p);
        if (end > p)
            names.emplace_back(p, end);
        if (!comma)
            break;
        p = comma + 1;
        while (*p == ' ' || *p == '\t')
            ++p;
    }
    return names;
}

FLAT12::Export_settings render_export_settings(GRAPH::Graph_library* library, const char* lights,
                                               const char* environment, const char* volume,
                                               const char* external_shadow_function)
{
    FLAT12::Export_settings settings;
    settings.library = library;
    if (environment)
        settings.environment = library->find_node(environment);
    if (volume)
        settings.volume = library->find_node(volume);
    if (lights) {
        settings.has_light_list = true;
        for (const std::string& name : split_light_names(lights)) {
            settings.lights.emplace_back();
            settings.lights.back().tag = name;
        }
    }
    settings.external_shadow_function = external_shadow_function;
    return settings;
}

}  // namespace HOST
}  // namespace QZ

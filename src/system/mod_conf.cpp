#include "system/mod_conf.h"

#include <cerrno>
#include <cstdlib>

#include "system/mod_hal.h"

namespace QZ {
namespace SYSTEM {

Mod_conf* mod_conf = nullptr;

Mod_conf::Mod_conf(const char* argument) : Module(MODULE_CONF, "CONF")
{
    if (argument && *argument)
        root_ = argument;
    else if (const char* env = mod_hal ? mod_hal->get_environment("QZ_ROOT") : std::getenv("QZ_ROOT"))
        root_ = env;
}

void Mod_conf::register_number(int32_t group, const std::string& name, const std::string& description,
                               uint32_t* field)
{
    variables_[{group, name}] = Variable{group, name, description, NUMBER, field, nullptr, nullptr};
}

void Mod_conf::register_text(int32_t group, const std::string& name, const std::string& description,
                             std::string* field, bool* is_set)
{
    variables_[{group, name}] = Variable{group, name, description, TEXT, nullptr, field, is_set};
}

void Mod_conf::unregister(int32_t group, const std::string& name) { variables_.erase({group, name}); }

const Mod_conf::Variable* Mod_conf::find(int32_t group, const std::string& name) const
{
    auto it = variables_.find({group, name});
    return it == variables_.end() ? nullptr : &it->second;
}

bool Mod_conf::set(int32_t group, const std::string& name, const std::string& value)
{
    auto it = variables_.find({group, name});
    if (it == variables_.end())
        return false;
    Variable& variable = it->second;
    if (variable.kind == TEXT) {
        *variable.text = value;
        if (variable.text_set)
            *variable.text_set = true;
        return true;
    }
    if (value.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    unsigned long number = std::strtoul(value.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || number > 0xffffffffUL)
        return false;
    *variable.number = static_cast<uint32_t>(number);
    return true;
}

}  // namespace SYSTEM
}  // namespace QZ

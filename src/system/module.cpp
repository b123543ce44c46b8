#include "system/module.h"

namespace QZ {
namespace SYSTEM {

namespace {
Module* module_table[MODULE_TABLE_SIZE];

bool valid_id(int32_t id) { return id >= 0 && id < MODULE_TABLE_SIZE; }
}  // namespace

Module::Module(int32_t module_id, const char* module_tag_text)
    : state(MODULE_CONSTRUCTED), id(module_id), tag(module_tag_text)
{
    if (valid_id(id))
        module_table[id] = this;
}

Module::~Module()
{
    if (valid_id(id) && module_table[id] == this)
        module_table[id] = nullptr;
}

Module* module_at(int32_t id)
{
    return valid_id(id) ? module_table[id] : nullptr;
}

const char* module_tag(int32_t id)
{
    if (id == MODULE_MAIN)
        return "MAIN";
    Module* module = module_at(id);
    return module ? module->tag : nullptr;
}

}  // namespace SYSTEM
}  // namespace QZ

// The module base and the process-wide module table.
#pragma once

#include <cstdint>

namespace QZ {
namespace SYSTEM {

// Module numbers: the index in the module table and the first argument of every log call.
enum Module_id : int32_t {
    MODULE_MAIN = 0,
    MODULE_HAL = 12,
    MODULE_CONF = 21,
    MODULE_LOG = 24,
    MODULE_MATH = 25,
    MODULE_MEM = 26,
    MODULE_PLUG = 27,
    MODULE_PROP = 28,
    MODULE_STR = 32,
    MODULE_IMG = 37,
    MODULE_ANTL = 42,
    MODULE_CMDL = 43,
    MODULE_SITE = 46,
    MODULE_CB12 = 54,
    MODULE_COMP = 55,
    MODULE_CL12 = 56,
    MODULE_CF12 = 57,
    MODULE_CG = 58,
    MODULE_FX = 59,
    MODULE_GSWR = 60,
    MODULE_SYNT = 61,
    MODULE_CT12 = 62,
    MODULE_GL = 118,
    MODULE_BOVL = 145,
};

constexpr int32_t MODULE_TABLE_SIZE = 160;

enum Module_state : int32_t {
    MODULE_CONSTRUCTED = 0,
    MODULE_RUNNING = 1,
    MODULE_WARNING = 2,
    MODULE_FAILED = 3,
};

class Module {
public:
    // Registers the object in the module table under id.
    Module(int32_t id, const char* tag);
    virtual ~Module();

    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    int32_t state;
    int32_t id;
    const char* tag;
};

// The module registered under id, or null.
Module* module_at(int32_t id);

// "MAIN" for 0, the tag of a registered module, null otherwise.
const char* module_tag(int32_t id);

}  // namespace SYSTEM
}  // namespace QZ

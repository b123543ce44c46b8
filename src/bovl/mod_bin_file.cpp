#include "bovl/mod_bin_file.h"

#include <string>

#include "front12/mod_front12.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "system/mod_hal.h"
#include "system/mod_string.h"

namespace QZ {
namespace BOVL {

Mod_bin_file* mod_bin_file = nullptr;

namespace {

// The module that reports a file missing from the search path; it has no object of its own.
constexpr int32_t MODULE_FILE_LOOKUP = 109;

}  // namespace

void Mod_bin_file::save_binary(const SYNTAX_TREE::Compilation_unit& unit, const char* file)
{
    const char* name = file ? file : "";
    Bin_file_serializer out(name, clock_);
    if (!out.write_header()) {
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 5, "failed to write header of %s", name);
        return;
    }
    unit.serialize(out);
    if (!out.write_footer())
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 6, "failed to write footer of %s", name);
    out.close();
}

void Mod_bin_file::load_binary(SYNTAX_TREE::Compilation_unit& unit, const char* file)
{
    const char* name = file ? file : "";
    std::string path = name;
    if (!SYSTEM::mod_hal->file_exists(name)) {
        path = SYSTEM::mod_string->resolve_file("shader", name);
        if (path.empty()) {
            LOG::mod_log->error(MODULE_FILE_LOOKUP, LOG::CAT_PLUG, 7, "can not find path '%s'", name);
            return;
        }
    }
    Bin_file_deserializer in(path.c_str(), SYNTAX_TREE::mod_syntax_tree->get_deserialization_manager());
    if (!in.read_header()) {
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 3, "failed to read header of %s", name);
        return;
    }
    // Imports read with the unit are compiled once, as in a compile from source, so that a
    // file imported twice is one unit.
    FRONT12::mod_front12->begin_compile();
    unit.deserialize(in);
    FRONT12::mod_front12->end_compile();
    if (!in.read_footer())
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 4, "failed to read footer of %s", name);
    in.close();
}

void start()
{
    if (!mod_bin_file)
        mod_bin_file = new Mod_bin_file;
    mod_bin_file->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_bin_file;
    mod_bin_file = nullptr;
}

}  // namespace BOVL
}  // namespace QZ

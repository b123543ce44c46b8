// The binary compiled file: a unit's tree and named types, so that a host can skip parsing.
#pragma once

#include "bovl/bin_file_stream.h"
#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace BOVL {

class Mod_bin_file : public SYSTEM::Module {
public:
    Mod_bin_file() : Module(SYSTEM::MODULE_BOVL, "BOVL") {}

    // Writes the unit to file. Failures are logged (module 56): the header ("failed to write
    // header of %s", code 5) or the footer ("failed to write footer of %s", code 6).
    void save_binary(const SYNTAX_TREE::Compilation_unit& unit, const char* file);

    // Reads file, found as it stands or through the "shader" search path, into unit, which is
    // emptied and then holds the file's tree and declarations; the rest of the analysis is left
    // pending (Compilation_unit::resolve). A missing file (module 109, code 7) or a bad header
    // (module 56, code 3) leaves the unit untouched; a bad body or footer (module 56, code 4)
    // leaves what was read. Nothing else reports a failure.
    void load_binary(SYNTAX_TREE::Compilation_unit& unit, const char* file);

    // The time from which keys are made; tests fix it so that files do not vary.
    void set_clock(Clock clock) { clock_ = clock; }
    Clock clock() const { return clock_; }

private:
    Clock clock_ = nullptr;
};

extern Mod_bin_file* mod_bin_file;

void start();
void stop();

}  // namespace BOVL
}  // namespace QZ

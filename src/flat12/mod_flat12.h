// The graph linker: flattens a graph of shaders into one compilation unit.
#pragma once

#include <cstdint>

#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}
namespace DB {
class Transaction;
using Tag = uint32_t;
}

namespace FLAT12 {

class Mod_flat12 : public SYSTEM::Module {
public:
    Mod_flat12() : Module(SYSTEM::MODULE_CL12, "CL12") {}

    // The unit compiled from the source element that a shader declaration element names, for
    // a renderer that keeps its shaders in the database. Owned by the caller; null when the
    // declaration has no source, the source is not Ovrel text ("ovl"), or it does not compile,
    // each failure logged under this module.
    SYNTAX_TREE::Compilation_unit* link_source_file(DB::Tag declaration_tag, DB::Transaction* transaction);
};

extern Mod_flat12* mod_flat12;

void start();
void stop();

}  // namespace FLAT12
}  // namespace QZ

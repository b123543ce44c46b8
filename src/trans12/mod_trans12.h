// From a parse tree to a checked compilation unit.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
class Compilation_unit;
class Prelude_symbols;
}

namespace TRANS12 {

class Mod_trans12 : public SYSTEM::Module {
public:
    // Units a translation imports besides those its own #import lines name.
    using Unit_list = std::vector<std::shared_ptr<SYNTAX_TREE::Compilation_unit>>;
    // Declaration lists whose globals and functions a translation sees after the prelude's.
    using Declaration_lists = std::vector<const SYNTAX_TREE::St_node*>;

    Mod_trans12() : Module(SYSTEM::MODULE_CT12, "CT12") {}
    ~Mod_trans12() override;

    // Takes ownership of parse_result (which may be null) and returns the unit, never null: the
    // declaration pass, the shader links and the semantic pass have run, and what they found is
    // in the unit's error list. The driver passes null for both extras.
    SYNTAX_TREE::Compilation_unit* translate(SYNTAX_TREE::St_node* parse_result, const Unit_list* extra_imports,
                                             const Declaration_lists* extra_sets);

    // An empty unit that sees the prelude and compiles its imports through the parser module:
    // what a unit needs before it is read from a stream.
    SYNTAX_TREE::Compilation_unit* make_unit();

    // The same passes over a unit whose tree was set by other code (the graph linker, intrinsic
    // classes). The unit's declaration lists must still be empty.
    void analyse(SYNTAX_TREE::Compilation_unit& unit, const Declaration_lists* extra_sets = nullptr);

    // What the passes know of the prelude, learnt at first need. Null before the parser module
    // has a prelude; units then see the built-in types alone.
    std::shared_ptr<const SYNTAX_TREE::Prelude_symbols> prelude_symbols();

private:
    std::mutex prelude_lock_;
    const SYNTAX_TREE::St_node* prelude_list_ = nullptr;
    std::shared_ptr<const SYNTAX_TREE::Prelude_symbols> prelude_symbols_;
};

extern Mod_trans12* mod_trans12;

void start();
void stop();

}  // namespace TRANS12
}  // namespace QZ

// Code generator dispatch: finds a generator by target name.
#pragma once

#include <vector>

#include "compiler/compile_options.h"
#include "system/module.h"

namespace QZ {
namespace SYNTAX_TREE {
class Compilation_unit;
}

namespace BACK12 {

class Code_generator12_plugin;
class Generated_shader;

class Mod_back12 : public SYSTEM::Module {
public:
    // Makes the built-in generators, in the order Cg, Swrc, FX, GL.
    Mod_back12();
    ~Mod_back12() override;

    // The text of unit for the target named exactly target_name, owned by the caller; null when
    // no generator has that name, silently. Each generator gets its own copy of options.
    Generated_shader* compile(SYNTAX_TREE::Compilation_unit* unit, const char* target_name,
                              const COMPILER::Compile_options& options);

    // Generators in lookup order; the registry's join at the first compile.
    const std::vector<Code_generator12_plugin*>& generators() const { return generators_; }
    // Generators in lookup order, the registry's included.
    const std::vector<Code_generator12_plugin*>& all_generators();
    bool plugins_scanned() const { return scanned_; }

private:
    void append(Code_generator12_plugin* generator);
    // Once per life of the module: plug-ins of the generator type join behind the built-ins.
    void scan_plugins();

    std::vector<Code_generator12_plugin*> generators_;
    bool scanned_ = false;
};

extern Mod_back12* mod_back12;

void start();
void stop();

}  // namespace BACK12
}  // namespace QZ

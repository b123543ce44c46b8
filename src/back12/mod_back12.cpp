#include "back12/mod_back12.h"

#include "vorn/vorn_generator.h"

#include <cstring>

#include "back12/code_generator.h"
#include "back12/generated_shader.h"
#include "back12/plugin_adapters.h"
#include "gen_cg/cg_code_generator_plugin.h"
#include "gen_fx/fx_code_generator_plugin.h"
#include "gen_swrc/swrc_code_generator_plugin.h"
#include "log/mod_log.h"
#include "plug/mod_plug.h"
#include "system/growth.h"

// The back ends still being written join the list as soon as their plug-in class exists. A
// build directory made before the header appeared needs this file recompiled to see it.
#if __has_include("gen_gl/gl_code_generator_plugin.h")
#include "gen_gl/gl_code_generator_plugin.h"
#define VORN_HAS_GL_GENERATOR 1
#endif

namespace QZ {
namespace BACK12 {

Mod_back12* mod_back12 = nullptr;

namespace {

const char* const generator_plugin_type = "Code_generator12_plugin";

bool same_text(const char* a, const char* b) { return a && b && std::strcmp(a, b) == 0; }

}  // namespace

Mod_back12::Mod_back12() : Module(SYSTEM::MODULE_CB12, "CB12")
{
    // Built-ins come first, so that a plug-in never takes over one of their targets.
    append(new GEN_CG::Cg_code_generator_plugin);
    append(new GEN_SWRC::Swrc_code_generator_plugin);
    append(new GEN_FX::Fx_code_generator_plugin);
#ifdef VORN_HAS_GL_GENERATOR
    append(new GEN_GL::Gl_code_generator_plugin);
#endif
}

Mod_back12::~Mod_back12()
{
    // Adapters never end through release (its count only goes up), so the list ends them here;
    // each gives its plug-in back to the registry, which stops after this module.
    for (Code_generator12_plugin* generator : generators_)
        delete generator;
}

void Mod_back12::append(Code_generator12_plugin* generator)
{
    SYSTEM::reserve_for_one_more(generators_);
    generators_.push_back(generator);
}

void Mod_back12::scan_plugins()
{
    scanned_ = true;
    if (!PLUG::mod_plug)
        return;
    for (uint32_t index = 0; index < PLUG::mod_plug->get_plugin_count(); ++index) {
        PLUG::Plugin* plugin = PLUG::mod_plug->get_plugin(index);
        if (!plugin) {
            LOG::mod_log->error(SYSTEM::MODULE_CB12, LOG::CAT_PLUG, 1, "get_plugin returned zero");
            continue;
        }
        if (!same_text(plugin->get_type(), generator_plugin_type)) {
            PLUG::mod_plug->release_plugin(plugin);
        } else if (!dynamic_cast<vorn::IGenerator_plugin*>(plugin)) {
            // Its type says generator, but it has not the generator's slots: calling them would
            // run whatever stands there.
            const char* name = plugin->get_name();
            LOG::mod_log->error(SYSTEM::MODULE_CB12, LOG::CAT_PLUG, 1,
                                "plugin \"%s\" is not a code generator plugin", name ? name : "");
            PLUG::mod_plug->release_plugin(plugin);
        } else {
            append(new Code_generator12_plugin_adapter(plugin));
        }
    }
}

const std::vector<Code_generator12_plugin*>& Mod_back12::all_generators()
{
    if (!scanned_)
        scan_plugins();
    return generators_;
}

Generated_shader* Mod_back12::compile(SYNTAX_TREE::Compilation_unit* unit, const char* target_name,
                                      const COMPILER::Compile_options& options)
{
    if (!scanned_)
        scan_plugins();
    if (!target_name)
        return nullptr;
    for (Code_generator12_plugin* generator : generators_)
        if (same_text(generator->get_target_name(), target_name))
            return generator->generate(unit, options);
    return nullptr;
}

void start()
{
    if (!mod_back12)
        mod_back12 = new Mod_back12;
    mod_back12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_back12;
    mod_back12 = nullptr;
}

}  // namespace BACK12
}  // namespace QZ

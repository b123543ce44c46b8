#include "compiler/mod_compiler.h"

#include <string>
#include <string_view>

#include "back12/mod_back12.h"
#include "bovl/mod_bin_file.h"
#include "db/access.h"
#include "db/shader_elements.h"
#include "flat12/mod_flat12.h"
#include "front12/mod_front12.h"
#include "gen_cg/mod_gen_cg.h"
#include "gen_fx/mod_gen_fx.h"
#include "gen_gl/mod_gen_gl.h"
#include "gen_swrc/mod_gen_swrc.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace COMPILER {

Mod_compiler* mod_compiler = nullptr;

namespace {

// Imported files are compiled once per outermost compile.
class Compile_scope {
public:
    Compile_scope() { FRONT12::mod_front12->begin_compile(); }
    ~Compile_scope() { FRONT12::mod_front12->end_compile(); }
};

}  // namespace

SYNTAX_TREE::Compilation_unit* Mod_compiler::compile_file(const char* path, SYNTAX_TREE::Error_list* errors)
{
    Compile_scope scope;
    // Read whole, not as a C string, so that a zero byte in the file is an error and not its end.
    std::string text, found;
    if (!path || !FRONT12::mod_front12->read_file(path, std::string(), text, found, false)) {
        if (errors) {
            SYNTAX_TREE::Error_record record;
            record.number = SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE;
            record.text = path ? path : "";
            errors->push_back(record);
        }
        return nullptr;
    }
    SYNTAX_TREE::St_node* tree = FRONT12::mod_front12->parse(std::string_view(text), path, errors);
    return tree ? TRANS12::mod_trans12->translate(tree, nullptr, nullptr) : nullptr;
}

SYNTAX_TREE::Compilation_unit* Mod_compiler::compile_text(const char* file_name, const char* text,
                                                          SYNTAX_TREE::Error_list* errors)
{
    if (!text)
        return nullptr;
    Compile_scope scope;
    SYNTAX_TREE::St_node* tree = FRONT12::mod_front12->parse(text, file_name, errors);
    return tree ? TRANS12::mod_trans12->translate(tree, nullptr, nullptr) : nullptr;
}

BACK12::Generated_shader* Mod_compiler::generate_shader(SYNTAX_TREE::Compilation_unit* unit, const char* target_name,
                                                        const Compile_options& options)
{
    if (unit && unit->resolution_pending())
        resolve_unit(*unit);
    return BACK12::mod_back12 ? BACK12::mod_back12->compile(unit, target_name, options) : nullptr;
}

void Mod_compiler::resolve_unit(SYNTAX_TREE::Compilation_unit& unit)
{
    if (!unit.resolution_pending())
        return;
    Compile_scope scope;
    unit.resolve();
    // Every error of such a unit came from reading it back or from this step.
    for (const SYNTAX_TREE::Error_record& error : unit.errors())
        LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, 1, "%s",
                            SYNTAX_TREE::format_error(error, unit.source_file_name().c_str()).c_str());
}

BACK12::Generated_shader* Mod_compiler::convert_shader(DB::Tag declaration_tag, DB::Transaction* transaction,
                                                       const char* target_name, const Compile_options& options)
{
    DB::Access declaration;
    auto* element = dynamic_cast<DB::Shader_declaration_element*>(
        declaration.set(declaration_tag, transaction, DB::_Dcl));
    DB::Access stored_unit;
    SYNTAX_TREE::Compilation_unit* unit = nullptr;
    if (element && element->unit_tag != 0) {
        stored_unit.set(element->unit_tag, transaction, DB::_CoU);
        // A unit element that the database does not have is no unit: compile the source instead.
        if (stored_unit.found())
            unit = stored_unit.element_as<SYNTAX_TREE::Compilation_unit>();
    }
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> made;
    if (!unit) {
        made.reset(make_unit_from_declaration(declaration_tag, transaction));
        unit = made.get();
    }
    BACK12::Generated_shader* result = nullptr;
    if (unit) {
        const char* name = transaction ? transaction->get_tag_name(declaration_tag) : nullptr;
        LOG::mod_log->info(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, "Converting Ovrel shader %s to %s", name ? name : "",
                           target_name ? target_name : "");
        result = generate_shader(unit, target_name, options);
    }
    stored_unit.finish();
    declaration.finish();
    return result;
}

SYNTAX_TREE::Compilation_unit* Mod_compiler::make_unit_from_declaration(DB::Tag declaration_tag,
                                                                        DB::Transaction* transaction)
{
    return FLAT12::mod_flat12->link_source_file(declaration_tag, transaction);
}

void start()
{
    if (!mod_compiler)
        mod_compiler = new Mod_compiler;
    BOVL::start();
    BACK12::start();
    FLAT12::start();
    FRONT12::start();
    GEN_CG::start();
    SYNTAX_TREE::start();
    TRANS12::start();
    GEN_SWRC::start();
    GEN_FX::start();
    GEN_GL::start();
    mod_compiler->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    if (!mod_compiler)
        return;
    // CB12 goes first: it holds adapters over plug-ins of the generator modules.
    BACK12::stop();
    FLAT12::stop();
    FRONT12::stop();
    GEN_CG::stop();
    SYNTAX_TREE::stop();
    TRANS12::stop();
    GEN_SWRC::stop();
    GEN_FX::stop();
    GEN_GL::stop();
    BOVL::stop();
    delete mod_compiler;
    mod_compiler = nullptr;
}

}  // namespace COMPILER
}  // namespace QZ

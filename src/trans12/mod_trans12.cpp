#include "trans12/mod_trans12.h"

#include "front12/mod_front12.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace TRANS12 {

Mod_trans12* mod_trans12 = nullptr;

namespace {

// "dir/name.ovl" gives "name".
std::string unit_name_of(const std::string& file_name)
{
    size_t slash = file_name.find_last_of("/\\");
    std::string name = slash == std::string::npos ? file_name : file_name.substr(slash + 1);
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::shared_ptr<SYNTAX_TREE::Compilation_unit> import_through_parser(const std::string& name,
                                                                     const std::string& importing_file)
{
    return FRONT12::mod_front12 ? FRONT12::mod_front12->import_unit(name, importing_file) : nullptr;
}

}  // namespace

Mod_trans12::~Mod_trans12() = default;

std::shared_ptr<const SYNTAX_TREE::Prelude_symbols> Mod_trans12::prelude_symbols()
{
    const SYNTAX_TREE::St_node* list = FRONT12::mod_front12 ? FRONT12::mod_front12->prelude() : nullptr;
    std::lock_guard<std::mutex> guard(prelude_lock_);
    if (!list)
        return nullptr;
    if (!prelude_symbols_ || prelude_list_ != list) {
        auto symbols = std::make_shared<const SYNTAX_TREE::Prelude_symbols>(list);
        for (const std::string& problem : symbols->problems())
            LOG::mod_log->error(SYSTEM::MODULE_CT12, LOG::CAT_PLUG, 1, "prelude: %s", problem.c_str());
        prelude_symbols_ = std::move(symbols);
        prelude_list_ = list;
    }
    return prelude_symbols_;
}

SYNTAX_TREE::Compilation_unit* Mod_trans12::make_unit()
{
    auto* unit = new SYNTAX_TREE::Compilation_unit(prelude_symbols());
    unit->set_import_resolver(import_through_parser);
    return unit;
}

SYNTAX_TREE::Compilation_unit* Mod_trans12::translate(SYNTAX_TREE::St_node* parse_result,
                                                      const Unit_list* extra_imports,
                                                      const Declaration_lists* extra_sets)
{
    SYNTAX_TREE::Compilation_unit* unit = make_unit();
    if (parse_result) {
        unit->set_source_file_name(parse_result->file_name());
        unit->set_name(unit_name_of(parse_result->file_name()));
    }
    unit->set_tree(parse_result);
    if (extra_imports)
        for (size_t i = 0; i < extra_imports->size(); ++i)
            if ((*extra_imports)[i])
                unit->add_import("<extra " + std::to_string(i) + ">", (*extra_imports)[i]);
    analyse(*unit, extra_sets);
    return unit;
}

void Mod_trans12::analyse(SYNTAX_TREE::Compilation_unit& unit, const Declaration_lists* extra_sets)
{
    SYNTAX_TREE::Tree_traverser_prepass prepass(unit, import_through_parser);
    prepass.run();
    unit.link_shaders();
    SYNTAX_TREE::Tree_traverser_semantic_pass pass(unit);
    if (extra_sets)
        for (const SYNTAX_TREE::St_node* list : *extra_sets)
            pass.add_declaration_list(list);
    pass.run();
}

void start()
{
    if (!mod_trans12)
        mod_trans12 = new Mod_trans12;
    mod_trans12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_trans12;
    mod_trans12 = nullptr;
}

}  // namespace TRANS12
}  // namespace QZ

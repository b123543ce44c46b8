#include "flat12/mod_flat12.h"

#include <cstring>
#include <memory>
#include <string>

#include "db/access.h"
#include "db/shader_elements.h"
#include "front12/mod_front12.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace FLAT12 {

Mod_flat12* mod_flat12 = nullptr;

SYNTAX_TREE::Compilation_unit* Mod_flat12::link_source_file(DB::Tag declaration_tag, DB::Transaction* transaction)
{
    if (!transaction || declaration_tag == 0)
        return nullptr;
    DB::Access declaration_access;
    auto* declaration = dynamic_cast<DB::Shader_declaration_element*>(
        declaration_access.set(declaration_tag, transaction, DB::_Dcl));
    const char* tag_name = transaction->get_tag_name(declaration_tag);
    std::string name = tag_name ? tag_name : "";
    std::string file_name = name + ".ovl";
    DB::Tag source_tag = declaration ? declaration->source_tag : 0;
    declaration_access.finish();
    if (source_tag == 0)
        return nullptr;

    DB::Access source_access;
    auto* source = dynamic_cast<DB::Shader_source_element*>(source_access.set(source_tag, transaction, DB::_Src));
    if (!source_access.found() || !source) {
        source_access.finish();
        return nullptr;
    }
    const char* language = source->language();
    if (!language || std::strcmp(language, "ovl") != 0) {
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 5, "only .ovl files supported in current render mode: %s.%s",
                            name.c_str(), language ? language : "");
        source_access.finish();
        return nullptr;
    }
    if (!source->text()) {
        source_access.finish();
        return nullptr;
    }
    FRONT12::mod_front12->begin_compile();
    SYNTAX_TREE::St_node* tree = FRONT12::mod_front12->parse(source->text(), file_name.c_str(), nullptr);
    source_access.finish();
    std::unique_ptr<SYNTAX_TREE::Compilation_unit> unit;
    if (tree)
        unit.reset(TRANS12::mod_trans12->translate(tree, nullptr, nullptr));
    FRONT12::mod_front12->end_compile();
    if (!unit) {
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1, "errors were encountered in file: %s",
                            file_name.c_str());
        return nullptr;
    }
    if (unit->error_count() > 0) {
        for (const SYNTAX_TREE::Error_record& error : unit->errors())
            LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1, "%s",
                                SYNTAX_TREE::format_error(error, name.c_str()).c_str());
        return nullptr;
    }
    return unit.release();
}

void start()
{
    if (!mod_flat12)
        mod_flat12 = new Mod_flat12;
    mod_flat12->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_flat12;
    mod_flat12 = nullptr;
}

}  // namespace FLAT12
}  // namespace QZ

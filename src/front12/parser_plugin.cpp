#include "front12/parser_plugin.h"

#include <cstring>

#include "front12/mod_front12.h"
#include "front12/ovrel_lexer.h"
#include "front12/ovrel_parser.h"
#include "front12/prelude.h"
#include "log/mod_log.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace FRONT12 {

using SYNTAX_TREE::Error_list;
using SYNTAX_TREE::St_node;

St_node* Parser_ovrel_12::parse(const char* text, const char* file_name, Error_list* errors, Macro_table* macro_table)
{
    const std::string name = file_name ? file_name : "";
    const char* source = text ? text : "";
    Ovrel_lexer lexer(source, std::strlen(source), name);
    Ovrel_preprocessor preprocessor(lexer, name);
    preprocessor.set_expression_parser([](const std::string& line, Error_list& line_errors) {
        return mod_front12->parse_expression(line, line_errors);
    });
    if (macro_table)
        preprocessor.add_macros(*macro_table);
    else if (name != prelude_file_name)
        preprocessor.add_macros(mod_front12->prelude_macros());

    Error_list syntax_errors;
    Ovrel_parser parser(preprocessor, name, syntax_errors);
    parser.set_include_hook([this, &name, &preprocessor](const std::string& included, const Token&) {
        return include(included, name, preprocessor);
    });

    std::unique_ptr<St_node> tree;
    bool stopped = false;
    try {
        tree.reset(parser.parse_translation_unit());
    } catch (const Preprocessor_exception& error) {
        // The preprocessor stops at its first error, and the tree goes with it.
        stopped = true;
        tree.reset();
        if (preprocessor.diagnostics().empty())
            SYNTAX_TREE::log_error(error.record(), error.file().c_str());
        if (errors && preprocessor.diagnostics().empty())
            errors->push_back(error.record());
    }
    for (const auto& record : preprocessor.diagnostics()) {
        SYNTAX_TREE::log_error(record, name.c_str());
        if (errors)
            errors->push_back(record);
    }
    if (errors)
        errors->insert(errors->end(), syntax_errors.begin(), syntax_errors.end());
    if (macro_table)
        *macro_table = preprocessor.get_macros();
    if (stopped || !syntax_errors.empty() || !preprocessor.diagnostics().empty())
        return nullptr;
    return tree.release();
}

St_node* Parser_ovrel_12::include(const std::string& name, const std::string& includer,
                                  Ovrel_preprocessor& preprocessor)
{
    if (name == prelude_file_name) {
        LOG::mod_log->warning(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0,
                              "Explicit inclusion of stdlib.ovl will be ignored(stdlib.ovl is automatically included).");
        return nullptr;
    }
    if (include_depth_ >= INCLUDE_DEPTH_LIMIT) {
        LOG::mod_log->error(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0,
                            "%s: files are included more than %d levels deep; \"%s\" is skipped", includer.c_str(),
                            INCLUDE_DEPTH_LIMIT, name.c_str());
        return nullptr;
    }
    std::string text, found;
    if (!mod_front12->read_file(name, includer, text, found))
        return nullptr;

    // The included file sees the includer's macros, and its own come back; its errors are
    // only warnings, and do not enter the includer's list.
    Macro_table macros = preprocessor.get_macros();
    Error_list included_errors;
    ++include_depth_;
    St_node* tree = parse(text.c_str(), name.c_str(), &included_errors, &macros);
    --include_depth_;
    for (const auto& record : included_errors) {
        std::string message = SYNTAX_TREE::format_error(record, name.c_str());
        LOG::mod_log->warning(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "%s", message.c_str());
    }
    preprocessor.add_macros(macros);
    return tree;
}

}  // namespace FRONT12
}  // namespace QZ

#include "front12/parser_plugin.h"

#include <string>

#include "front12/mod_front12.h"
#include "front12/ovrel_lexer.h"
#include "front12/ovrel_parser.h"
#include "front12/prelude.h"
#include "log/mod_log.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/node_arena.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace FRONT12 {

using SYNTAX_TREE::Error_list;
using SYNTAX_TREE::St_node;

St_node* Parser_ovrel_12::parse(const char* text, const char* file_name, Error_list* errors, Macro_table* macro_table)
{
    return parse_text(text ? std::string_view(text) : std::string_view(), file_name, errors, macro_table);
}

St_node* Parser_ovrel_12::parse_text(std::string_view source, const char* file_name, Error_list* errors,
                                     Macro_table* macro_table, std::unique_ptr<St_node>* partial)
{
    const std::string name = file_name ? file_name : "";
    Ovrel_lexer lexer(source.data() ? source.data() : "", source.size(), name);
    Ovrel_preprocessor preprocessor(lexer, name);
    preprocessor.set_expression_parser([](const std::string& line, Error_list& line_errors) {
        return mod_front12->parse_expression(line, line_errors);
    });
    if (macro_table)
        preprocessor.add_macros(*macro_table);
    else if (name != prelude_file_name)
        preprocessor.add_macros(mod_front12->file_macros());

    Error_list syntax_errors;
    Error_list directive_errors;
    Ovrel_parser parser(preprocessor, name, syntax_errors);
    parser.set_tree_arena(source.size() >= SYNTAX_TREE::Node_arena::MIN_SOURCE);
    parser.set_include_hook(
        [this, &name, &preprocessor, &directive_errors](const std::string& included, const Token& directive) {
            return include(included, name, preprocessor, directive, directive_errors);
        });

    std::unique_ptr<St_node> tree;
    Error_list preprocessor_errors;
    try {
        tree.reset(parser.parse_translation_unit());
    } catch (const Preprocessor_exception& error) {
        // The preprocessor stops at its first error, and the tree goes with it.
        tree.reset();
        if (preprocessor.diagnostics().empty())
            preprocessor_errors.push_back(error.record());
    }
    const Error_list& recorded = preprocessor.diagnostics();
    preprocessor_errors.insert(preprocessor_errors.end(), recorded.begin(), recorded.end());
    preprocessor_errors.insert(preprocessor_errors.end(), directive_errors.begin(), directive_errors.end());
    // A caller with a list reports the errors itself; logging them too showed each one twice.
    for (const auto& record : preprocessor_errors) {
        if (errors)
            errors->push_back(record);
        else
            SYNTAX_TREE::log_error(record, name.c_str());
    }
    if (errors)
        errors->insert(errors->end(), syntax_errors.begin(), syntax_errors.end());
    if (macro_table)
        *macro_table = preprocessor.get_macros();
    if (partial && preprocessor_errors.empty())
        *partial = std::move(tree);
    if (!syntax_errors.empty() || !preprocessor_errors.empty())
        return nullptr;
    if (partial)
        return partial->release();
    return tree.release();
}

St_node* Parser_ovrel_12::include(const std::string& name, const std::string& includer,
                                  Ovrel_preprocessor& preprocessor, const Token& directive,
                                  Error_list& directive_errors)
{
    Front_session* session = mod_front12->session();
    auto warn = [&](std::string message) {
        if (session)
            session->warnings.push_back(Front_warning{includer, directive.line, directive.column, std::move(message)});
    };
    if (name == prelude_file_name) {
        const char* message =
            "Explicit inclusion of stdlib.ovl will be ignored(stdlib.ovl is automatically included).";
        LOG::mod_log->warning(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "%s", message);
        warn(message);
        return nullptr;
    }
    if (include_depth_ >= INCLUDE_DEPTH_LIMIT) {
        // Included files' errors are only warnings, so the error waits for the outermost file.
        include_depth_reached_ = true;
        return nullptr;
    }
    std::string text, found;
    if (!mod_front12->read_file(name, includer, text, found)) {
        warn("cannot open included file \"" + name + "\"");
        return nullptr;
    }

    // The included file sees the includer's macros, and its own come back; its errors are
    // only warnings, and do not enter the includer's list.
    Macro_table macros = preprocessor.get_macros();
    Error_list included_errors;
    ++include_depth_;
    St_node* tree = parse_text(text, name.c_str(), &included_errors, &macros);
    --include_depth_;
    if (include_depth_ == 0 && include_depth_reached_) {
        include_depth_reached_ = false;
        SYNTAX_TREE::Error_record record;
        record.line = directive.line;
        record.column = directive.column;
        record.number = DIAG_PLAIN_MESSAGE;
        record.text = "files are included more than " + std::to_string(INCLUDE_DEPTH_LIMIT) +
                      " levels deep through \"" + name + "\"";
        directive_errors.push_back(record);
    }
    for (const auto& record : included_errors) {
        std::string message = SYNTAX_TREE::format_error(record, name.c_str());
        LOG::mod_log->warning(SYSTEM::MODULE_CF12, LOG::CAT_PLUG, 0, "%s", message.c_str());
        warn("included file \"" + name + "\" left out: " + message);
    }
    preprocessor.add_macros(macros);
    return tree;
}

}  // namespace FRONT12
}  // namespace QZ

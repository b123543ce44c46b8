#include <memory>
#include <string>
#include <string_view>

#include "front12/mod_front12.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/prepass.h"
#include "syntax_tree/st_node.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace FRONT12 {

namespace {

// A unit that only says why the file cannot be imported.
std::shared_ptr<SYNTAX_TREE::Compilation_unit> failed_import(const std::string& file, std::string why)
{
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(TRANS12::mod_trans12->make_unit());
    unit->set_source_file_name(file);
    SYNTAX_TREE::Error_record record;
    record.number = SYNTAX_TREE::DIAG_IMPORT_FAILURE;
    record.text = std::move(why);
    unit->add_error(record);
    return unit;
}

}  // namespace

std::shared_ptr<SYNTAX_TREE::Compilation_unit> Mod_front12::import_unit(const std::string& name,
                                                                        const std::string& importing_file)
{
    // A direct call outside a compile keeps its cache for its own length only.
    begin_compile();
    struct Scope_end {
        Mod_front12* front;
        ~Scope_end() { front->end_compile(); }
    } scope_end{this};

    std::string text, found;
    if (!read_file(name, importing_file, text, found))
        return failed_import(name, "cannot be read");
    auto cached = imports_.find(found);
    if (cached != imports_.end())
        return cached->second ? cached->second : failed_import(found, "imports itself");
    // Each level runs the parser, the translator and the prepass on the stack.
    if (import_depth_ >= IMPORT_DEPTH_LIMIT)
        return failed_import(found, "imports are nested more than " + std::to_string(IMPORT_DEPTH_LIMIT) +
                                        " levels deep");
    imports_[found] = nullptr;
    struct Depth {
        int& depth;
        explicit Depth(int& d) : depth(d) { ++depth; }
        ~Depth() { --depth; }
    } depth(import_depth_);

    SYNTAX_TREE::Error_list errors;
    SYNTAX_TREE::St_node* tree = parse(std::string_view(text), found.c_str(), &errors);
    if (!tree) {
        std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit =
            failed_import(found, errors.empty() ? std::string("has nothing to compile")
                                                : SYNTAX_TREE::format_error(errors.front(), name.c_str()));
        imports_[found] = unit;
        return unit;
    }
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(TRANS12::mod_trans12->translate(tree, nullptr, nullptr));
    imports_[found] = unit;
    return unit;
}

}  // namespace FRONT12
}  // namespace QZ

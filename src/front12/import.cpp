#include <memory>
#include <string>

#include "front12/mod_front12.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace FRONT12 {

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
        return nullptr;
    auto cached = imports_.find(found);
    if (cached != imports_.end())
        return cached->second;  // null while that file is still being compiled: a cycle
    imports_[found] = nullptr;

    SYNTAX_TREE::Error_list errors;
    SYNTAX_TREE::St_node* tree = parse(text.c_str(), found.c_str(), &errors);
    if (!tree)
        return nullptr;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(TRANS12::mod_trans12->translate(tree, nullptr, nullptr));
    imports_[found] = unit;
    return unit;
}

}  // namespace FRONT12
}  // namespace QZ

// What a host's compile session adds to the front end for the length of one run: settings in,
// findings out. The front end works the same without one.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "front12/ovrel_preprocessor.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace FRONT12 {

// A warning is placed at the directive that caused it.
struct Front_warning {
    std::string file;
    int32_t line = -1;
    int32_t column = -1;
    std::string message;
};

struct Front_session {
    // Settings
    std::vector<std::string> include_directories;
    // Definitions (a value) and removals (none) in the order given.
    std::vector<std::pair<std::string, std::optional<std::string>>> macro_edits;
    // The prelude's macros with macro_edits applied; made at the first parse of a run.
    std::optional<Macro_table> macros;

    // Findings of one run
    std::vector<std::string> dependencies;
    std::set<std::string> dependency_set;
    std::vector<Front_warning> warnings;
    // The top file's tree when the parser met syntax errors and still built one.
    std::unique_ptr<SYNTAX_TREE::St_node> partial_tree;

    void note_dependency(const std::string& path)
    {
        if (dependency_set.insert(path).second)
            dependencies.push_back(path);
    }
    void clear_findings()
    {
        dependencies.clear();
        dependency_set.clear();
        warnings.clear();
        partial_tree.reset();
    }
};

}  // namespace FRONT12
}  // namespace QZ

// One diagnostic, kept as a value and turned into text only when asked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QZ {
namespace SYNTAX_TREE {

struct Error_record {
    int32_t line = -1;
    int32_t column = -1;
    int32_t extra_position = -1;
    uint32_t number = 0;
    std::string text;  // the name or word for the template's %s; empty when there is none
    int32_t value = 0;
};

using Error_list = std::vector<Error_record>;

// Diagnostic numbers that code outside the passes raises by name.
enum Diagnostic_number : uint32_t {
    DIAG_SYNTAX_ERROR = 1,
    DIAG_UNABLE_TO_OPEN_FILE = 26,
    DIAG_EMPTY_XOVL = 53,
    DIAG_IMPORT_ERRORS = 54,
};

}  // namespace SYNTAX_TREE
}  // namespace QZ

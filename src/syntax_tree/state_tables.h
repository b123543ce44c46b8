// The renderer state as the language sees it: state variables by number 0 to 80 and state
// functions by number 0 to 21, with their names and types.
#pragma once

#include <cstdint>

#include "syntax_tree/type.h"

namespace QZ {
namespace SYNTAX_TREE {

constexpr int32_t STATE_VARIABLE_COUNT = 81;
constexpr int32_t STATE_FUNCTION_COUNT = 22;

// Index 21 is a second "position"; a lookup by name finds index 0.
constexpr int32_t STATE_VARIABLE_POSITION = 0;
constexpr int32_t STATE_VARIABLE_SECOND_POSITION = 21;

struct State_entry {
    const char* name;
    uint8_t code;         // TYPE_ILLEGAL with array size 0: the entry has no type
    uint32_t array_size;
};

// ORDER: indexed by state variable number.
extern const State_entry state_variable_table[STATE_VARIABLE_COUNT];
// ORDER: indexed by state function number; the type is the result of a call.
extern const State_entry state_function_table[STATE_FUNCTION_COUNT];

constexpr const char* UNKNOWN_STATE_VARIABLE = "<unknown state variable>";
constexpr const char* UNKNOWN_STATE_FUNCTION = "<unknown state function>";

}  // namespace SYNTAX_TREE
}  // namespace QZ

// The numbered message templates of the front end, and the formatting of an error record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "syntax_tree/error_record.h"

namespace QZ {
namespace FRONT12 {
struct Token;
}

namespace SYNTAX_TREE {

class St_node;

// Formatted messages are cut to fit a buffer of this size, zero byte included.
constexpr size_t ERROR_TEXT_SIZE = 2048;

// The highest template number.
constexpr uint32_t LAST_DIAGNOSTIC = 74;

// The template of a number; value 0, 1 or 2 selects one of the three forms of 70 (any other
// value the first). Null for 65 and for numbers that have none.
const char* diagnostic_template(uint32_t number, int32_t value = 0);

// Writes the message of error into buffer, cut at ERROR_TEXT_SIZE - 1 characters. The first
// %s of a template is the file name, the first %d the line; later ones take the record's
// text and value. Number 26 names the record's text, when it has one, instead of the file:
// the driver records the path that it could not open there. Returns the length written.
size_t format_error(const Error_record& error, const char* file_name, char (&buffer)[ERROR_TEXT_SIZE]);

// The same message as a string.
std::string format_error(const Error_record& error, const char* file_name);

// Sends the message to the log at error level.
void log_error(const Error_record& error, const char* file_name);

// A record at the position of node.
Error_record make_error(const St_node& node, uint32_t number, std::string_view text = {}, int32_t value = 0);

// A record at the position of token.
Error_record make_error(const FRONT12::Token& token, uint32_t number, std::string_view text = {},
                        int32_t value = 0);

}  // namespace SYNTAX_TREE
}  // namespace QZ

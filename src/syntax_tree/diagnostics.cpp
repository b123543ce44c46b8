#include "syntax_tree/diagnostics.h"

#include <cstdio>

#include "front12/token.h"
#include "log/mod_log.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// Printed for 65 and for numbers without a template: the position and nothing behind.
const char* const bare_prefix = "Error in file '%s' line %d: ";

// ORDER: indexed by diagnostic number, 0 to LAST_DIAGNOSTIC; null where no template exists.
// 70 stands for its first form; diagnostic_template picks the others by value.
const char* const templates[] = {
    nullptr,
    "Error in file '%s' line %d: syntax error: %s",
    "Error in file '%s' line %d: cannot declare array with Boolean size",
    "Error in file '%s' line %d: illegal array declaration with size = %d",
    "Error in file '%s' line %d: unknown type: \"%s\"",
    "Error in file '%s' line %d: expected class or struct to the left of '.'",
    "Error in file '%s' line %d: unknown member variable: \"%s\"",
    "Error in file '%s' line %d: unknown variable: \"%s\"",
    "Error in file '%s' line %d: nested types are unsupported",
    "Error in file '%s' line %d: nested declarations are unsupported",
    "Error in file '%s' line %d: unknown method: \"%s\"",
    "Error in file '%s' line %d: unknown function: \"%s\"",
    "Error in file '%s' line %d: unknown operator: \"%s\"",
    "Error in file '%s' line %d: no overloaded version of function: \"%s\" matches calling parameters",
    "Error in file '%s' line %d: ambiguous call to overloaded function: \"%s\"",
    "Error in file '%s' line %d: struct methods are unsupported",
    "Error in file '%s' line %d: struct declarations must be named",
    "Error in file '%s' line %d: struct member \"%s\" has an initializer, which are not supported for struct members",
    "Error in file '%s' line %d: attempting to index a non-array type",
    "Error in file '%s' line %d: array indices cannot be negative",
    "Error in file '%s' line %d: out of range array index",
    "Error in file '%s' line %d: type \"%s\" is a struct type. struct type struct members are currently unsupported",
    "Error in file '%s' line %d: redefinition of variable \"%s\"",
    "Error in file '%s' line %d: redefinition of function \"%s\"",
    "Error in file '%s' line %d: redefinition of method \"%s\"",
    "Error in file '%s' line %d: redefinition of parameter \"%s\"",
    "Unable to open file '%s'.",
    "Error in file '%s' line %d: array initialization of variable \"%s\", element %d type mismatch",
    "Error in file '%s' line %d: initializing non-array variable \"%s\" with an array",
    "Error in file '%s' line %d: array initialization of variable \"%s\", array size of %d does not match declared size",
    "Error in file '%s' line %d: array initialization used outside of variable declaration",
    "Error in file '%s' line %d: enum value \"%s\" assigned a non-integer value",
    "Error in file '%s' line %d: redefinition of type \"%s\"",
    "Error in file '%s' line %d: redefinition of enum value \"%s\"",
    "Error in file '%s' line %d: unexpected #else or #elif",
    "Error in file '%s' line %d: unexpected #endif",
    "Error in file '%s' line %d: incorrect number of macro parameters",
    "Error in file '%s' line %d: preprocessor encountered an unexpected end of file",
    "Error in file '%s' line %d: syntax error in macro definition",
    "Error in file '%s' line %d: error evaluating macro expression",
    "Error in file '%s' line %d: unknown preprocessor directive \"%s\"",
    "Error in file '%s' line %d: unknown parent shader \"%s\"",
    "Error in file '%s' line %d: variable \"%s\": illegal redefinition of a parent shader variable",
    "Error in file '%s' line %d: returning a value from void function \"%s\"",
    "Error in file '%s' line %d: expected a return value from function \"%s\"",
    "Error in file '%s' line %d: incompatible return value from function \"%s\"",
    "Error in file '%s' line %d: function \"%s\" must return a value",
    "Error in file '%s' line %d: technique \"%s\" has no main method and no child techniques",
    "Error in file '%s' line %d: technique \"%s\", techniques with parameters are not supported",
    "Error in file '%s' line %d: unknown shader declaration block: \"%s\"",
    "Error in file '%s' line %d: brdf shaders are not supported yet",
    "Error in file '%s' line %d: member variables are not supported yet",
    "Error in file '%s' line %d: shader events are not supported yet",
    "Empty xovl string, cannot be parsed",
    "Error in file '%s' line %d: imported file: \"%s\" contains errors",
    "Error in file '%s' line %d: %s",
    "Error in file '%s' line %d: %s initializer has incompatible type",
    "Error in file '%s' line %d: %s array initializer has wrong size",
    "Error in file '%s' line %d: test in %s is not of type Bool",
    "Error in file '%s' line %d: controling expression of foreach loop must be either of type Light_iterator or of type Sample_iterator",
    "Error in file '%s' line %d: controling expression of switch must be of type Int",
    "Error in file '%s' line %d: case label must be integer",
    "Error in file '%s' line %d: types in conditional expression do not match",
    "Error in file '%s' line %d: break statement outside of loop or switch",
    "Error in file '%s' line %d: continue statement outside of loop",
    nullptr,
    "Error in file '%s' line %d: illegal cast",
    "Error in file '%s' line %d: illegal index",
    "Error in file '%s' line %d: %s: illegal constructor argument in position %d",
    "Error in file '%s' line %d: %s: illegal call argument in position %d",
    "Error in file '%s' line %d: %s: illegal operator argument",
    "Error in file '%s' line %d: %s: wrong number of constructor arguments",
    "Error in file '%s' line %d: %s: wrong number of call arguments",
    "Error in file '%s' line %d: structure has no member %s",
    "Error in file '%s' line %d: system error: %s",
};

static_assert(sizeof templates / sizeof templates[0] == LAST_DIAGNOSTIC + 1, "one template per number");

constexpr uint32_t UNABLE_TO_OPEN_FILE = 26;
constexpr uint32_t OPERATOR_ARGUMENT = 70;

// ORDER: indexed by the value of a record of number 70.
const char* const operator_argument_templates[3] = {
    "Error in file '%s' line %d: %s: illegal operator argument",
    "Error in file '%s' line %d: %s: illegal left operator argument",
    "Error in file '%s' line %d: %s: illegal right operator argument",
};

// Appends to a fixed buffer and drops whatever does not fit.
class Bounded_writer {
public:
    explicit Bounded_writer(char (&buffer)[ERROR_TEXT_SIZE]) : buffer_(buffer) { buffer_[0] = '\0'; }

    void append(std::string_view part)
    {
        size_t room = ERROR_TEXT_SIZE - 1 - length_;
        size_t count = part.size() < room ? part.size() : room;
        part.copy(buffer_ + length_, count);
        length_ += count;
        buffer_[length_] = '\0';
    }

    void append_number(int32_t number)
    {
        char digits[16];
        int count = std::snprintf(digits, sizeof digits, "%d", int(number));
        append(std::string_view(digits, size_t(count)));
    }

    size_t length() const { return length_; }

private:
    char* buffer_;
    size_t length_ = 0;
};

}  // namespace

const char* diagnostic_template(uint32_t number, int32_t value)
{
    if (number > LAST_DIAGNOSTIC)
        return nullptr;
    if (number == OPERATOR_ARGUMENT)
        return value == 1 || value == 2 ? operator_argument_templates[value] : operator_argument_templates[0];
    return templates[number];
}

size_t format_error(const Error_record& error, const char* file_name, char (&buffer)[ERROR_TEXT_SIZE])
{
    const char* form = diagnostic_template(error.number, error.value);
    if (!form)
        form = bare_prefix;
    Bounded_writer out(buffer);
    std::string_view file = file_name ? file_name : "";
    // The driver puts the path that could not be opened in the text; there is no list name then.
    if (error.number == UNABLE_TO_OPEN_FILE && !error.text.empty())
        file = error.text;
    int strings_used = 0;
    int numbers_used = 0;
    const char* run = form;
    for (const char* p = form; *p; ++p) {
        if (p[0] != '%' || (p[1] != 's' && p[1] != 'd'))
            continue;
        out.append(std::string_view(run, size_t(p - run)));
        if (p[1] == 's')
            out.append(strings_used++ == 0 ? file : std::string_view(error.text));
        else
            out.append_number(numbers_used++ == 0 ? error.line : error.value);
        ++p;
        run = p + 1;
    }
    out.append(run);
    return out.length();
}

std::string format_error(const Error_record& error, const char* file_name)
{
    char buffer[ERROR_TEXT_SIZE];
    size_t length = format_error(error, file_name, buffer);
    return std::string(buffer, length);
}

void log_error(const Error_record& error, const char* file_name)
{
    if (!LOG::mod_log)
        return;
    char buffer[ERROR_TEXT_SIZE];
    format_error(error, file_name, buffer);
    LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, int32_t(error.number), "%s", buffer);
}

Error_record make_error(const St_node& node, uint32_t number, std::string_view text, int32_t value)
{
    Error_record error;
    error.line = node.line;
    error.column = node.column;
    error.extra_position = node.extra_position;
    error.number = number;
    error.text = std::string(text);
    error.value = value;
    return error;
}

Error_record make_error(const FRONT12::Token& token, uint32_t number, std::string_view text, int32_t value)
{
    Error_record error;
    error.line = token.line;
    error.column = token.column;
    error.number = number;
    error.text = std::string(text);
    error.value = value;
    return error;
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

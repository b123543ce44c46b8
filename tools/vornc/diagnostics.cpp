#include "diagnostics.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vornc {

namespace {

const char* const red = "\033[1;31m";
const char* const magenta = "\033[1;35m";
const char* const bold = "\033[1m";
const char* const reset = "\033[0m";

bool terminal_wants_color()
{
    const char* term = std::getenv("TERM");
    return ::isatty(2) && std::getenv("NO_COLOR") == nullptr && term && std::strcmp(term, "dumb") != 0;
}

}  // namespace

std::string bare_message(const Diagnostic& diagnostic)
{
    std::string prefix = "Error in file '" + diagnostic.file + "' line " + std::to_string(diagnostic.line) + ": ";
    if (diagnostic.text.compare(0, prefix.size(), prefix) == 0)
        return diagnostic.text.substr(prefix.size());
    return diagnostic.text;
}

std::string json_string(const std::string& text)
{
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                // Bytes of 128 and above pass as they are; a text that is not UTF-8 stays so.
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

Diagnostic_printer::Diagnostic_printer(const Arguments& arguments)
    : form_(arguments.diagnostics),
      color_(arguments.color == Color_choice::always ||
             (arguments.color == Color_choice::automatic && terminal_wants_color())),
      warnings_are_errors_(arguments.warnings_are_errors),
      no_warnings_(arguments.no_warnings)
{
}

void Diagnostic_printer::report(Diagnostic diagnostic)
{
    if (!diagnostic.error && no_warnings_ && !warnings_are_errors_)
        return;
    if (!diagnostic.error && warnings_are_errors_)
        diagnostic.error = true;
    if (diagnostic.error)
        ++errors_;
    switch (form_) {
    case Diagnostics_form::text: print_text(diagnostic); break;
    case Diagnostics_form::gcc: print_gcc(diagnostic); break;
    case Diagnostics_form::json: print_json(diagnostic); break;
    }
}

// The library's texts as they are; warnings and vornc's own messages in the same shape.
void Diagnostic_printer::print_text(const Diagnostic& diagnostic) const
{
    std::string text = diagnostic.text;
    if (diagnostic.number == 0) {
        std::string where = diagnostic.file.empty() ? std::string("vornc") : "'" + diagnostic.file + "'";
        if (diagnostic.line >= 0)
            where += " line " + std::to_string(diagnostic.line);
        text = std::string(diagnostic.error ? "Error" : "Warning") + " in " +
               (diagnostic.file.empty() ? where : "file " + where) + ": " + diagnostic.text;
    }
    if (color_)
        std::fprintf(stderr, "%s%s%s\n", diagnostic.error ? red : magenta, text.c_str(), reset);
    else
        std::fprintf(stderr, "%s\n", text.c_str());
}

// FILE:LINE:COLUMN: error: MESSAGE, leaving out what is not known.
void Diagnostic_printer::print_gcc(const Diagnostic& diagnostic) const
{
    std::string where = diagnostic.file.empty() ? std::string("vornc") : diagnostic.file;
    if (diagnostic.line > 0) {
        where += ":" + std::to_string(diagnostic.line);
        if (diagnostic.column > 0)
            where += ":" + std::to_string(diagnostic.column);
    }
    const char* kind = diagnostic.error ? "error" : "warning";
    std::string message = bare_message(diagnostic);
    if (color_)
        std::fprintf(stderr, "%s%s:%s %s%s:%s %s\n", bold, where.c_str(), reset, diagnostic.error ? red : magenta,
                     kind, reset, message.c_str());
    else
        std::fprintf(stderr, "%s: %s: %s\n", where.c_str(), kind, message.c_str());
}

void Diagnostic_printer::print_json(const Diagnostic& diagnostic) const
{
    // What is not known is null rather than a made-up value.
    std::string file = diagnostic.file.empty() ? std::string("null") : json_string(diagnostic.file);
    auto position = [](int32_t value) { return value > 0 ? std::to_string(value) : std::string("null"); };
    std::fprintf(stderr,
                 "{\"file\": %s, \"line\": %s, \"column\": %s, \"number\": %u, \"severity\": \"%s\", "
                 "\"message\": %s, \"text\": %s}\n",
                 file.c_str(), position(diagnostic.line).c_str(), position(diagnostic.column).c_str(),
                 static_cast<unsigned>(diagnostic.number), diagnostic.error ? "error" : "warning",
                 json_string(bare_message(diagnostic)).c_str(), json_string(diagnostic.text).c_str());
}

}  // namespace vornc

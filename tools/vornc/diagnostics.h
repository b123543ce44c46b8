// Diagnostics in the form the user asked for: the library's text, the form editors parse, or JSON.
#pragma once

#include <cstdint>
#include <string>

#include "arguments.h"

namespace vornc {

struct Diagnostic {
    bool error = true;
    std::string file;  // empty for one about no file
    int32_t line = -1;
    int32_t column = -1;
    uint32_t number = 0;
    std::string text;  // the library's whole text for it, or vornc's own message
};

// The message without the "Error in file 'F' line N: " that the library's texts start with.
std::string bare_message(const Diagnostic& diagnostic);

class Diagnostic_printer {
public:
    explicit Diagnostic_printer(const Arguments& arguments);

    // Prints one diagnostic on standard error, as an error under -Werror and not at all under -w
    // if it is a warning.
    void report(Diagnostic diagnostic);
    void error(const std::string& file, const std::string& text) { report(Diagnostic{true, file, -1, -1, 0, text}); }
    void warning(const std::string& file, const std::string& text) { report(Diagnostic{false, file, -1, -1, 0, text}); }

    int error_count() const { return errors_; }

private:
    void print_text(const Diagnostic& diagnostic) const;
    void print_gcc(const Diagnostic& diagnostic) const;
    void print_json(const Diagnostic& diagnostic) const;

    Diagnostics_form form_;
    bool color_;
    bool warnings_are_errors_;
    bool no_warnings_;
    int errors_ = 0;
};

// text as a JSON string, quotes included.
std::string json_string(const std::string& text);

}  // namespace vornc

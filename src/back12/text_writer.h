// The one text writer all back ends print through.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "log/mod_log.h"

namespace QZ {
namespace BACK12 {

// Appends formatted text to one growing string. Every line starts with one tab per level of
// indentation; the level goes up after an opening brace and down before a closing brace that
// starts a line, so the printer writes braces and the layout follows.
class Text_writer {
public:
    // printf-style; tries a 2048-byte buffer first and retries with one that fits.
    void print(const char* format, ...) QZ_PRINTF(2, 3);
    // The text as it stands, with the same indentation and brace rules, no formatting.
    void write(const char* text);
    void write(std::string_view text);
    void write(const std::string& text) { write(std::string_view(text)); }
    // Text appended as it is: no indentation and no brace counting (fixed blocks of lines).
    void write_verbatim(const std::string& text);

    void indent() { ++depth_; }
    void unindent();
    int32_t depth() const { return depth_; }
    // Closing braces met at depth 0 since the last clear; the depth stays at 0 for them.
    int32_t unbalanced_closings() const { return unbalanced_closings_; }

    // Text put in at an earlier place (a byte offset of text()), as it is: for what is known to
    // be needed only after the place was passed.
    void insert_verbatim(size_t position, const std::string& text);

    const std::string& text() const { return text_; }
    std::string take_text();
    void clear();

private:
    std::string text_;
    int32_t depth_ = 0;
    int32_t unbalanced_closings_ = 0;
    bool at_line_start_ = true;
};

}  // namespace BACK12
}  // namespace QZ

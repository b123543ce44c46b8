#include "back12/text_writer.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace QZ {
namespace BACK12 {

void Text_writer::print(const char* format, ...)
{
    char first_try[2048];
    va_list values;
    va_start(values, format);
    va_list again;
    va_copy(again, values);
    int needed = std::vsnprintf(first_try, sizeof first_try, format ? format : "", values);
    va_end(values);
    if (needed < 0) {
        va_end(again);
        return;
    }
    if (static_cast<size_t>(needed) < sizeof first_try) {
        va_end(again);
        write(first_try);
        return;
    }
    std::vector<char> larger(static_cast<size_t>(needed) + 1);
    std::vsnprintf(larger.data(), larger.size(), format, again);
    va_end(again);
    write(larger.data());
}

void Text_writer::write(const char* text)
{
    if (text)
        write(std::string_view(text));
}

void Text_writer::write(std::string_view text)
{
    for (const char* p = text.data(), *end = text.data() + text.size(); p != end; ++p) {
        if (at_line_start_ && *p != '\n') {
            if (*p == '}')
                unindent();
            text_.append(static_cast<size_t>(depth_), '\t');
            at_line_start_ = false;
        } else if (!at_line_start_ && *p == '}') {
            unindent();
        }
        text_ += *p;
        if (*p == '{')
            ++depth_;
        else if (*p == '\n')
            at_line_start_ = true;
    }
}

void Text_writer::write_verbatim(const std::string& text)
{
    text_ += text;
    if (!text.empty())
        at_line_start_ = text.back() == '\n';
}

void Text_writer::insert_verbatim(size_t position, const std::string& text)
{
    text_.insert(position < text_.size() ? position : text_.size(), text);
}

void Text_writer::unindent()
{
    // A closing brace can come from the user's own text (an annotation string), so going below
    // zero is counted, not asserted.
    if (depth_ > 0)
        --depth_;
    else
        ++unbalanced_closings_;
}

std::string Text_writer::take_text()
{
    std::string taken;
    taken.swap(text_);
    clear();
    return taken;
}

void Text_writer::clear()
{
    text_.clear();
    depth_ = 0;
    unbalanced_closings_ = 0;
    at_line_start_ = true;
}

}  // namespace BACK12
}  // namespace QZ

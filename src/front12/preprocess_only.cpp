// Preprocessing alone, for a user who wants to see what the parser is given.
#include <string>
#include <string_view>

#include "front12/mod_front12.h"
#include "front12/ovrel_lexer.h"
#include "front12/prelude.h"
#include "syntax_tree/diagnostics.h"

namespace QZ {
namespace FRONT12 {

namespace {

// The file name between the angle brackets of an #include.
std::string included_name(std::string_view text)
{
    size_t open = text.find('<');
    if (open == std::string_view::npos)
        return std::string();
    size_t close = text.find('>', open + 1);
    if (close == std::string_view::npos)
        close = text.size();
    return std::string(text.substr(open + 1, close - open - 1));
}

// Writes tokens as text. A token goes on the line it came from, so that a message about the
// output names the same line as one about the source; tokens that touched in the source touch
// here, others are one blank apart.
class Token_writer {
public:
    explicit Token_writer(std::string& out) : out_(out) {}

    void write(const Token& token)
    {
        if (token.line > line_) {
            // A file of many blank lines gives as many here; that keeps the lines in step.
            out_.append(static_cast<size_t>(token.line - line_), '\n');
            line_ = token.line;
        } else if (written_ && token.column != end_column_) {
            out_ += ' ';
        }
        out_.append(token.text.data(), token.text.size());
        end_column_ = token.column + static_cast<int32_t>(token.text.size());
        written_ = true;
    }

    // An included file's text starts and ends on lines of its own.
    void insert(const std::string& text, int32_t directive_line)
    {
        out_ += '\n';
        out_ += text;
        if (!text.empty() && text.back() != '\n')
            out_ += '\n';
        line_ = directive_line + 1;
        written_ = false;
    }

    void finish()
    {
        if (written_)
            out_ += '\n';
    }

private:
    std::string& out_;
    int32_t line_ = 1;
    int32_t end_column_ = 0;
    bool written_ = false;
};

}  // namespace

bool Mod_front12::preprocess(std::string_view text, const std::string& file_name, std::string& out,
                             SYNTAX_TREE::Error_list& errors)
{
    Macro_table macros = file_macros();
    out.clear();
    return preprocess_file(text, file_name, macros, 0, out, errors);
}

bool Mod_front12::preprocess_file(std::string_view text, const std::string& file_name, Macro_table& macros,
                                  int depth, std::string& out, SYNTAX_TREE::Error_list& errors)
{
    Ovrel_lexer lexer(text.data() ? text.data() : "", text.size(), file_name);
    Ovrel_preprocessor preprocessor(lexer, file_name);
    preprocessor.set_expression_parser([this](const std::string& line, SYNTAX_TREE::Error_list& line_errors) {
        return parse_expression(line, line_errors);
    });
    preprocessor.add_macros(macros);
    Token_writer writer(out);
    try {
        for (Token token = preprocessor.next_token(); token.type != TOKEN_EOF; token = preprocessor.next_token()) {
            if (token.type != TOKEN_INCLUDE) {
                // An import stays a directive: it brings a compiled unit, not text.
                writer.write(token);
                continue;
            }
            std::string name = included_name(token.text);
            if (name == prelude_file_name)
                continue;
            auto warn = [&](std::string message) {
                if (session_)
                    session_->warnings.push_back(Front_warning{file_name, token.line, token.column, std::move(message)});
            };
            if (depth + 1 >= Parser_ovrel_12::INCLUDE_DEPTH_LIMIT) {
                SYNTAX_TREE::Error_record record = SYNTAX_TREE::make_error(token, DIAG_PLAIN_MESSAGE, "");
                record.text = "files are included more than " + std::to_string(Parser_ovrel_12::INCLUDE_DEPTH_LIMIT) +
                              " levels deep through \"" + name + "\"";
                errors.push_back(record);
                return false;
            }
            std::string included, found;
            if (!read_file(name, file_name, included, found)) {
                warn("cannot open included file \"" + name + "\"");
                continue;
            }
            // As in a compile, the included file shares the includer's macros both ways.
            Macro_table shared = preprocessor.get_macros();
            std::string included_out;
            SYNTAX_TREE::Error_list included_errors;
            if (!preprocess_file(included, name, shared, depth + 1, included_out, included_errors)) {
                // As in a compile, a file with errors is left out with a warning.
                for (const SYNTAX_TREE::Error_record& record : included_errors)
                    warn("included file \"" + name + "\" left out: " + SYNTAX_TREE::format_error(record, name.c_str()));
                continue;
            }
            preprocessor.add_macros(shared);
            writer.insert(included_out, token.line);
        }
    } catch (const Preprocessor_exception& error) {
        errors.push_back(error.record());
        return false;
    } catch (const Recognition_error& error) {
        Token position;
        position.line = error.line();
        position.column = error.column();
        errors.push_back(SYNTAX_TREE::make_error(position, SYNTAX_TREE::DIAG_SYNTAX_ERROR, error.description()));
        return false;
    }
    writer.finish();
    macros = preprocessor.get_macros();
    return true;
}

}  // namespace FRONT12
}  // namespace QZ

// A file or string fed through the XML parser into the handlers of a subclass; the capture of
// host data; the path helpers of the graph file.
#pragma once

#include <expat.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "syntax_tree/error_record.h"

namespace QZ {
namespace COMPILER {

class Xml_reader {
public:
    Xml_reader() = default;
    virtual ~Xml_reader() = default;

    Xml_reader(const Xml_reader&) = delete;
    Xml_reader& operator=(const Xml_reader&) = delete;

    // Parses text in one final chunk. A null or empty text records error 26 on "unknown file".
    // A parser error is logged (module 55, code 9) and what was read stands. Always true:
    // the outcome is read from the reader.
    bool parse_string(const char* text);
    // Parses the file in chunks of 512 bytes. A null or empty path does nothing and gives false;
    // a file that cannot be opened records error 26 with the path. True otherwise.
    bool parse_file(const char* path);

    const SYNTAX_TREE::Error_list& errors() const { return errors_; }
    // "unknown file" for a string, else the path.
    const std::string& file_name() const { return file_name_; }
    // The last parse ended in a parser error (malformed or cut-off text, or a stop).
    bool parse_failed() const { return parse_failed_; }

    static constexpr int CHUNK_SIZE = 512;

protected:
    // Registers the handlers. The parser's user data is this reader.
    virtual void setup_parser(XML_Parser parser) = 0;
    // From inside a handler: ends the parse here, as an XML error would, without a log line;
    // the caller of stop logs its own reason.
    void stop();
    // A quiet reader logs no parser errors: for files whose format promises silence.
    void set_quiet(bool quiet) { quiet_ = quiet; }

    SYNTAX_TREE::Error_list errors_;

private:
    void begin(const char* file_name);
    // Feeds one chunk; false, after logging, when the parser failed.
    bool feed(XML_Parser parser, const char* bytes, int size, bool final);
    void record_unable_to_open(const std::string& text);

    std::string file_name_;
    XML_Parser parser_ = nullptr;
    bool parse_failed_ = false;
    bool stopped_ = false;
    bool quiet_ = false;
};

// The element tree kept while host data (gui_data, render_data) is read.
struct Capture_node {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<Capture_node*> children;
    Capture_node* parent = nullptr;
};

// One capture: the element that started it is the root, and every start tag inside it makes a
// node under the current one. Printing and destruction iterate, so deep host data cannot
// exhaust the stack.
class Capture {
public:
    // attributes: expat's list of name and value, ending in null; may be null.
    Capture(const char* name, const char** attributes);
    ~Capture();

    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    void start_element(const char* name, const char** attributes);
    // True when name is the root's name: the capture is over. Any other end tag moves up.
    bool end_element(const char* name);

    const Capture_node& root() const { return *root_; }
    // Two blanks per level, "<" name, ` name="value"` per attribute, "/>" for a node without
    // children, else ">" and the children and the end tag; one line each.
    std::string text() const;

private:
    Capture_node* root_;
    Capture_node* current_;
};

// The path of a source file named in a graph file: name itself when absolute and present, else
// found through the "shader" search path, else beside base; name unchanged when none exists.
std::string resolve_source_path(const char* base, const char* name);

// path relative to the directory of base when that directory leads it, else path itself;
// forward slashes either way.
std::string relative_source_path(const char* base, const char* path);

}  // namespace COMPILER
}  // namespace QZ

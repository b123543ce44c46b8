// Indented XML printed into a text buffer: the base of the graph file writer, and the handle
// through which host code adds its own elements.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace QZ {
namespace COMPILER {

// The attributes of the document element.
constexpr const char* XML_SCHEMA_INSTANCE_NAMESPACE = "http://www.w3.org/2001/XMLSchema-instance";
constexpr const char* XML_SCHEMA_LOCATION = "schemas/vorn_file_io.xsd";

class Xml_writer {
public:
    Xml_writer() = default;
    virtual ~Xml_writer() = default;

    Xml_writer(const Xml_writer&) = delete;
    Xml_writer& operator=(const Xml_writer&) = delete;

    // Closes the start tag of an open parent that has no child yet, then opens name, indented
    // by two blanks per open element. A null name opens nothing.
    void begin_element(const char* name);
    // name="value", unescaped: a quotation mark or "<" in value makes text no reader accepts.
    // Ignored when no start tag is open for it (no element, or the element has a child already);
    // a null value prints as empty.
    void attribute(const char* name, const char* value);
    void attribute(const char* name, int32_t value);
    // "/>\n" for an element without children, else the indented end tag. Nothing when no
    // element is open.
    void end_element();
    // Text put as it stands between elements (the graph file's blank lines).
    void write_text(const char* text);

    // root with its two attributes around write_body(); the buffer starts afresh.
    void write_document();
    // write_document() into the file at path, no XML declaration line; false when the file
    // could not be opened or written.
    bool save(const char* path);

    const std::string& text() const { return stream_; }
    size_t open_element_count() const { return stack_.size(); }

protected:
    virtual void write_body() = 0;

private:
    struct Open_element {
        std::string name;
        uint8_t has_children;
    };

    void indent(size_t levels);

    std::string stream_;
    std::vector<Open_element> stack_;
};

// The narrow handle that host code gets to write inside an element that the library opened.
// It closes only what it opened itself.
class Xml_data_writer {
public:
    explicit Xml_data_writer(Xml_writer* writer) : writer_(writer) {}
    virtual ~Xml_data_writer() = default;
    virtual void begin_element(const char* name);
    virtual void end_element();
    virtual void attribute(const char* name, int32_t value);
    virtual void attribute(const char* name, const char* value);

    // Ends the elements that the host left open; the library calls it after the host's callback.
    void close_open_elements();

private:
    Xml_writer* writer_;
    size_t opened_ = 0;
};

// Inside the gui_data element of a node.
class Gui_data_writer : public Xml_data_writer {
public:
    using Xml_data_writer::Xml_data_writer;
};

// Inside the render_data element of a file.
class Render_data_writer : public Xml_data_writer {
public:
    using Xml_data_writer::Xml_data_writer;
};

}  // namespace COMPILER
}  // namespace QZ

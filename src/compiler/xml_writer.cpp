#include "compiler/xml_writer.h"

#include <cstdio>

#include "system/growth.h"

namespace QZ {
namespace COMPILER {

void Xml_writer::indent(size_t levels) { stream_.append(levels * 2, ' '); }

void Xml_writer::begin_element(const char* name)
{
    if (!name)
        return;
    if (!stack_.empty() && !stack_.back().has_children) {
        stream_ += ">\n";
        stack_.back().has_children = 1;
    }
    indent(stack_.size());
    stream_ += '<';
    stream_ += name;
    SYSTEM::reserve_for_one_more(stack_);
    stack_.push_back(Open_element{name, 0});
}

void Xml_writer::attribute(const char* name, const char* value)
{
    if (!name || stack_.empty() || stack_.back().has_children)
        return;
    stream_ += ' ';
    stream_ += name;
    stream_ += "=\"";
    stream_ += value ? value : "";
    stream_ += '"';
}

void Xml_writer::attribute(const char* name, int32_t value)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%d", int(value));
    attribute(name, digits);
}

void Xml_writer::end_element()
{
    if (stack_.empty())
        return;
    Open_element element = std::move(stack_.back());
    stack_.pop_back();
    if (!element.has_children) {
        stream_ += "/>\n";
        return;
    }
    indent(stack_.size());
    stream_ += "</";
    stream_ += element.name;
    stream_ += ">\n";
}

void Xml_writer::write_text(const char* text)
{
    if (text)
        stream_ += text;
}

void Xml_writer::write_document()
{
    stream_.clear();
    stack_.clear();
    begin_element("root");
    attribute("xmlns:xsi", XML_SCHEMA_INSTANCE_NAMESPACE);
    attribute("xsi:noNamespaceSchemaLocation", XML_SCHEMA_LOCATION);
    write_body();
    // A body that leaves elements open still gives a closed document.
    while (!stack_.empty())
        end_element();
}

bool Xml_writer::save(const char* path)
{
    if (!path || !*path)
        return false;
    std::FILE* file = std::fopen(path, "w");
    if (!file)
        return false;
    write_document();
    bool written = std::fwrite(stream_.data(), 1, stream_.size(), file) == stream_.size();
    return std::fclose(file) == 0 && written;
}

// Host data

void Xml_data_writer::begin_element(const char* name)
{
    if (!name)
        return;
    writer_->begin_element(name);
    ++opened_;
}

void Xml_data_writer::end_element()
{
    if (opened_ == 0)
        return;
    writer_->end_element();
    --opened_;
}

void Xml_data_writer::attribute(const char* name, int32_t value) { writer_->attribute(name, value); }

void Xml_data_writer::attribute(const char* name, const char* value) { writer_->attribute(name, value); }

void Xml_data_writer::close_open_elements()
{
    while (opened_ > 0)
        end_element();
}

}  // namespace COMPILER
}  // namespace QZ

// The two elements through which a renderer keeps shaders in the database: a declaration that
// names its source and, once compiled, its unit; and the source itself.
#pragma once

#include <optional>
#include <string>

#include "db/element.h"

namespace QZ {
namespace DB {

class Shader_declaration_element : public Element<Shader_declaration_element, _Dcl> {
public:
    Shader_declaration_element() = default;
    Shader_declaration_element(Tag source, Tag unit) : source_tag(source), unit_tag(unit) {}

    // The two tags, in this order.
    void serialize(SERIAL::Serializer& out) const override;
    void deserialize(SERIAL::Deserializer& in) override;

    Tag source_tag = 0;  // the _Src element; 0 for none
    Tag unit_tag = 0;    // the compiled _CoU element; 0 until there is one
};

class Shader_source_element : public Element<Shader_source_element, _Src> {
public:
    Shader_source_element() = default;
    Shader_source_element(const char* language, const char* text);

    // The language word, then the text; a missing one reads back as missing.
    void serialize(SERIAL::Serializer& out) const override;
    void deserialize(SERIAL::Deserializer& in) override;

    // Null when unset.
    const char* language() const { return language_ ? language_->c_str() : nullptr; }
    const char* text() const { return text_ ? text_->c_str() : nullptr; }

private:
    std::optional<std::string> language_;
    std::optional<std::string> text_;
};

}  // namespace DB
}  // namespace QZ

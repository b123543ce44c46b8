#include "db/shader_elements.h"

#include "serial/serializer.h"

namespace QZ {
namespace DB {

void Shader_declaration_element::serialize(SERIAL::Serializer& out) const
{
    out.write_tag(source_tag);
    out.write_tag(unit_tag);
}

void Shader_declaration_element::deserialize(SERIAL::Deserializer& in)
{
    in.read_tag(&source_tag);
    in.read_tag(&unit_tag);
}

Shader_source_element::Shader_source_element(const char* language, const char* text)
{
    if (language)
        language_ = language;
    if (text)
        text_ = text;
}

void Shader_source_element::serialize(SERIAL::Serializer& out) const
{
    out.write_string(language());
    out.write_string(text());
}

namespace {

std::optional<std::string> read_text(SERIAL::Deserializer& in)
{
    char* text = nullptr;
    in.read_string(&text);
    std::optional<std::string> result;
    if (text)
        result = text;
    delete[] text;
    return result;
}

}  // namespace

void Shader_source_element::deserialize(SERIAL::Deserializer& in)
{
    language_ = read_text(in);
    text_ = read_text(in);
}

}  // namespace DB
}  // namespace QZ

#include "back12/annotation_map.h"

#include <cstdlib>
#include <cstring>

#include "compiler/xml_reader.h"
#include "system/mod_string.h"

namespace QZ {
namespace BACK12 {

namespace {

const char* attribute_of(const char** attributes, const char* name)
{
    for (const char** a = attributes; a && a[0] && a[1]; a += 2)
        if (std::strcmp(a[0], name) == 0)
            return a[1];
    return nullptr;
}

// A member that is no number reads as 0; an absent one is -1.
int32_t member_index(const char* text)
{
    if (!text)
        return -1;
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (end == text || value < 0 || value > INT32_MAX)
        return 0;
    return int32_t(value);
}

// Which kind of entry an open element is; annotations go to the entry that directly encloses
// them.
enum Open_kind { OPEN_OTHER, OPEN_SEMANTIC_ENTRY, OPEN_ANNOTATION_ENTRY, OPEN_TYPE_ENTRY };

class Annotation_map_reader : public COMPILER::Xml_reader {
public:
    explicit Annotation_map_reader(Annotation_map& map) : map_(map) { set_quiet(true); }

protected:
    void setup_parser(XML_Parser parser) override
    {
        XML_SetElementHandler(parser, &Annotation_map_reader::on_start, &Annotation_map_reader::on_end);
    }

private:
    struct Open_element {
        Open_kind kind;
        std::string key;
    };

    static void on_start(void* data, const char* name, const char** attributes)
    {
        static_cast<Annotation_map_reader*>(data)->start(name, attributes);
    }
    static void on_end(void* data, const char*) { static_cast<Annotation_map_reader*>(data)->end(); }

    void start(const char* name, const char** attributes)
    {
        const char* key = attribute_of(attributes, "name");
        Open_element open{OPEN_OTHER, key ? key : ""};
        if (key && std::strcmp(name, "semantic_map_entry") == 0) {
            open.kind = OPEN_SEMANTIC_ENTRY;
            Annotation_map::Semantic_entry& entry = map_.semantic_entry(key);
            const char* semantic = attribute_of(attributes, "semantic");
            if (semantic && *semantic)
                entry.semantic = semantic;
        } else if (key && std::strcmp(name, "annotation_map_entry") == 0) {
            open.kind = OPEN_ANNOTATION_ENTRY;
            map_.annotation_entry(key);
        } else if (key && std::strcmp(name, "type_map_entry") == 0) {
            open.kind = OPEN_TYPE_ENTRY;
            map_.type_entry(key);
        } else if (std::strcmp(name, "annotation") == 0) {
            add_annotation(attributes);
        }
        open_.push_back(std::move(open));
    }

    void end()
    {
        if (!open_.empty())
            open_.pop_back();
    }

    void add_annotation(const char** attributes)
    {
        const char* name = attribute_of(attributes, "name");
        if (open_.empty() || !name || !*name)
            return;
        const char* type = attribute_of(attributes, "type");
        const char* value = attribute_of(attributes, "value");
        Annotation_entry entry{name, type ? type : "", value ? value : "",
                               member_index(attribute_of(attributes, "member"))};
        const Open_element& parent = open_.back();
        switch (parent.kind) {
        case OPEN_SEMANTIC_ENTRY:
            map_.semantic_entry(parent.key).annotations.push_back(std::move(entry));
            break;
        case OPEN_ANNOTATION_ENTRY:
            map_.annotation_entry(parent.key).push_back(std::move(entry));
            break;
        case OPEN_TYPE_ENTRY:
            map_.type_entry(parent.key).push_back(std::move(entry));
            break;
        case OPEN_OTHER:
            break;
        }
    }

    Annotation_map& map_;
    std::vector<Open_element> open_;
};

template <typename Map>
auto find_in(const Map& map, std::string_view key) -> const typename Map::mapped_type*
{
    auto it = map.find(key);
    return it == map.end() ? nullptr : &it->second;
}

}  // namespace

std::string Annotation_entry::printed_value(const std::vector<std::string>& components) const
{
    const std::string& picked =
        member >= 0 && size_t(member) < components.size() ? components[size_t(member)] : value;
    return type == "string" ? "\"" + picked + "\"" : picked;
}

std::string Annotation_entry::line(const std::vector<std::string>& components) const
{
    return type + " " + name + " = " + printed_value(components) + ";\n";
}

bool Annotation_map::load(const char* file_name)
{
    if (!file_name || !*file_name || !SYSTEM::mod_string)
        return false;
    std::string path = SYSTEM::mod_string->resolve_data_file("shader", file_name);
    if (path.empty())
        return false;
    Annotation_map_reader reader(*this);
    reader.parse_file(path.c_str());
    return reader.errors().empty();
}

void Annotation_map::load_text(const char* text)
{
    if (!text || !*text)
        return;
    Annotation_map_reader reader(*this);
    reader.parse_string(text);
}

const std::string* Annotation_map::semantic(std::string_view parameter) const
{
    const Semantic_entry* entry = find_in(semantic_map_, parameter);
    return entry && !entry->semantic.empty() ? &entry->semantic : nullptr;
}

const Annotation_list* Annotation_map::semantic_annotations(std::string_view parameter) const
{
    const Semantic_entry* entry = find_in(semantic_map_, parameter);
    return entry ? &entry->annotations : nullptr;
}

const Annotation_list* Annotation_map::annotation_replacement(std::string_view annotation) const
{
    return find_in(annotation_map_, annotation);
}

const Annotation_list* Annotation_map::type_annotations(std::string_view type_name) const
{
    return find_in(type_map_, type_name);
}

bool Annotation_map::has_entry(std::string_view parameter, std::string_view type_name) const
{
    const Annotation_list* by_parameter = semantic_annotations(parameter);
    const Annotation_list* by_type = type_annotations(type_name);
    return (by_parameter && !by_parameter->empty()) || (by_type && !by_type->empty());
}

}  // namespace BACK12
}  // namespace QZ

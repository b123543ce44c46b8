// A host application's convention for effect parameters: which semantic a parameter carries and
// which annotations it needs, read from a small XML file ("default.axml" unless the option
// annotation_map names another).
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace QZ {
namespace BACK12 {

// One annotation to print.
struct Annotation_entry {
    std::string name;
    std::string type;
    std::string value;
    int32_t member = -1;  // a component of the source annotation's value; -1 when absent

    // The value as printed: the member-th of components when member picks one, else value;
    // quoted when type is "string". components are raw texts (strings without quotes).
    std::string printed_value(const std::vector<std::string>& components = {}) const;
    // "%s %s = %s;\n" with type, name and printed value.
    std::string line(const std::vector<std::string>& components = {}) const;
};

using Annotation_list = std::vector<Annotation_entry>;

class Annotation_map {
public:
    struct Semantic_entry {
        std::string semantic;
        Annotation_list annotations;
    };

    // Reads the file found for file_name through the "shader" search path. A file that is not
    // found leaves the maps empty and is reported once by a warning; a malformed one stops where
    // it breaks, keeping what was read. False when no file was found or it was malformed.
    bool load(const char* file_name);
    // The same from a text; for tests and for hosts that hold the map in memory.
    void load_text(const char* text);

    // Null when the parameter has no entry or its entry names no semantic.
    const std::string* semantic(std::string_view parameter) const;
    // What the semantic map lists for the parameter, the annotation map for a source annotation,
    // and the type map for a type; null when there is no entry.
    const Annotation_list* semantic_annotations(std::string_view parameter) const;
    const Annotation_list* annotation_replacement(std::string_view annotation) const;
    const Annotation_list* type_annotations(std::string_view type_name) const;
    // The parameter gets an annotation block even without annotations of its own.
    bool has_entry(std::string_view parameter, std::string_view type_name) const;

    bool empty() const { return semantic_map_.empty() && annotation_map_.empty() && type_map_.empty(); }

    // For the reader.
    Semantic_entry& semantic_entry(const std::string& parameter) { return semantic_map_[parameter]; }
    Annotation_list& annotation_entry(const std::string& name) { return annotation_map_[name]; }
    Annotation_list& type_entry(const std::string& type_name) { return type_map_[type_name]; }

private:
    std::map<std::string, Semantic_entry, std::less<>> semantic_map_;
    std::map<std::string, Annotation_list, std::less<>> annotation_map_;
    std::map<std::string, Annotation_list, std::less<>> type_map_;
};

}  // namespace BACK12
}  // namespace QZ

// The annotation map reader over arbitrary text (every FX compile reads one, and a host option
// names any file), then every query a generator makes of what was read.
#include <cstdint>
#include <string>

#include "back12/annotation_map.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    QZ::BACK12::Annotation_map map;
    map.load_text(text.c_str());
    // Names the seeds use, and a piece of the input itself.
    std::string piece = text.substr(0, text.find_first_of("\" <>=\n"));
    for (const std::string& name : {std::string("diffuse"), std::string("Color"), std::string("UIName"), piece}) {
        map.semantic(name);
        map.has_entry(name, name);
        const QZ::BACK12::Annotation_list* lists[] = {map.semantic_annotations(name), map.annotation_replacement(name),
                                                      map.type_annotations(name)};
        for (const QZ::BACK12::Annotation_list* list : lists)
            if (list)
                for (const QZ::BACK12::Annotation_entry& entry : *list) {
                    entry.line();
                    entry.line({"1", "2", "3"});
                }
    }
    return 0;
}

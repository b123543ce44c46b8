// The annotation map as the FX generator consults it for parameters.
#include "back12/annotation_map.h"
#include "gen_fx/fx_code_generator.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace GEN_FX {

using SYNTAX_TREE::St_node;
namespace ST = SYNTAX_TREE;

namespace {

void append_lines(const BACK12::Annotation_list* list, std::vector<std::string>& lines)
{
    if (!list)
        return;
    for (const BACK12::Annotation_entry& entry : *list)
        lines.push_back(entry.line());
}

}  // namespace

std::string Fx_code_generator::mapped_semantic(const std::string& parameter) const
{
    const std::string* semantic = annotations_.semantic(parameter);
    return semantic ? *semantic : std::string();
}

// What the map lists for the parameter's name, then for its type.
void Fx_code_generator::mapped_annotation_lines(const std::string& parameter, const std::string& ovrel_type,
                                                std::vector<std::string>& lines) const
{
    append_lines(annotations_.semantic_annotations(parameter), lines);
    append_lines(annotations_.type_annotations(ovrel_type), lines);
}

// A mapped source annotation is replaced by the map's list; an entry's member picks that
// component of the source value: an argument, or an argument of a single constructor.
bool Fx_code_generator::map_source_annotation(const St_node* call, std::vector<std::string>& lines)
{
    const BACK12::Annotation_list* list = annotations_.annotation_replacement(call->text_view());
    if (!list)
        return false;
    const St_node* arguments = call->find_child(ST::NODE_FUNCTION_CALL_PARAMETERS);
    const St_node* first = arguments ? arguments->first_child : nullptr;
    if (first && !first->next_sibling && first->kind == ST::NODE_CONSTRUCTOR_CALL_EXPRESSION) {
        const St_node* inner = first->find_child(ST::NODE_FUNCTION_CALL_PARAMETERS);
        first = inner ? inner->first_child : nullptr;
    }
    std::vector<std::string> components;
    for (const St_node* argument = first; argument; argument = argument->next_sibling)
        components.push_back(argument->kind == ST::NODE_STRING_CONSTANT ? std::string(argument->text_view())
                                                                          : expression_text(argument));
    // An entry whose component the source does not give and whose map value is empty would
    // print an empty initialiser: it is left out.
    for (const BACK12::Annotation_entry& entry : *list)
        if (!entry.printed_value(components).empty())
            lines.push_back(entry.line(components));
    return true;
}

}  // namespace GEN_FX
}  // namespace QZ

// The software generator: the renderer bridge, every piece of it under HALD, and the
// declaration text in the renderer's scene language.
#include <cstring>
#include <set>

#include "gen_swrc/swrc_code_generator.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_SWRC {

using BACK12::Generator_variable;
using BACK12::initializer_of;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

// A parameter's kind in the renderer, by Ovrel type: its word in a declaration, its C type in
// the argument struct and the evaluator that reads it.
struct Renderer_type {
    const char* ovrel;
    const char* word;
    const char* c_type;
    const char* evaluator;
};
const Renderer_type renderer_types[] = {
    {"Bool", "boolean", "qzBoolean", "qz_eval_boolean"},
    {"Int", "integer", "qzSint4", "qz_eval_integer"},
    {"Scalar", "scalar", "qzScalar", "qz_eval_scalar"},
    {"Color", "color", "qzColor", "qz_eval_color"},
    {"Vector4", "color", "qzColor", "qz_eval_color"},
    {"Vector2", "vector", "qzVector", "qz_eval_vector"},
    {"Vector3", "vector", "qzVector", "qz_eval_vector"},
    {"Vector2b", "vector", "qzVector", "qz_eval_vector"},
    {"Vector3b", "vector", "qzVector", "qz_eval_vector"},
    {"Vector4b", "vector", "qzVector", "qz_eval_vector"},
    {"Vector2i", "vector", "qzVector", "qz_eval_vector"},
    {"Vector3i", "vector", "qzVector", "qz_eval_vector"},
    {"Vector4i", "vector", "qzVector", "qz_eval_vector"},
    {"String", "string", "qzTag", "qz_eval_tag"},
    {"Matrix4x4", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix2x2", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix3x2", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix2x3", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix3x3", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix4x2", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix2x4", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix4x3", "transform", "qzMatrix", "qz_eval_transform"},
    {"Matrix3x4", "transform", "qzMatrix", "qz_eval_transform"},
    {"Texture1d", "color texture", "qzTag", "qz_eval_tag"},
    {"Texture2d", "color texture", "qzTag", "qz_eval_tag"},
    {"Texture3d", "color texture", "qzTag", "qz_eval_tag"},
    {"Texture_cube", "color texture", "qzTag", "qz_eval_tag"},
};

// The row of a type by its language word; an enum is an Int. Null: the qz_eval_void route.
const Renderer_type* renderer_type(const Type* type)
{
    if (!type)
        return nullptr;
    const char* word = type->code() == ST::TYPE_INT32 ? "Int" : ST::language_word(type->code());
    if (type->code() == ST::TYPE_COLOR)
        word = "Color";
    for (const Renderer_type& row : renderer_types)
        if (word && std::strcmp(word, row.ovrel) == 0)
            return &row;
    return nullptr;
}

constexpr const char* LIGHT_SHADOW = "light_shadow";

// The literal numbers of a default value: a constant, or a constructor of constants.
bool default_numbers(const St_node* value, std::vector<std::string>& numbers)
{
    if (!value)
        return false;
    switch (value->kind) {
    case ST::NODE_INT_CONSTANT:
    case ST::NODE_FLOAT_CONSTANT:
    case ST::NODE_BOOL_CONSTANT:
        numbers.emplace_back(value->text_view());
        return true;
    case ST::NODE_UNARY_EXPRESSION:
        if (value->text_view() == "-" && value->first_child &&
            (value->first_child->kind == ST::NODE_INT_CONSTANT || value->first_child->kind == ST::NODE_FLOAT_CONSTANT)) {
            numbers.push_back("-" + std::string(value->first_child->text_view()));
            return true;
        }
        return false;
    case ST::NODE_CONSTRUCTOR_CALL_EXPRESSION:
    case ST::NODE_FUNCTION_CALL_EXPRESSION: {
        const St_node* arguments = BACK12::call_arguments(value);
        for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
             argument = argument->next_sibling)
            if (!default_numbers(argument, numbers))
                return false;
        return !numbers.empty();
    }
    default:
        return false;
    }
}

}  // namespace

bool Swrc_code_generator::uses_light_list() const
{
    return input_.uses_lights || used_[BACK12::STATE_LIGHTS];
}

// Outputs that the renderer sees: all but the light's shadow, with "result" first.
std::vector<const Generator_variable*> Swrc_code_generator::result_fields() const
{
    std::vector<const Generator_variable*> fields;
    for (const Generator_variable& output : input_.outputs)
        if (output.name == "result")
            fields.push_back(&output);
    for (const Generator_variable& output : input_.outputs)
        if (output.name != "result" && output.name != LIGHT_SHADOW)
            fields.push_back(&output);
    return fields;
}

void Swrc_code_generator::print_bridge_includes()
{
    print_as_is("#ifdef HALD\n#include <string>\n#include <map>\n#endif\n");
}

// The argument struct as the renderer lays it out, the result struct and its data block.
void Swrc_code_generator::print_bridge_structs()
{
    const char* name = shader_name_.c_str();
    print_as_is("#ifdef HALD\n");
    // The renderer's layout of each struct that a parameter holds, inner ones first.
    std::set<std::string> printed;
    for (const Generator_variable& parameter : input_.parameters)
        print_renderer_struct(unit_->type_at(parameter.type_index), printed, 0);
    print_as_is("struct ovl_%s_args {\n", name);
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_->type_at(parameter.type_index);
        std::string c_type = renderer_c_type(type);
        if (type && type->is_array()) {
            print_as_is("\tint i_%s;\n\tint n_%s;\n", parameter.name.c_str(), parameter.name.c_str());
            print_as_is("\t%s v_%s[1];\n", c_type.c_str(), parameter.name.c_str());
        } else {
            print_as_is("\t%s v_%s;\n", c_type.c_str(), parameter.name.c_str());
        }
    }
    if (uses_light_list())
        print_as_is("\tint i___lights;\n\tint n___lights;\n\tint v___lights[1];\n");
    print_as_is("};\n#endif\n");

    print_as_is("#ifdef HALD\nstruct ovl_%s_result {\n", name);
    std::vector<const Generator_variable*> fields = result_fields();
    for (const Generator_variable* field : fields) {
        const Type* type = unit_->type_at(field->type_index);
        std::string field_type = plain_type(field->type_index);
        if (type && type->is_array())
            field_type = "Array<" + field_type + ">";
        print_as_is("\t%s %s;\n", field_type.c_str(), field->name.c_str());
    }
    if (fields.empty())
        print_as_is("\t\tVector4 none;\n");
    print_as_is("};\n\n");

    bool shadow = find_output(LIGHT_SHADOW) != nullptr;
    print_as_is("class Hd_%s_data_block : public Data_block {\n\nprivate:\n", name);
    print_as_is("\ttypedef std::map<std::string,void *> Map;\n\tMap m_map;\n");
    if (shadow)
        print_as_is("\tVector4 m_light_shadow;\n");
    print_as_is("public:\n\tHd_%s_data_block(ovl_%s_result *result)\n\t{\n", name, name);
    for (const Generator_variable* field : fields)
        print_as_is("\t\tm_map[\"%s\"] = &result->%s;\n", field->name.c_str(), field->name.c_str());
    if (shadow)
        print_as_is("\t\tm_map[\"%s\"] = &m_%s;\n", LIGHT_SHADOW, LIGHT_SHADOW);
    print_as_is("\t}\n");
    print_as_is("\tvoid *get_field(const char *name)\n\t{\n"
                "\t\tMap::iterator it = m_map.find(name);\n"
                "\t\treturn (it == m_map.end()) ? 0 : it->second;\n\t}\n"
                "\tconst void *get_field(const char *name) const\n\t{\n"
                "\t\tMap::const_iterator it = m_map.find(name);\n"
                "\t\treturn (it == m_map.end()) ? 0 : it->second;\n\t}\n"
                "};\n#endif\n");
}

// The C++ type of a value of the shader: a struct by its name, anything else by its word.
std::string Swrc_code_generator::value_type(const Type* type) const
{
    if (!type)
        return "Vector4";
    if (type->is_struct())
        return type_name(type->type_name_text());
    const char* word = ST::language_word(type->code());
    return word ? type_name(word) : "Vector4";
}

// A struct with its members: a member's type names its struct, whose members the unit (or an
// import) holds.
const Type* Swrc_code_generator::struct_members(const Type* type) const
{
    if (!type || !type->is_struct() || type->first_member())
        return type;
    const char* name = type->type_name_text();
    for (const ST::Compilation_unit* unit : input_.units) {
        int32_t position = name ? unit->find_named_type(name) : -1;
        if (position >= 0)
            return unit->named_type_at(position);
    }
    return type;
}

// The type of a value in the renderer's argument block: its C type, or for a struct the
// renderer's layout of it.
std::string Swrc_code_generator::renderer_c_type(const Type* type) const
{
    if (type && type->is_struct())
        return "hd_" + value_type(type);
    const Renderer_type* row = renderer_type(type);
    return row ? row->c_type : value_type(type);
}

void Swrc_code_generator::print_renderer_struct(const Type* type, std::set<std::string>& printed, int32_t depth)
{
    if (!type || !type->is_struct())
        return;
    std::string name = renderer_c_type(type);
    if (printed.count(name))
        return;
    if (depth >= MAX_STRUCT_NESTING) {
        report(LOG_NESTING_TOO_DEEP, "Struct nesting too deep (over %d levels) for the renderer's arguments",
               MAX_STRUCT_NESTING);
        return;
    }
    const Type* definition = struct_members(type);
    for (const Type* member = definition->first_member(); member; member = member->next_member())
        print_renderer_struct(member, printed, depth + 1);
    printed.insert(name);
    print_as_is("struct %s {\n", name.c_str());
    for (const Type* member = definition->first_member(); member; member = member->next_member()) {
        const char* m = member->name() ? member->name() : "";
        std::string c_type = renderer_c_type(member);
        if (member->is_array())
            print_as_is("\tint i_%s;\n\tint n_%s;\n\t%s v_%s[1];\n", m, m, c_type.c_str(), m);
        else
            print_as_is("\t%s v_%s;\n", c_type.c_str(), m);
    }
    print_as_is("};\n");
}

// Fills the struct at target from the renderer's value at source, member by member: a member
// can be wired to another shader, so each goes through its own evaluator. joined names the
// locals of array members uniquely; depth numbers the loop variables.
void Swrc_code_generator::print_struct_fetch(const Type* type, const std::string& target, const std::string& source,
                                             const std::string& joined, int32_t depth, int32_t indent)
{
    if (depth > MAX_STRUCT_NESTING) {
        report(LOG_NESTING_TOO_DEEP, "Struct nesting too deep (over %d levels) for the renderer's arguments",
               MAX_STRUCT_NESTING);
        return;
    }
    std::string tabs(size_t(indent), '\t');
    const char* t = tabs.c_str();
    for (const Type* member = struct_members(type)->first_member(); member; member = member->next_member()) {
        std::string m = member->name() ? member->name() : "";
        std::string place = target + "." + identifier(m);
        std::string from = source + ".v_" + m;
        std::string name = joined + "_" + m;
        std::string element = value_type(member);
        if (member->is_array()) {
            std::string hd = member->is_struct() ? renderer_c_type(member) : element;
            print_as_is("%s%s *v_%s = (%s *)qz_eval_void(&%s);\n", t, hd.c_str(), name.c_str(), hd.c_str(),
                        from.c_str());
            print_as_is("%sint i_%s = *qz_eval_integer(&%s.i_%s);\n", t, name.c_str(), source.c_str(), m.c_str());
            print_as_is("%sint n_%s = *qz_eval_integer(&%s.n_%s);\n", t, name.c_str(), source.c_str(), m.c_str());
            print_as_is("%s%s.set_count(n_%s);\n", t, place.c_str(), name.c_str());
            print_as_is("%s%s.set_data(new %s[n_%s]);\n", t, place.c_str(), element.c_str(), name.c_str());
            print_as_is("%sfor(int i_%d = 0; i_%d < n_%s; i_%d++) {\n", t, depth, depth, name.c_str(), depth);
            std::string item = place + "[i_" + std::to_string(depth) + "]";
            std::string item_from = "v_" + name + "[i_" + name + " + i_" + std::to_string(depth) + "]";
            if (member->is_struct())
                print_struct_fetch(member, item, item_from, name, depth + 1, indent + 1);
            else
                print_as_is("%s\t%s = %s;\n", t, item.c_str(), item_from.c_str());
            print_as_is("%s}\n", t);
        } else if (member->is_struct()) {
            print_struct_fetch(member, place, from, name, depth + 1, indent);
        } else if (member->code() == ST::TYPE_STRING) {
            print_as_is("%s{\n", t);
            print_as_is("%sTag string_tag = *(Tag *)qz_eval_tag(&%s);\n", t, from.c_str());
            print_as_is("%sif(string_tag) {\n", t);
            print_as_is("%s\t%s = String((const char *)qz_db_access(string_tag));\n", t, place.c_str());
            print_as_is("%s\tqz_db_unpin(string_tag);\n", t);
            print_as_is("%s} else {\n", t);
            print_as_is("%s\t%s = String();\n", t, place.c_str());
            print_as_is("%s}\n", t);
            print_as_is("%s}\n", t);
        } else {
            const Renderer_type* row = renderer_type(member);
            print_as_is("%s%s = *(%s *)%s(&%s);\n", t, place.c_str(), element.c_str(),
                        row ? row->evaluator : "qz_eval_void", from.c_str());
        }
    }
}

// The shader made from the renderer's arguments: each parameter fetched through its evaluator.
void Swrc_code_generator::print_bridge_constructor()
{
    const char* name = shader_name_.c_str();
    print_as_is("#ifdef HALD\n#define qz_eval_void(param) qz_eval(state,param)\n");
    print_as_is("\tovl_%s(qzState *state,const ovl_%s_args *args)\n", name, name);
    // An unsized array is a reference: it stands for the member that the renderer's array fills.
    char separator = ':';
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_->type_at(parameter.type_index);
        if (!type || type->array_size() != 0)
            continue;
        print_as_is("\t\t%c ovl_%s(hd_ovl_%s)\n", separator, parameter.name.c_str(), parameter.name.c_str());
        separator = ',';
    }
    print_as_is("\t{\n");
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_->type_at(parameter.type_index);
        const Renderer_type* row = renderer_type(type);
        const char* evaluator = row ? row->evaluator : "qz_eval_void";
        std::string element = plain_type(parameter.type_index);
        const char* p = parameter.name.c_str();
        if (type && type->is_array()) {
            // The renderer's array: its values (in the renderer's layout for structs), the first
            // element's index and the count.
            const std::string fetched = type->is_struct() ? renderer_c_type(type) : element;
            print_as_is("\t\t%s *v_%s = (%s *)qz_eval_void(&args->v_%s);\n", fetched.c_str(), p, fetched.c_str(), p);
            print_as_is("\t\tint i_%s = *qz_eval_integer(&args->i_%s);\n", p, p);
            print_as_is("\t\tint n_%s = *qz_eval_integer(&args->n_%s);\n", p, p);
            print_as_is("\t\tovl_%s.set_count(n_%s);\n", p, p);
            print_as_is("\t\tovl_%s.set_data(new %s[n_%s]);\n", p, element.c_str(), p);
            print_as_is("\t\tfor(int i = 0; i < n_%s; i++) {\n", p);
            if (type->is_struct())
                print_struct_fetch(type, "ovl_" + parameter.name + "[i]",
                                   "v_" + parameter.name + "[i_" + parameter.name + " + i]", parameter.name, 1, 3);
            else
                print_as_is("\t\t\tovl_%s[i] = v_%s[i_%s + i];\n", p, p, p);
            print_as_is("\t\t}\n");
        } else if (type && type->is_struct()) {
            print_struct_fetch(type, "ovl_" + parameter.name, "args->v_" + parameter.name, parameter.name, 1, 2);
        } else if (type && type->code() == ST::TYPE_STRING) {
            // Each string's tag in a block of its own, so that two strings do not clash.
            print_as_is("\t\t{\n");
            print_as_is("\t\tTag string_tag = *(Tag *)%s(&args->v_%s);\n", evaluator, p);
            print_as_is("\t\tif(string_tag) {\n");
            print_as_is("\t\t\tovl_%s = String((const char *)qz_db_access(string_tag));\n", p);
            print_as_is("\t\t\tqz_db_unpin(string_tag);\n");
            print_as_is("\t\t} else {\n");
            print_as_is("\t\t\tovl_%s = String();\n", p);
            print_as_is("\t\t}\n");
            print_as_is("\t\t}\n");
        } else {
            print_as_is("\t\tovl_%s = *(%s *)%s(&args->v_%s);\n", p, element.c_str(), evaluator, p);
        }
    }
    print_as_is("\t}\n#endif\n");
}

// The C function that the renderer calls: shadow rays, gathering, frame buffers, the copy of
// the result and, for a light, its shadow.
void Swrc_code_generator::print_bridge_entry()
{
    const char* name = shader_name_.c_str();
    bool transparency = find_output("transparency") != nullptr;
    print_as_is("#ifdef HALD\nextern \"C\" {\n");
    print_as_is("DLLEXPORT int %s_version(void)\n{\n\treturn 1;\n}\n", name);
    print_as_is("DLLEXPORT qzBoolean %s(\n\tQZ::SHADER::ovl_%s_result *shader_result,\n\tqzState *state,\n"
                "\tQZ::SHADER::ovl_%s_args *args)\n{\n",
                name, name, name);
    print_as_is("\tqzBoolean is_root;\n\tqz_query(qzQ_FUNC_IS_ROOT,state,0,&is_root);\n");
    if (transparency)
        print_as_is("\tif(is_root && state->type == qzRAY_SHADOW) {\n"
                    "\t\t*(QZ::MATH::Vector4 *)shader_result = QZ::MATH::Vector4(0, 0, 0, 0);\n"
                    "\t\treturn qzFALSE;\n\t}\n");
    print_as_is("\tQZ::SHADER::ovl_%s_result shader_result_copy;\n", name);
    print_as_is("\tQZ::SHADER::Hd_%s_data_block result(&shader_result_copy);\n", name);
    print_as_is("\tQZ::SHADER::Hd_state nr_state(state);\n");
    print_as_is("\tQZ::SHADER::ovl_%s shader(state,args);\n", name);
    print_as_is("\tshader.main(&nr_state,&result);\n");
    print_as_is("\tif(is_root) {\n");
    if (transparency)
        print_as_is("\t\tif(state->type == qzRAY_SHADOW) {\n"
                    "\t\t\tQZ::MATH::Vector4 *transp = (QZ::MATH::Vector4 *)result.get_field(\"transparency\");\n"
                    "\t\t\t*(QZ::MATH::Vector4 *)shader_result *= *transp;\n"
                    "\t\t\treturn qzTRUE;\n\t\t}\n");
    print_as_is("\t\tQZ::SHADER::Hd_gather_output **go = (QZ::SHADER::Hd_gather_output **)\n"
                "\t\t\tqz_shaderstate_get(state, QZ_GATHER_KEY, 0);\n"
                "\t\tif(go && *go && state->type != qzRAY_LIGHT) {\n"
                "\t\t\tnr_state.gather(*go,&result);\n\t\t}\n");
    print_as_is("\t\tif(state->type == qzRAY_EYE) {\n"
                "\t\t\tqz::shader::Access_fb afb(state->camera->buffertag);\n"
                "\t\t\tsize_t fb_index;\n");
    bool buffers = false;
    for (const Generator_variable* field : result_fields()) {
        if (field->name == "result")
            continue;
        print_as_is("\t\t\tif(afb->get_index(\"%s\",fb_index))\n", field->name.c_str());
        print_as_is("\t\t\t\tqz_fb_put(state,fb_index,&shader_result_copy.%s);\n", field->name.c_str());
        buffers = true;
    }
    // With no output beside the result the index is not read.
    if (!buffers)
        print_as_is("\t\t\t(void)fb_index;\n");
    print_as_is("\t\t}\n");
    print_as_is("\t\t*(qzColor *)shader_result = (qzColor &)shader_result_copy;\n");
    print_as_is("\t} else {\n\t\t*shader_result = shader_result_copy;\n\t}\n");
    if (is_light()) {
        print_as_is("\tif(state->type == qzRAY_LIGHT) {\n\t\tQZ::MATH::Vector4 shadow;\n");
        if (find_output(LIGHT_SHADOW))
            print_as_is("\t\tshadow = *(QZ::MATH::Vector4 *)result.get_field(\"light_shadow\");\n");
        else
            print_as_is("\t\tshadow = nr_state.shadowing();\n");
        print_as_is("\t\tqz_shaderstate_set(state,\n\t\t\tQZ_SHADOW_KEY,\n\t\t\t&shadow,sizeof(QZ::MATH::Vector4),\n"
                    "\t\t\tqzSS_LIFETIME_RECT);\n\t}\n");
    }
    print_as_is("\treturn qzTRUE;\n}\n}\n#endif\n");
}

// A struct in a declaration: its members one level deeper than its own line.
std::string Swrc_code_generator::declared_struct(const Type* type, const std::string& name, int32_t depth)
{
    if (depth > MAX_STRUCT_NESTING + 2) {
        report(LOG_NESTING_TOO_DEEP, "Struct nesting too deep (over %d levels) for the renderer's arguments",
               MAX_STRUCT_NESTING);
        return "struct \"" + name + "\" {\n" + std::string(size_t(depth), '\t') + "}";
    }
    std::string inner(size_t(depth + 1), '\t');
    std::string text = "struct \"" + name + "\" {\n";
    for (const Type* member = struct_members(type)->first_member(); member; member = member->next_member()) {
        text += inner;
        if (member->is_array())
            text += "array\n" + inner;
        std::string member_name = member->name() ? member->name() : "";
        if (member->is_struct()) {
            text += declared_struct(member, member_name, depth + 1);
        } else {
            const Renderer_type* row = renderer_type(member);
            text += std::string(row ? row->word : "color") + " \"" + member_name + "\"";
        }
        text += member->next_member() ? ",\n" : "\n";
    }
    return text + std::string(size_t(depth), '\t') + "}";
}

// The declaration of the shader in the renderer's scene language.
void Swrc_code_generator::build_declaration()
{
    declaration_ = "declare shader\n";
    std::vector<const Generator_variable*> fields = result_fields();
    auto word_of = [&](int32_t type_index) {
        const Renderer_type* row = renderer_type(unit_->type_at(type_index));
        return std::string(row ? row->word : "color");
    };
    if (fields.size() > 1) {
        declaration_ += "\tstruct {\n";
        for (size_t i = 0; i < fields.size(); ++i)
            declaration_ += "\t\t" + word_of(fields[i]->type_index) + " \"" + fields[i]->name + "\"" +
                            (i + 1 < fields.size() ? ",\n" : "\n");
        declaration_ += "\t}\n";
    } else if (fields.size() == 1) {
        declaration_ += "\t" + word_of(fields[0]->type_index);
        if (fields[0]->name != "result")
            declaration_ += " \"" + fields[0]->name + "\"";
        declaration_ += "\n";
    }
    declaration_ += "\t\"" + shader_name_ + "\" (\n";
    bool first = true;
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_->type_at(parameter.type_index);
        declaration_ += first ? "" : ",\n";
        first = false;
        declaration_ += "\t\t";
        if (type && type->is_array())
            declaration_ += "array\n\t\t";
        if (type && type->is_struct()) {
            declaration_ += declared_struct(type, parameter.name, 2);
            continue;
        }
        declaration_ += word_of(parameter.type_index) + " \"" + parameter.name + "\"";
        std::vector<std::string> numbers;
        if (!type || type->is_array() || !default_numbers(initializer_of(parameter.identifier), numbers))
            continue;
        uint8_t code = type->code();
        uint32_t width = ST::component_count(code);
        if (code == ST::TYPE_INT32) {
            declaration_ += " default " + numbers[0];
        } else if (code == ST::TYPE_BOOLEAN || code == ST::TYPE_SCALAR || code == ST::TYPE_VECTOR3 ||
                   code == ST::TYPE_COLOR || code == ST::TYPE_MATRIX) {
            declaration_ += " default";
            // A vector given by one number has it in every component; a short one is padded.
            if (numbers.size() == 1 && width > 1 && code != ST::TYPE_MATRIX)
                numbers.assign(width, numbers[0]);
            for (size_t i = 0; i < width; ++i)
                declaration_ += " " + (i < numbers.size() ? numbers[i] : std::string("0.0"));
        }
    }
    if (uses_light_list())
        declaration_ += std::string(first ? "" : ",\n") + "\t\tarray light \"__lights\"";
    declaration_ += "\n\t)\n\tversion 1\nend declare\n";
}

}  // namespace GEN_SWRC
}  // namespace QZ

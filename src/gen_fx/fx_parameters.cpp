// Free parameters, their annotations and semantics, texture samplers, and local declarations.
#include <cstring>

#include "gen_fx/fx_code_generator.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_FX {

using BACK12::Generator_variable;
using BACK12::declared_type;
using BACK12::initializer_of;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

// Sampler settings by dialect. ORDER: index 0 CgFX, 1 HLSL; filters by number 0 (default),
// 1 none, 2 bilinear, 3 trilinear; addresses by number 1 clamp, 2 wrap, 3 mirror (0 unset).
struct Sampler_dialect {
    const char* filter_lines[4];
    const char* address_keys[3];  // u, v, w
    const char* address_values[4];
};

const Sampler_dialect sampler_dialects[2] = {
    {{"MinFilter = LinearMipMapLinear;\nMagFilter = Linear;\n", "MinFilter = Nearest;\nMagFilter = Nearest;\n",
      "MinFilter = Linear;\nMagFilter = Linear;\n", "MinFilter = LinearMipMapLinear;\nMagFilter = Linear;\n"},
     {"WrapR", "WrapS", "WrapT"},
     {nullptr, "ClampToEdge", "Wrap", "Mirror"}},
    {{"MinFilter = Linear;\nMagFilter = Linear;\nMipFilter = Linear;\n",
      "MinFilter = None;\nMagFilter = None;\nMipFilter = None;\n",
      "MinFilter = Linear;\nMagFilter = Linear;\nMipFilter = Point;\n",
      "MinFilter = Linear;\nMagFilter = Linear;\nMipFilter = Linear;\n"},
     {"AddressU", "AddressV", "AddressW"},
     {nullptr, "Clamp", "Wrap", "Mirror"}},
};

// ORDER: by texture code 48 to 51.
struct Texture_kind {
    const char* resource_type;
    const char* sampler_type;
};
const Texture_kind texture_kinds[4] = {
    {"1D", "sampler1D"},
    {"2D", "sampler2D"},
    {"3D", "sampler3D"},
    {"Cube", "samplerCUBE"},
};

// Types that only the renderer's loops know; a parameter or variable of them prints nothing.
const char* const skipped_types[] = {
    "Trace_options", "Sample_iterator", "Occlusion_options", "Irradiance_options", "Light_iterator_options",
};

const St_node* first_argument(const St_node* call)
{
    const St_node* arguments = call ? call->find_child(ST::NODE_FUNCTION_CALL_PARAMETERS) : nullptr;
    return arguments ? arguments->first_child : nullptr;
}

// The index of word in words, plus one; 0 when absent.
int32_t word_number(std::string_view word, std::initializer_list<const char*> words)
{
    int32_t number = 1;
    for (const char* candidate : words) {
        if (word == candidate)
            return number;
        ++number;
    }
    return 0;
}

std::string quoted(std::string_view text)
{
    return "\"" + std::string(text) + "\"";
}

}  // namespace

// Type words

std::string Fx_code_generator::specifier_text(const St_node* specifier) const
{
    if (!specifier)
        return "void";
    if (specifier->kind == ST::NODE_NESTED_TYPE_SPECIFIER) {
        const St_node* last = specifier->first_child;
        while (last && last->next_sibling)
            last = last->next_sibling;
        return type_name(last ? last->text_view() : std::string_view());
    }
    return type_name(specifier->text_view());
}

std::string Fx_code_generator::type_text(int32_t type_index) const
{
    const Type* type = unit_ ? unit_->type_at(type_index) : nullptr;
    return type && type->name() ? type_name(type->name()) : "float4";
}

std::string Fx_code_generator::array_suffix(const St_node* node) const
{
    const St_node* specifier = node ? node->find_child(ST::NODE_ARRAY_SPECIFIER) : nullptr;
    if (!specifier)
        return std::string();
    if (!specifier->first_child)
        return "[]";
    return "[" + std::string(specifier->first_child->text_view()) + "]";
}

bool Fx_code_generator::is_skipped_type(std::string_view name) const
{
    for (const char* skipped : skipped_types)
        if (name == skipped)
            return true;
    return false;
}

// Free parameters

void Fx_code_generator::print_parameter(const Generator_variable& variable)
{
    const St_node* specifier = declared_type(variable.declaration);
    std::string ovrel_type = specifier ? std::string(specifier->text_view()) : std::string();
    if (is_skipped_type(ovrel_type))
        return;
    const Type* type = unit_ ? unit_->type_at(variable.type_index) : nullptr;
    if (type && type->is_texture() && !type->is_array()) {
        print_sampler(variable, type->code());
        return;
    }
    out().print("%s %s%s", specifier_text(specifier).c_str(), identifier(variable.name).c_str(),
                array_suffix(variable.identifier).c_str());

    const St_node* block = variable.identifier ? variable.identifier->find_child(ST::NODE_ANNOTATION_BLOCK) : nullptr;
    std::string semantic = mapped_semantic(variable.name);
    const St_node* first_annotation = block ? block->first_child : nullptr;
    for (const St_node* call = first_annotation; call && semantic.empty(); call = call->next_sibling) {
        const St_node* value = first_argument(call);
        if (call->text_view() == "semantic" && value && value->kind == ST::NODE_STRING_CONSTANT)
            semantic = std::string(value->text_view());
    }
    if (!semantic.empty())
        write_data(" : " + semantic + " ");

    std::vector<std::string> lines;
    for (const St_node* call = block ? block->first_child : nullptr; call; call = call->next_sibling) {
        if (map_source_annotation(call, lines))
            continue;
        if (fx_.generate_unmapped_annotations)
            lines.push_back(annotation_line(call));
    }
    mapped_annotation_lines(variable.name, ovrel_type, lines);
    if ((block && block->first_child) || annotations_.has_entry(variable.name, ovrel_type)) {
        out().write("\n<\n");
        for (const std::string& line : lines)
            write_data(line);
        out().write(">");
    }

    const St_node* value = initializer_of(variable.identifier);
    if (value && !fx_.no_param_init && !fx_.component) {
        out().write(" = ");
        print_initializer(value);
    }
    out().write(";\n");
}

// An initialiser of a parameter may not call a function: constructors print in their
// initialiser forms.
void Fx_code_generator::print_initializer(const St_node* value)
{
    in_parameter_initializer_ = true;
    print_expression(value);
    in_parameter_initializer_ = false;
}

// "type name = value;" for a source annotation that the map does not know. A string prints in
// quotes under the type "string"; several numbers make a vector.
std::string Fx_code_generator::annotation_line(const St_node* call)
{
    const St_node* first = first_argument(call);
    std::string type = "int";
    std::string value = first ? annotation_value(first, type) : "0";
    int32_t count = 0;
    bool numeric = true;
    for (const St_node* argument = first; argument; argument = argument->next_sibling) {
        std::string argument_type;
        annotation_value(argument, argument_type);
        numeric = numeric && (argument_type == "int" || argument_type == "float");
        ++count;
    }
    if (count >= 2 && count <= 4 && numeric) {
        char vector_type[16];
        std::snprintf(vector_type, sizeof vector_type, "float%d", count);
        type = vector_type;
        value = type + "(";
        for (const St_node* argument = first; argument; argument = argument->next_sibling) {
            std::string ignored;
            value += annotation_value(argument, ignored);
            if (argument->next_sibling)
                value += ", ";
        }
        value += ")";
    }
    return type + " " + std::string(call->text_view()) + " = " + value + ";\n";
}

std::string Fx_code_generator::annotation_value(const St_node* value, std::string& type)
{
    switch (value->kind) {
    case ST::NODE_STRING_CONSTANT:
        type = "string";
        return quoted(value->text_view());
    case ST::NODE_INT_CONSTANT:
    case ST::NODE_HEX_CONSTANT:
    case ST::NODE_OCT_CONSTANT:
        type = "int";
        return std::string(value->text_view());
    case ST::NODE_FLOAT_CONSTANT:
        type = "float";
        return std::string(value->text_view());
    case ST::NODE_BOOL_CONSTANT:
        type = "bool";
        return std::string(value->text_view());
    case ST::NODE_UNARY_EXPRESSION:
        if (value->first_child) {
            std::string operand = annotation_value(value->first_child, type);
            return std::string(value->text_view()) + operand;
        }
        break;
    case ST::NODE_CONSTRUCTOR_CALL_EXPRESSION: {
        const St_node* specifier = value->first_child;
        type = specifier_text(specifier);
        return expression_text(value);
    }
    default:
        break;
    }
    type = value->kind == ST::NODE_VARIABLE_ID ? "int" : "float";
    return expression_text(value);
}

// Textures

void Fx_code_generator::print_sampler(const Generator_variable& variable, uint8_t code)
{
    const Texture_kind& kind = texture_kinds[code - ST::TYPE_TEXTURE1D];
    const Sampler_dialect& dialect = sampler_dialects[fx_.hlsl ? 1 : 0];
    int32_t filter = 0;
    int32_t address[3] = {0, 0, 0};
    const St_node* block = variable.identifier ? variable.identifier->find_child(ST::NODE_ANNOTATION_BLOCK) : nullptr;
    for (const St_node* call = block ? block->first_child : nullptr; call; call = call->next_sibling) {
        std::string_view name = call->text_view();
        const St_node* value = first_argument(call);
        std::string_view word = value ? value->text_view() : std::string_view();
        if (name == "disable_filtering") {
            if (!value || value->bool_value())
                filter = 1;
        } else if (name == "filtering") {
            filter = word_number(word, {"none", "bilinear", "trilinear"});
        } else if (int32_t axis = word_number(name, {"texture_coord_u", "texture_coord_v", "texture_coord_w"})) {
            address[axis - 1] = word_number(word, {"clamp", "wrap", "mirror"});
        }
    }
    const St_node* value = initializer_of(variable.identifier);
    std::string resource = value && value->kind == ST::NODE_STRING_CONSTANT ? std::string(value->text_view()) : "";
    std::string name = identifier(variable.name);

    bool opened = false;
    if (fx_.generate_texture_parameters) {
        std::string texture = name + "Texture";
        out().print("texture %s <\n", texture.c_str());
        out().print("string UIName = \"%s\";\n", name.c_str());
        if (!resource.empty())
            write_data("string ResourceName = \"" + resource + "\";\n");
        out().print("string ResourceType = \"%s\";\n", kind.resource_type);
        out().write(">;\n\n");
        out().print("%s %s = sampler_state {\n", kind.sampler_type, name.c_str());
        out().print("Texture = <%s>;\n", texture.c_str());
        opened = true;
    } else {
        out().print("%s %s", kind.sampler_type, name.c_str());
        if (!fx_.component) {
            out().write("\n<\n");
            write_data("string File = \"" + (resource.empty() ? std::string("default.dds") : resource) + "\";\n");
            out().write("> = sampler_state {\n");
            opened = true;
        }
    }
    if (fx_.generate_sampler_states && opened) {
        out().write(dialect.filter_lines[filter]);
        for (int32_t axis = 0; axis < 3; ++axis)
            if (address[axis])
                out().print("%s = %s;\n", dialect.address_keys[axis], dialect.address_values[address[axis]]);
    }
    // A component's sampler is a plain member: no state block was opened.
    out().write(opened ? "};\n\n" : ";\n\n");
}

// Local and global variables, one declaration per name.
void Fx_code_generator::print_local_declaration(const St_node* declaration)
{
    const St_node* specifier = declared_type(declaration);
    if (specifier && is_skipped_type(specifier->text_view()))
        return;
    std::string type = specifier_text(specifier);
    const St_node* names = declaration ? declaration->find_child(ST::NODE_INIT_IDENTIFIER_LIST) : nullptr;
    for (const St_node* item = names ? names->first_child : nullptr; item; item = item->next_sibling) {
        if (item->kind != ST::NODE_INIT_IDENTIFIER)
            continue;
        print_declared_item(type, item, specifier);
        std::string name(item->text_view());
        local_types_[name] = item->type_index;
        if (is_identity_transform(initializer_of(item)))
            identity_variables_.insert(name);
        else
            identity_variables_.erase(name);
    }
}

// As a parameter without annotations.
void Fx_code_generator::print_declared_item(const std::string& type, const St_node* item, const St_node*)
{
    out().print("%s %s%s", type.c_str(), variable_name(item->text_view()).c_str(), array_suffix(item).c_str());
    if (const St_node* value = initializer_of(item)) {
        out().write(" = ");
        print_expression(value);
    }
    out().write(";\n");
}

}  // namespace GEN_FX
}  // namespace QZ

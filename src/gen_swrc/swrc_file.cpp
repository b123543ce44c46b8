// The software generator: the order of the file, the shader and plug-in classes, functions and
// declarations.
#include <cstring>
#include <set>

#include "gen_fx/fx_text.h"
#include "gen_swrc/mod_gen_swrc.h"
#include "gen_swrc/swrc_code_generator.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"

namespace QZ {
namespace GEN_SWRC {

using BACK12::Generator_variable;
using BACK12::declared_type;
using BACK12::initializer_of;
using SYNTAX_TREE::St_node;
using SYNTAX_TREE::Type;
namespace ST = SYNTAX_TREE;

namespace {

const char* const file_namespaces =
    "namespace QZ {\n"
    "\n"
    "namespace SHADER {\n"
    "\n"
    "using namespace ARRAY;\n"
    "using namespace MATH;\n"
    "using namespace COLOR;\n"
    "using namespace DB;\n"
    "using namespace RDIFF;\n"
    "using namespace STRING;\n"
    "\n";

const char* const plugin_class =
    "class %s_shader_plugin: public  Software_shader_plugin\n"
    "{\n"
    "public:\n"
    "    const char *get_type() const\n"
    "    {\n"
    "        return \"softshader\";\n"
    "    }\n"
    "    int get_version() const\n"
    "    {\n"
    "        return 1;\n"
    "    }\n"
    "    const char *get_name() const\n"
    "    {\n"
    "        return \"softshader_%s\";\n"
    "    }\n"
    "    const char *get_compiler() const\n"
    "    {\n"
    "        return \"ovrel\";\n"
    "    }\n"
    "    Shader *new_instance(Data_block *arg) const\n"
    "    {\n"
    "        return new ovl_%s(arg);\n"
    "    }\n"
    "    void release()\n"
    "    {\n"
    "        delete this;\n"
    "    }\n"
    "protected:\n"
    "    ~%s_shader_plugin()\n"
    "    {\n"
    "    }\n"
    "};\n";

std::string word_of(const St_node* specifier)
{
    if (!specifier)
        return std::string();
    if (specifier->kind == ST::NODE_NESTED_TYPE_SPECIFIER) {
        const St_node* last = specifier->first_child;
        while (last && last->next_sibling)
            last = last->next_sibling;
        return last ? std::string(last->text_view()) : std::string();
    }
    return std::string(specifier->text_view());
}

// The size of an array specifier: its number, or -1 for an unsized or non-literal one.
int32_t array_size_of(const St_node* item)
{
    const St_node* specifier = item ? item->find_child(ST::NODE_ARRAY_SPECIFIER) : nullptr;
    if (!specifier || !specifier->first_child || specifier->first_child->kind != ST::NODE_INT_CONSTANT)
        return -1;
    return specifier->first_child->int_value();
}

bool is_scalar_word(const std::string& type)
{
    return type == "float" || type == "int" || type == "bool";
}

// A local that is never read is written anyway (the source may keep one for later); C++
// compilers warn of such, so it is marked.
bool is_read(const St_node* node, const St_node* parent)
{
    if (!parent)
        return true;
    switch (parent->kind) {
    case ST::NODE_ASSIGNMENT_EXPRESSION:
        return parent->first_child != node;
    case ST::NODE_PRE_INCREMENT_EXPRESSION:
    case ST::NODE_PRE_DECREMENT_EXPRESSION:
    case ST::NODE_POST_INCREMENT_EXPRESSION:
    case ST::NODE_POST_DECREMENT_EXPRESSION:
        return false;
    default:
        return true;
    }
}

}  // namespace

void Swrc_code_generator::collect_read_names(const St_node* body)
{
    read_names_.clear();
    std::vector<std::pair<const St_node*, const St_node*>> pending{{body, nullptr}};
    while (!pending.empty()) {
        auto [node, parent] = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        if (node->kind == ST::NODE_VARIABLE_ID && is_read(node, parent))
            read_names_.insert(std::string(node->text_view()));
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back({child, node});
    }
}

// The order of the file

void Swrc_code_generator::generate()
{
    if (!input_.has_function())
        return;
    build_declaration();
    print_head();
    // The namespaces and the class keep their members at the margin the text gives them.
    out().write_verbatim(file_namespaces);
    if (prints_file_head()) {
        print_imports();
        print_types(unit_);
    }
    print_bridge_structs();
    // Shaders that share a file share its functions, which the first prints all of.
    if (prints_file_head())
        print_top_level(unit_);
    print_shader_class();
    print_plugin_class();
    out().write_verbatim("\n}\n\n}\n\n");
    if (prints_initializer())
        print_initializer();
    print_bridge_entry();
}

void Swrc_code_generator::print_head()
{
    if (!prints_file_head())
        return;
    // The closing line of the other banners begins with "/*", which C++ compilers warn of
    // inside a comment; this one closes as the FX banner does.
    out().write(GEN_FX::TEXT::banner_head);
    out().write(GEN_FX::TEXT::banner_tail);
    out().write("#include <ovrel.h>\n\n");
    print_bridge_includes();
}

void Swrc_code_generator::print_imports()
{
    for (size_t i = 0; i + 1 < input_.units.size(); ++i) {
        ST::Compilation_unit* unit = input_.units[i];
        const std::string& name = unit->name().empty() ? unit->source_file_name() : unit->name();
        log_debug("Processing import %s", name.c_str());
        print_types(unit);
        print_top_level(unit);
    }
}

// A struct with a default constructor and one from all its members. An array member owns its
// elements, so the default constructor gives it its size.
void Swrc_code_generator::print_struct(const St_node* declaration)
{
    const St_node* name_node = declaration->find_child(ST::NODE_IDENTIFIER);
    if (!name_node)
        return;
    std::string name = "ovl_" + std::string(name_node->text_view());
    struct Member {
        std::string type;
        std::string name;
        bool array;
        int32_t size;
    };
    std::vector<Member> members;
    const St_node* blocks = declaration->find_child(ST::NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
    for (const St_node* block = blocks ? blocks->first_child : nullptr; block; block = block->next_sibling)
        for (const St_node* member = block->first_child; member; member = member->next_sibling) {
            if (member->kind != ST::NODE_VARIABLE_DECLARATION)
                continue;
            std::string type = specifier_text(declared_type(member));
            const St_node* names = member->find_child(ST::NODE_INIT_IDENTIFIER_LIST);
            for (const St_node* item = names ? names->first_child : nullptr; item; item = item->next_sibling)
                members.push_back({type, identifier(item->text_view()), item->find_child(ST::NODE_ARRAY_SPECIFIER) != nullptr,
                                   array_size_of(item)});
        }
    out().print("struct %s {\n", name.c_str());
    for (const Member& member : members) {
        if (member.array)
            print_as_is("\tArray<%s> %s;\n", member.type.c_str(), member.name.c_str());
        else
            print_as_is("\t%s %s;\n", member.type.c_str(), member.name.c_str());
    }
    std::string sizes;
    for (const Member& member : members)
        if (member.array && member.size > 0)
            sizes += (sizes.empty() ? " : " : ", ") + member.name + "(" + std::to_string(member.size) + ")";
    print_as_is("\t%s()%s {}\n", name.c_str(), sizes.c_str());
    print_as_is("\t%s(", name.c_str());
    for (size_t i = 0; i < members.size(); ++i) {
        const Member& member = members[i];
        if (member.array)
            print_as_is("%sconst Array<%s> &_%s", i ? ", " : "", member.type.c_str(), member.name.c_str());
        else
            print_as_is("%sconst %s &_%s", i ? ", " : "", member.type.c_str(), member.name.c_str());
    }
    print_as_is(")\n");
    for (size_t i = 0; i < members.size(); ++i)
        print_as_is("\t\t%c %s(_%s)\n", i ? ',' : ':', members[i].name.c_str(), members[i].name.c_str());
    print_as_is("\t{}\n");
    print_struct_info(std::string(name_node->text_view()), members_of(declaration));
    out().write("};\n\n");
}

// What a host reads of a struct without its declaration: each member's name in the source, type
// code and array size (1 a single value, 0 unsized), through the trait Struct_info of the runtime.
// Static members of the struct rather than a specialisation of the trait, so that the text may
// stand in any namespace.
void Swrc_code_generator::print_struct_info(const std::string& source_name,
                                            const std::vector<Struct_member_code>& members)
{
    print_as_is("\tstatic constexpr const char *info_name = \"%s\";\n", source_name.c_str());
    print_as_is("\tstatic constexpr int info_member_count = %zu;\n", members.size());
    if (members.empty()) {
        print_as_is("\tstatic constexpr const Struct_member *info_members = nullptr;\n");
        return;
    }
    print_as_is("\tstatic constexpr Struct_member info_members[%zu] = {\n", members.size());
    for (const Struct_member_code& member : members)
        print_as_is("\t\t{\"%s\", Type_code::%s, %d},\n", member.name.c_str(), member.code, int(member.array_size));
    print_as_is("\t};\n");
}

// The members of a struct declaration with their codes, in order.
std::vector<Swrc_code_generator::Struct_member_code> Swrc_code_generator::members_of(const St_node* declaration) const
{
    std::vector<Struct_member_code> members;
    const St_node* blocks = declaration->find_child(ST::NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
    for (const St_node* block = blocks ? blocks->first_child : nullptr; block; block = block->next_sibling)
        for (const St_node* member = block->first_child; member; member = member->next_sibling) {
            if (member->kind != ST::NODE_VARIABLE_DECLARATION)
                continue;
            const char* code = type_code_of(word_of(declared_type(member)));
            const St_node* names = member->find_child(ST::NODE_INIT_IDENTIFIER_LIST);
            for (const St_node* item = names ? names->first_child : nullptr; item; item = item->next_sibling) {
                int32_t size = item->find_child(ST::NODE_ARRAY_SPECIFIER) ? array_size_of(item) : 1;
                members.push_back({std::string(item->text_view()), code, size < 0 ? 0 : size});
            }
        }
    return members;
}

const char* Swrc_code_generator::type_code_of(const std::string& word) const
{
    static const std::pair<uint8_t, const char*> codes[] = {
        {ST::TYPE_BOOLEAN, "BOOL"},         {ST::TYPE_INT8, "INT"},           {ST::TYPE_INT16, "INT"},
        {ST::TYPE_INT32, "INT"},            {ST::TYPE_INT64, "INT"},          {ST::TYPE_SCALAR, "SCALAR"},
        {ST::TYPE_DSCALAR, "SCALAR"},       {ST::TYPE_GSCALAR, "SCALAR"},     {ST::TYPE_VECTOR2, "VECTOR2"},
        {ST::TYPE_VECTOR3, "VECTOR3"},      {ST::TYPE_VECTOR4, "VECTOR4"},    {ST::TYPE_MATRIX, "MATRIX4x4"},
        {ST::TYPE_STRING, "STRING"},        {ST::TYPE_STRUCT, "STRUCT"},      {ST::TYPE_VECTOR2I, "VECTOR2I"},
        {ST::TYPE_VECTOR3I, "VECTOR3I"},    {ST::TYPE_VECTOR4I, "VECTOR4I"},  {ST::TYPE_VECTOR2B, "VECTOR2B"},
        {ST::TYPE_VECTOR3B, "VECTOR3B"},    {ST::TYPE_VECTOR4B, "VECTOR4B"},  {ST::TYPE_MATRIX2X2, "MATRIX2x2"},
        {ST::TYPE_MATRIX2X3, "MATRIX2x3"},  {ST::TYPE_MATRIX3X2, "MATRIX3x2"}, {ST::TYPE_MATRIX3X3, "MATRIX3x3"},
        {ST::TYPE_MATRIX4X3, "MATRIX4x3"},  {ST::TYPE_MATRIX3X4, "MATRIX3x4"}, {ST::TYPE_MATRIX4X2, "MATRIX4x2"},
        {ST::TYPE_MATRIX2X4, "MATRIX2x4"},  {ST::TYPE_TEXTURE1D, "TEXTURE1D"}, {ST::TYPE_TEXTURE2D, "TEXTURE2D"},
        {ST::TYPE_TEXTURE3D, "TEXTURE3D"},  {ST::TYPE_TEXTURE_CUBE, "TEXTURE_CUBE"}, {ST::TYPE_BRDF, "BRDF"},
        {ST::TYPE_COLOR, "COLOR"},
    };
    int32_t code = ST::language_word_code(word.c_str());
    for (const auto& row : codes)
        if (code == row.first)
            return row.second;
    // An enum holds its members' numbers; any other name is a struct of the unit.
    for (const ST::Compilation_unit* unit : input_.units)
        if (unit->find_enum(word) >= 0)
            return "INT";
    return "STRUCT";
}

// The functions that the shader reaches, and the variables, of a unit, in order.
void Swrc_code_generator::print_top_level(ST::Compilation_unit* unit)
{
    bool shared = shader_index_ >= 0;
    // A shader's method defined outside it ("Scalar Lit::f()") prints inside its class.
    std::set<const St_node*> methods;
    for (int32_t i = 0; unit && i < unit->shader_count(); ++i)
        for (const St_node* method : unit->shader_at(i)->methods)
            methods.insert(method);
    auto wanted = [&](const St_node* node) {
        return !methods.count(node) && (shared || input_.is_reachable(node));
    };
    std::vector<const St_node*> definitions;
    const St_node* list = unit ? unit->tree() : nullptr;
    for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling)
        if (node->kind == ST::NODE_FUNCTION_DEFINITION && wanted(node))
            definitions.push_back(node);
    print_prototypes(definitions);
    for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
        switch (node->kind) {
        case ST::NODE_FUNCTION_DEFINITION:
        case ST::NODE_FUNCTION_DECLARATION:
            if (wanted(node))
                print_function(node);
            break;
        case ST::NODE_VARIABLE_DECLARATION:
            print_local_declaration(node);
            out().write("\n");
            break;
        default:
            break;
        }
    }
}

// A function takes the state, the factory and, for a method of the shader, the result first.
std::string Swrc_code_generator::leading_parameters(std::string_view name) const
{
    return is_method(std::string(name)) ? "State *state,Factory_access &factory,Result *result"
                                        : "State *state,Factory_access &factory";
}

// Arrays own their elements; out and inout parameters are references.
std::string Swrc_code_generator::parameter_text(const St_node* parameter) const
{
    const St_node* qualifier = parameter->find_child(ST::NODE_PARAMETER_QUALIFIER);
    bool reference = qualifier && qualifier->text_view() != "in";
    std::string type_word = specifier_text(BACK12::type_specifier_of(parameter));
    if (parameter->find_child(ST::NODE_ARRAY_SPECIFIER))
        type_word = "Array<" + type_word + ">";
    return type_word + (reference ? " &" : " ") + identifier(parameter->text_view());
}

// A parameter named like an output of the shader (a linked class's main has its outputs as
// parameters) is the function's own.
void Swrc_code_generator::print_function_body(const St_node* declaration, const St_node* body)
{
    local_types_.clear();
    const St_node* parameters = declaration->find_child(ST::NODE_FUNCTION_PARAMETER_LIST);
    for (const St_node* parameter = parameters ? parameters->first_child : nullptr; parameter;
         parameter = parameter->next_sibling)
        if (parameter->kind == ST::NODE_FUNCTION_PARAMETER)
            local_types_[std::string(parameter->text_view())] = parameter->type_index;
    collect_read_names(body);
    print_block(body);
}

// Locals and globals, with the host's kinds (light and sample iterators, texture samplers) and
// arrays, which own their elements.
void Swrc_code_generator::print_local_declaration(const St_node* declaration)
{
    if (!declaration || declaration->kind != ST::NODE_VARIABLE_DECLARATION) {
        report(LOG_EXPECTED_DECLARATION, "System Error: Expected declaration");
        return;
    }
    const St_node* specifier = declared_type(declaration);
    std::string word = word_of(specifier);
    std::string type = specifier_text(specifier);
    const St_node* names = declaration->find_child(ST::NODE_INIT_IDENTIFIER_LIST);
    for (const St_node* item = names ? names->first_child : nullptr; item; item = item->next_sibling) {
        if (item->kind != ST::NODE_INIT_IDENTIFIER)
            continue;
        std::string source_name(item->text_view());
        std::string name = identifier(source_name);
        const St_node* value = initializer_of(item);
        local_types_[source_name] = item->type_index;
        if (item->find_child(ST::NODE_ARRAY_SPECIFIER)) {
            print_array_declaration(type, name, item, value);
            continue;
        }
        if ((word == "Light_iterator" && !value) || word == "Light_iterator_options") {
            out().print("Light_sampler_access ls_%s(factory->create_light_sampler()); %s %s(*ls_%s);\n", name.c_str(),
                        type.c_str(), name.c_str(), name.c_str());
            continue;
        }
        if (word == "Sample_iterator" && !value) {
            out().print("Sample_iterator %s(state->get_sampler(),0);\n", name.c_str());
            continue;
        }
        if (word.compare(0, 16, "Texture_sampler_") == 0) {
            print_sampler_declaration(word, name, value);
            continue;
        }
        bool unread = !read_names_.count(source_name);
        out().print("%s%s %s", unread ? "[[maybe_unused]] " : "", type.c_str(), name.c_str());
        if (value) {
            out().write(" = ");
            print_expression(value);
        } else if (is_scalar_word(type)) {
            // The language's variables start at zero.
            out().write(type == "bool" ? " = false" : " = 0");
        }
        out().write(";\n");
    }
}

void Swrc_code_generator::print_array_declaration(const std::string& element, const std::string& name,
                                                  const St_node* item, const St_node* value)
{
    const St_node* specifier = item->find_child(ST::NODE_ARRAY_SPECIFIER);
    const St_node* size = specifier ? specifier->first_child : nullptr;
    std::string size_text = size ? expression_text(size) : std::string();
    if (value && value->kind == ST::NODE_ARRAY_INITIALIZER) {
        int32_t count = 0;
        for (const St_node* v = value->first_child; v; v = v->next_sibling)
            ++count;
        if (size_text.empty())
            size_text = std::to_string(count);
        out().print("%s raw_%s[%s] = ", element.c_str(), name.c_str(), size_text.c_str());
        print_expression(value);
        out().print("; Array<%s> %s(%s,raw_%s);\n", element.c_str(), name.c_str(), size_text.c_str(), name.c_str());
        return;
    }
    if (value) {
        out().print("Array<%s> %s = ", element.c_str(), name.c_str());
        print_expression(value);
        out().write(";\n");
        return;
    }
    out().print("Array<%s> %s(%s);\n", element.c_str(), name.c_str(), size_text.empty() ? "0" : size_text.c_str());
}

// A sampler is made by the factory from the texture, the blur and the filter word.
void Swrc_code_generator::print_sampler_declaration(const std::string& type, const std::string& name,
                                                    const St_node* value)
{
    std::string kind = type.substr(16);
    out().print("%s_access %s(factory->create_texture_sampler_%s(", type.c_str(), name.c_str(), kind.c_str());
    const St_node* arguments = value ? BACK12::call_arguments(value) : nullptr;
    static const char* const filters[][2] = {
        {"box", "Texture_filter::BOX"},         {"triangle", "Texture_filter::TRIANGLE"},
        {"gauss", "Texture_filter::GAUSS"},     {"cmitchell", "Texture_filter::CMITCHELL"},
        {"clanczos", "Texture_filter::CLANCZOS"}, {"none", "Texture_filter::FAST"},
    };
    size_t width = kind.find('_') != std::string::npos ? kind.back() - '0' : 1;
    int32_t position = 0;
    for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
         argument = argument->next_sibling, ++position) {
        if (position)
            out().write(", ");
        if (position == 2 && argument->kind == ST::NODE_STRING_CONSTANT) {
            const char* filter = "Texture_filter::FAST";
            for (const auto& row : filters)
                if (argument->text_view() == row[0])
                    filter = row[1];
            out().write(filter);
            continue;
        }
        // A scalar blur for a sampler of vectors is repeated in each component.
        const Type* argument_type = type_of(argument);
        if (position == 1 && width > 1 && width <= 4 && argument_type && argument_type->code() == ST::TYPE_SCALAR) {
            std::string text = expression_text(argument);
            out().print("Vector%zu(", width);
            for (size_t i = 0; i < width; ++i)
                out().print(i ? ", %s" : "%s", text.c_str());
            out().write(")");
            continue;
        }
        print_expression(argument);
    }
    out().write("));\n");
}

// The shader class

std::string Swrc_code_generator::plain_type(int32_t type_index) const
{
    const Type* type = unit_ ? unit_->type_at(type_index) : nullptr;
    return type && type->name() ? type_name(type->name()) : "Vector4";
}

void Swrc_code_generator::print_shader_class()
{
    print_as_is("class ovl_%s : public Shader\n{\npublic:\n", shader_name_.c_str());
    print_parameter_members();
    print_result_class();
    print_constructor();
    print_bridge_constructor();
    print_main();
    out().indent();
    for (St_node* method : input_.methods)
        print_function(method);
    out().unindent();
    print_as_is("};\n");
}

void Swrc_code_generator::print_parameter_members()
{
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_->type_at(parameter.type_index);
        std::string element = plain_type(parameter.type_index);
        const char* name = parameter.name.c_str();
        if (type && type->array_size() == 0)
            print_as_is("\tArray<%s> &ovl_%s;\n", element.c_str(), name);
        else if (type && type->array_size() > 1)
            print_as_is("\tArray<%s> ovl_%s;\n", element.c_str(), name);
        else
            print_as_is("\t%s ovl_%s;\n", element.c_str(), name);
        if (type && type->is_array())
            print_as_is("#ifdef HALD\n\tArray<%s> hd_ovl_%s;\n#endif\n", element.c_str(), name);
    }
}

void Swrc_code_generator::print_result_class()
{
    print_as_is("\tclass Result {\n");
    print_as_is("\tpublic:\n");
    for (const Generator_variable& output : input_.outputs) {
        const Type* type = unit_->type_at(output.type_index);
        std::string element = plain_type(output.type_index);
        if (type && type->array_size() == 0)
            print_as_is("\t\tArray<%s> &ovl_%s;\n", element.c_str(), output.name.c_str());
        else if (type && type->array_size() > 1)
            print_as_is("\t\tArray<%s> ovl_%s;\n", element.c_str(), output.name.c_str());
        else
            print_as_is("\t\t%s &ovl_%s;\n", element.c_str(), output.name.c_str());
    }
    print_as_is("\t\tVector4 ovl_none;\n");
    print_as_is("\t\tResult(Data_block *outputs)\n");
    // An output that no code of the shader names stands on the sink: a host need not give a
    // field for it, and nothing reads or writes it through the reference.
    std::set<std::string> named = named_outputs();
    char separator = ':';
    for (const Generator_variable& output : input_.outputs) {
        const Type* type = unit_->type_at(output.type_index);
        std::string element = plain_type(output.type_index);
        const char* name = output.name.c_str();
        if (!named.count(output.name)) {
            if (type && type->array_size() > 1)
                print_as_is("\t\t\t%c ovl_%s(%d,(%s *)&ovl_none)\n", separator, name, int(type->array_size()),
                            element.c_str());
            else if (type && type->array_size() == 0)
                print_as_is("\t\t\t%c ovl_%s(*(Array<%s> *)&ovl_none)\n", separator, name, element.c_str());
            else
                print_as_is("\t\t\t%c ovl_%s(*(%s *)&ovl_none)\n", separator, name, element.c_str());
        } else if (type && type->array_size() > 1)
            print_as_is("\t\t\t%c ovl_%s(%d,(%s *)outputs->get_field(\"%s\"))\n", separator, name,
                        int(type->array_size()), element.c_str(), name);
        else if (type && type->array_size() == 0)
            print_as_is("\t\t\t%c ovl_%s(*(Array<%s> *)outputs->get_field(\"%s\"))\n", separator, name,
                        element.c_str(), name);
        else
            print_as_is("\t\t\t%c ovl_%s(*(%s *)outputs->get_field(\"%s\"))\n", separator, name, element.c_str(),
                        name);
        separator = ',';
    }
    print_as_is("\t\t{}\n");
    print_as_is("\t};\n");
}

// The outputs that main or a method of the shader names.
std::set<std::string> Swrc_code_generator::named_outputs() const
{
    std::set<std::string> named;
    std::vector<const St_node*> pending;
    if (input_.main)
        pending.push_back(input_.main);
    for (const St_node* method : input_.methods)
        pending.push_back(method);
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (node->kind == ST::NODE_VARIABLE_ID && is_output(std::string(node->text_view())))
            named.insert(std::string(node->text_view()));
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
    return named;
}

void Swrc_code_generator::print_constructor()
{
    print_as_is("\tovl_%s(Data_block *inputs)\n", shader_name_.c_str());
    char separator = ':';
    for (const Generator_variable& parameter : input_.parameters) {
        const Type* type = unit_->type_at(parameter.type_index);
        std::string element = plain_type(parameter.type_index);
        const char* name = parameter.name.c_str();
        if (type && type->array_size() > 1)
            print_as_is("\t\t%c ovl_%s(%d,(%s *)inputs->get_field(\"%s\"))\n", separator, name,
                        int(type->array_size()), element.c_str(), name);
        else if (type && type->array_size() == 0)
            print_as_is("\t\t%c ovl_%s(*(Array<%s> *)inputs->get_field(\"%s\"))\n", separator, name, element.c_str(),
                        name);
        else
            print_as_is("\t\t%c ovl_%s(*(%s *)inputs->get_field(\"%s\"))\n", separator, name, element.c_str(), name);
        separator = ',';
    }
    print_as_is("\t{}\n");
}

void Swrc_code_generator::print_main()
{
    print_as_is("\tvoid main(%s state,%s *outputs)\n\t{\n", "State *", "Data_block");
    print_as_is("\t\tResult res(outputs);\n");
    print_as_is("\t\tResult *result = &res;\n");
    print_as_is("\t\tFactory_access factory(state->get_factory());\n");
    // A body that names no output or state leaves these unread.
    print_as_is("\t\t(void)result;\n");
    // A parameter that the body or a method writes is a member: it is given back its value
    // when main ends, so that every evaluation starts from the parameters as given.
    std::set<std::string> written = BACK12::written_inputs(input_);
    for (const Generator_variable& parameter : input_.parameters) {
        if (!written.count(parameter.name))
            continue;
        const Type* type = unit_->type_at(parameter.type_index);
        std::string element = plain_type(parameter.type_index);
        if (type && type->is_array())
            element = "Array<" + element + ">";
        print_as_is("\t\tRestore<%s> keep_ovl_%s(ovl_%s);\n", element.c_str(), parameter.name.c_str(),
                    parameter.name.c_str());
    }
    out().indent();
    out().indent();
    local_types_.clear();
    const St_node* body = input_.main ? input_.main->find_child(ST::NODE_STATEMENT_BLOCK) : nullptr;
    collect_read_names(body);
    for (const Generator_variable& member : input_.members)
        print_local_declaration(member.declaration);
    if (body)
        print_statements(body->first_child);
    out().unindent();
    out().unindent();
    print_as_is("\t}\n");
}

void Swrc_code_generator::print_plugin_class()
{
    const char* name = shader_name_.c_str();
    print_as_is(plugin_class, name, name, name, name);
}

void Swrc_code_generator::print_initializer()
{
    print_as_is("extern \"C\"\n{\nDLLEXPORT QZ::PLUG::Plugin *initializer(unsigned int index,void *context)\n{\n");
    if (shader_count_ > 0) {
        print_as_is("    switch(index) {\n");
        long total = shader_count_;
        // Index i is the unit's shader i: the file holds them in that order.
        std::vector<std::string> shaders;
        for (int32_t i = 0; i < unit_->shader_count(); ++i)
            if (unit_->shader_at(i)->key == "shader")
                shaders.push_back(unit_->shader_at(i)->name);
        for (long i = 0; i < total; ++i) {
            const std::string& name = size_t(i) < shaders.size() ? shaders[size_t(i)] : shader_name_;
            print_as_is("    case %ld:\n", i);
            print_as_is("        return new QZ::SHADER::%s_shader_plugin;\n", name.c_str());
        }
        print_as_is("    default:\n        return 0;\n    }\n");
    } else {
        print_as_is("    if(!index) {\n");
        print_as_is("        return new QZ::SHADER::%s_shader_plugin;\n", shader_name_.c_str());
        print_as_is("    } else {\n        return 0;\n    }\n");
    }
    print_as_is("}\n} // extern \"C\"\n");
}

}  // namespace GEN_SWRC
}  // namespace QZ

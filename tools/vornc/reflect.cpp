#include "reflect.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

namespace vornc {

namespace {

// Host node kinds that reflection reads (the numbering of ISyntax_tree::get_kind).
enum Kind : int32_t {
    IDENTIFIER = 1,
    INIT_IDENTIFIER = 3,
    ARRAY_SPECIFIER = 4,
    VARIABLE_DECLARATION = 12,
    VARIABLE_SPECIFIERS = 13,
    SIMPLE_TYPE_SPECIFIER = 15,
    CLASS_DECLARATION = 17,
    CLASS_MEMBER_DECLARATION_BLOCK_LIST = 18,
    CLASS_MEMBER_DECLARATION_BLOCK = 19,
    CLASS_PARENT_SPECIFIER = 20,
    FOREACH_STATEMENT = 28,
    FUNCTION_CALL_EXPRESSION = 51,
    CONSTRUCTOR_CALL_EXPRESSION = 53,
    FUNCTION_CALL_PARAMETERS = 54,
    STATE_VARIABLE_REFERENCE = 63,
    STATE_FUNCTION_REFERENCE = 64,
    ANNOTATION_BLOCK = 70,
};

std::string text_of(vorn::ISyntax_tree* node)
{
    const char* value = node->get_value_as_text();
    return value ? value : "";
}

// A child by index, held for the caller.
struct Child {
    vorn::ISyntax_tree* node;
    explicit Child(vorn::ISyntax_tree* parent, int32_t index) : node(parent->get_child(index)) {}
    ~Child() { node->release(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
};

// The source text of an initialiser or annotation, rebuilt from the tree: constants, calls and
// operators, which is what initialisers hold. Nesting is bounded by the parser's own limit.
std::string expression_text(vorn::ISyntax_tree* node)
{
    int32_t kind = node->get_kind();
    int32_t count = node->get_child_count();
    if (kind == FUNCTION_CALL_EXPRESSION || kind == CONSTRUCTOR_CALL_EXPRESSION) {
        std::string name = text_of(node);
        std::string arguments;
        for (int32_t i = 0; i < count; ++i) {
            Child child(node, i);
            if (child.node->get_kind() == SIMPLE_TYPE_SPECIFIER) {
                name = text_of(child.node);
            } else if (child.node->get_kind() == FUNCTION_CALL_PARAMETERS) {
                for (int32_t j = 0; j < child.node->get_child_count(); ++j) {
                    Child argument(child.node, j);
                    arguments += (j ? ", " : "") + expression_text(argument.node);
                }
            }
        }
        return name + "(" + arguments + ")";
    }
    if (count == 2) {
        Child left(node, 0), right(node, 1);
        return expression_text(left.node) + " " + text_of(node) + " " + expression_text(right.node);
    }
    if (count == 1) {
        Child operand(node, 0);
        return text_of(node) + expression_text(operand.node);
    }
    return text_of(node);
}

struct Variable {
    std::string name;
    std::string type;
    std::string array;  // "" for none, else the size text ("" size for unsized: "[]")
    std::string default_value;
    std::vector<std::string> annotations;
};

// The variables of one VARIABLE_DECLARATION.
void read_declaration(vorn::ISyntax_tree* declaration, std::vector<Variable>& out)
{
    std::string type;
    for (int32_t i = 0; i < declaration->get_child_count(); ++i) {
        Child part(declaration, i);
        if (part.node->get_kind() == VARIABLE_SPECIFIERS) {
            for (int32_t j = 0; j < part.node->get_child_count(); ++j) {
                Child specifier(part.node, j);
                if (specifier.node->get_kind() == SIMPLE_TYPE_SPECIFIER)
                    type = text_of(specifier.node);
            }
            continue;
        }
        for (int32_t j = 0; j < part.node->get_child_count(); ++j) {
            Child identifier(part.node, j);
            if (identifier.node->get_kind() != INIT_IDENTIFIER)
                continue;
            Variable variable{text_of(identifier.node), type, "", "", {}};
            for (int32_t k = 0; k < identifier.node->get_child_count(); ++k) {
                Child detail(identifier.node, k);
                int32_t kind = detail.node->get_kind();
                if (kind == ARRAY_SPECIFIER) {
                    variable.array = "[]";
                    if (detail.node->get_child_count() > 0) {
                        Child size(detail.node, 0);
                        variable.array = "[" + expression_text(size.node) + "]";
                    }
                } else if (kind == ANNOTATION_BLOCK) {
                    for (int32_t a = 0; a < detail.node->get_child_count(); ++a) {
                        Child annotation(detail.node, a);
                        variable.annotations.push_back(expression_text(annotation.node));
                    }
                } else {
                    variable.default_value = expression_text(detail.node);
                }
            }
            out.push_back(variable);
        }
    }
}

struct Shader_facts {
    std::string name;
    bool technique = false;
    std::string parent;
    std::vector<Variable> inputs, outputs;
};

Shader_facts read_shader(vorn::ISyntax_tree* shader)
{
    Shader_facts facts;
    facts.technique = text_of(shader) == "technique";
    for (int32_t i = 0; i < shader->get_child_count(); ++i) {
        Child part(shader, i);
        int32_t kind = part.node->get_kind();
        if (kind == IDENTIFIER && facts.name.empty())
            facts.name = text_of(part.node);
        if (kind == CLASS_PARENT_SPECIFIER)
            facts.parent = text_of(part.node);
        if (kind != CLASS_MEMBER_DECLARATION_BLOCK_LIST)
            continue;
        for (int32_t j = 0; j < part.node->get_child_count(); ++j) {
            Child block(part.node, j);
            std::string key = text_of(block.node);
            if (key != "input" && key != "output")
                continue;
            for (int32_t k = 0; k < block.node->get_child_count(); ++k) {
                Child declaration(block.node, k);
                if (declaration.node->get_kind() == VARIABLE_DECLARATION)
                    read_declaration(declaration.node, key == "input" ? facts.inputs : facts.outputs);
            }
        }
    }
    return facts;
}

// State the tree reads, and whether it walks lights; iterative, since statement lists are long.
void read_state_use(vorn::ISyntax_tree* root, std::set<std::string>& variables, std::set<std::string>& functions,
                    bool& lights)
{
    std::vector<vorn::ISyntax_tree*> pending{root};
    root->retain();
    while (!pending.empty()) {
        vorn::ISyntax_tree* node = pending.back();
        pending.pop_back();
        int32_t kind = node->get_kind();
        if (kind == STATE_VARIABLE_REFERENCE)
            variables.insert(text_of(node));
        else if (kind == STATE_FUNCTION_REFERENCE)
            functions.insert(text_of(node));
        else if (kind == FOREACH_STATEMENT)
            lights = true;
        for (int32_t i = 0; i < node->get_child_count(); ++i)
            pending.push_back(node->get_child(i));
        node->release();
    }
}

bool is_texture(const std::string& type) { return type.rfind("Texture", 0) == 0; }

std::string json_list(const std::vector<std::string>& items)
{
    std::string out = "[";
    for (size_t i = 0; i < items.size(); ++i)
        out += (i ? ", " : "") + json_string(items[i]);
    return out + "]";
}

// The name an input has in the target's text: GL prefixes "ovl_"; FX keeps the name, or puts "_"
// before a word of its own. The declared names decide; null when the text declares neither.
std::string target_name(const std::string& target, const std::string& name, const std::vector<std::string>& declared)
{
    std::vector<std::string> candidates =
        target == "GL" ? std::vector<std::string>{"ovl_" + name} : std::vector<std::string>{name, "_" + name};
    for (const std::string& candidate : candidates)
        if (std::find(declared.begin(), declared.end(), candidate) != declared.end())
            return candidate;
    return std::string();
}

bool is_name(const std::string& word)
{
    if (word.empty() || !(std::isalpha(static_cast<unsigned char>(word[0])) || word[0] == '_'))
        return false;
    return std::all_of(word.begin(), word.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; });
}

}  // namespace

std::vector<std::string> declared_parameters(const std::string& target, const std::string& text)
{
    std::vector<std::string> names;
    std::istringstream lines(text);
    std::string line;
    int braces = 0;
    bool in_annotations = false;
    while (std::getline(lines, line)) {
        if (target == "GL") {
            // uniform TYPE NAME; or uniform TYPE NAME[N];
            std::istringstream words(line);
            std::string uniform, type, name;
            if (words >> uniform >> type >> name && uniform == "uniform") {
                name = name.substr(0, name.find_first_of("[;"));
                if (is_name(name))
                    names.push_back(name);
            }
            continue;
        }
        // FX: TYPE NAME at file level, outside annotation blocks, structs and functions.
        bool top = braces == 0 && !in_annotations;
        if (line == "<")
            in_annotations = true;
        else if (line.rfind(">", 0) == 0)
            in_annotations = false;
        for (char c : line)
            braces += c == '{' ? 1 : c == '}' ? -1 : 0;
        if (!top || line.empty() || std::isspace(static_cast<unsigned char>(line[0])) || line[0] == '/' ||
            line[0] == '#')
            continue;
        std::istringstream words(line);
        std::string type, name;
        static const std::set<std::string> words_before_no_parameter = {"struct", "enum",  "technique", "pass",
                                                                     "static", "const", "typedef"};
        if (!(words >> type >> name) || words_before_no_parameter.count(type))
            continue;
        name = name.substr(0, name.find_first_of("[;:=<"));
        // A function's name is followed by its parameters.
        size_t after = line.find_first_not_of(" \t", line.find(name, type.size()) + name.size());
        bool function = after != std::string::npos && line[after] == '(';
        if (is_name(type) && is_name(name) && !function)
            names.push_back(name);
    }
    return names;
}

bool reflect(vorn::IVorn_compiler* compiler, vorn::ICompilation_unit* unit, const std::string& target,
             const std::string& shader, std::string& json, Diagnostic_printer& printer)
{
    // The generated text tells which parameters the target declares.
    vorn::ICompiler_options* options = compiler->create_options();
    options->set_option("shader_type", "surface");
    if (!shader.empty())
        options->set_option("shader_name", shader.c_str());
    vorn::IGenerated_shader* generated = unit->generate(target.c_str(), options);
    options->release();
    if (!generated) {
        printer.error("", "no " + target + " text was generated, so there is nothing to reflect");
        return false;
    }
    std::vector<std::string> declared;
    for (uint32_t i = 0; i < generated->get_program_count(); ++i) {
        std::vector<char> text(generated->get_program_size(i) + 1);
        generated->copy_program(i, text.data(), uint32_t(text.size()));
        for (const std::string& name : declared_parameters(target, text.data()))
            if (std::find(declared.begin(), declared.end(), name) == declared.end())
                declared.push_back(name);
    }
    generated->release();

    std::set<std::string> state_variables, state_functions;
    bool lights = false;
    for (uint32_t i = 0; i < unit->get_function_count(); ++i) {
        vorn::ISyntax_tree* function = unit->get_function(i);
        read_state_use(function, state_variables, state_functions, lights);
        function->release();
    }
    std::vector<Shader_facts> shaders;
    for (uint32_t i = 0; i < unit->get_shader_count(); ++i) {
        vorn::ISyntax_tree* tree = unit->get_shader(i);
        shaders.push_back(read_shader(tree));
        read_state_use(tree, state_variables, state_functions, lights);
        tree->release();
    }

    std::set<std::string> input_names;
    std::ostringstream out;
    out << "{\n  \"target\": " << json_string(target) << ",\n  \"shaders\": [";
    for (size_t s = 0; s < shaders.size(); ++s) {
        const Shader_facts& facts = shaders[s];
        out << (s ? "," : "") << "\n    {\"name\": " << json_string(facts.name)
            << ", \"kind\": " << json_string(facts.technique ? "technique" : "shader")
            << ", \"parent\": " << (facts.parent.empty() ? "null" : json_string(facts.parent)) << ",\n";
        out << "     \"inputs\": [";
        std::vector<std::string> textures;
        for (size_t i = 0; i < facts.inputs.size(); ++i) {
            const Variable& input = facts.inputs[i];
            std::string in_text = target_name(target, input.name, declared);
            if (!in_text.empty())
                input_names.insert(in_text);
            if (is_texture(input.type))
                textures.push_back(input.name);
            out << (i ? "," : "") << "\n       {\"name\": " << json_string(input.name)
                << ", \"type\": " << json_string(input.type + input.array)
                << ", \"target_name\": " << (in_text.empty() ? "null" : json_string(in_text))
                << ", \"default\": " << (input.default_value.empty() ? "null" : json_string(input.default_value))
                << ", \"annotations\": " << json_list(input.annotations) << "}";
        }
        out << "],\n     \"outputs\": [";
        for (size_t i = 0; i < facts.outputs.size(); ++i)
            out << (i ? ", " : "") << "{\"name\": " << json_string(facts.outputs[i].name)
                << ", \"type\": " << json_string(facts.outputs[i].type + facts.outputs[i].array) << "}";
        out << "],\n     \"textures\": " << json_list(textures) << "}";
    }
    std::vector<std::string> uniforms;
    for (const std::string& name : declared)
        if (!input_names.count(name))
            uniforms.push_back(name);
    out << "\n  ],\n";
    out << "  \"state_variables\": " << json_list({state_variables.begin(), state_variables.end()}) << ",\n";
    out << "  \"state_functions\": " << json_list({state_functions.begin(), state_functions.end()}) << ",\n";
    out << "  \"uses_lights\": " << (lights ? "true" : "false") << ",\n";
    out << "  \"lights\": [],\n";
    out << "  \"uniforms\": " << json_list(uniforms) << "\n}\n";
    json = out.str();
    return true;
}

}  // namespace vornc

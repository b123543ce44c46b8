#include "back12/generator_input.h"

#include <cstring>
#include <map>
#include <memory>
#include <unordered_set>

#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace BACK12 {

using SYNTAX_TREE::Compilation_unit;
using SYNTAX_TREE::Shader_declaration;
using SYNTAX_TREE::St_node;

std::string_view function_definition_name(const St_node* function)
{
    if (!function)
        return {};
    const St_node* declaration = function;
    if (function->kind == SYNTAX_TREE::NODE_FUNCTION_DEFINITION)
        declaration = function->find_child(SYNTAX_TREE::NODE_FUNCTION_DECLARATION);
    if (!declaration || declaration->kind != SYNTAX_TREE::NODE_FUNCTION_DECLARATION)
        return {};
    const St_node* declarator = declaration->find_child(SYNTAX_TREE::NODE_FUNCTION_DECLARATOR);
    const St_node* last = nullptr;
    for (const St_node* part = declarator ? declarator->first_child : nullptr; part; part = part->next_sibling)
        if (part->kind == SYNTAX_TREE::NODE_IDENTIFIER)
            last = part;
    return last ? last->text_view() : std::string_view();
}

const SYNTAX_TREE::St_node* call_arguments(const SYNTAX_TREE::St_node* call)
{
    return call ? call->find_child(SYNTAX_TREE::NODE_FUNCTION_CALL_PARAMETERS) : nullptr;
}

int32_t argument_count(const SYNTAX_TREE::St_node* arguments)
{
    return arguments ? arguments->child_count() : 0;
}

const SYNTAX_TREE::St_node* type_specifier_of(const SYNTAX_TREE::St_node* node)
{
    for (const SYNTAX_TREE::St_node* child = node ? node->first_child : nullptr; child; child = child->next_sibling)
        if (child->kind == SYNTAX_TREE::NODE_SIMPLE_TYPE_SPECIFIER ||
            child->kind == SYNTAX_TREE::NODE_NESTED_TYPE_SPECIFIER)
            return child;
    return nullptr;
}

const St_node* declared_type(const St_node* declaration)
{
    const St_node* specifiers = declaration ? declaration->find_child(SYNTAX_TREE::NODE_VARIABLE_SPECIFIERS) : nullptr;
    const St_node* type = nullptr;
    for (const St_node* child = specifiers ? specifiers->first_child : nullptr; child; child = child->next_sibling)
        if (child->kind == SYNTAX_TREE::NODE_SIMPLE_TYPE_SPECIFIER || child->kind == SYNTAX_TREE::NODE_NESTED_TYPE_SPECIFIER)
            type = child;
    return type;
}

const St_node* initializer_of(const St_node* identifier)
{
    for (const St_node* child = identifier ? identifier->first_child : nullptr; child; child = child->next_sibling)
        if (child->kind != SYNTAX_TREE::NODE_ARRAY_SPECIFIER && child->kind != SYNTAX_TREE::NODE_ANNOTATION_BLOCK)
            return child;
    return nullptr;
}

int32_t state_reference_index(const St_node* node)
{
    if (!node || node->text_size != int32_t(sizeof(int32_t)) || !node->text)
        return -1;
    int32_t index;
    std::memcpy(&index, node->text, sizeof index);
    return index;
}

bool Generator_input::is_reachable(const St_node* function) const
{
    std::string_view name = function_definition_name(function);
    return !name.empty() && reachable.find(name) != reachable.end();
}

namespace {

// Imports depth first, an import before its importer, each unit once. Iterative, so that a
// long chain of imports cannot exhaust the stack; the visited set also ends import cycles.
std::vector<Compilation_unit*> units_in_print_order(Compilation_unit* root)
{
    struct Frame {
        Compilation_unit* unit;
        std::shared_ptr<Compilation_unit> keep;
        int32_t next_import;
    };
    std::vector<Compilation_unit*> order;
    std::unordered_set<const Compilation_unit*> entered;
    std::vector<Frame> stack{{root, nullptr, 0}};
    entered.insert(root);
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next_import >= top.unit->import_count()) {
            order.push_back(top.unit);
            stack.pop_back();
            continue;
        }
        std::shared_ptr<Compilation_unit> imported = top.unit->import_unit(top.next_import++);
        if (imported && entered.insert(imported.get()).second)
            stack.push_back(Frame{imported.get(), imported, 0});
    }
    return order;
}

void collect_variables(const std::vector<St_node*>& declarations, std::vector<Generator_variable>& into)
{
    for (St_node* declaration : declarations) {
        St_node* list = declaration ? declaration->find_child(SYNTAX_TREE::NODE_INIT_IDENTIFIER_LIST) : nullptr;
        for (St_node* name = list ? list->first_child : nullptr; name; name = name->next_sibling) {
            if (name->kind != SYNTAX_TREE::NODE_INIT_IDENTIFIER)
                continue;
            into.push_back(Generator_variable{declaration, name, std::string(name->text_view()), name->type_index});
        }
    }
}

const Shader_declaration* choose_shader(const Compilation_unit& unit, const std::string& shader_name)
{
    if (!shader_name.empty())
        return unit.find_shader(shader_name);
    // A technique only groups shaders; the first real shader is the unit's default function.
    for (int32_t i = 0; i < unit.shader_count(); ++i)
        if (!unit.shader_at(i)->is_technique())
            return unit.shader_at(i);
    return unit.shader_count() > 0 ? unit.shader_at(0) : nullptr;
}

int32_t choose_primary_output(const std::vector<Generator_variable>& outputs, const std::string& primary_name)
{
    if (outputs.empty())
        return -1;
    for (size_t i = 0; i < outputs.size() && !primary_name.empty(); ++i)
        if (outputs[i].name == primary_name)
            return int32_t(i);
    return 0;
}

// Walks main and everything it calls. Calls are matched by name, so every overload of a reached
// name counts as reached; selectors of member calls (texture methods) name no function.
class Reachability_walk {
public:
    explicit Reachability_walk(Generator_input& input) : input_(input) {}

    void add_callee(St_node* function)
    {
        std::string_view name = function_definition_name(function);
        if (!name.empty())
            callees_.emplace(std::string(name), function);
    }

    void run(St_node* start)
    {
        std::vector<St_node*> pending{start};
        while (!pending.empty()) {
            St_node* node = pending.back();
            pending.pop_back();
            visit(node, pending);
        }
    }

private:
    void visit(St_node* node, std::vector<St_node*>& pending)
    {
        switch (node->kind) {
        case SYNTAX_TREE::NODE_FUNCTION_CALL_EXPRESSION:
        case SYNTAX_TREE::NODE_METHOD_CALL_EXPRESSION:
            enter_call(node->text_view(), pending);
            break;
        case SYNTAX_TREE::NODE_STATE_VARIABLE_REFERENCE:
            mark(input_.used_state.data(), SYNTAX_TREE::STATE_VARIABLE_COUNT, state_reference_index(node));
            break;
        case SYNTAX_TREE::NODE_STATE_FUNCTION_REFERENCE:
            mark(input_.used_state_functions.data(), SYNTAX_TREE::STATE_FUNCTION_COUNT,
                 state_reference_index(node));
            break;
        case SYNTAX_TREE::NODE_CLASS_MEMBER_REF_EXPRESSION:
            push_member_ref(node, pending);
            return;
        }
        for (St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }

    void push_member_ref(St_node* node, std::vector<St_node*>& pending)
    {
        St_node* object = node->first_child;
        if (!object)
            return;
        pending.push_back(object);
        for (St_node* rest = object->next_sibling; rest; rest = rest->next_sibling) {
            if (rest->kind != SYNTAX_TREE::NODE_FUNCTION_CALL_EXPRESSION) {
                pending.push_back(rest);
                continue;
            }
            for (St_node* argument = rest->first_child; argument; argument = argument->next_sibling)
                pending.push_back(argument);
        }
    }

    void enter_call(std::string_view name, std::vector<St_node*>& pending)
    {
        auto range = callees_.equal_range(std::string(name));
        if (range.first == range.second || !input_.reachable.emplace(name).second)
            return;
        for (auto it = range.first; it != range.second; ++it)
            pending.push_back(it->second);
    }

    static void mark(bool* table, int32_t size, int32_t index)
    {
        if (index >= 0 && index < size)
            table[index] = true;
    }

    Generator_input& input_;
    std::multimap<std::string, St_node*> callees_;
};

}  // namespace

// The rule for a unit, whether the translator made it from source or the graph linker made it
// from a graph (the linker's unit holds one shader class built the same way):
// - The function to generate is the shader declaration named by shader_name; with no name,
//   the first declaration that is not a technique. A name that the unit does not declare, or
//   a unit without shaders, gives no function, and every generator but "Swrc" returns null.
// - Its input block gives the free parameters, its output block the outputs; the primary
//   output is the one named by primary_output, else the first.
// - Its main is the body. Its other methods, and the functions of the unit and of its imports,
//   print when main reaches them through calls, at any depth.
// - Units print imports first, depth first, each import before its importer.
// - The used-state table is the shader's, joined with every state reference in the code that
//   main reaches (functions copied by the linker read state through references of their own).
bool build_generator_input(Compilation_unit* unit, const COMPILER::Compile_options& options, Generator_input& input,
                           const Debug_display& debug)
{
    input = Generator_input();
    input.unit = unit;
    input.debug_name = debug.name;
    input.debug_index = debug.index < 0 ? -1 : debug.index;
    if (!unit)
        return false;
    input.units = units_in_print_order(unit);

    const Shader_declaration* shader = choose_shader(*unit, options.shader_name);
    if (!shader)
        return false;
    input.shader = shader;
    input.function_name = shader->name;
    collect_variables(shader->all_inputs(), input.parameters);
    collect_variables(shader->all_outputs(), input.outputs);
    collect_variables(shader->all_members(), input.members);
    input.primary_output = choose_primary_output(input.outputs, options.primary_output);
    input.main = shader->main_method;
    for (int32_t i = 0; i < SYNTAX_TREE::STATE_VARIABLE_COUNT; ++i)
        input.used_state[size_t(i)] = shader->uses_state_variable[i];
    for (int32_t i = 0; i < SYNTAX_TREE::STATE_FUNCTION_COUNT; ++i)
        input.used_state_functions[size_t(i)] = shader->uses_state_function[i];
    input.uses_lights = shader->uses_lights;

    Reachability_walk walk(input);
    std::vector<St_node*> methods = shader->all_methods();
    for (St_node* method : methods)
        if (method != shader->main_method)
            walk.add_callee(method);
    for (Compilation_unit* member : input.units)
        for (St_node* function : member->functions())
            walk.add_callee(function);
    if (input.main)
        walk.run(input.main);
    for (St_node* method : methods)
        if (method != shader->main_method && input.is_reachable(method))
            input.methods.push_back(method);
    return true;
}

namespace {

std::string local_function_name(std::string_view name)
{
    size_t scope = name.rfind("::");
    return std::string(scope == std::string_view::npos ? name : name.substr(scope + 2));
}

// The variable at the root of a place: a.b[1].c is a.
const St_node* place_root(const St_node* node)
{
    while (node && (node->kind == SYNTAX_TREE::NODE_CLASS_MEMBER_REF_EXPRESSION ||
                    node->kind == SYNTAX_TREE::NODE_ARRAY_INDEX_EXPRESSION))
        node = node->first_child;
    return node && node->kind == SYNTAX_TREE::NODE_VARIABLE_ID ? node : nullptr;
}

// Whether the parameter at position of some overload of a function is written by it.
// The parameters of every overload of a function, walked in step with the arguments of a call
// (a call of many arguments would otherwise cost a walk to each argument's place).
class Parameter_cursors {
public:
    Parameter_cursors(const std::multimap<std::string, const St_node*>& functions, const std::string& name)
        : always_(name == "modf" || name == "sincos")
    {
        auto range = functions.equal_range(name);
        for (auto entry = range.first; entry != range.second; ++entry) {
            const St_node* list = entry->second->find_child(SYNTAX_TREE::NODE_FUNCTION_PARAMETER_LIST);
            cursors_.push_back(list ? list->first_child : nullptr);
        }
    }
    // Whether an overload may write the argument at the current place.
    bool writes() const
    {
        if (always_ && position_ > 0)
            return true;
        for (const St_node* parameter : cursors_) {
            const St_node* qualifier =
                parameter ? parameter->find_child(SYNTAX_TREE::NODE_PARAMETER_QUALIFIER) : nullptr;
            if (qualifier && qualifier->text_view() != "in")
                return true;
        }
        return false;
    }
    void next()
    {
        ++position_;
        for (const St_node*& parameter : cursors_)
            parameter = parameter ? parameter->next_sibling : nullptr;
    }

private:
    bool always_;
    int32_t position_ = 0;
    std::vector<const St_node*> cursors_;
};

}  // namespace

std::set<std::string> written_inputs(const Generator_input& input)
{
    std::set<std::string> inputs;
    for (const Generator_variable& parameter : input.parameters)
        inputs.insert(parameter.name);
    std::multimap<std::string, const St_node*> functions;
    for (const Compilation_unit* unit : input.units) {
        const St_node* list = unit ? unit->tree() : nullptr;
        for (const St_node* node = list ? list->first_child : nullptr; node; node = node->next_sibling) {
            const St_node* declaration = node->kind == SYNTAX_TREE::NODE_FUNCTION_DEFINITION
                                             ? node->find_child(SYNTAX_TREE::NODE_FUNCTION_DECLARATION)
                                             : node;
            if (declaration && declaration->kind == SYNTAX_TREE::NODE_FUNCTION_DECLARATION)
                functions.emplace(std::string(function_definition_name(node)), declaration);
        }
    }
    for (const St_node* method : input.methods)
        if (method)
            functions.emplace(std::string(function_definition_name(method)),
                              method->find_child(SYNTAX_TREE::NODE_FUNCTION_DECLARATION));

    std::set<std::string> written;
    std::set<std::string> declared;
    std::vector<const St_node*> pending{input.main};
    pending.insert(pending.end(), input.methods.begin(), input.methods.end());
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (!node)
            continue;
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
        switch (node->kind) {
        case SYNTAX_TREE::NODE_INIT_IDENTIFIER:
        case SYNTAX_TREE::NODE_FUNCTION_PARAMETER:
            declared.insert(std::string(node->text_view()));
            break;
        case SYNTAX_TREE::NODE_CONDITION:
            if (node->text_view() == "declaration" && node->child(1))
                declared.insert(std::string(node->child(1)->text_view()));
            break;
        case SYNTAX_TREE::NODE_ASSIGNMENT_EXPRESSION:
        case SYNTAX_TREE::NODE_PRE_INCREMENT_EXPRESSION:
        case SYNTAX_TREE::NODE_PRE_DECREMENT_EXPRESSION:
        case SYNTAX_TREE::NODE_POST_INCREMENT_EXPRESSION:
        case SYNTAX_TREE::NODE_POST_DECREMENT_EXPRESSION:
            if (const St_node* root = place_root(node->first_child))
                written.insert(std::string(root->text_view()));
            break;
        case SYNTAX_TREE::NODE_FUNCTION_CALL_EXPRESSION: {
            std::string name = local_function_name(node->text_view());
            const St_node* arguments = call_arguments(node);
            Parameter_cursors parameters(functions, name);
            for (const St_node* argument = arguments ? arguments->first_child : nullptr; argument;
                 argument = argument->next_sibling, parameters.next()) {
                const St_node* root = place_root(argument);
                if (root && parameters.writes())
                    written.insert(std::string(root->text_view()));
            }
            break;
        }
        default:
            break;
        }
    }
    std::set<std::string> result;
    for (const std::string& name : written)
        if (inputs.count(name) && !declared.count(name))
            result.insert(name);
    return result;
}

}  // namespace BACK12
}  // namespace QZ

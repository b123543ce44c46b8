#include "flat12/linker.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "front12/ovrel_parser.h"
#include "graph/annotation.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph/parameter.h"
#include "graph/value_block.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "syntax_tree/st_node.h"
#include "syntax_tree/type.h"
#include "system/module.h"
#include "trans12/mod_trans12.h"

namespace QZ {
namespace FLAT12 {

using namespace SYNTAX_TREE;
using GRAPH::Attachment;
using GRAPH::Graph_node;
using GRAPH::Graph_node_class;
using GRAPH::Parameter;

namespace {

constexpr const char* GENERATED_FILE = "__generated";
// The state variable whose value is an array of coordinate sets.
constexpr int32_t TEXTURE_COORDINATE_STATE = 7;
// Compounds link their inner graphs while an outer link runs; a compound that holds itself, or
// a nesting deeper than this, ends the link instead of the stack.
constexpr int32_t MAX_COMPOUND_NESTING = 64;

thread_local int32_t compound_nesting = 0;

// The light states that a light's inputs stand for, in the order of its parameters.
constexpr int32_t STATE_LIGHT_POSITION = 64;
constexpr int32_t STATE_LIGHT_DIRECTION = 65;
constexpr int32_t STATE_LIGHT_TYPE = 74;
constexpr int32_t STATE_LIGHT_SPREAD = 75;
constexpr int32_t STATE_LIGHT_SPREAD_COS = 76;
constexpr int32_t STATE_LIGHT_DISTANCE_LIMIT = 77;
constexpr int32_t LIGHT_STATES[] = {STATE_LIGHT_POSITION, STATE_LIGHT_DIRECTION,  STATE_LIGHT_TYPE,
                                    STATE_LIGHT_SPREAD,   STATE_LIGHT_SPREAD_COS, STATE_LIGHT_DISTANCE_LIMIT};
constexpr int32_t FUNCTION_REFLECT_ENVIRONMENT = 18;
constexpr int32_t FUNCTION_REFRACT_ENVIRONMENT = 19;
constexpr int32_t FUNCTION_TRACE_ENVIRONMENT = 20;
// Each unrolled loop copies its body once per light, loops inside included: a limit on how many
// loops one function may hold keeps a nesting of loops from growing without end.
constexpr int32_t MAX_LIGHT_LOOP_NESTING = 256;

File_name generated_file()
{
    static const File_name file = make_file_name(GENERATED_FILE);
    return file;
}

St_node* node(int32_t kind, std::string_view text = {}, std::initializer_list<St_node*> children = {})
{
    return text.empty() ? new St_node(kind, generated_file(), children)
                        : new St_node(kind, generated_file(), text, children);
}

St_node* variable(const std::string& name) { return node(NODE_VARIABLE_ID, name); }

// The number a state reference holds as its text.
int32_t reference_id(const St_node* reference)
{
    int32_t id = -1;
    if (reference->text && reference->text_size == int32_t(sizeof id))
        std::memcpy(&id, reference->text, sizeof id);
    return id;
}

bool has_errors(const Compilation_unit* unit);

void mark_generated(St_node* tree)
{
    std::vector<St_node*> work{tree};
    while (!work.empty()) {
        St_node* each = work.back();
        work.pop_back();
        each->file = generated_file();
        each->line = -1;
        each->column = -1;
        for (St_node* child = each->first_child; child; child = child->next_sibling)
            work.push_back(child);
    }
}

// A copy of a tree that the link makes its own: every node of it carries the generated name.
St_node* generated_copy(const St_node* tree)
{
    St_node* copy = tree->clone();
    mark_generated(copy);
    return copy;
}

St_node* statement(St_node* expression) { return node(NODE_EXPRESSION_STATEMENT, {}, {expression}); }

St_node* assignment(St_node* left, St_node* right)
{
    return statement(node(NODE_ASSIGNMENT_EXPRESSION, "=", {left, right}));
}

// type name [= initialiser]; with an array specifier when the size is not 1.
St_node* declaration(const char* type_name, const std::string& name, St_node* initialiser, uint32_t array_size = 1)
{
    St_node* identifier = node(NODE_INIT_IDENTIFIER, name);
    if (array_size != 1) {
        St_node* size = node(NODE_ARRAY_SPECIFIER);
        if (array_size != 0)
            size->add_child(node(NODE_INT_CONSTANT, std::to_string(array_size)));
        identifier->add_child(size);
    }
    identifier->add_child(initialiser);
    return node(NODE_VARIABLE_DECLARATION, {},
                {node(NODE_VARIABLE_SPECIFIERS, {}, {node(NODE_SIMPLE_TYPE_SPECIFIER, type_name)}),
                 node(NODE_INIT_IDENTIFIER_LIST, {}, {identifier})});
}

std::string float_text(float value)
{
    // A constant that is not finite has no spelling in the targets.
    if (!std::isfinite(value))
        value = 0.0f;
    char text[64];
    std::snprintf(text, sizeof text, "%#f", double(value));
    return text;
}

St_node* float_constant(float value) { return node(NODE_FLOAT_CONSTANT, float_text(value)); }

template <typename T>
T read(const void* bytes, uint32_t index)
{
    T value{};
    if (bytes)
        std::memcpy(&value, static_cast<const uint8_t*>(bytes) + index * sizeof(T), sizeof(T));
    return value;
}

// Type(a, b, ...) of count components read as T.
template <typename T>
St_node* component_constructor(const char* type_name, const void* bytes, uint32_t count)
{
    St_node* arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
    for (uint32_t i = 0; i < count; ++i) {
        T value = read<T>(bytes, i);
        if constexpr (std::is_same_v<T, float>)
            arguments->add_child(float_constant(value));
        else if constexpr (std::is_same_v<T, int32_t>)
            arguments->add_child(node(NODE_INT_CONSTANT, std::to_string(value)));
        else
            arguments->add_child(node(NODE_BOOL_CONSTANT, value ? "true" : "false"));
    }
    return node(NODE_CONSTRUCTOR_CALL_EXPRESSION, {}, {node(NODE_SIMPLE_TYPE_SPECIFIER, type_name), arguments});
}

uint32_t matrix_components(uint8_t code)
{
    const char* word = language_word(code);
    if (!word || std::strncmp(word, "Matrix", 6) != 0 || std::strlen(word) != 9)
        return 0;
    return uint32_t(word[6] - '0') * uint32_t(word[8] - '0');
}

// Takes child out of parent's list; it belongs to the caller again.
void unlink_child(St_node* parent, St_node* child)
{
    for (St_node** link = &parent->first_child; *link; link = &(*link)->next_sibling)
        if (*link == child) {
            *link = child->next_sibling;
            child->next_sibling = nullptr;
            return;
        }
}

bool is_texture_code(uint8_t code) { return code >= 48 && code <= 51; }

const Parameter* find_in(const GRAPH::Parameter_list& list, const char* name)
{
    int32_t index = GRAPH::find_parameter(list, name);
    return index < 0 ? nullptr : &list[size_t(index)];
}

const Attachment* whole_attachment(const Parameter& parameter)
{
    for (const Attachment& attachment : parameter.attachments)
        if (attachment.member_name.empty())
            return &attachment;
    return nullptr;
}

St_node* constant_at(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth);
St_node* struct_constant(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth);

// The annotations as a source writes them, one call each with its arguments as constants; the
// calls carry the file name of annotation calls. Null for an empty list.
St_node* annotation_block(const GRAPH::Annotation_list& annotations)
{
    if (annotations.empty())
        return nullptr;
    static const File_name annotation_file = make_file_name("__generated__");
    St_node* block = node(NODE_ANNOTATION_BLOCK);
    for (const GRAPH::Annotation& annotation : annotations) {
        St_node* arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
        if (St_node* values = struct_constant(annotation, static_cast<const uint8_t*>(annotation.value), 0)) {
            arguments->first_child = values->first_child;
            values->first_child = nullptr;
            delete values;
        }
        St_node* call = node(NODE_FUNCTION_CALL_EXPRESSION, annotation.annotation_name(), {arguments});
        std::vector<St_node*> work{call};
        while (!work.empty()) {
            St_node* each = work.back();
            work.pop_back();
            each->file = annotation_file;
            for (St_node* child = each->first_child; child; child = child->next_sibling)
                work.push_back(child);
        }
        block->add_child(call);
    }
    return block;
}

// Builds one flat unit; the context owns the tree until finish hands it over.
class Linker {
public:
    explicit Linker(Link_context& context) : c_(context) {}
    ~Linker()
    {
        delete input_block_;
        delete output_block_;
        delete member_block_;
        delete class_annotations_;
        for (St_node* function : c_.functions)
            delete function;
        c_.functions.clear();
        for (St_node* hook : c_.hook_list)
            delete hook;
        c_.hook_list.clear();
    }

    // Appends at the remembered end of parent's list: the tree's own add_child walks the list,
    // which would make main, the input block and the unit quadratic in the number of nodes.
    void append(St_node* parent, St_node* child)
    {
        if (!child)
            return;
        St_node*& last = tails_[parent];
        if (!last)
            last = parent->first_child;
        if (!last) {
            parent->first_child = child;
        } else {
            while (last->next_sibling)
                last = last->next_sibling;
            last->next_sibling = child;
        }
        last = child;
    }

    void skeleton(const char* class_name)
    {
        class_name_ = GRAPH::make_identifier(class_name);
        input_block_ = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "input");
        output_block_ = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "output");
        member_block_ = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "member");
        c_.main_body = node(NODE_STATEMENT_BLOCK);
        member_block_->add_child(node(
            NODE_FUNCTION_DEFINITION, {},
            {node(NODE_FUNCTION_DECLARATION, {},
                  {node(NODE_SIMPLE_TYPE_SPECIFIER, "void"),
                   node(NODE_FUNCTION_DECLARATOR, {}, {node(NODE_IDENTIFIER, "main")})}),
             c_.main_body}));
    }

    // Class parameters as the flat class's own inputs and outputs, with their values.
    void declare_class_parameters(const Graph_node_class& node_class)
    {
        for (const Parameter& input : node_class.inputs)
            declare_input(input, nullptr);
        for (const Parameter& output : node_class.outputs)
            append(output_block_, declare(output, output.name()));
    }

    void declare_root_outputs(const Graph_node& root)
    {
        for (const Parameter& output : root.outputs)
            append(output_block_, declare(output, output.name()));
    }

    // Marks every node reachable from roots as unvisited, walking a worklist so that a cycle or
    // a long chain costs no stack. A wire to the interface goes on through the compound node at
    // the chain's top, one level further out.
    void clear_visited(const std::vector<Graph_node*>& roots) const
    {
        std::vector<std::pair<Graph_node*, int32_t>> work;
        for (Graph_node* root : roots)
            work.push_back({root, chain_.top});
        std::vector<Graph_node*> seen;
        while (!work.empty()) {
            auto [current, top] = work.back();
            work.pop_back();
            if (!current || current->visited == 3)
                continue;
            current->visited = 3;
            seen.push_back(current);
            for (const Parameter& input : current->inputs)
                for (const Attachment& attachment : input.attachments) {
                    if (attachment.target_node)
                        work.push_back({attachment.target_node, top});
                    else if (top >= 0)
                        work.push_back({chain_.nodes[size_t(top)], top - 1});
                }
        }
        for (Graph_node* each : seen)
            each->visited = 0;
    }

    // Depth-first post-order over the inputs, in parameter then attachment order: each node's
    // call follows the calls of the nodes it reads. A node reached again while its own inputs
    // are being walked closes a cycle. A wire to the interface of the compound at the chain's
    // top reads a local "<compound node>_<input>_interface", evaluated once from that node's
    // input one level further out, before the first node that reads it.
    bool emit_node(Graph_node* start)
    {
        if (!start || start->visited == 2)
            return true;
        struct Frame {
            Graph_node* node;
            int32_t top;
            const Parameter* interface = nullptr;  // set: one input of the compound node
            std::string local;
            size_t input = 0;
            size_t attachment = 0;
        };
        std::vector<Frame> stack;
        start->visited = 1;
        stack.push_back({start, chain_.top, nullptr, {}});
        while (!stack.empty()) {
            Frame& frame = stack.back();
            if (const Attachment* next = next_attachment(frame.node, frame.interface, frame.input, frame.attachment)) {
                int32_t top = frame.top;
                if (Graph_node* source = next->target_node) {
                    if (source->visited == 2)
                        continue;
                    if (source->visited == 1)
                        return cycle(source);
                    source->visited = 1;
                    stack.push_back({source, top, nullptr, {}});
                    continue;
                }
                if (top < 0)
                    continue;  // the compound's own input: a plain name of the flat class
                Graph_node* compound = chain_.nodes[size_t(top)];
                std::string head;
                std::string tail;
                GRAPH::split_path(next->target_name.c_str(), head, tail);
                const Parameter* input = compound->find_input(head.c_str());
                std::string local = c_.safe(compound->name + "_" + head + "_interface");
                if (input && c_.generated_names.insert(local).second)
                    stack.push_back({compound, top - 1, input, local});
                continue;
            }
            Frame done = std::move(frame);
            stack.pop_back();
            current_top_ = done.top;
            if (done.interface) {
                emit_interface_value(*done.node, *done.interface, done.local);
                continue;
            }
            done.node->visited = 2;
            if (!emit_own(done.node))
                return false;
        }
        return true;
    }

    // local = the compound node's input as it reaches the compound: its whole wire or its
    // default, then its member wires.
    void emit_interface_value(const Graph_node& compound, const Parameter& input, const std::string& local)
    {
        append(c_.main_body, declaration(input.type_name_text(), local, nullptr, input.array_size()));
        const Attachment* whole = whole_attachment(input);
        append(c_.main_body, assignment(variable(local), whole ? source_expression(*whole)
                                                                : value_expression(compound, input, c_.safe(compound.name))));
        for (const Attachment& attachment : input.attachments)
            if (!attachment.member_name.empty())
                append(c_.main_body, member_assignment(local, attachment.member_name, source_expression(attachment)));
    }

    // The interface outputs (or a brdf's outputs) take their values from the inner graph.
    bool emit_outputs(const GRAPH::Parameter_list& outputs)
    {
        for (const Parameter& output : outputs)
            for (const Attachment& attachment : output.attachments)
                if (!emit_node(attachment.target_node))
                    return false;
        for (const Parameter& output : outputs) {
            const Attachment* whole = whole_attachment(output);
            if (whole)
                append(c_.main_body, assignment(variable(output.name()), source_expression(*whole)));
            for (const Attachment& attachment : output.attachments)
                if (!attachment.member_name.empty())
                    append(c_.main_body, member_assignment(output.name(), attachment.member_name,
                                                              source_expression(attachment)));
        }
        return true;
    }

    void add_unit_functions(const Compilation_unit& unit)
    {
        for (St_node* function : unit.functions()) {
            std::string name = function_name(function);
            if (name.empty() || !c_.function_names.insert(name).second)
                continue;
            c_.functions.push_back(generated_copy(function));
        }
    }

    void add_class_declaration(St_node* class_declaration) { plain_class_ = generated_copy(class_declaration); }

    void add_global_declarations(const Compilation_unit& unit)
    {
        for (St_node* global : unit.global_declarations())
            globals_.push_back(generated_copy(global));
    }

    // The unit: globals, the class, then the copied functions; through the ordinary passes.
    Compilation_unit* finish()
    {
        St_node* list = node(NODE_DECLARATION_LIST);
        for (St_node* global : globals_)
            append(list, global);
        globals_.clear();
        for (St_node* hook : c_.hook_list)
            append(list, hook);
        c_.hook_list.clear();
        if (plain_class_) {
            // Inputs the lights and the environment added join the class's own.
            if (input_block_->first_child) {
                St_node* own = find_block(plain_class_, "input");
                if (!own) {
                    own = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "input");
                    prepend(plain_class_->find_child(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST), own);
                }
                own->add_child(input_block_->first_child);
                input_block_->first_child = nullptr;
            }
            append(list, plain_class_);
            plain_class_ = nullptr;
        } else {
            St_node* blocks = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
            for (St_node** block : {&input_block_, &output_block_, &member_block_}) {
                if ((*block)->child_count() > 0 || *block == member_block_)
                    blocks->add_child(*block);
                else
                    delete *block;
                *block = nullptr;
            }
            c_.shader_class =
                node(NODE_CLASS_DECLARATION, "shader", {node(NODE_IDENTIFIER, class_name_), blocks, class_annotations_});
            class_annotations_ = nullptr;
            append(list, c_.shader_class);
        }
        for (St_node* function : c_.functions)
            append(list, function);
        c_.functions.clear();
        tails_.clear();
        c_.unit_root = list;
        auto* unit = new Compilation_unit(TRANS12::mod_trans12->prelude_symbols());
        unit->set_name(class_name_);
        unit->set_source_file_name(GENERATED_FILE);
        unit->set_tree(list);
        TRANS12::mod_trans12->analyse(*unit);
        return unit;
    }

    std::string class_name_;
    St_node* class_annotations_ = nullptr;  // the class's own, for a brdf
    Interface_chain chain_;                  // the compounds around the root, innermost on top

    // Lights, environment and volume of an export link, before the root is emitted: each light
    // class once as a flat function with its parameters recorded, each light's inputs, and the
    // environment's and volume's flat functions and inputs.
    void prepare_lights(const Export_settings& settings)
    {
        has_light_list_ = settings.has_light_list || !settings.lights.empty();
        c_.view_space.clear();
        for (const Light_setup& setup : settings.lights)
            c_.view_space.push_back(setup.view_space != 0);
        convert_lights(settings);
        std::set<std::string> classes;
        for (size_t index = 0; index < lights_.size(); ++index) {
            Light_entry& light = lights_[index];
            if (light.class_name.empty())
                continue;
            Converted& first = converted_[light.class_name];
            if (classes.insert(light.class_name).second) {
                std::string flat = copy_wrapped(*first.node_class, *first.node);
                St_node* function = find_function(flat);
                if (!function) {
                    light.class_name.clear();
                    continue;
                }
                collect_light_parameters(function, light.class_name, first.prefix);
            }
            declare_light_inputs(int32_t(index), settings.lights[index], light);
        }
        make_shadow_hooks();
        if (settings.environment)
            prepare_environment(settings.environment, true);
        if (settings.volume)
            prepare_environment(settings.volume, false);
    }

    // After the root: light loops unrolled and environment calls replaced in main and in every
    // function, then the inputs those need handed down to the functions that read them.
    void finish_lights()
    {
        std::vector<St_node*> trees;
        if (plain_class_)
            trees.push_back(plain_class_);
        else
            trees.push_back(c_.main_body);
        for (St_node* function : c_.functions)
            trees.push_back(function);
        for (St_node* tree : trees) {
            if (has_light_list_)
                unroll_lights(tree);
            if (!environment_class_.empty())
                rewrite_environment_calls(tree);
        }
        thread_inputs();
    }

    uint8_t resolve_unsized_ = 0;

private:
    struct Light_entry {
        std::string class_name;   // empty: the light is skipped
        int32_t converted = -1;   // the light whose conversion gave the shared function
        Graph_node* node = nullptr;
    };
    struct Converted {
        Graph_node_class* node_class = nullptr;
        Graph_node* node = nullptr;
        std::string prefix;  // "<light node>_": what the light's own inputs start with
        int32_t index = -1;  // the light it was converted for
    };

    // Each light's node linked alone, rewritten into a light function and wrapped in a class of
    // the private library; the first light of each class gives the class that all share.
    void convert_lights(const Export_settings& settings)
    {
        lights_.assign(settings.lights.size(), Light_entry());
        for (size_t index = 0; index < settings.lights.size(); ++index) {
            Graph_node* light = settings.library ? settings.library->find_node(settings.lights[index].tag.c_str()) : nullptr;
            if (!light || !light->node_class())
                continue;
            std::string class_name = GRAPH::make_identifier(light->node_class()->name());
            lights_[index].node = light;
            if (converted_.count(class_name)) {
                lights_[index].class_name = class_name;
                lights_[index].converted = converted_[class_name].index;
                continue;
            }
            const char* light_type = annotation_text(light->annotations, "light_type");
            if (!light_type)
                light_type = annotation_text(light->node_class()->annotations, "light_type");
            std::unique_ptr<Compilation_unit> linked(link_graph(light, nullptr, c_.context_unit, false));
            if (has_errors(linked.get()) || !linked->tree())
                continue;
            St_node* tree = linked->tree()->clone();
            if (!rewrite_light_shader(tree, class_name, int32_t(index), light->find_output("light_shadow") != nullptr,
                                      light_type)) {
                delete tree;
                continue;
            }
            Graph_node_class* wrapped = wrap(tree, class_name);
            if (!wrapped)
                continue;
            Converted& entry = converted_[class_name];
            entry.node_class = wrapped;
            entry.node = wrapped->create_node(light->name.c_str());
            entry.prefix = c_.safe(light->name) + "_";
            entry.index = int32_t(index);
            private_.add_node(entry.node);
            lights_[index].class_name = class_name;
            lights_[index].converted = int32_t(index);
        }
    }

    static const char* annotation_text(const GRAPH::Annotation_list& annotations, const char* name)
    {
        int32_t found = GRAPH::find_annotation(annotations, name);
        if (found < 0)
            return nullptr;
        const GRAPH::Annotation& annotation = annotations[size_t(found)];
        const SYNTAX_TREE::Type* first = annotation.first_member();
        if (!first || first->code() != TYPE_STRING || !annotation.value)
            return nullptr;
        return read<const char*>(annotation.value, 0);
    }

    // A tree made into a unit through the passes and wrapped in a class of the private library;
    // null when the unit has errors.
    Graph_node_class* wrap(St_node* tree, const std::string& class_name)
    {
        auto unit = std::make_shared<Compilation_unit>(TRANS12::mod_trans12->prelude_symbols());
        unit->set_name(class_name);
        unit->set_source_file_name(GENERATED_FILE);
        unit->set_tree(tree);
        TRANS12::mod_trans12->analyse(*unit);
        if (!unit->errors().empty() || !unit->find_shader(class_name))
            return nullptr;
        auto* wrapped = new GRAPH::Velar_node_class(std::make_shared<GRAPH::Compiled_source>(unit, std::string()),
                                                    class_name.c_str());
        private_.add_velar_class(wrapped);
        return wrapped;
    }

    static St_node* find_block(St_node* class_declaration, const char* label)
    {
        St_node* blocks = class_declaration->find_child(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST);
        for (St_node* block = blocks ? blocks->first_child : nullptr; block; block = block->next_sibling)
            if (block->kind == NODE_CLASS_MEMBER_DECLARATION_BLOCK && block->text_view() == label)
                return block;
        return nullptr;
    }

    // Inserts child first in parent's list.
    static void prepend(St_node* parent, St_node* child)
    {
        child->next_sibling = parent->first_child;
        parent->first_child = child;
    }

    // The light's linked unit as a light function: the light states it needs as inputs
    // "__<state>", a prologue that fills "__light" and the light states of the body from them,
    // the body, and the contribution. The result and shadow outputs become locals of main.
    bool rewrite_light_shader(St_node* tree, const std::string& class_name, int32_t index, bool has_shadow,
                              const char* light_type)
    {
        St_node* class_declaration = nullptr;
        for (St_node* top = tree->first_child; top; top = top->next_sibling)
            if (top->kind == NODE_CLASS_DECLARATION && top->text_view() == "shader" &&
                declared_name(top) == class_name)
                class_declaration = top;
        St_node* blocks = class_declaration ? class_declaration->find_child(NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST)
                                            : nullptr;
        St_node* member = class_declaration ? find_block(class_declaration, "member") : nullptr;
        St_node* body = nullptr;
        for (St_node* each = member ? member->first_child : nullptr; each; each = each->next_sibling)
            if (each->kind == NODE_FUNCTION_DEFINITION && function_name(each) == "main")
                body = each->find_child(NODE_STATEMENT_BLOCK);
        if (!body)
            return false;
        std::set<int32_t> used;
        for_each_node(tree, [&](St_node* each) {
            if (each->kind == NODE_STATE_VARIABLE_REFERENCE)
                used.insert(reference_id(each));
        });
        std::string type = light_type ? light_type : "";
        bool fixed = light_type != nullptr;
        bool direction_only = type == "infinite" || type == "planar" || type == "spot";
        St_node* input = find_block(class_declaration, "input");
        if (!input) {
            input = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "input");
            prepend(blocks, input);
        }
        std::vector<int32_t> kept;
        for (int32_t id : LIGHT_STATES) {
            if ((id == STATE_LIGHT_TYPE && fixed) ||
                (id == STATE_LIGHT_DIRECTION && fixed && !direction_only && !used.count(id)) ||
                (id >= STATE_LIGHT_SPREAD && !used.count(id)))
                continue;
            kept.push_back(id);
            input->add_child(declaration(state_type_name(id), std::string("__") + state_name(id), nullptr));
        }
        // The outputs become locals: the body writes them, the contribution reads them.
        St_node* output = find_block(class_declaration, "output");
        if (!output) {
            output = node(NODE_CLASS_MEMBER_DECLARATION_BLOCK, "output");
            blocks->add_child(output);
        }
        std::vector<St_node*> locals;
        std::string result;
        while (St_node* each = output->first_child) {
            unlink_child(output, each);
            std::string name = declared_name(each);
            if (result.empty() && name == "result")
                result = name;
            locals.push_back(each);
        }
        output->add_child(declaration("Light_iterator", "__light", nullptr));
        std::string to_light = "__light.direction = __light_position - position;";
        std::string from_direction = "__light.direction = -__light_direction;";
        std::string text;
        if (!fixed)
            text += "if ((__light_type == \"light_infinite\") || (__light_type == \"light_planar\")) " + from_direction +
                    " else " + to_light;
        else if (type == "infinite" || type == "planar")
            text += from_direction;
        else
            text += to_light;
        text += "__light.distance = length(__light.direction);"
                "__light.direction /= __light.distance;"
                "__light.dot_nl = dot(__light.direction, normal);"
                "__light.point = __light_position;";
        text += has_shadow ? "__light.shadow = light_shadow;" : "__light.shadow = 1.0;";
        text += "__light.count = " + std::to_string(index) + ";";
        // The body and the functions it calls read the light states from the state.
        for (int32_t id : kept)
            text += std::string(state_name(id)) + " = __" + state_name(id) + ";";
        text += "light_dot_nl = __light.dot_nl; light_distance = __light.distance;"
                "light_to_surface = -__light.direction;";
        std::vector<St_node*> prologue = parse_statements(text);
        std::string value = result.empty() ? "Color(0.0, 0.0, 0.0, 1.0)" : result;
        std::vector<St_node*> contribution = parse_statements(
            "__light.raw_contribution = " + value + ";" +
            (has_shadow ? "__light.contribution = " + value + " * light_shadow;" : "__light.contribution = " + value + ";"));
        if (prologue.empty() || contribution.empty())
            return false;
        std::vector<St_node*> old;
        while (St_node* each = body->first_child) {
            unlink_child(body, each);
            old.push_back(each);
        }
        for (std::vector<St_node*>* part : {&locals, &prologue, &old, &contribution})
            for (St_node* each : *part)
                body->add_child(each);
        return true;
    }

    // Statements parsed from text as the body of a function, marked as generated.
    static std::vector<St_node*> parse_statements(const std::string& text)
    {
        FRONT12::Parse_result parsed = FRONT12::parse_text("void __generated_body() {" + text + "}", GENERATED_FILE);
        if (parsed.tree)
            mark_generated(parsed.tree.get());
        std::vector<St_node*> statements;
        St_node* function = parsed.tree && parsed.errors.empty() ? parsed.tree->first_child : nullptr;
        St_node* body = function ? function->find_child(NODE_STATEMENT_BLOCK) : nullptr;
        if (!body)
            return statements;
        while (St_node* each = body->first_child) {
            unlink_child(body, each);
            statements.push_back(each);
        }
        return statements;
    }

    // A top-level declaration parsed from text, marked as generated; null when it does not parse.
    static St_node* parse_declaration(const std::string& text)
    {
        FRONT12::Parse_result parsed = FRONT12::parse_text(text, GENERATED_FILE);
        if (parsed.tree)
            mark_generated(parsed.tree.get());
        St_node* first = parsed.tree && parsed.errors.empty() ? parsed.tree->first_child : nullptr;
        if (first)
            unlink_child(parsed.tree.get(), first);
        return first;
    }

    // In a function outside the class the passes leave names alone: the state's names and state
    // functions are made references here. "state" stays the parameter.
    static void to_state_references(St_node* tree)
    {
        for_each_node(tree, [](St_node* each) {
            if (each->kind != NODE_VARIABLE_ID && each->kind != NODE_FUNCTION_CALL_EXPRESSION)
                return;
            std::string name(each->text_view());
            if (name == "state")
                return;
            int32_t id = each->kind == NODE_VARIABLE_ID ? mod_syntax_tree->state_variable_index(name.c_str())
                                                        : mod_syntax_tree->state_function_index(name.c_str());
            if (id < 0)
                return;
            each->kind = each->kind == NODE_VARIABLE_ID ? NODE_STATE_VARIABLE_REFERENCE : NODE_STATE_FUNCTION_REFERENCE;
            each->set_binary_text(&id, sizeof id);
        });
    }

    static const char* state_name(int32_t id) { return mod_syntax_tree->state_variable_name(id); }

    static const char* state_type_name(int32_t id)
    {
        const SYNTAX_TREE::Type* type = mod_syntax_tree->state_variable_type(id);
        const char* word = type ? language_word(type->code()) : nullptr;
        return word ? word : "Scalar";
    }

    // The class's main copied as its flat function (once per class), with its globals; the
    // flat name.
    std::string copy_wrapped(Graph_node_class& node_class, Graph_node& graph_node)
    {
        Compilation_unit* unit = node_class.compilation_unit();
        std::string shader_name = GRAPH::make_identifier(node_class.name());
        Shader_declaration* shader = unit ? unit->find_shader(shader_name) : nullptr;
        if (!shader || !shader->main_method || !well_formed(shader->main_method))
            return std::string();
        std::string flat = shader_name + "_main";
        add_class_declarations(*unit);
        std::map<std::string, std::string> globals = add_class_globals(*unit, shader_name);
        if (c_.function_names.insert(flat).second)
            copy_methods(node_class, graph_node, *shader, flat, globals);
        wrapped_functions_.insert(flat);
        return flat;
    }

    St_node* find_function(const std::string& name) const
    {
        for (St_node* function : c_.functions)
            if (function->kind == NODE_FUNCTION_DEFINITION && function_name(function) == name)
                return function;
        return nullptr;
    }

    // The parameters of a light's flat function before "state": a light state by its "__" name,
    // an ordinary input otherwise, named after the light's own input without the light node's
    // name before it.
    void collect_light_parameters(St_node* function, const std::string& class_name, const std::string& prefix)
    {
        std::vector<Light_parameter_record>& records = c_.light_tables[class_name];
        records.clear();
        St_node* parameters = function->find_child(NODE_FUNCTION_DECLARATION)->find_child(NODE_FUNCTION_PARAMETER_LIST);
        for (St_node* parameter = parameters ? parameters->first_child : nullptr; parameter;
             parameter = parameter->next_sibling) {
            std::string name(parameter->text_view());
            if (name == "state")
                break;
            const St_node* type = parameter->find_child(NODE_SIMPLE_TYPE_SPECIFIER);
            if (!type || !type->has_text())
                continue;
            Light_parameter_record record;
            record.parameter_name = name;
            record.variable_name = name;
            for (int32_t id : LIGHT_STATES)
                if (name == std::string("__") + state_name(id))
                    record.state_id = uint32_t(id);
            if (record.state_id != 0xffffffffu)
                record.variable_name = name.substr(8);  // without "__light_"
            else if (name.compare(0, prefix.size(), prefix) == 0 && name.size() > prefix.size())
                record.variable_name = name.substr(prefix.size());
            light_parameter_types_[class_name + "." + name] = {std::string(type->text_view()), 1};
            records.push_back(record);
        }
    }

    // "__light<index>_<name>" for each record of the light's class, with the light's value or
    // its setup as the default and annotations a host can show.
    void declare_light_inputs(int32_t index, const Light_setup& setup, const Light_entry& light)
    {
        const std::vector<Light_parameter_record>& records = c_.light_tables[light.class_name];
        const Converted& shared = converted_[light.class_name];
        std::string object = light.node ? light.node->name : std::string();
        for (const Light_parameter_record& record : records) {
            std::string name = c_.safe("__light" + std::to_string(index) + "_" + record.variable_name);
            if (declared_inputs_.count(name))
                continue;
            St_node* declared = nullptr;
            St_node* annotations = nullptr;
            if (record.state_id != 0xffffffffu) {
                const Declared& type = light_parameter_types_[light.class_name + "." + record.parameter_name];
                declared = declaration(type.type_name.c_str(), name, setup_value(int32_t(record.state_id), setup));
                declared_inputs_[name] = type;
                annotations = annotate_light_input(int32_t(record.state_id), index, object,
                                                index < int32_t(c_.view_space.size()) ? c_.view_space[size_t(index)] : true);
            } else {
                // The light's own value; the shared class's default when this light lacks the input.
                const Parameter* parameter = light.node ? find_in(light.node->inputs, record.variable_name.c_str()) : nullptr;
                if (!parameter)
                    parameter = find_in(shared.node->inputs, record.parameter_name.c_str());
                if (!parameter)
                    continue;
                declared = declare(*parameter, name);
                declared_inputs_[name] = {parameter->type_name_text(), parameter->array_size()};
                annotations = annotation_block(parameter->annotations);
                if (!annotations)
                    annotations = node(NODE_ANNOTATION_BLOCK);
                std::string shown = record.variable_name;
                if (!shown.empty())
                    shown[0] = char(std::toupper(uint8_t(shown[0])));
                annotations->add_child(annotation_call("display_name", "Light" + std::to_string(index) + " " + shown));
            }
            declared->find_child(NODE_INIT_IDENTIFIER_LIST)->first_child->add_child(annotations);
            append(input_block_, declared);
            threaded_names_.push_back(name);
        }
    }

    St_node* setup_value(int32_t state_id, const Light_setup& setup) const
    {
        switch (state_id) {
        case STATE_LIGHT_POSITION:
            return component_constructor<float>("Vector3", setup.position, 3);
        case STATE_LIGHT_DIRECTION:
            return component_constructor<float>("Vector3", setup.direction, 3);
        case STATE_LIGHT_TYPE: {
            static const char* const words[] = {"light_point", "light_spot", "light_infinite", "light_planar"};
            St_node* word = node(NODE_STRING_CONSTANT);
            word->set_text(setup.type >= 0 && setup.type < 4 ? words[setup.type] : "light_point");
            return word;
        }
        case STATE_LIGHT_SPREAD:
            return float_constant(setup.spread);
        case STATE_LIGHT_SPREAD_COS:
            return float_constant(std::cos(setup.spread));
        default:
            return float_constant(setup.distance_limit);
        }
    }

    static St_node* annotation_call(const char* name, const std::string& text)
    {
        static const File_name annotation_file = make_file_name("__generated__");
        St_node* value = node(NODE_STRING_CONSTANT);
        value->set_text(text);
        St_node* call = node(NODE_FUNCTION_CALL_EXPRESSION, name, {node(NODE_FUNCTION_CALL_PARAMETERS, {}, {value})});
        for (St_node* each : {call, call->first_child, value})
            each->file = annotation_file;
        return call;
    }

    // The annotations of a light state input: what it is, whose, in which space, and its name.
    static St_node* annotate_light_input(int32_t state_id, int32_t index, const std::string& object_name, bool view)
    {
        St_node* block = node(NODE_ANNOTATION_BLOCK);
        std::string object = object_name.empty() ? "Light" + std::to_string(index) : object_name;
        object[0] = char(std::toupper(uint8_t(object[0])));
        if (state_id == STATE_LIGHT_POSITION || state_id == STATE_LIGHT_DIRECTION) {
            block->add_child(annotation_call("semantic", state_id == STATE_LIGHT_POSITION ? "Position" : "Direction"));
            block->add_child(annotation_call("Object", object));
            block->add_child(annotation_call("Space", view ? "View" : "World"));
        }
        std::string state = std::string(state_name(state_id)).substr(6);  // without "light_"
        state[0] = char(std::toupper(uint8_t(state[0])));
        block->add_child(annotation_call("display_name", object + " " + state));
        return block;
    }

    // With a shadow function named: one native hook per light, "Scalar <prefix><index>(Vector4)".
    void make_shadow_hooks()
    {
        if (!c_.has_prefix)
            return;
        for (size_t index = 0; index < lights_.size(); ++index)
            if (!lights_[index].class_name.empty())
                if (St_node* hook = parse_declaration("native Scalar " + c_.prefix + std::to_string(index) +
                                                      "(Vector4 world_pos);"))
                    c_.hook_list.push_back(hook);
    }

    // The environment (or volume) linked alone, wrapped, its main copied and its inputs added to
    // the shader's; for the environment the three lookup functions that call it.
    void prepare_environment(Graph_node* environment, bool lookups)
    {
        if (!environment->node_class())
            return;
        std::string class_name = GRAPH::make_identifier(environment->node_class()->name());
        std::unique_ptr<Compilation_unit> linked(link_graph(environment, nullptr, c_.context_unit, false));
        if (has_errors(linked.get()) || !linked->tree())
            return;
        Graph_node_class* wrapped = wrap(linked->tree()->clone(), class_name);
        if (!wrapped)
            return;
        Graph_node* made = wrapped->create_node(environment->name.c_str());
        private_.add_node(made);
        std::string flat = copy_wrapped(*wrapped, *made);
        if (flat.empty())
            return;
        std::string arguments;
        for (const Parameter& input : made->inputs) {
            if (!declared_inputs_.count(input.name())) {
                declare_input(input, nullptr);
                threaded_names_.push_back(input.name());
            }
            arguments += std::string(input.name()) + ", ";
        }
        if (!lookups)
            return;
        for (int32_t mode = 0; mode < 3; ++mode)
            make_environment_function(flat, *made, arguments, mode);
        environment_class_ = class_name;
    }

    // One lookup of the environment: mode 0 reflects, 1 refracts, 2 traces a given ray. It sets
    // the state's direction (and for a ray its position), then calls the environment's flat
    // function, given its inputs by name: a free function, placed after the one it calls.
    void make_environment_function(const std::string& flat, const Graph_node& environment, std::string arguments,
                                   int32_t mode)
    {
        static const char* const heads[][2] = {
            {"__reflect_environment(State state)", "direction = reflect(position, normal);"},
            {"__refract_environment(State state)", "direction = refract(position, normal, refracted_ior / incident_ior);"},
            {"__trace_environment(State state, Ray ray)", "position = ray.origin; direction = ray.direction;"},
        };
        arguments += "state";
        std::string locals;
        for (size_t i = 0; i < environment.outputs.size(); ++i) {
            const Parameter& output = environment.outputs[i];
            std::string local = i == 0 ? std::string("result") : "__environment_" + std::string(output.name());
            locals += std::string(output.type_name_text()) + " " + local + "; ";
            arguments += ", " + local;
        }
        St_node* function = parse_declaration(std::string("Color ") + heads[mode][0] + " { " + heads[mode][1] + " " +
                                              locals + flat + "(" + arguments + "); return result; }");
        if (!function)
            return;
        to_state_references(function);
        c_.function_names.insert(function_name(function));
        c_.functions.push_back(function);
    }

    static bool is_light_loop(const St_node* loop, const std::set<std::string>& iterators)
    {
        const St_node* iterator = loop->first_child;
        return iterator && iterator->kind == NODE_VARIABLE_ID &&
               (iterator->text_view() == "light" || iterators.count(std::string(iterator->text_view())));
    }

    // Every light loop in tree replaced by a block of the loop's body once per light; a loop is
    // dropped when no light was found. Loops inside a copied body are met on the next walk.
    void unroll_lights(St_node* tree)
    {
        std::set<std::string> iterators;
        for_each_node(tree, [&](St_node* each) {
            const St_node* type = each->kind == NODE_VARIABLE_DECLARATION ? each->find_child(NODE_VARIABLE_SPECIFIERS)
                                  : each->kind == NODE_FUNCTION_PARAMETER ? each
                                                                          : nullptr;
            type = type ? type->find_child(NODE_SIMPLE_TYPE_SPECIFIER) : nullptr;
            if (!type || type->text_view() != "Light_iterator")
                return;
            if (each->kind == NODE_FUNCTION_PARAMETER)
                iterators.insert(std::string(each->text_view()));
            else if (const St_node* list = each->find_child(NODE_INIT_IDENTIFIER_LIST))
                for (const St_node* name = list->first_child; name; name = name->next_sibling)
                    iterators.insert(std::string(name->text_view()));
        });
        for (int32_t round = 0; round < MAX_LIGHT_LOOP_NESTING; ++round) {
            St_node* parent = nullptr;
            St_node* loop = nullptr;
            for_each_parent(tree, [&](St_node* owner, St_node* each) {
                if (!loop && each->kind == NODE_FOREACH_STATEMENT && is_light_loop(each, iterators)) {
                    parent = owner;
                    loop = each;
                }
            });
            if (!loop)
                return;
            St_node* block = node(NODE_STATEMENT_BLOCK);
            if (c_.has_prefix)
                block->add_child(world_position());
            bool expanded = false;
            for (size_t index = 0; index < lights_.size(); ++index)
                expanded = expand_light(block, *loop, int32_t(index)) || expanded;
            if (expanded) {
                parent->replace_child(loop, block);
            } else {
                // A loop that is a statement of a block goes; one that is the body of another
                // statement leaves an empty block in its place.
                delete block;
                if (parent->kind == NODE_STATEMENT_BLOCK)
                    unlink_child(parent, loop);
                else
                    parent->replace_child(loop, node(NODE_STATEMENT_BLOCK));
            }
            delete loop;
        }
    }

    // Vector3 __world_pos = transform_point("internal", "world", position);
    St_node* world_position() const
    {
        std::vector<St_node*> parsed =
            parse_statements("Vector3 " + c_.world_pos_name + " = transform_point(\"internal\", \"world\", position);");
        if (parsed.empty())
            return node(NODE_NO_OP);
        to_state_references(parsed[0]);
        return parsed[0];
    }

    // One light's turn of a loop: its function fills the iterator, the shadow hook (if any)
    // gives its shadow, then a copy of the loop's body.
    bool expand_light(St_node* block, const St_node& loop, int32_t index)
    {
        const Light_entry& light = lights_[size_t(index)];
        if (light.class_name.empty())
            return false;
        const St_node* iterator = loop.first_child;
        const St_node* body = iterator->next_sibling;
        St_node* arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
        for (const Light_parameter_record& record : c_.light_tables[light.class_name])
            arguments->add_child(variable(c_.safe("__light" + std::to_string(index) + "_" + record.variable_name)));
        arguments->add_child(variable("state"));
        arguments->add_child(iterator->clone());
        block->add_child(statement(node(NODE_FUNCTION_CALL_EXPRESSION, light.class_name + "_main", {arguments})));
        auto member = [&](const char* name) {
            return node(NODE_CLASS_MEMBER_REF_EXPRESSION, {}, {iterator->clone(), node(NODE_MEMBER_VARIABLE_ID, name)});
        };
        // Lights of one class share the function that the first of them filled in.
        if (light.converted != index)
            block->add_child(assignment(member("count"), node(NODE_INT_CONSTANT, std::to_string(index))));
        if (c_.has_prefix) {
            St_node* position = node(NODE_CONSTRUCTOR_CALL_EXPRESSION, {},
                                     {node(NODE_SIMPLE_TYPE_SPECIFIER, "Vector4"),
                                      node(NODE_FUNCTION_CALL_PARAMETERS, {},
                                           {variable(c_.world_pos_name), float_constant(1.0f)})});
            block->add_child(assignment(member("shadow"),
                                        node(NODE_FUNCTION_CALL_EXPRESSION, c_.prefix + std::to_string(index),
                                             {node(NODE_FUNCTION_CALL_PARAMETERS, {}, {position})})));
            block->add_child(assignment(member("contribution"),
                                        node(NODE_MULTIPLICATIVE_EXPRESSION, "*", {member("raw_contribution"), member("shadow")})));
        }
        if (body) {
            St_node* copy = body->clone();
            block->add_child(copy->kind == NODE_STATEMENT_BLOCK ? copy : node(NODE_STATEMENT_BLOCK, {}, {copy}));
        }
        return true;
    }

    // reflect_environment() and refract_environment() as calls of the generated lookups;
    // trace_environment(ray) likewise, and without a ray it is left alone.
    void rewrite_environment_calls(St_node* tree)
    {
        std::vector<std::pair<St_node*, St_node*>> found;
        for_each_parent(tree, [&](St_node* owner, St_node* each) {
            int32_t id = -1;
            if (each->kind == NODE_STATE_FUNCTION_REFERENCE)
                id = reference_id(each);
            if (id >= FUNCTION_REFLECT_ENVIRONMENT && id <= FUNCTION_TRACE_ENVIRONMENT)
                found.push_back({owner, each});
        });
        for (auto [owner, reference] : found) {
            int32_t id = reference_id(reference);
            St_node* given = reference->find_child(NODE_FUNCTION_CALL_PARAMETERS);
            St_node* first = given ? given->first_child : nullptr;
            if (id == FUNCTION_TRACE_ENVIRONMENT && !first)
                continue;
            St_node* arguments = node(NODE_FUNCTION_CALL_PARAMETERS, {}, {variable("state")});
            if (id == FUNCTION_TRACE_ENVIRONMENT)
                arguments->add_child(first->clone());
            const char* name = id == FUNCTION_REFLECT_ENVIRONMENT   ? "__reflect_environment"
                               : id == FUNCTION_REFRACT_ENVIRONMENT ? "__refract_environment"
                                                                    : "__trace_environment";
            owner->replace_child(reference, node(NODE_FUNCTION_CALL_EXPRESSION, name, {arguments}));
            delete reference;
        }
    }

    // The inputs that the lights and the environment added are seen by main; a function outside
    // the class that reads one, or calls a function that does, takes it as a further parameter,
    // and every call of it passes it on by name.
    void thread_inputs()
    {
        if (threaded_names_.empty())
            return;
        std::map<std::string, size_t> order;
        for (const std::string& name : threaded_names_)
            order.emplace(name, order.size());
        std::map<std::string, St_node*> functions;
        for (St_node* function : c_.functions)
            if (function->kind == NODE_FUNCTION_DEFINITION)
                functions[function_name(function)] = function;
        std::map<std::string, std::set<size_t>> needs;
        std::map<std::string, std::set<std::string>> callees;
        for (auto& [name, function] : functions) {
            std::set<std::string> own;
            St_node* parameters =
                function->find_child(NODE_FUNCTION_DECLARATION)->find_child(NODE_FUNCTION_PARAMETER_LIST);
            for (St_node* each = parameters ? parameters->first_child : nullptr; each; each = each->next_sibling)
                own.insert(std::string(each->text_view()));
            std::string caller = name;
            for_each_node(function, [&](St_node* each) {
                if (each->kind == NODE_VARIABLE_ID) {
                    auto found = order.find(std::string(each->text_view()));
                    if (found != order.end() && !own.count(found->first))
                        needs[caller].insert(found->second);
                } else if (each->kind == NODE_FUNCTION_CALL_EXPRESSION && functions.count(std::string(each->text_view()))) {
                    callees[caller].insert(std::string(each->text_view()));
                }
            });
        }
        for (bool changed = true; changed;) {
            changed = false;
            for (auto& [caller, called] : callees)
                for (const std::string& callee : called)
                    for (size_t need : needs[callee])
                        changed = needs[caller].insert(need).second || changed;
        }
        for (auto& [name, function] : functions) {
            const std::set<size_t>& wanted = needs[name];
            St_node* parameters =
                function->find_child(NODE_FUNCTION_DECLARATION)->find_child(NODE_FUNCTION_PARAMETER_LIST);
            for (size_t need : wanted) {
                const std::string& input = threaded_names_[need];
                const Declared& type = declared_inputs_[input];
                St_node* parameter = node(NODE_FUNCTION_PARAMETER, input, {node(NODE_SIMPLE_TYPE_SPECIFIER, type.type_name)});
                if (type.array_size != 1) {
                    St_node* size = node(NODE_ARRAY_SPECIFIER);
                    if (type.array_size != 0)
                        size->add_child(node(NODE_INT_CONSTANT, std::to_string(type.array_size)));
                    parameter->add_child(size);
                }
                parameters->add_child(parameter);
            }
        }
        std::vector<St_node*> trees{plain_class_ ? plain_class_ : c_.main_body};
        for (St_node* function : c_.functions)
            trees.push_back(function);
        for (St_node* tree : trees)
            for_each_node(tree, [&](St_node* each) {
                if (each->kind != NODE_FUNCTION_CALL_EXPRESSION)
                    return;
                auto found = needs.find(std::string(each->text_view()));
                if (found == needs.end() || found->second.empty() || !functions.count(found->first))
                    return;
                St_node* arguments = each->find_child(NODE_FUNCTION_CALL_PARAMETERS);
                if (!arguments) {
                    arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
                    each->add_child(arguments);
                }
                for (size_t need : found->second)
                    arguments->add_child(variable(threaded_names_[need]));
            });
    }

    // Like for_each_node, with each node's parent (null for the root).
    template <typename Visit>
    static void for_each_parent(St_node* tree, Visit visit)
    {
        std::vector<std::pair<St_node*, St_node*>> work{{nullptr, tree}};
        while (!work.empty()) {
            auto [owner, each] = work.back();
            work.pop_back();
            visit(owner, each);
            for (St_node* child = each->first_child; child; child = child->next_sibling)
                work.push_back({each, child});
        }
    }

    bool cycle(const Graph_node* node)
    {
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1,
                            "cannot link a cycle of attachments through node '%s'", node->name.c_str());
        return false;
    }

    // The next wire into node (or into its one input interface, when given), advancing the
    // cursor past it; null when all are walked.
    static const Attachment* next_attachment(const Graph_node* node, const Parameter* interface, size_t& input,
                                             size_t& attachment)
    {
        if (interface)
            return attachment < interface->attachments.size() ? &interface->attachments[attachment++] : nullptr;
        while (input < node->inputs.size()) {
            const Parameter& parameter = node->inputs[input];
            if (attachment < parameter.attachments.size())
                return &parameter.attachments[attachment++];
            ++input;
            attachment = 0;
        }
        return nullptr;
    }

    static std::string function_name(const St_node* function)
    {
        const St_node* declaration = function ? function->find_child(NODE_FUNCTION_DECLARATION) : nullptr;
        const St_node* declarator = declaration ? declaration->find_child(NODE_FUNCTION_DECLARATOR) : nullptr;
        const St_node* identifier = declarator ? declarator->find_child(NODE_IDENTIFIER) : nullptr;
        return identifier && identifier->has_text() ? std::string(identifier->text_view()) : std::string();
    }

    Compilation_unit* class_unit(Graph_node_class* node_class)
    {
        if (node_class->kind() != GRAPH::CLASS_COMPAGE)
            return node_class->compilation_unit();
        auto* compound = static_cast<GRAPH::Compage_node_class*>(node_class);
        if (!compound->unit)
            compound->unit.reset(link_node_class(compound, c_.context_unit));
        return compound->unit.get();
    }

    // Steps after the inputs: the class's method copied once, then this node's call.
    bool emit_own(Graph_node* graph_node)
    {
        Graph_node_class* node_class = graph_node->node_class();
        if (!node_class)
            return false;
        Compilation_unit* unit = class_unit(node_class);
        if (!unit || !unit->errors().empty())
            return false;
        std::string shader_name = GRAPH::make_identifier(node_class->name());
        Shader_declaration* shader = unit->find_shader(shader_name);
        if (!shader && c_.context_unit)
            shader = c_.context_unit->find_shader(shader_name);
        if (!shader || !shader->main_method)
            return false;
        bool is_root = graph_node == c_.root_node;
        std::string flat = shader_name + "_main" + (is_root && c_.debug ? "_debug" : "");
        // A light, environment or volume function has the name already when the graph holds a
        // node of that class too: the graph's copy takes another.
        while (wrapped_functions_.count(flat))
            flat += "_";
        add_class_declarations(*unit);
        std::map<std::string, std::string> globals = add_class_globals(*unit, shader_name);
        if (!well_formed(shader->main_method))
            return false;
        if (c_.function_names.insert(flat).second)
            copy_methods(*node_class, *graph_node, *shader, flat, globals);
        std::vector<const St_node*> lent = lent_inputs(*shader, *node_class);
        emit_call(*graph_node, *node_class, lent, flat, is_root);
        copy_inner_inputs(lent);
        return true;
    }

    // The unit's struct and enum declarations and its global variables, once each by name, ahead
    // of the class: the copied methods and the inputs' types need them.
    void add_class_declarations(const Compilation_unit& unit)
    {
        if (!collected_units_.insert(&unit).second)
            return;
        for (St_node* top = unit.tree() ? unit.tree()->first_child : nullptr; top; top = top->next_sibling)
            if (is_type_declaration(top) && global_names_.insert(declared_name(top)).second)
                globals_.push_back(generated_copy(top));
        for (St_node* global : unit.global_declarations())
            if (global_names_.insert(declared_name(global)).second)
                globals_.push_back(generated_copy(global));
    }

    static bool is_type_declaration(const St_node* top)
    {
        if (top->kind == NODE_ENUM_DECLARATION)
            return true;
        if (top->kind != NODE_CLASS_DECLARATION)
            return false;
        std::string_view key = top->text_view();
        return key != "shader" && key != "technique" && key != "brdf";
    }

    // The name a top-level declaration brings in: its identifier, its first declared variable,
    // or its own text (an enum).
    static std::string declared_name(const St_node* declaration)
    {
        if (const St_node* identifier = declaration->find_child(NODE_IDENTIFIER))
            return std::string(identifier->text_view());
        if (const St_node* list = declaration->find_child(NODE_INIT_IDENTIFIER_LIST))
            if (list->first_child)
                return std::string(list->first_child->text_view());
        return std::string(declaration->text_view());
    }

    // The unit's global functions, once each under "<class>_<name>" so that two classes'
    // functions of one name stay apart; the renaming, by old name, for the copied bodies.
    std::map<std::string, std::string> add_class_globals(const Compilation_unit& unit, const std::string& class_name)
    {
        std::map<std::string, std::string> renamed;
        for (St_node* function : unit.functions()) {
            std::string name = function_name(function);
            if (!name.empty())
                renamed[name] = class_name + "_" + name;
        }
        for (St_node* function : unit.functions()) {
            auto found = renamed.find(function_name(function));
            if (!well_formed(function) || found == renamed.end() || !c_.function_names.insert(found->second).second)
                continue;
            St_node* copy = generated_copy(function);
            set_function_name(copy, found->second);
            for_each_call(copy, [&](St_node* call) {
                auto global = renamed.find(std::string(call->text_view()));
                if (global != renamed.end())
                    call->set_text(global->second);
            });
            c_.functions.push_back(copy);
        }
        return renamed;
    }

    // main under its flat name, with every other method of the class that it calls (directly or
    // through another) as "<class>_<method>", each put before its callers. Calls to methods get
    // the caller's inputs, state and outputs as further arguments; calls to the unit's globals
    // take their new names.
    void copy_methods(const Graph_node_class& node_class, const Graph_node& graph_node,
                      const Shader_declaration& shader, const std::string& flat,
                      const std::map<std::string, std::string>& globals)
    {
        std::string class_name = GRAPH::make_identifier(node_class.name());
        std::vector<const St_node*> lent = lent_inputs(shader, node_class);
        std::map<std::string, std::vector<const St_node*>> methods;
        for (const St_node* method : shader.all_methods())
            if (method != shader.main_method && well_formed(method))
                methods[function_name(method)].push_back(method);
        struct Copy {
            St_node* function;
            std::vector<std::string> callees;
        };
        std::vector<Copy> copies{{copy_bare(shader.main_method, flat), {}}};
        std::set<std::string> copied;
        for (size_t at = 0; at < copies.size(); ++at) {
            std::vector<std::string> callees;
            for_each_call(copies[at].function, [&](St_node* call) {
                std::string name(call->text_view());
                if (methods.count(name)) {
                    callees.push_back(name);
                    add_call_arguments(call, node_class, graph_node, lent);
                    call->kind = NODE_FUNCTION_CALL_EXPRESSION;
                    call->set_text(class_name + "_" + name);
                } else if (globals.count(name)) {
                    call->set_text(globals.at(name));
                }
            });
            copies[at].callees = callees;
            for (const std::string& name : callees)
                if (copied.insert(name).second)
                    for (const St_node* method : methods[name])
                        copies.push_back({copy_bare(method, class_name + "_" + name), {}});
        }
        // Parameters: the main writes its outputs; another method reads those it does not write.
        add_parameters(copies[0].function, node_class, graph_node, lent, true);
        for (size_t i = 1; i < copies.size(); ++i)
            add_parameters(copies[i].function, node_class, graph_node, lent, false);
        // Callees before callers: a post-order from main over the names called.
        std::map<std::string, std::vector<size_t>> by_name;
        for (size_t i = 1; i < copies.size(); ++i)
            by_name[function_name(copies[i].function)].push_back(i);
        std::vector<uint8_t> state(copies.size(), 0);
        std::vector<std::pair<size_t, size_t>> stack{{0, 0}};
        state[0] = 1;
        while (!stack.empty()) {
            auto& [index, next] = stack.back();
            if (next < copies[index].callees.size()) {
                const std::string& callee = copies[index].callees[next++];
                for (size_t target : by_name[class_name + "_" + callee])
                    if (state[target] == 0) {
                        state[target] = 1;
                        stack.push_back({target, 0});
                    }
                continue;
            }
            c_.functions.push_back(copies[index].function);
            state[index] = 2;
            stack.pop_back();
        }
    }

    // A copy of a method under a new name, without the class's annotations, and with a
    // parameter list and a block body to add to.
    static St_node* copy_bare(const St_node* method, const std::string& name)
    {
        St_node* copy = generated_copy(method);
        set_function_name(copy, name);
        St_node* function_declaration = copy->find_child(NODE_FUNCTION_DECLARATION);
        // Annotations belong to the class; only the root keeps its own, on the flat class.
        for (St_node* owner : {copy, function_declaration})
            if (St_node* annotations = owner->find_child(NODE_ANNOTATION_BLOCK)) {
                unlink_child(owner, annotations);
                delete annotations;
            }
        if (!function_declaration->find_child(NODE_FUNCTION_PARAMETER_LIST))
            function_declaration->add_child(node(NODE_FUNCTION_PARAMETER_LIST));
        St_node* body = copy->find_child(NODE_STATEMENT_BLOCK);
        if (!body) {
            // A single statement becomes a block of one.
            St_node* single = function_declaration->next_sibling;
            if (single) {
                unlink_child(copy, single);
                copy->add_child(node(NODE_STATEMENT_BLOCK, {}, {single}));
            }
        }
        return copy;
    }

    // The class inputs the node has, by value; "State state"; the outputs: "out" for main,
    // "inout" for another method that writes them, by value when it only reads them.
    void add_parameters(St_node* function, const Graph_node_class& node_class, const Graph_node& graph_node,
                        const std::vector<const St_node*>& lent, bool is_main)
    {
        St_node* parameters =
            function->find_child(NODE_FUNCTION_DECLARATION)->find_child(NODE_FUNCTION_PARAMETER_LIST);
        std::set<std::string> written = is_main ? std::set<std::string>() : written_names(function);
        const GRAPH::Parameter_index class_inputs(node_class.inputs);
        List_builder list(parameters);
        for (const Parameter& input : graph_node.inputs)
            if (class_inputs.find(input.name()) >= 0)
                list.add(function_parameter(input, nullptr));
        for (const St_node* declaration : lent)
            list.add(lent_parameter(declaration));
        list.add(node(NODE_FUNCTION_PARAMETER, "state", {node(NODE_SIMPLE_TYPE_SPECIFIER, "State")}));
        for (const Parameter& output : graph_node.outputs)
            list.add(function_parameter(output, is_main ? "out" : written.count(output.name()) ? "inout" : nullptr));
    }

    // Names that a body may store into: the variable under the left side of an assignment or
    // an increment, and every variable handed whole to a call (which may write it). Erring
    // towards more only costs a copy back.
    static std::set<std::string> written_names(St_node* function)
    {
        std::set<std::string> names;
        auto root_name = [&](const St_node* expression) {
            while (expression && (expression->kind == NODE_CLASS_MEMBER_REF_EXPRESSION ||
                                  expression->kind == NODE_ARRAY_INDEX_EXPRESSION))
                expression = expression->first_child;
            if (expression && expression->kind == NODE_VARIABLE_ID)
                names.insert(std::string(expression->text_view()));
        };
        for_each_node(function, [&](St_node* each) {
            switch (each->kind) {
            case NODE_ASSIGNMENT_EXPRESSION:
            case NODE_PRE_INCREMENT_EXPRESSION:
            case NODE_PRE_DECREMENT_EXPRESSION:
            case NODE_POST_INCREMENT_EXPRESSION:
            case NODE_POST_DECREMENT_EXPRESSION:
                root_name(each->first_child);
                break;
            case NODE_FUNCTION_CALL_PARAMETERS:
                for (St_node* argument = each->first_child; argument; argument = argument->next_sibling)
                    root_name(argument);
                break;
            default:
                break;
            }
        });
        return names;
    }

    // A call to a method of the class passes on the caller's inputs, state and outputs, which
    // carry the same names in every copied method.
    static void add_call_arguments(St_node* call, const Graph_node_class& node_class, const Graph_node& graph_node,
                                   const std::vector<const St_node*>& lent)
    {
        St_node* arguments = call->find_child(NODE_FUNCTION_CALL_PARAMETERS);
        if (!arguments) {
            arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
            call->add_child(arguments);
        }
        const GRAPH::Parameter_index class_inputs(node_class.inputs);
        List_builder list(arguments);
        for (const Parameter& input : graph_node.inputs)
            if (class_inputs.find(input.name()) >= 0)
                list.add(variable(input.name()));
        for (const St_node* declaration : lent)
            list.add(variable(declared_name(declaration)));
        list.add(variable("state"));
        for (const Parameter& output : graph_node.outputs)
            list.add(variable(output.name()));
    }

    template <typename Visit>
    static void for_each_node(St_node* tree, Visit visit)
    {
        std::vector<St_node*> work{tree};
        while (!work.empty()) {
            St_node* each = work.back();
            work.pop_back();
            visit(each);
            for (St_node* child = each->first_child; child; child = child->next_sibling)
                work.push_back(child);
        }
    }

    // Every call by name in tree, each visited before the calls in its arguments change.
    template <typename Visit>
    static void for_each_call(St_node* tree, Visit visit)
    {
        std::vector<St_node*> calls;
        for_each_node(tree, [&](St_node* each) {
            if (each->kind == NODE_FUNCTION_CALL_EXPRESSION || each->kind == NODE_METHOD_CALL_EXPRESSION)
                calls.push_back(each);
        });
        for (St_node* call : calls)
            visit(call);
    }

    // A definition with a declaration, a declarator and a name: what the copies rename. A unit
    // read from a file could hold less.
    static bool well_formed(const St_node* function)
    {
        const St_node* declaration = function ? function->find_child(NODE_FUNCTION_DECLARATION) : nullptr;
        const St_node* declarator = declaration ? declaration->find_child(NODE_FUNCTION_DECLARATOR) : nullptr;
        return declarator && declarator->find_child(NODE_IDENTIFIER);
    }

    static void set_function_name(St_node* function, const std::string& name)
    {
        function->find_child(NODE_FUNCTION_DECLARATION)
            ->find_child(NODE_FUNCTION_DECLARATOR)
            ->find_child(NODE_IDENTIFIER)
            ->set_text(name);
    }

    St_node* function_parameter(const Parameter& parameter, const char* qualifier) const
    {
        St_node* result = node(NODE_FUNCTION_PARAMETER, parameter.name());
        if (qualifier)
            result->add_child(node(NODE_PARAMETER_QUALIFIER, qualifier));
        result->add_child(node(NODE_SIMPLE_TYPE_SPECIFIER, parameter.type_name_text()));
        uint32_t array_size = declared_size(parameter);
        if (array_size != 1) {
            St_node* size = node(NODE_ARRAY_SPECIFIER);
            if (array_size != 0)
                size->add_child(node(NODE_INT_CONSTANT, std::to_string(array_size)));
            result->add_child(size);
        }
        return result;
    }

    // The array size an input is declared with: an unsized array may take its value's count,
    // for targets that need a size (a copied function shared by nodes takes its first node's).
    uint32_t declared_size(const Parameter& parameter) const
    {
        uint32_t size = parameter.array_size();
        if (size == 0 && resolve_unsized_ && parameter.value && read<uint32_t>(parameter.value, 0) > 0)
            size = read<uint32_t>(parameter.value, 0);
        return size;
    }

    void emit_call(const Graph_node& graph_node, const Graph_node_class& node_class,
                   const std::vector<const St_node*>& lent, const std::string& flat, bool is_root)
    {
        std::string owner = c_.safe(graph_node.name);
        if (!is_root)
            for (const Parameter& output : graph_node.outputs)
                append(c_.main_body, declaration(output.type_name_text(), owner + "_" + output.name(), nullptr,
                                                 output.array_size()));
        St_node* arguments = node(NODE_FUNCTION_CALL_PARAMETERS);
        std::vector<Override> overrides;
        const GRAPH::Parameter_index class_inputs(node_class.inputs);
        for (const Parameter& input : graph_node.inputs) {
            St_node* value = argument(graph_node, input, owner);
            if (class_inputs.find(input.name()) >= 0) {
                append(arguments, value);
                continue;
            }
            // A node parameter that is no class input names a state variable or an expression
            // that takes the value for the length of this call.
            if (St_node* target = override_target(graph_node, input))
                overrides.push_back({target, value, &input});
            else
                delete value;
        }
        for (const St_node* declaration : lent)
            append(arguments, variable(declared_name(declaration)));
        append(arguments, variable("state"));
        for (const Parameter& output : graph_node.outputs)
            append(arguments, variable(is_root ? std::string(output.name()) : owner + "_" + output.name()));
        St_node* call = statement(node(NODE_FUNCTION_CALL_EXPRESSION, flat, {arguments}));
        append(c_.main_body, overrides.empty() ? call : around(overrides, call));
    }

    struct Override {
        St_node* target;  // the expression overridden, owned until placed
        St_node* value;
        const Parameter* parameter;
    };

    // { T temp0 = target; target = value; ...; call; ...; target = temp0; }
    St_node* around(const std::vector<Override>& overrides, St_node* call)
    {
        St_node* block = node(NODE_STATEMENT_BLOCK);
        std::vector<std::string> saved;
        for (const Override& each : overrides) {
            saved.push_back("temp" + std::to_string(temporaries_++));
            append(block, declaration(each.parameter->type_name_text(), saved.back(), each.target->clone(),
                                      each.parameter->array_size()));
            append(block, assignment(each.target->clone(), each.value));
        }
        append(block, call);
        // Last saved, first restored: a member saved after its whole was replaced must come
        // back before the whole does.
        for (size_t i = overrides.size(); i-- > 0;)
            append(block, assignment(overrides[i].target, variable(saved[i])));
        return block;
    }

    // The parameter's name, braces stripped, as an expression that can be assigned; null (and
    // a log line) for a text that does not parse or names no place to store into.
    St_node* override_target(const Graph_node& graph_node, const Parameter& parameter)
    {
        std::string text = parameter.name();
        if (text.size() >= 2 && text.front() == '{' && text.back() == '}')
            text = text.substr(1, text.size() - 2);
        Error_list errors;
        St_node* parsed = FRONT12::parse_expression(text, errors);
        if (!parsed || !errors.empty()) {
            delete parsed;
            LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1,
                                "parameter '%s' of node '%s' is neither an input of its class nor an expression",
                                parameter.name(), graph_node.name.c_str());
            return nullptr;
        }
        if (!is_assignable(parsed)) {
            delete parsed;
            LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1,
                                "parameter '%s' of node '%s' names no variable that a value can be given to",
                                parameter.name(), graph_node.name.c_str());
            return nullptr;
        }
        mark_generated(parsed);
        return parsed;
    }

    // A name, or members and elements of one: what an assignment can store into.
    static bool is_assignable(const St_node* expression)
    {
        while (expression->kind == NODE_CLASS_MEMBER_REF_EXPRESSION || expression->kind == NODE_ARRAY_INDEX_EXPRESSION)
            expression = expression->first_child;
        return expression && expression->kind == NODE_VARIABLE_ID;
    }

    St_node* argument(const Graph_node& graph_node, const Parameter& input, const std::string& owner)
    {
        const Attachment* whole = whole_attachment(input);
        if (whole && input.attachments.size() == 1)
            return source_expression(*whole);
        St_node* start = whole ? source_expression(*whole) : value_expression(graph_node, input, owner);
        if (input.attachments.empty())
            return start;
        // Wires onto members start from the whole value in a temporary.
        std::string temporary = c_.safe(graph_node.name + "_" + input.name() + "_param");
        append(c_.main_body, declaration(input.type_name_text(), temporary, start, input.array_size()));
        for (const Attachment& attachment : input.attachments)
            if (!attachment.member_name.empty())
                append(c_.main_body,
                       member_assignment(temporary, attachment.member_name, source_expression(attachment)));
        return variable(temporary);
    }

    // name.a.b[2] = source, with each step as the tree gives it.
    static St_node* member_assignment(const std::string& name, const std::string& path, St_node* source)
    {
        St_node* left = variable(name);
        size_t at = 0;
        while (at < path.size()) {
            if (path[at] == '.') {
                ++at;
                continue;
            }
            if (path[at] == '[') {
                size_t close = path.find(']', at);
                std::string index = path.substr(at + 1, close == std::string::npos ? std::string::npos : close - at - 1);
                left = node(NODE_ARRAY_INDEX_EXPRESSION, {}, {left, node(NODE_INT_CONSTANT, index)});
                at = close == std::string::npos ? path.size() : close + 1;
                continue;
            }
            size_t end = path.find_first_of(".[", at);
            std::string member = path.substr(at, end == std::string::npos ? std::string::npos : end - at);
            left = node(NODE_CLASS_MEMBER_REF_EXPRESSION, {}, {left, node(NODE_MEMBER_VARIABLE_ID, member)});
            at = end == std::string::npos ? path.size() : end;
        }
        return assignment(left, source);
    }

    // The output that an attachment reads: <source node>_<output>, or the compound's own input.
    St_node* source_expression(const Attachment& attachment)
    {
        std::string head;
        std::string tail;
        GRAPH::split_path(attachment.target_name.c_str(), head, tail);
        std::string name = attachment.target_node ? c_.safe(attachment.target_node->name) + "_" + head
                           : current_top_ >= 0 ? chain_.nodes[size_t(current_top_)]->name + "_" + head + "_interface"
                                               : head;
        St_node* expression = variable(c_.safe(name));
        if (tail.empty())
            return expression;
        St_node* holder = member_assignment("x", tail, node(NODE_NO_OP));
        // Move the built left side over the plain name.
        St_node* assign = holder->child(0);
        St_node* left = assign->child(0);
        St_node* placeholder = node(NODE_NO_OP);
        assign->replace_child(left, placeholder);
        delete holder;
        St_node* innermost = left;
        while (innermost->child(0) && innermost->child(0)->kind != NODE_VARIABLE_ID)
            innermost = innermost->child(0);
        St_node* old = innermost->child(0);
        innermost->replace_child(old, expression);
        delete old;
        return left;
    }

    bool must_expose(const SYNTAX_TREE::Type& type) const
    {
        // A struct value is written only as a brace list, which no call argument takes; a text
        // has no place in the targets' code: both stay inputs.
        if (type.array_size() != 1 || is_texture_code(type.code()) || type.is_struct() ||
            type.code() == TYPE_STRING)
            return true;
        return c_.inline_constants == 0;
    }

    // The value of an unattached input: a constant in the code, or an input of the flat shader.
    St_node* value_expression(const Graph_node& graph_node, const Parameter& parameter, const std::string& owner)
    {
        if (St_node* state = default_state(graph_node, parameter))
            return state;
        if (parameter.exposure != 0) {
            bool literal = GRAPH::find_annotation(parameter.annotations, "literal") >= 0;
            if (literal || (parameter.exposure == 2 && !must_expose(parameter)))
                if (St_node* constant = constant_expression(parameter, parameter.value))
                    return constant;
            std::string name = c_.safe(owner + "_" + parameter.name());
            if (!declared_inputs_.count(name))
                declare_input(parameter, owner.c_str());
            return variable(name);
        }
        auto found = declared_inputs_.find(parameter.name());
        if (found == declared_inputs_.end()) {
            declare_input(parameter, nullptr);
        } else if (found->second.type_name != parameter.type_name_text()) {
            LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1, "global parameters '%s' of type '%s' and '%s'",
                                parameter.name(), found->second.type_name.c_str(), parameter.type_name_text());
        } else if (found->second.array_size != parameter.array_size()) {
            LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1, "global parameters '%s' have different array sizes",
                                parameter.name());
        }
        return variable(parameter.name());
    }

    // A class input annotated default_to_state("name"[, index]) reads that state variable when
    // nothing is wired to it; texture_coordinate takes an index, given as an Int or as the name
    // of another input of the node whose value holds it. An unknown name is no annotation.
    static St_node* default_state(const Graph_node& graph_node, const Parameter& parameter)
    {
        const Graph_node_class* node_class = graph_node.node_class();
        const Parameter* declared = node_class ? find_in(node_class->inputs, parameter.name()) : nullptr;
        int32_t found = declared ? GRAPH::find_annotation(declared->annotations, "default_to_state") : -1;
        if (found < 0)
            return nullptr;
        const GRAPH::Annotation& annotation = declared->annotations[size_t(found)];
        const SYNTAX_TREE::Type* first = annotation.first_member();
        if (!first || first->code() != TYPE_STRING || !annotation.value)
            return nullptr;
        const char* state_name = read<const char*>(annotation.value, 0);
        int32_t id = state_name ? SYNTAX_TREE::mod_syntax_tree->state_variable_index(state_name) : -1;
        if (id < 0)
            return nullptr;
        St_node* reference = node(NODE_STATE_VARIABLE_REFERENCE);
        reference->set_binary_text(&id, sizeof id);
        if (id != TEXTURE_COORDINATE_STATE)
            return reference;
        St_node* element = node(NODE_ARRAY_INDEX_EXPRESSION, {},
                                {reference, node(NODE_INT_CONSTANT, std::to_string(coordinate_index(graph_node, annotation)))});
        const char* swizzle = parameter.code() == TYPE_SCALAR    ? "x"
                              : parameter.code() == TYPE_VECTOR2 ? "xy"
                              : parameter.code() == TYPE_VECTOR3 ? "xyz"
                                                                 : nullptr;
        return swizzle ? node(NODE_CLASS_MEMBER_REF_EXPRESSION, {}, {element, node(NODE_MEMBER_VARIABLE_ID, swizzle)})
                       : element;
    }

    // The second member of default_to_state: an Int, or the name of an input of the node whose
    // first 32 bits are the index; 0 otherwise.
    static int32_t coordinate_index(const Graph_node& graph_node, const GRAPH::Annotation& annotation)
    {
        const SYNTAX_TREE::Type* second = annotation.first_member()->next_member();
        if (!second)
            return 0;
        uint32_t alignment = second->alignment() ? second->alignment() : 1;
        uint32_t offset = (annotation.first_member()->size() + alignment - 1) / alignment * alignment;
        const uint8_t* at = static_cast<const uint8_t*>(annotation.value) + offset;
        if (second->code() == TYPE_INT32)
            return read<int32_t>(at, 0);
        if (second->code() != TYPE_STRING)
            return 0;
        const char* input_name = read<const char*>(at, 0);
        const Parameter* input = input_name ? find_in(graph_node.inputs, input_name) : nullptr;
        return input && input->value ? read<int32_t>(input->value, 0) : 0;
    }

    St_node* declare(const Parameter& parameter, const std::string& name) const
    {
        St_node* initialiser = parameter.value ? constant_expression(parameter, parameter.value) : nullptr;
        return declaration(parameter.type_name_text(), name, initialiser, declared_size(parameter));
    }

    void declare_input(const Parameter& parameter, const char* prefix)
    {
        std::string name = prefix ? c_.safe(std::string(prefix) + "_" + parameter.name()) : parameter.name();
        declared_inputs_[name] = {parameter.type_name_text(), parameter.array_size()};
        St_node* declaration = declare(parameter, name);
        if (St_node* annotations = annotation_block(parameter.annotations))
            declaration->find_child(NODE_INIT_IDENTIFIER_LIST)->first_child->add_child(annotations);
        append(input_block_, declaration);
    }

    // Members of the class's input block that the node class does not show (an input removed
    // from the class, a class found in the context unit) are still read by its methods: they
    // join the flat inputs as they stand, once, and reach the copied methods as parameters.
    static std::vector<const St_node*> lent_inputs(const Shader_declaration& shader, const Graph_node_class& node_class)
    {
        std::vector<const St_node*> lent;
        const GRAPH::Parameter_index class_inputs(node_class.inputs);
        for (const St_node* declaration : shader.all_inputs()) {
            std::string name = declared_name(declaration);
            if (!name.empty() && class_inputs.find(name.c_str()) < 0)
                lent.push_back(declaration);
        }
        return lent;
    }

    void copy_inner_inputs(const std::vector<const St_node*>& lent)
    {
        for (const St_node* declaration : lent) {
            std::string name = declared_name(declaration);
            if (declared_inputs_.count(name))
                continue;
            const St_node* specifiers = declaration->find_child(NODE_VARIABLE_SPECIFIERS);
            const St_node* type = specifiers ? specifiers->find_child(NODE_SIMPLE_TYPE_SPECIFIER) : nullptr;
            declared_inputs_[name] = {type ? std::string(type->text_view()) : std::string(), 1};
            append(input_block_, generated_copy(declaration));
        }
    }

    // "Type name[size]" of the first variable a declaration makes.
    static St_node* lent_parameter(const St_node* declaration)
    {
        const St_node* specifiers = declaration->find_child(NODE_VARIABLE_SPECIFIERS);
        const St_node* type = specifiers ? specifiers->find_child(NODE_SIMPLE_TYPE_SPECIFIER) : nullptr;
        St_node* result = node(NODE_FUNCTION_PARAMETER, declared_name(declaration));
        result->add_child(type ? generated_copy(type) : node(NODE_SIMPLE_TYPE_SPECIFIER, "Scalar"));
        const St_node* list = declaration->find_child(NODE_INIT_IDENTIFIER_LIST);
        const St_node* size = list && list->first_child ? list->first_child->find_child(NODE_ARRAY_SPECIFIER) : nullptr;
        if (size)
            result->add_child(generated_copy(size));
        return result;
    }

    struct Declared {
        std::string type_name;
        uint32_t array_size;
    };

    Link_context& c_;
    St_node* input_block_ = nullptr;
    St_node* output_block_ = nullptr;
    St_node* member_block_ = nullptr;
    St_node* plain_class_ = nullptr;
    std::vector<St_node*> globals_;
    std::map<std::string, Declared> declared_inputs_;
    std::unordered_map<St_node*, St_node*> tails_;
    std::set<const Compilation_unit*> collected_units_;
    std::set<std::string> global_names_;
    int32_t current_top_ = -1;  // the chain entry whose interface the node being emitted reads
    int32_t temporaries_ = 0;
    GRAPH::Graph_library private_;  // the converted lights, environment and volume
    std::map<std::string, Converted> converted_;
    std::vector<Light_entry> lights_;
    std::map<std::string, Declared> light_parameter_types_;  // by "<class>.<parameter>"
    std::vector<std::string> threaded_names_;
    std::set<std::string> wrapped_functions_;  // the flat functions of lights, environment and volume
    std::string environment_class_;
    bool has_light_list_ = false;
};

}  // namespace

namespace {
bool has_errors(const Compilation_unit* unit) { return !unit || !unit->errors().empty(); }
}  // namespace

Link_context::Link_context()
{
    for (int byte = 0; byte < 256; ++byte) {
        bool keep = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9');
        safe_char[size_t(byte)] = keep ? char(byte) : '_';
    }
}

Link_context::~Link_context() = default;

std::string Link_context::safe(const std::string& text) const
{
    std::string result(text);
    for (char& each : result)
        each = safe_char[uint8_t(each)];
    if (!result.empty() && result[0] >= '0' && result[0] <= '9')
        result.insert(result.begin(), '_');
    return result;
}

namespace {

// Struct members inside struct members: a type a host made could nest without end.
constexpr int MAX_CONSTANT_DEPTH = 32;

St_node* constant_at(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth);
St_node* element_constant(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth);

// { e0, e1, ... }: count elements of the type's element size; null when one fails. Null
// element bytes read as zeroes.
St_node* array_constant(const SYNTAX_TREE::Type& type, const uint8_t* elements, uint32_t count, int depth)
{
    uint32_t step = GRAPH::element_size(type);
    St_node* list = node(NODE_ARRAY_INITIALIZER);
    for (uint32_t i = 0; i < count; ++i) {
        St_node* element = element_constant(type, elements ? elements + size_t(i) * step : nullptr, depth + 1);
        if (!element) {
            delete list;
            return nullptr;
        }
        list->add_child(element);
    }
    return list;
}

// A struct value is written as the language writes one, its members in braces: the brace list
// is what an input's initialiser takes (there is no constructor call for a struct). A brace
// list holds items of one type and does not nest, so a struct of mixed or composite members has
// no constant: its input is declared without a value, for the host to set.
St_node* struct_constant(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth)
{
    const SYNTAX_TREE::Type* first = type.first_member();
    if (!first)
        return nullptr;
    for (const SYNTAX_TREE::Type* member = first; member; member = member->next_member())
        if (member->is_struct() || member->is_array() || !member->equals(*first))
            return nullptr;
    St_node* list = node(NODE_ARRAY_INITIALIZER);
    uint32_t offset = 0;
    for (const SYNTAX_TREE::Type* member = type.first_member(); member; member = member->next_member()) {
        uint32_t alignment = member->alignment() ? member->alignment() : 1;
        offset = (offset + alignment - 1) / alignment * alignment;
        St_node* value = constant_at(*member, bytes ? bytes + offset : nullptr, depth + 1);
        if (!value) {
            delete list;
            return nullptr;
        }
        list->add_child(value);
        offset += member->size();
    }
    return list;
}

St_node* text_constant(const uint8_t* bytes)
{
    const char* text = read<const char*>(bytes, 0);
    St_node* constant = node(NODE_STRING_CONSTANT);
    constant->set_text(text ? text : "");
    return constant;
}

// One value of the type, its array size aside.
St_node* element_constant(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth)
{
    uint8_t code = type.code();
    switch (code) {
    case TYPE_BOOLEAN:
        return node(NODE_BOOL_CONSTANT, read<uint8_t>(bytes, 0) ? "true" : "false");
    case TYPE_INT32:
        return node(NODE_INT_CONSTANT, std::to_string(read<int32_t>(bytes, 0)));
    case TYPE_SCALAR:
        return float_constant(read<float>(bytes, 0));
    case TYPE_VECTOR2:
    case TYPE_VECTOR3:
    case TYPE_VECTOR4:
        return component_constructor<float>(language_word(code), bytes, uint32_t(code - TYPE_VECTOR2 + 2));
    case TYPE_COLOR:
        return component_constructor<float>("Color", bytes, 4);
    case TYPE_VECTOR2I:
    case TYPE_VECTOR3I:
    case TYPE_VECTOR4I:
        return component_constructor<int32_t>(language_word(code), bytes, uint32_t(code - TYPE_VECTOR2I + 2));
    case TYPE_VECTOR2B:
    case TYPE_VECTOR3B:
    case TYPE_VECTOR4B:
        return component_constructor<uint8_t>(language_word(code), bytes, uint32_t(code - TYPE_VECTOR2B + 2));
    case TYPE_STRING:
        return text_constant(bytes);
    case TYPE_STRUCT:
        return struct_constant(type, bytes, depth);
    default:
        break;
    }
    if (is_texture_code(code))
        return text_constant(bytes);
    if (uint32_t count = matrix_components(code))
        return component_constructor<float>(language_word(code), bytes, count);
    return nullptr;
}

St_node* constant_at(const SYNTAX_TREE::Type& type, const uint8_t* bytes, int depth)
{
    if (depth > MAX_CONSTANT_DEPTH)
        return nullptr;
    if (type.array_size() == 0) {
        // An unsized array: its count, then at offset 8 the pointer to its elements.
        uint32_t count = read<uint32_t>(bytes, 0);
        const uint8_t* elements = bytes ? read<const uint8_t*>(bytes, 1) : nullptr;
        return array_constant(type, elements, elements ? count : 0, depth);
    }
    if (type.array_size() != 1)
        return array_constant(type, bytes, type.array_size(), depth);
    return element_constant(type, bytes, depth);
}

}  // namespace

St_node* constant_expression(const SYNTAX_TREE::Type& type, const void* bytes)
{
    return constant_at(type, static_cast<const uint8_t*>(bytes), 0);
}

Compilation_unit* link_graph(Graph_node* root, const Interface_chain* chain, Compilation_unit* context_unit, bool debug)
{
    if (!root || !root->node_class())
        return nullptr;
    Link_context context;
    context.root_node = root;
    context.context_unit = context_unit;
    context.debug = debug ? 1 : 0;
    Linker linker(context);
    linker.skeleton(root->node_class()->name());
    linker.declare_root_outputs(*root);
    if (chain) {
        linker.chain_ = *chain;
        if (linker.chain_.top >= int32_t(linker.chain_.nodes.size()))
            linker.chain_.top = int32_t(linker.chain_.nodes.size()) - 1;
        for (Graph_node* each : linker.chain_.nodes)
            if (!each)
                return nullptr;
    }
    linker.clear_visited({root});
    if (!linker.emit_node(root))
        return nullptr;
    return linker.finish();
}

Compilation_unit* link_node_class(GRAPH::Compage_node_class* node_class, Compilation_unit* context_unit)
{
    if (!node_class)
        return nullptr;
    if (compound_nesting >= MAX_COMPOUND_NESTING) {
        LOG::mod_log->error(SYSTEM::MODULE_CL12, LOG::CAT_PLUG, 1,
                            "compound '%s' is nested more than %d deep or holds itself", node_class->name(),
                            MAX_COMPOUND_NESTING);
        return nullptr;
    }
    struct Nesting {
        Nesting() { ++compound_nesting; }
        ~Nesting() { --compound_nesting; }
    } nesting;
    Link_context context;
    context.context_unit = context_unit;
    context.debug = 1;
    context.inline_constants = 1;
    Linker linker(context);
    linker.skeleton(node_class->name());
    linker.declare_class_parameters(*node_class);
    linker.clear_visited(node_class->inner_nodes);
    if (!linker.emit_outputs(node_class->interface_outputs))
        return nullptr;
    return linker.finish();
}

namespace {

void start_export(Link_context& context, Linker& linker, const Export_settings& settings)
{
    if (settings.external_shadow_function && *settings.external_shadow_function) {
        context.has_prefix = 1;
        context.prefix = settings.external_shadow_function;
    }
    linker.resolve_unsized_ = (settings.flags & EXPORT_RESOLVE_UNSIZED_ARRAYS) ? 1 : 0;
}

}  // namespace

Compilation_unit* link_for_export(Graph_node* root, const Export_settings& settings, Compilation_unit* context_unit)
{
    if (!root || !root->node_class())
        return nullptr;
    Link_context context;
    context.root_node = root;
    context.context_unit = context_unit;
    Linker linker(context);
    start_export(context, linker, settings);
    linker.skeleton(root->node_class()->name());
    linker.declare_root_outputs(*root);
    linker.prepare_lights(settings);
    // The lights' own links used the visited flags too.
    linker.clear_visited({root});
    if (!linker.emit_node(root))
        return nullptr;
    linker.finish_lights();
    return linker.finish();
}

Compilation_unit* link_for_export(Graph_node_class* node_class, const Export_settings& settings,
                                  Compilation_unit* context_unit)
{
    if (!node_class)
        return nullptr;
    Link_context context;
    context.context_unit = context_unit;
    Linker linker(context);
    start_export(context, linker, settings);
    if (node_class->kind() == GRAPH::CLASS_COMPAGE) {
        auto* compound = static_cast<GRAPH::Compage_node_class*>(node_class);
        if (compound_nesting >= MAX_COMPOUND_NESTING)
            return nullptr;
        context.debug = 1;
        context.inline_constants = 1;
        linker.skeleton(compound->name());
        linker.declare_class_parameters(*compound);
        linker.prepare_lights(settings);
        linker.clear_visited(compound->inner_nodes);
        if (!linker.emit_outputs(compound->interface_outputs))
            return nullptr;
        linker.finish_lights();
        return linker.finish();
    }
    Compilation_unit* unit = node_class->compilation_unit();
    if (has_errors(unit))
        return nullptr;
    Shader_declaration* shader = unit->find_shader(node_class->name());
    if (!shader || !shader->class_node)
        return nullptr;
    linker.class_name_ = node_class->name();
    linker.skeleton(node_class->name());
    linker.add_global_declarations(*unit);
    linker.add_class_declaration(shader->class_node);
    linker.add_unit_functions(*unit);
    linker.prepare_lights(settings);
    linker.finish_lights();
    return linker.finish();
}

Compilation_unit* link_as_brdf(GRAPH::Compage_node_class* node_class)
{
    if (!node_class || GRAPH::find_annotation(node_class->annotations, "brdf_type") < 0)
        return nullptr;
    Link_context context;
    context.inline_constants = 1;
    Linker linker(context);
    linker.skeleton(node_class->name());
    linker.class_annotations_ = annotation_block(node_class->annotations);
    linker.declare_class_parameters(*node_class);
    linker.clear_visited(node_class->inner_nodes);
    if (!linker.emit_outputs(node_class->interface_outputs))
        return nullptr;
    return linker.finish();
}

}  // namespace FLAT12
}  // namespace QZ

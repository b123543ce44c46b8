// vornc graph: a graph file listed as text, or drawn in Graphviz's dot language. It sees the
// library through the public interface only.
#include "graph_command.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "reporting.h"

namespace vornc {

namespace {

template <typename T>
struct Held {
    T* object;
    explicit Held(T* made) : object(made) {}
    ~Held()
    {
        if (object)
            object->release();
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    T* operator->() const { return object; }
    explicit operator bool() const { return object != nullptr; }
};

// Components of a value of each kind: how many, and as what ('f' float, 'i' int, 'b' bool,
// 's' text). ORDER: vorn::Type_kind.
struct Shape {
    uint32_t count;
    char as;
};
const Shape shapes[] = {
    {0, 0},   {0, 0},   {1, 'f'}, {1, 'i'}, {1, 'b'}, {2, 'f'}, {3, 'f'},  {4, 'f'},  {1, 's'}, {4, 'f'},
    {2, 'i'}, {3, 'i'}, {4, 'i'}, {2, 'b'}, {3, 'b'}, {4, 'b'}, {4, 'f'},  {6, 'f'},  {6, 'f'}, {9, 'f'},
    {12, 'f'}, {12, 'f'}, {16, 'f'}, {8, 'f'}, {8, 'f'}, {1, 's'}, {1, 's'}, {1, 's'}, {1, 's'},
};

Shape shape_of(int32_t kind)
{
    return kind >= 0 && kind < int32_t(sizeof shapes / sizeof shapes[0]) ? shapes[kind] : Shape{0, 0};
}

uint32_t element_size(const Shape& shape)
{
    switch (shape.as) {
    case 'f':
    case 'i':
        return 4 * shape.count;
    case 'b':
        return shape.count;
    case 's':
        return 8;
    }
    return 0;
}

std::string number_text(char as, const unsigned char* at)
{
    char text[64];
    if (as == 'f') {
        float value;
        std::memcpy(&value, at, sizeof value);
        std::snprintf(text, sizeof text, "%g", double(value));
    } else if (as == 'i') {
        int32_t value;
        std::memcpy(&value, at, sizeof value);
        std::snprintf(text, sizeof text, "%d", value);
    } else {
        return *at ? "true" : "false";
    }
    return text;
}

std::string value_text(vorn::IType* type, const unsigned char* value, int depth);

// One element of a type that is not an array.
std::string element_text(vorn::IType* type, const unsigned char* at, int depth)
{
    int32_t kind = type->get_kind();
    if (kind == vorn::TYPE_KIND_STRUCT) {
        if (depth > 8)
            return "{...}";
        std::string text = "{";
        Held<vorn::IType> member(type->get_first_type());
        uint32_t offset = 0;
        while (member) {
            const char* name = member->get_name();
            uint32_t position = 0;
            Held<vorn::IType> found(name ? type->find_member(name, &position, nullptr) : nullptr);
            offset = found ? position : offset;
            if (text.size() > 1)
                text += ", ";
            text += std::string(name ? name : "?") + "=" + value_text(member.object, at + offset, depth + 1);
            vorn::IType* next = member->get_second_type();
            member.object->release();
            member.object = next;
        }
        return text + "}";
    }
    Shape shape = shape_of(kind);
    if (shape.as == 's') {
        const char* text;
        std::memcpy(&text, at, sizeof text);
        return text ? "\"" + std::string(text) + "\"" : "\"\"";
    }
    std::string text;
    for (uint32_t i = 0; i < shape.count; ++i) {
        if (i)
            text += " ";
        text += number_text(shape.as, at + i * (shape.as == 'b' ? 1 : 4));
    }
    return text.empty() ? "?" : text;
}

uint32_t struct_element_size(vorn::IType* type)
{
    uint32_t size = type->get_size_of();
    uint32_t count = type->get_array_size();
    return count > 1 ? size / count : size;
}

std::string value_text(vorn::IType* type, const unsigned char* value, int depth)
{
    if (!value)
        return "(none)";
    uint32_t count = type->get_array_size();
    if (count == 1)
        return element_text(type, value, depth);
    if (count == 0) {
        uint32_t elements;
        std::memcpy(&elements, value, sizeof elements);
        return "[" + std::to_string(elements) + " elements]";
    }
    uint32_t size = type->get_kind() == vorn::TYPE_KIND_STRUCT ? struct_element_size(type)
                                                               : element_size(shape_of(type->get_kind()));
    std::string text = "[";
    for (uint32_t i = 0; i < count && i < 64; ++i)
        text += (i ? ", " : "") + element_text(type, value + i * size, depth);
    return text + (count > 64 ? ", ...]" : "]");
}

std::string type_text(vorn::IType* type)
{
    // A parameter's type carries the parameter's name; the type's own name is its display name.
    const char* name = type->get_display_name();
    if (!name)
        name = type->get_name();
    std::string text = name ? name : "?";
    uint32_t count = type->get_array_size();
    if (count == 0)
        text += "[]";
    else if (count > 1)
        text += "[" + std::to_string(count) + "]";
    return text;
}

// " <- node.path" for each wire of the current parameter ("." + member before the arrow for a
// wire into a part), "." + name alone for the compound's interface; arrow "->" for wires that
// leave an interface input.
std::string wires_text(vorn::IParameter_iterator* parameters, const char* arrow)
{
    std::string text;
    Held<vorn::IAttachment_iterator> wires(parameters->get_attachments());
    for (; wires && !wires->at_end(); wires->next()) {
        Held<vorn::IGraph_node> target(wires->get_target_node());
        std::string member = wires->get_member_name();
        text += std::string(" ") + (member.empty() ? "" : "." + member + " ") + arrow + " " +
                (target ? target->get_name() : "") + "." + wires->get_target_name();
    }
    return text;
}

// One line a parameter; arrow null leaves the wires out.
void print_parameters(vorn::IParameter_iterator* parameters, const char* direction, const char* indent,
                      const char* arrow)
{
    for (; parameters && !parameters->at_end(); parameters->next()) {
        Held<vorn::IType> type(parameters->get_type());
        std::string line = std::string(indent) + direction + " " + type_text(type.object) + " " +
                           parameters->get_name() + " = " +
                           value_text(type.object, static_cast<const unsigned char*>(parameters->get_value()), 0);
        if (arrow)
            line += wires_text(parameters, arrow);
        std::printf("%s\n", line.c_str());
    }
}

void print_class_parameters(vorn::IGraph_node_class* node_class, bool compound)
{
    Held<vorn::IParameter_iterator> inputs(node_class->get_parameters(vorn::PARAMETERS_INPUT));
    print_parameters(inputs.object, "in ", "    ", compound ? "->" : nullptr);
    Held<vorn::IParameter_iterator> outputs(node_class->get_parameters(vorn::PARAMETERS_OUTPUT));
    print_parameters(outputs.object, "out", "    ", compound ? "<-" : nullptr);
}

void print_node(vorn::IGraph_node* node, const char* heading, const char* indent)
{
    Held<vorn::IGraph_node_class> node_class(node->get_node_class());
    std::printf("%s%s : %s\n", heading, node->get_name(), node_class ? node_class->get_name() : "(no class)");
    Held<vorn::IParameter_iterator> inputs(node->get_parameters(vorn::PARAMETERS_INPUT));
    print_parameters(inputs.object, "in ", indent, "<-");
}

bool is_compound(vorn::IGraph_node_class* node_class)
{
    vorn::Interface* compound = node_class->get_interface(vorn::IID_COMPAGE_NODE_CLASS);
    if (compound)
        compound->release();
    return compound != nullptr;
}

void print_library(vorn::IGraph_library* library, const std::string& file)
{
    std::printf("graph %s\n", file.c_str());
    uint32_t class_count = library->get_class_count();
    uint32_t intrinsic = 0;
    std::vector<std::string> sources;
    for (uint32_t i = 0; i < class_count; ++i) {
        Held<vorn::IGraph_node_class> node_class(library->get_class(i));
        if (!node_class || is_compound(node_class.object))
            continue;
        std::string source = node_class->get_file_name();
        if (source.empty())
            ++intrinsic;
        else if (sources.empty() || sources.back() != source)
            sources.push_back(source);
    }
    std::printf("sources\n");
    for (const std::string& source : sources)
        std::printf("  %s\n", source.c_str());
    if (intrinsic)
        std::printf("  (%u classes without a file: the intrinsic classes; those in use are listed)\n", intrinsic);

    std::printf("classes\n");
    for (uint32_t i = 0; i < class_count; ++i) {
        Held<vorn::IGraph_node_class> node_class(library->get_class(i));
        if (!node_class)
            continue;
        std::string source = node_class->get_file_name();
        bool compound = is_compound(node_class.object);
        if (!compound && source.empty() && node_class->get_instance_count() == 0)
            continue;
        std::printf("  %s (%s)\n", node_class->get_name(),
                    compound ? "compound" : source.empty() ? "intrinsic" : source.c_str());
        print_class_parameters(node_class.object, compound);
        if (!compound)
            continue;
        Held<vorn::ICompage_node_class> inner(
            static_cast<vorn::ICompage_node_class*>(node_class->get_interface(vorn::IID_COMPAGE_NODE_CLASS)));
        for (uint32_t n = 0; n < inner->get_node_count(); ++n) {
            Held<vorn::IGraph_node> node(inner->get_node(n));
            print_node(node.object, "    node ", "      ");
        }
    }
    std::printf("nodes\n");
    for (uint32_t i = 0; i < library->get_node_count(); ++i) {
        Held<vorn::IGraph_node> node(library->get_node(i));
        print_node(node.object, "  ", "    ");
    }
}

// A quoted dot identifier or label.
std::string quoted(const std::string& text)
{
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out + "\"";
}

// The node's box and the wires into it. prefix keeps the names of one compound apart from the
// others'; interface names the box that stands for the compound's own parameters.
void draw_node(vorn::IGraph_node* node, const std::string& prefix, const std::string& interface)
{
    Held<vorn::IGraph_node_class> node_class(node->get_node_class());
    std::string id = prefix + node->get_name();
    std::printf("  %s [label=%s];\n", quoted(id).c_str(),
                quoted(std::string(node->get_name()) + "\n" + (node_class ? node_class->get_name() : "?")).c_str());
    Held<vorn::IParameter_iterator> inputs(node->get_parameters(vorn::PARAMETERS_INPUT));
    for (; inputs && !inputs->at_end(); inputs->next()) {
        Held<vorn::IAttachment_iterator> wires(inputs->get_attachments());
        for (; wires && !wires->at_end(); wires->next()) {
            Held<vorn::IGraph_node> source(wires->get_target_node());
            std::string from = source ? prefix + source->get_name() : interface;
            if (from.empty())
                continue;
            std::string member = wires->get_member_name();
            std::string label = std::string(wires->get_target_name()) + " -> " + inputs->get_name() +
                                (member.empty() ? "" : "." + member);
            std::printf("  %s -> %s [label=%s];\n", quoted(from).c_str(), quoted(id).c_str(), quoted(label).c_str());
        }
    }
}

void draw_compound(vorn::ICompage_node_class* compound, uint32_t index)
{
    std::string name = compound->get_name();
    std::string prefix = name + "/";
    std::string inputs_id = prefix + "(inputs)";
    std::string outputs_id = prefix + "(outputs)";
    std::printf("  subgraph %s {\n  label=%s;\n  style=rounded;\n", quoted("cluster_" + std::to_string(index)).c_str(),
                quoted(name).c_str());
    std::printf("  %s [label=%s, shape=cds];\n", quoted(inputs_id).c_str(), quoted(name + " inputs").c_str());
    std::printf("  %s [label=%s, shape=cds];\n", quoted(outputs_id).c_str(), quoted(name + " outputs").c_str());
    for (uint32_t n = 0; n < compound->get_node_count(); ++n) {
        Held<vorn::IGraph_node> node(compound->get_node(n));
        draw_node(node.object, prefix, inputs_id);
    }
    // The interface outputs' wires lead from inner nodes (or straight from an input).
    Held<vorn::IParameter_iterator> outputs(compound->get_parameters(vorn::PARAMETERS_OUTPUT));
    for (; outputs && !outputs->at_end(); outputs->next()) {
        Held<vorn::IAttachment_iterator> wires(outputs->get_attachments());
        for (; wires && !wires->at_end(); wires->next()) {
            Held<vorn::IGraph_node> source(wires->get_target_node());
            std::string from = source ? prefix + source->get_name() : inputs_id;
            std::string label = std::string(wires->get_target_name()) + " -> " + outputs->get_name();
            std::printf("  %s -> %s [label=%s];\n", quoted(from).c_str(), quoted(outputs_id).c_str(),
                        quoted(label).c_str());
        }
    }
    std::printf("  }\n");
}

void draw_library(vorn::IGraph_library* library, const std::string& file)
{
    std::printf("digraph %s {\n  rankdir=LR;\n  node [shape=box];\n", quoted(file).c_str());
    for (uint32_t i = 0; i < library->get_class_count(); ++i) {
        Held<vorn::IGraph_node_class> node_class(library->get_class(i));
        if (!node_class)
            continue;
        Held<vorn::ICompage_node_class> compound(
            static_cast<vorn::ICompage_node_class*>(node_class->get_interface(vorn::IID_COMPAGE_NODE_CLASS)));
        if (compound)
            draw_compound(compound.object, i);
    }
    for (uint32_t i = 0; i < library->get_node_count(); ++i) {
        Held<vorn::IGraph_node> node(library->get_node(i));
        draw_node(node.object, "", "");
    }
    std::printf("}\n");
}

}  // namespace

int command_graph(vorn::IVorn* root, const Arguments& arguments)
{
    if (arguments.rest.size() != 1) {
        std::fprintf(stderr, "vornc: graph needs one file\n");
        return 2;
    }
    const std::string& file = arguments.rest[0];
    auto* graph = static_cast<vorn::IVorn_graph*>(root->get_interface(vorn::IID_VORN_GRAPH));
    auto* compiler = static_cast<vorn::IVorn_compiler*>(root->get_interface(vorn::IID_VORN_COMPILER));
    if (!graph || !compiler) {
        std::fprintf(stderr, "vornc: the library offers no graphs\n");
        if (graph)
            graph->release();
        if (compiler)
            compiler->release();
        return 1;
    }
    vorn::ICompiler_errors* errors = compiler->create_errors();
    vorn::IGraph_library* library = nullptr;
    // The read tells of XML faults and dropped nodes by log lines; they count as diagnostics.
    std::string lines = caught_log_lines([&] { library = graph->load_library(file.c_str(), nullptr, errors); });
    uint32_t diagnostics = print_diagnostics(errors);
    int status = diagnostics > 0 || !lines.empty() ? 1 : 0;
    if (library) {
        if (arguments.dot)
            draw_library(library, file);
        else
            print_library(library, file);
        library->release();
    } else {
        if (diagnostics == 0)
            std::fprintf(stderr, "vornc: %s: cannot read the graph file\n", file.c_str());
        status = 1;
    }
    errors->release();
    compiler->release();
    graph->release();
    return status;
}

}  // namespace vornc

#include "graph/graph_file.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <queue>
#include <unordered_set>

#include "compiler/mod_compiler.h"
#include "graph/graph_library.h"
#include "graph/graph_node.h"
#include "graph/node_class.h"
#include "graph/value_block.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "system/module.h"

namespace QZ {
namespace GRAPH {

using SYNTAX_TREE::Type;
using SYNTAX_TREE::type_code_info;

namespace {

// Log codes of the graph reader, all at module 55 and level 5.
constexpr int32_t CODE_NO_CLASS = 1;
constexpr int32_t CODE_NO_TARGET = 2;
constexpr int32_t CODE_NO_ATTACHMENT_PARAMETER = 10;
constexpr int32_t CODE_NO_PARAMETER = 11;
constexpr int32_t CODE_NO_COMPAGE_TYPE = 12;

// Unsized arrays gather their elements here; beyond it the rest is dropped.
constexpr size_t MAX_GATHERED_BYTES = MAX_VALUE_SIZE;

#define GRAPH_FILE_LOG(code, ...) \
    do { \
        if (LOG::mod_log) \
            LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, code, __VA_ARGS__); \
    } while (0)

const char* or_unknown(const char* text) { return text ? text : "<unknown>"; }

const char* find_attribute(const char** attributes, const char* name)
{
    for (size_t i = 0; attributes && attributes[i]; i += 2)
        if (std::strcmp(attributes[i], name) == 0)
            return attributes[i + 1];
    return nullptr;
}

bool is_bool_code(uint32_t code) { return type_code_info(code).component_code == SYNTAX_TREE::TYPE_BOOLEAN; }
bool is_int_code(uint32_t code) { return type_code_info(code).component_code == SYNTAX_TREE::TYPE_INT32; }
bool is_float_code(uint32_t code) { return type_code_info(code).component_code == SYNTAX_TREE::TYPE_SCALAR; }
bool has_value_text(uint32_t code) { return code >= 1 && code <= 51; }

uint32_t unsized_count(const void* block)
{
    uint32_t count;
    std::memcpy(&count, block, sizeof count);
    return count;
}

const char* unsized_elements(const void* block)
{
    const char* elements;
    std::memcpy(&elements, static_cast<const char*>(block) + 8, sizeof elements);
    return elements;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Value texts

std::string value_text(const Type& type, const void* element)
{
    const uint32_t code = type.code();
    const char* bytes = static_cast<const char*>(element);
    if (owns_text(code)) {
        const char* text;
        std::memcpy(&text, bytes, sizeof text);
        return text ? text : "";
    }
    const auto& info = type_code_info(code);
    std::string out;
    char number[64];
    for (uint32_t i = 0; i < info.components; ++i) {
        const char* component = bytes + size_t(i) * info.component_size;
        if (i)
            out += ' ';
        if (is_bool_code(code)) {
            out += *component ? "true" : "false";
        } else if (is_int_code(code)) {
            int32_t value;
            std::memcpy(&value, component, sizeof value);
            std::snprintf(number, sizeof number, "%d", value);
            out += number;
        } else if (is_float_code(code)) {
            float value;
            std::memcpy(&value, component, sizeof value);
            std::snprintf(number, sizeof number, "%g", double(value));
            out += number;
        }
    }
    return out;
}

bool parse_value_text(const Type& type, const char* text, void* element)
{
    const uint32_t code = type.code();
    if (!text || !has_value_text(code) || type.is_struct())
        return false;
    char* bytes = static_cast<char*>(element);
    if (owns_text(code)) {
        char* old;
        std::memcpy(&old, bytes, sizeof old);
        std::free(old);
        char* copy = duplicate_text(text);
        std::memcpy(bytes, &copy, sizeof copy);
        return true;
    }
    const auto& info = type_code_info(code);
    if (code == SYNTAX_TREE::TYPE_BOOLEAN) {
        *bytes = std::strcmp(text, "true") == 0;
        return true;
    }
    if (code == SYNTAX_TREE::TYPE_INT32) {
        int32_t value;
        if (std::sscanf(text, "%" SCNd32, &value) != 1)
            return false;
        std::memcpy(bytes, &value, sizeof value);
        return true;
    }
    const char* cursor = text;
    for (uint32_t i = 0; i < info.components; ++i) {
        while (*cursor == ' ' || *cursor == '\t')
            ++cursor;
        if (!*cursor)
            break;
        char* component = bytes + size_t(i) * info.component_size;
        if (is_bool_code(code)) {
            *component = std::strncmp(cursor, "true", 4) == 0;
            while (*cursor && *cursor != ' ' && *cursor != '\t')
                ++cursor;
            continue;
        }
        char* end = nullptr;
        if (is_int_code(code)) {
            long value = std::strtol(cursor, &end, 10);
            int32_t narrow = int32_t(value);
            std::memcpy(component, &narrow, sizeof narrow);
        } else {
            float value = std::strtof(cursor, &end);
            std::memcpy(component, &value, sizeof value);
        }
        if (end == cursor)
            break;  // not a number: the rest stays 0
        cursor = end;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// Orders of writing

std::vector<const Compage_node_class*> sorted_compounds(const Graph_library& library)
{
    std::unordered_set<const Graph_node_class*> in_library(library.compage_classes.begin(),
                                                           library.compage_classes.end());
    std::unordered_set<const Graph_node_class*> met;
    std::vector<const Compage_node_class*> out;
    // An explicit stack: compounds may nest as deep as a host makes them.
    struct Step {
        const Compage_node_class* compound;
        size_t next_inner;
    };
    std::vector<Step> stack;
    for (const Compage_node_class* root : library.compage_classes) {
        if (!met.insert(root).second)
            continue;
        stack.push_back({root, 0});
        while (!stack.empty()) {
            Step& step = stack.back();
            if (step.next_inner == step.compound->inner_nodes.size()) {
                if (in_library.count(step.compound))
                    out.push_back(step.compound);
                stack.pop_back();
                continue;
            }
            const Graph_node_class* used = step.compound->inner_nodes[step.next_inner++]->node_class();
            if (used && used->kind() == CLASS_COMPAGE && met.insert(used).second)
                stack.push_back({static_cast<const Compage_node_class*>(used), 0});
        }
    }
    return out;
}

std::vector<const Graph_node*> sorted_nodes(const std::vector<Graph_node*>& nodes)
{
    // Kahn's order with a queue by name: linear in the wires, n log n in the nodes.
    std::unordered_map<const Graph_node*, size_t> index;
    index.reserve(nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i)
        index.emplace(nodes[i], i);
    std::vector<uint32_t> waiting(nodes.size(), 0);
    std::vector<std::vector<size_t>> dependents(nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
        std::unordered_set<size_t> sources;
        for (const Parameter& input : nodes[i]->inputs)
            for (const Attachment& attachment : input.attachments) {
                auto found = index.find(attachment.target_node);
                if (found != index.end() && found->second != i && sources.insert(found->second).second) {
                    dependents[found->second].push_back(i);
                    ++waiting[i];
                }
            }
    }
    auto later = [&](size_t a, size_t b) {
        int order = nodes[a]->name.compare(nodes[b]->name);
        return order != 0 ? order > 0 : a > b;
    };
    std::priority_queue<size_t, std::vector<size_t>, decltype(later)> ready(later);
    for (size_t i = 0; i < nodes.size(); ++i)
        if (!waiting[i])
            ready.push(i);
    std::vector<const Graph_node*> out;
    out.reserve(nodes.size());
    std::vector<bool> done(nodes.size(), false);
    for (;;) {
        while (!ready.empty()) {
            size_t next = ready.top();
            ready.pop();
            done[next] = true;
            out.push_back(nodes[next]);
            for (size_t dependent : dependents[next])
                if (--waiting[dependent] == 0)
                    ready.push(dependent);
        }
        if (out.size() == nodes.size())
            break;
        // A cycle: no order satisfies it, so its first node by name goes next.
        size_t first = nodes.size();
        for (size_t i = 0; i < nodes.size(); ++i)
            if (!done[i] && (first == nodes.size() || later(first, i)))
                first = i;
        waiting[first] = 0;
        ready.push(first);
    }
    return out;
}

// ---------------------------------------------------------------------------------------------
// Writer

Xml_graph_library_writer::Xml_graph_library_writer(const Graph_library& library, const char* path,
                                                   const Graph_write_hooks& hooks)
    : library_(library), path_(path ? path : ""), hooks_(hooks)
{
}

bool Xml_graph_library_writer::write(Graph_library& library, const char* path, const Graph_write_hooks& hooks)
{
    if (!path)
        return false;
    Xml_graph_library_writer writer(library, path, hooks);
    if (!writer.save(path))
        return false;
    library.file_name = path;
    return true;
}

void Xml_graph_library_writer::write_body()
{
    write_sources();
    std::vector<const Compage_node_class*> compounds = sorted_compounds(library_);
    if (!compounds.empty())
        write_text("\n");
    for (const Compage_node_class* compound : compounds)
        write_compound(*compound);
    write_nodes(library_.nodes);
    if (hooks_.render) {
        begin_element("render_data");
        COMPILER::Render_data_writer data(this);
        hooks_.render(hooks_.render_context, &data);
        data.close_open_elements();
        end_element();
    }
}

void Xml_graph_library_writer::write_sources()
{
    bool intrinsics = false;
    std::map<std::string, std::string> files;
    auto reach = [&](const Graph_node_class* node_class) {
        // Compounds have no source of their own; their inner classes are reached on their own.
        if (!node_class || node_class->kind() != CLASS_VELAR)
            return;
        std::string name;
        node_class->file_name(name);
        if (name.empty())
            intrinsics = true;
        else
            files.emplace(name, name);
    };
    for (const Compage_node_class* compound : library_.compage_classes)
        for (const Graph_node* node : compound->inner_nodes)
            reach(node->node_class());
    for (const Graph_node_class* node_class : library_.velar_classes)
        reach(node_class);
    for (const Graph_node* node : library_.nodes)
        reach(node->node_class());
    if (intrinsics) {
        begin_element("ovrel_code");
        attribute("intrinsic_nodes", "true");
        end_element();
    }
    for (const auto& file : files) {
        begin_element("ovrel_code");
        attribute("file_name", COMPILER::relative_source_path(path_.c_str(), file.second.c_str()).c_str());
        end_element();
    }
}

void Xml_graph_library_writer::write_compound(const Compage_node_class& compound)
{
    begin_element("compage");
    attribute("name", compound.name());
    for (const Parameter& input : compound.interface_inputs)
        write_class_parameter("input", input);
    for (const Parameter& output : compound.interface_outputs)
        write_class_parameter("output", output);
    write_text("\n");
    write_nodes(compound.inner_nodes);
    end_element();
    write_text("\n");
}

void Xml_graph_library_writer::write_class_parameter(const char* element, const Parameter& parameter)
{
    begin_element(element);
    attribute("name", parameter.name());
    attribute("type", parameter.type_name_text());
    if (parameter.array_size() != 1)
        attribute("array_size", int32_t(parameter.array_size()));
    write_value(parameter, parameter.value);
    end_element();
}

void Xml_graph_library_writer::write_nodes(const std::vector<Graph_node*>& nodes)
{
    for (const Graph_node* node : sorted_nodes(nodes))
        write_node(*node);
}

void Xml_graph_library_writer::write_node(const Graph_node& node)
{
    const Graph_node_class* node_class = node.node_class();
    begin_element("node");
    attribute("name", node.name.c_str());
    attribute("class", node_class ? node_class->name() : "");
    for (const Parameter& input : node.inputs) {
        begin_element("input");
        attribute("name", input.name());
        if (!node_class || find_parameter(node_class->inputs, input.name()) < 0) {
            attribute("type", input.type_name_text());
            if (input.array_size() != 1)
                attribute("array_size", int32_t(input.array_size()));
        }
        write_value(input, input.value);
        write_attachments(input, false);
        end_element();
    }
    for (const Parameter& output : node.outputs) {
        begin_element("output");
        attribute("name", output.name());
        write_value(output, output.value);
        write_attachments(output, true);
        end_element();
    }
    if (hooks_.gui) {
        begin_element("gui_data");
        COMPILER::Gui_data_writer data(this);
        hooks_.gui(hooks_.gui_context, const_cast<Graph_node*>(&node), &data);
        data.close_open_elements();
        end_element();
    }
    end_element();
}

void Xml_graph_library_writer::write_attachments(const Parameter& parameter, bool interface_only)
{
    for (const Attachment& attachment : parameter.attachments) {
        if (interface_only && attachment.target_node)
            continue;
        begin_element("attachment");
        if (!attachment.member_name.empty())
            attribute("member_name", attachment.member_name.c_str());
        if (!attachment.target_name.empty())
            attribute("target_name", attachment.target_name.c_str());
        if (attachment.target_node)
            attribute("target_node", attachment.target_node->name.c_str());
        end_element();
    }
}

void Xml_graph_library_writer::write_value(const Type& type, const void* block)
{
    if (!block)
        return;
    if (!type.is_array()) {
        if (type.is_struct())
            write_struct_value(type, block);
        else
            attribute("value", value_text(type, block).c_str());
        return;
    }
    const uint32_t step = element_size(type);
    const bool unsized = type.array_size() == 0;
    const uint32_t count = unsized ? unsized_count(block) : type.array_size();
    const char* elements = unsized ? unsized_elements(block) : static_cast<const char*>(block);
    for (uint32_t i = 0; elements && i < count; ++i)
        write_element_value(type, elements + size_t(i) * step);
}

// One element of type, whatever its array size, as a child element.
void Xml_graph_library_writer::write_element_value(const Type& type, const void* element)
{
    if (type.is_struct()) {
        write_struct_value(type, element);
        return;
    }
    begin_element("simple_value");
    attribute("value", value_text(type, element).c_str());
    end_element();
}

void Xml_graph_library_writer::write_struct_value(const Type& type, const void* block)
{
    begin_element("struct_value");
    // A type that a host made may nest without end: deeper members are left out.
    const Type* first = ++struct_depth_ <= uint32_t(MAX_STRUCT_NESTING) ? type.first_member() : nullptr;
    for (const Type* member = first; member; member = member->next_member()) {
        uint32_t offset = 0;
        type.find_member(member->name(), &offset);
        begin_element("member_value");
        attribute("name", member->name());
        const char* bytes = static_cast<const char*>(block) + offset;
        if (member->is_array())
            write_value(*member, bytes);
        else
            write_element_value(*member, bytes);
        end_element();
    }
    --struct_depth_;
    end_element();
}

// ---------------------------------------------------------------------------------------------
// Reader

// One level of a value being read: where the next element goes and how far it may go.
struct Xml_graph_library_reader::Frame {
    const Type* type = nullptr;  // null: a level that takes nothing (an unknown member)
    char* write = nullptr;       // fixed places: the next element
    char* limit = nullptr;
    bool is_struct = false;      // inside a struct_value: members, not elements
    char* header = nullptr;      // unsized: the count and pointer to fill when the level closes
    std::vector<char> gathered;  // unsized: the elements so far
};

Xml_graph_library_reader::Xml_graph_library_reader(Graph_library* library, Graph_class_resolver* resolver,
                                                   const Graph_read_hooks& hooks)
    : library_(library ? library : new Graph_library), resolver_(resolver), hooks_(hooks)
{
    for (const Graph_node_class* node_class : library_->velar_classes)
        enter_types(*node_class);
    for (const Graph_node_class* node_class : library_->compage_classes)
        enter_types(*node_class);
    for (Graph_node* node : library_->nodes)
        top_nodes_.emplace(node->name, node);
}

Xml_graph_library_reader::~Xml_graph_library_reader()
{
    while (!frames_.empty())
        pop_frame();
    if (value_block_ && value_type_)
        free_value(*value_type_, value_block_);
    if (compound_) {
        // A cut-off file: what was read of the compound stays.
        library_->add_compage_class(compound_.release());
    }
}

void Xml_graph_library_reader::setup_parser(XML_Parser parser)
{
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, &on_start, &on_end);
}

void XMLCALL Xml_graph_library_reader::on_start(void* data, const char* name, const char** attributes)
{
    static_cast<Xml_graph_library_reader*>(data)->start_element(name, attributes);
}

void XMLCALL Xml_graph_library_reader::on_end(void* data, const char* name)
{
    static_cast<Xml_graph_library_reader*>(data)->end_element(name);
}

void Xml_graph_library_reader::start_element(const char* name, const char** attributes)
{
    if (capture_) {
        capture_->start_element(name, attributes);
    } else if (std::strcmp(name, "ovrel_code") == 0) {
        start_ovrel_code(attributes);
    } else if (std::strcmp(name, "compage") == 0) {
        start_compage(attributes);
    } else if (std::strcmp(name, "node") == 0) {
        start_node(attributes);
    } else if (skipping_) {
        return;
    } else if (std::strcmp(name, "input") == 0 || std::strcmp(name, "output") == 0) {
        start_parameter(name[0] == 'i', attributes);
    } else if (std::strcmp(name, "attachment") == 0) {
        start_attachment(attributes);
    } else if (std::strcmp(name, "simple_value") == 0) {
        start_simple_value(attributes);
    } else if (std::strcmp(name, "gui_data") == 0 || std::strcmp(name, "render_data") == 0) {
        capture_ = std::make_unique<COMPILER::Capture>(name, attributes);
    } else if (std::strcmp(name, "struct_value") == 0) {
        start_struct_value();
    } else if (std::strcmp(name, "member_value") == 0) {
        start_member_value(attributes);
    }
}

void Xml_graph_library_reader::end_element(const char* name)
{
    if (capture_) {
        if (!capture_->end_element(name))
            return;
        std::string text = capture_->text();
        const bool gui = capture_->root().name == "gui_data";
        capture_.reset();
        if (gui && hooks_.gui && node_)
            hooks_.gui(hooks_.gui_context, node_, text.c_str());
        else if (!gui && hooks_.render)
            hooks_.render(hooks_.render_context, text.c_str());
    } else if (std::strcmp(name, "compage") == 0) {
        if (compound_)
            library_->add_compage_class(compound_.release());
        inner_nodes_.clear();
    } else if (std::strcmp(name, "input") == 0 || std::strcmp(name, "output") == 0) {
        end_parameter();
    } else if (std::strcmp(name, "node") == 0) {
        end_parameter();
        node_ = nullptr;
        skipping_ = false;
    } else if (std::strcmp(name, "struct_value") == 0 || std::strcmp(name, "member_value") == 0) {
        pop_frame();
    }
}

void Xml_graph_library_reader::start_ovrel_code(const char** attributes)
{
    if (const char* file = find_attribute(attributes, "file_name")) {
        compile_source(COMPILER::resolve_source_path(file_name().c_str(), file));
        return;
    }
    const char* intrinsic = find_attribute(attributes, "intrinsic_nodes");
    if (!intrinsic || std::strcmp(intrinsic, "true") != 0)
        return;
    if (resolver_ && resolver_->provides_intrinsics())
        return;
    library_->add_intrinsic_classes();
}

void Xml_graph_library_reader::compile_source(const std::string& path)
{
    if (!source_seen_.insert(path).second)
        return;
    SYNTAX_TREE::Error_list errors;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit(
        COMPILER::mod_compiler ? COMPILER::mod_compiler->compile_file(path.c_str(), &errors) : nullptr);
    // Kept apart from the graph file's own: a source that cannot be opened is no reason to give
    // up the graph, and each record's line is one of the source.
    if (unit)
        errors.insert(errors.end(), unit->errors().begin(), unit->errors().end());
    if (!errors.empty())
        source_errors_.emplace_back(path, std::move(errors));
    if (!unit)
        return;
    auto source = std::make_shared<Compiled_source>(unit, path);
    for (int32_t i = 0; i < unit->shader_count(); ++i) {
        const SYNTAX_TREE::Shader_declaration* shader = unit->shader_at(i);
        if (shader)
            library_->add_velar_class(new Velar_node_class(source, shader->name.c_str()));
    }
    for (int32_t i = 0; i < unit->named_type_count(); ++i) {
        const SYNTAX_TREE::Named_type* type = unit->named_type_at(i);
        if (type && type->is_struct() && type->type_name_text()) {
            std::unique_ptr<Type> whole(type->clone());
            complete_struct_members(*whole, *unit);
            local_types_.emplace(type->type_name_text(), std::move(whole));
        }
    }
}

// The source file and struct types of a class already in the library: seen, and shared.
void Xml_graph_library_reader::enter_types(const Graph_node_class& node_class)
{
    std::string file;
    node_class.file_name(file);
    if (!file.empty())
        source_seen_.insert(file);
    auto enter = [&](const Parameter_list& list) {
        for (const Parameter& parameter : list)
            if (parameter.is_struct() && parameter.type_name_text()) {
                std::unique_ptr<Type> type(parameter.clone());
                type->set_array_size(1);
                local_types_.emplace(parameter.type_name_text(), std::move(type));
            }
    };
    enter(node_class.inputs);
    enter(node_class.outputs);
}

void Xml_graph_library_reader::start_compage(const char** attributes)
{
    if (compound_)
        library_->add_compage_class(compound_.release());
    compound_ = std::make_unique<Compage_node_class>(find_attribute(attributes, "name"));
    inner_nodes_.clear();
}

Graph_node_class* Xml_graph_library_reader::find_class(const char* name)
{
    if (Graph_node_class* found = library_->find_class(name))
        return found;
    if (compound_ && std::strcmp(compound_->name(), name) == 0)
        return nullptr;  // a compound cannot hold itself
    if (!resolver_)
        return nullptr;
    Graph_node_class* outside = resolver_->find_class(name);
    return outside ? adopt(outside) : nullptr;
}

// A class of the resolver, cloned into the library with every class its inner nodes use that
// the library lacks (compounds bring theirs in turn): the copies' inner nodes use the copies, so
// the library owns all it refers to. The walk is a work list: deep compounds cost no stack.
Graph_node_class* Xml_graph_library_reader::adopt(Graph_node_class* outside)
{
    // From each class met to the class the library will use for it: its own of that name, or a copy.
    Class_map copies;
    std::vector<const Graph_node_class*> wanted{outside};
    std::unordered_set<const Graph_node_class*> met{outside};
    for (size_t i = 0; i < wanted.size(); ++i) {
        const auto* compound = dynamic_cast<const Compage_node_class*>(wanted[i]);
        if (!compound)
            continue;
        for (const Graph_node* node : compound->inner_nodes) {
            const Graph_node_class* used = node->node_class();
            if (!used || !met.insert(used).second)
                continue;
            if (Graph_node_class* own = library_->find_class(used->name()))
                copies[used] = own;
            else
                wanted.push_back(used);
        }
    }
    std::vector<std::pair<Compage_node_class*, const Compage_node_class*>> compounds;
    for (const Graph_node_class* each : wanted) {
        Graph_node_class* copy = nullptr;
        if (const auto* compound = dynamic_cast<const Compage_node_class*>(each)) {
            // Filled below, once every class its nodes may use has its copy.
            auto* empty = new Compage_node_class(compound->name());
            compounds.emplace_back(empty, compound);
            copy = empty;
        } else {
            copy = each->clone();
        }
        if (copy)
            copies[each] = copy;
    }
    for (auto& [copy, compound] : compounds)
        copy->copy_from(compound, copies);
    for (const Graph_node_class* each : wanted) {
        auto copy = copies.find(each);
        if (copy == copies.end())
            continue;  // a class that cannot be cloned (its source is gone)
        auto* made = const_cast<Graph_node_class*>(copy->second);
        enter_types(*made);
        if (made->kind() == CLASS_COMPAGE)
            library_->add_compage_class(static_cast<Compage_node_class*>(made));
        else
            library_->add_velar_class(made);
    }
    auto found = copies.find(outside);
    return found == copies.end() ? nullptr : const_cast<Graph_node_class*>(found->second);
}

void Xml_graph_library_reader::start_node(const char** attributes)
{
    end_parameter();
    const char* class_name = find_attribute(attributes, "class");
    const char* node_name = find_attribute(attributes, "name");
    Graph_node_class* node_class = class_name ? find_class(class_name) : nullptr;
    if (!node_class) {
        GRAPH_FILE_LOG(CODE_NO_CLASS, "Can not find node class '%s', shader '%s' will be skipped",
                       or_unknown(class_name), or_unknown(node_name));
        node_ = nullptr;
        skipping_ = true;
        return;
    }
    skipping_ = false;
    node_ = node_class->create_node(node_name ? node_name : "");
    indexed_node_ = nullptr;
    if (compound_) {
        compound_->add_inner_node(node_);
        inner_nodes_.emplace(node_->name, node_);
    } else {
        library_->add_node(node_);
        top_nodes_.emplace(node_->name, node_);
    }
}

const Type* Xml_graph_library_reader::find_type(const char* name)
{
    if (!name || !*name)
        return nullptr;
    if (compound_)
        if (const Type* local = compound_->find_local_type(name))
            return local;
    auto local = local_types_.find(name);
    if (local != local_types_.end())
        return local->second.get();
    int32_t code = SYNTAX_TREE::language_word_code(name);
    if (code <= 0)
        return nullptr;
    auto& builtin = builtin_types_[name];
    if (!builtin)
        builtin.reset(Type::builtin(uint8_t(code)));
    return builtin.get();
}

void Xml_graph_library_reader::start_parameter(bool is_input, const char** attributes)
{
    end_parameter();
    if (node_)
        start_node_parameter(is_input, attributes);
    else if (compound_)
        start_compage_parameter(is_input, attributes);
    else
        return;
    Parameter* parameter = current_parameter();
    const char* value = find_attribute(attributes, "value");
    if (!parameter || !value || parameter->is_array() || parameter->is_struct())
        return;
    if (!value_root())
        return;
    parse_value_text(*parameter, value, value_block_);
}

void Xml_graph_library_reader::start_node_parameter(bool is_input, const char** attributes)
{
    const char* name = find_attribute(attributes, "name");
    Parameter_list& list = is_input ? node_->inputs : node_->outputs;
    auto& index = node_index(is_input);
    if (!index.count(name ? name : "")) {
        const Graph_node_class* node_class = node_->node_class();
        const bool of_class = node_class && find_parameter(is_input ? node_class->inputs : node_class->outputs, name) >= 0;
        const char* type_name = find_attribute(attributes, "type");
        const Type* type = of_class ? nullptr : find_type(type_name);
        if (!type) {
            GRAPH_FILE_LOG(CODE_NO_PARAMETER, "Can not find %s parameter '%s'", is_input ? "input" : "output",
                           or_unknown(name));
            return;
        }
        std::unique_ptr<Type> copy(type->clone());
        if (const char* size = find_attribute(attributes, "array_size"))
            copy->set_array_size(uint32_t(std::strtoul(size, nullptr, 10)));
        list.emplace_back(name, *copy);
        add_to_node_index(is_input, name);
    }
    parameter_name_ = name ? name : "";
    parameter_open_ = true;
    parameter_is_input_ = is_input;
    parameter_on_interface_ = false;
    parameter_index_ = -1;
    find_current_parameter();
}

Xml_graph_library_reader::Name_index& Xml_graph_library_reader::node_index(bool is_input)
{
    Node_index& index = is_input ? node_inputs_ : node_outputs_;
    const Parameter_list& list = is_input ? node_->inputs : node_->outputs;
    if (indexed_node_ != node_) {
        indexed_node_ = node_;
        node_inputs_ = Node_index();
        node_outputs_ = Node_index();
    }
    // Built on first need, and again should the list have changed other than through this reader.
    if (index.size != list.size() || (index.names.empty() && !list.empty())) {
        index = Node_index();
        for (size_t i = 0; i < list.size(); ++i) {
            auto placed = index.names.emplace(list[i].name() ? list[i].name() : "", Places{int32_t(i), int32_t(i)});
            placed.first->second.last = int32_t(i);
        }
        index.size = list.size();
    }
    return index.names;
}

void Xml_graph_library_reader::add_to_node_index(bool is_input, const char* name)
{
    Node_index& index = is_input ? node_inputs_ : node_outputs_;
    const int32_t at = int32_t(index.size);
    auto placed = index.names.emplace(name ? name : "", Places{at, at});
    placed.first->second.last = at;
    ++index.size;
}

void Xml_graph_library_reader::start_compage_parameter(bool is_input, const char** attributes)
{
    const char* type_name = find_attribute(attributes, "type");
    const Type* type = find_type(type_name);
    if (!type) {
        GRAPH_FILE_LOG(CODE_NO_COMPAGE_TYPE, "Can not find parameter '%s' to add to compage", or_unknown(type_name));
        return;
    }
    std::unique_ptr<Type> copy(type->clone());
    if (const char* size = find_attribute(attributes, "array_size"))
        copy->set_array_size(uint32_t(std::strtoul(size, nullptr, 10)));
    const char* name = find_attribute(attributes, "name");
    compound_->add_parameter(is_input, Parameter(name, *copy));
    parameter_name_ = name ? name : "";
    parameter_open_ = true;
    parameter_is_input_ = is_input;
    parameter_on_interface_ = true;
    parameter_index_ = -1;
    find_current_parameter();
}

Parameter* Xml_graph_library_reader::current_parameter()
{
    if (!parameter_open_ || parameter_index_ < 0)
        return nullptr;
    Parameter_list& list = parameter_on_interface_ ? (parameter_is_input_ ? compound_->interface_inputs
                                                                          : compound_->interface_outputs)
                                                   : (parameter_is_input_ ? node_->inputs : node_->outputs);
    return &list[size_t(parameter_index_)];
}

Parameter* Xml_graph_library_reader::find_current_parameter()
{
    if (!parameter_open_)
        return nullptr;
    Parameter_list* list = nullptr;
    if (parameter_on_interface_ && compound_)
        list = parameter_is_input_ ? &compound_->interface_inputs : &compound_->interface_outputs;
    else if (!parameter_on_interface_ && node_)
        list = parameter_is_input_ ? &node_->inputs : &node_->outputs;
    if (!list)
        return nullptr;
    // The last of the name: an interface parameter added twice is read into the one just made.
    if (!parameter_on_interface_) {
        auto& index = node_index(parameter_is_input_);
        auto found = index.find(parameter_name_);
        parameter_index_ = found == index.end() ? -1 : found->second.last;
        return parameter_index_ < 0 ? nullptr : &(*list)[size_t(parameter_index_)];
    }
    for (size_t i = list->size(); i-- > 0;)
        if (std::strcmp((*list)[i].name() ? (*list)[i].name() : "", parameter_name_.c_str()) == 0) {
            parameter_index_ = int32_t(i);
            return &(*list)[i];
        }
    return nullptr;
}

void Xml_graph_library_reader::start_attachment(const char** attributes)
{
    const char* member = find_attribute(attributes, "member_name");
    const char* target_name = find_attribute(attributes, "target_name");
    const char* target_node = find_attribute(attributes, "target_node");
    Parameter* parameter = current_parameter();
    if (!parameter || !node_) {
        GRAPH_FILE_LOG(parameter_is_input_ ? CODE_NO_ATTACHMENT_PARAMETER : CODE_NO_PARAMETER,
                       "Unknown parameter for attachment to '%s'", or_unknown(target_name));
        return;
    }
    std::string path = parameter->name() ? parameter->name() : "";
    if (member && *member)
        path += std::string(".") + member;
    if (!parameter_is_input_) {
        if (compound_)
            compound_->attach_interface(target_name ? target_name : "", node_, path.c_str());
        return;
    }
    Graph_node* target = nullptr;
    if (target_node) {
        target = find_target(target_node);
        if (!target) {
            GRAPH_FILE_LOG(CODE_NO_TARGET, "Could not find target '%s' for attachment ", target_node);
            return;
        }
    }
    // The wire goes to the first input of the path's head, which the index knows when the
    // head is the parameter's whole name.
    Parameter* input = nullptr;
    if (path_split_index(parameter->name()) < 0) {
        auto& index = node_index(true);
        auto found = index.find(parameter->name() ? parameter->name() : "");
        input = found == index.end() ? nullptr : &node_->inputs[size_t(found->second.first)];
    } else {
        std::string head, tail;
        split_path(path.c_str(), head, tail);
        input = node_->find_input(head.c_str());
    }
    node_->attach(input, path.c_str(), target, target_name ? target_name : "");
}

Graph_node* Xml_graph_library_reader::find_target(const char* name)
{
    auto& nodes = compound_ ? inner_nodes_ : top_nodes_;
    auto found = nodes.find(name);
    return found == nodes.end() ? nullptr : found->second;
}

// The value block of the current parameter, made on first need, with its first level.
void* Xml_graph_library_reader::value_root()
{
    if (value_block_)
        return value_block_;
    Parameter* parameter = current_parameter();
    if (!parameter)
        return nullptr;
    value_type_.reset(parameter->clone());
    value_block_ = allocate_value(*value_type_);
    if (!value_block_)
        return nullptr;
    Frame frame;
    frame.type = value_type_.get();
    char* base = static_cast<char*>(value_block_);
    if (value_type_->array_size() == 0) {
        frame.header = base;
    } else {
        frame.write = base;
        frame.limit = base + value_type_->size();
    }
    frames_.push_back(std::move(frame));
    return value_block_;
}

// The place of the next element of the top level, or null when the level takes no more.
static char* next_element(std::vector<char>& gathered, char*& write, char* limit, bool unsized, uint32_t size)
{
    if (unsized) {
        if (gathered.size() + size > MAX_GATHERED_BYTES)
            return nullptr;
        gathered.resize(gathered.size() + size, 0);
        return gathered.data() + gathered.size() - size;
    }
    if (!write || size == 0 || limit - write < ptrdiff_t(size))
        return nullptr;
    char* place = write;
    write += size;
    return place;
}

void Xml_graph_library_reader::start_simple_value(const char** attributes)
{
    if (!value_root() || frames_.empty())
        return;
    Frame& top = frames_.back();
    if (!top.type || top.is_struct || top.type->is_struct())
        return;
    char* place = next_element(top.gathered, top.write, top.limit, top.header != nullptr, element_size(*top.type));
    if (place)
        parse_value_text(*top.type, find_attribute(attributes, "value"), place);
}

void Xml_graph_library_reader::start_struct_value()
{
    Frame frame;
    if (value_root() && !frames_.empty() && frames_.size() < MAX_VALUE_DEPTH) {
        Frame& top = frames_.back();
        if (top.type && !top.is_struct && top.type->is_struct()) {
            const uint32_t size = element_size(*top.type);
            char* place = next_element(top.gathered, top.write, top.limit, top.header != nullptr, size);
            if (place) {
                frame.type = top.type;
                frame.is_struct = true;
                frame.write = place;
                frame.limit = place + size;
            }
        }
    }
    frames_.push_back(std::move(frame));
}

void Xml_graph_library_reader::start_member_value(const char** attributes)
{
    Frame frame;
    if (!frames_.empty() && frames_.size() < MAX_VALUE_DEPTH) {
        Frame& top = frames_.back();
        uint32_t offset = 0;
        uint32_t size = 0;
        const char* name = find_attribute(attributes, "name");
        const Type* member = top.type && top.is_struct && name ? top.type->find_member(name, &offset, &size) : nullptr;
        if (member && ptrdiff_t(offset) + ptrdiff_t(size) <= top.limit - top.write) {
            frame.type = member;
            if (member->array_size() == 0) {
                frame.header = top.write + offset;
            } else {
                frame.write = top.write + offset;
                frame.limit = frame.write + size;
            }
        }
    }
    frames_.push_back(std::move(frame));
}

// Closes the top level; an unsized level hands its elements to its place in the block.
void Xml_graph_library_reader::pop_frame()
{
    if (frames_.empty())
        return;
    Frame& top = frames_.back();
    if (top.header) {
        const uint32_t step = element_size(*top.type);
        uint32_t count = step ? uint32_t(top.gathered.size() / step) : 0;
        // The place may hold elements already, from a second list for the same value.
        char* old_elements = const_cast<char*>(unsized_elements(top.header));
        if (old_elements) {
            Type whole(*top.type);
            // Freed through a copy of the header, so the block itself stays.
            void* header_copy = allocate_bytes(whole.size());
            std::memcpy(header_copy, top.header, 16);
            free_value(whole, header_copy);
        }
        char* elements = nullptr;
        if (count) {
            elements = static_cast<char*>(allocate_bytes(top.gathered.size()));
            std::memcpy(elements, top.gathered.data(), top.gathered.size());
        }
        std::memcpy(top.header, &count, sizeof count);
        std::memcpy(top.header + 8, &elements, sizeof elements);
    }
    frames_.pop_back();
}

void Xml_graph_library_reader::end_parameter()
{
    while (!frames_.empty())
        pop_frame();
    Parameter* parameter = current_parameter();
    if (value_block_ && parameter) {
        if (parameter_on_interface_) {
            parameter->set_value(value_block_);
            Parameter_list& base = parameter_is_input_ ? compound_->inputs : compound_->outputs;
            for (size_t i = base.size(); i-- > 0;)
                if (std::strcmp(base[i].name() ? base[i].name() : "", parameter_name_.c_str()) == 0) {
                    compound_->set_value(base[i], value_block_);
                    break;
                }
        } else {
            node_->set_value(*parameter, value_block_);
        }
    }
    if (value_block_)
        free_value(*value_type_, value_block_);
    value_block_ = nullptr;
    value_type_.reset();
    parameter_open_ = false;
}

// ---------------------------------------------------------------------------------------------
// Library files

namespace {

Graph_library* finish_read(Xml_graph_library_reader& reader, bool opened, SYNTAX_TREE::Error_list* errors,
                           File_errors* by_file, const std::string& name)
{
    if (errors) {
        errors->insert(errors->end(), reader.errors().begin(), reader.errors().end());
        for (const auto& source : reader.source_errors())
            errors->insert(errors->end(), source.second.begin(), source.second.end());
    }
    if (by_file) {
        if (!reader.errors().empty())
            by_file->emplace_back(name, reader.errors());
        by_file->insert(by_file->end(), reader.source_errors().begin(), reader.source_errors().end());
    }
    return opened ? reader.library() : nullptr;
}

bool nothing_to_read(const Xml_graph_library_reader& reader)
{
    for (const auto& error : reader.errors())
        if (error.number == SYNTAX_TREE::DIAG_UNABLE_TO_OPEN_FILE || error.number == SYNTAX_TREE::DIAG_EMPTY_XOVL)
            return true;
    return false;
}

}  // namespace

Graph_library* load_file(const char* path, Graph_class_resolver* resolver, SYNTAX_TREE::Error_list* errors,
                         const Graph_read_hooks& hooks, Graph_library* into, File_errors* by_file)
{
    std::unique_ptr<Graph_library> made(into ? nullptr : new Graph_library);
    Xml_graph_library_reader reader(into ? into : made.get(), resolver, hooks);
    const bool parsed = reader.parse_file(path);
    const bool opened = parsed && !nothing_to_read(reader);
    Graph_library* library = finish_read(reader, opened, errors, by_file, path ? path : "");
    if (!library)
        return nullptr;
    library->file_name = reader.file_name();
    made.release();
    return library;
}

Graph_library* load_string(const char* text, Graph_class_resolver* resolver, SYNTAX_TREE::Error_list* errors,
                           const Graph_read_hooks& hooks, Graph_library* into, File_errors* by_file)
{
    std::unique_ptr<Graph_library> made(into ? nullptr : new Graph_library);
    Xml_graph_library_reader reader(into ? into : made.get(), resolver, hooks);
    reader.parse_string(text);
    Graph_library* library = finish_read(reader, !nothing_to_read(reader), errors, by_file, "unknown file");
    if (library)
        made.release();
    return library;
}

bool Graph_library::save(const char* path, const Graph_write_hooks* hooks)
{
    return Xml_graph_library_writer::write(*this, path, hooks ? *hooks : Graph_write_hooks());
}

}  // namespace GRAPH
}  // namespace QZ

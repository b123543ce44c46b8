#include "graph/node_class.h"

#include <algorithm>
#include <cstring>

#include "graph/constant_value.h"
#include "graph/graph_node.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

namespace {

const char* text_or_empty(const char* text) { return text ? text : ""; }

template <typename List, typename Item>
void insert_clamped(List& list, uint32_t index, const Item& item)
{
    list.insert(list.begin() + std::min<size_t>(index, list.size()), item);
}

bool remove_by_name(Parameter_list& list, const char* name)
{
    int32_t index = find_parameter(list, name);
    if (index < 0)
        return false;
    list.erase(list.begin() + index);
    return true;
}

Parameter without_attachments(const Parameter& parameter)
{
    Parameter copy(parameter);
    copy.attachments.clear();
    return copy;
}

// ORDER: as the language's words are checked; a match is wrapped in underscores.
const char* const reserved_words[] = {
    "default",   "auto",      "register",  "static",    "extern",    "mutable",      "global",    "void",
    "String",    "Bool",      "Int",       "Scalar",    "Color",     "Vector2",      "Vector3",   "Vector4",
    "Vector2i",  "Vector3i",  "Vector4i",  "Vector2b",  "Vector3b",  "Vector4b",     "Matrix2x2", "Matrix2x3",
    "Matrix3x2", "Matrix3x3", "Matrix4x3", "Matrix3x4", "Matrix4x4", "Matrix4x2",    "Matrix2x4", "Texture1d",
    "Texture2d", "Texture3d", "Texture_cube", "native", "operator",  "in",           "out",       "inout",
    "enum",      "public",    "private",   "protected", "class",     "struct",       "union",     "shader",
    "technique", "brdf",      "if",        "else",      "while",     "do",           "for",       "foreach",
    "continue",  "break",     "return",    "switch",    "case",      "true",         "false",
};

// ASCII only: bytes of other encodings are no letters of the language.
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The INIT_IDENTIFIER's initial value, if it has one.
const St_node* initializer_of(const St_node& name)
{
    for (const St_node* child = name.first_child; child; child = child->next_sibling)
        if (child->kind != NODE_ARRAY_SPECIFIER && child->kind != NODE_ANNOTATION_BLOCK)
            return child;
    return nullptr;
}

// One parameter per declared name of the declarations, in order.
void read_parameters(const std::vector<St_node*>& declarations, const Compilation_unit& unit, Parameter_list& list)
{
    for (const St_node* declaration : declarations) {
        const St_node* names = declaration->find_child(NODE_INIT_IDENTIFIER_LIST);
        for (const St_node* name = names ? names->first_child : nullptr; name; name = name->next_sibling) {
            if (name->kind != NODE_INIT_IDENTIFIER)
                continue;
            const Type* type = unit.type_at(name->type_index);
            std::unique_ptr<Type> completed;
            if (type && type->is_struct()) {
                completed.reset(type->clone());
                complete_struct_members(*completed, unit);
                type = completed.get();
            }
            Parameter parameter = type ? Parameter(std::string(name->text_view()).c_str(), *type)
                                       : Parameter(std::string(name->text_view()).c_str(), TYPE_ILLEGAL);
            // The constructor form x(1, 2) hands over its argument list.
            if (const St_node* initial = initializer_of(*name))
                if (parameter.value)
                    evaluate_constant(initial, parameter, unit, parameter.value);
            read_annotation_block(name->find_child(NODE_ANNOTATION_BLOCK), unit, parameter.annotations);
            list.push_back(std::move(parameter));
        }
    }
}

}  // namespace

std::string make_identifier(const char* text)
{
    if (!text || !*text)
        return "_";
    std::string result;
    if (!is_letter(text[0]))
        result = "_";
    for (const char* p = text; *p; ++p)
        result += is_letter(*p) || is_digit(*p) ? *p : '_';
    for (const char* word : reserved_words)
        if (result == word)
            return "_" + result + "_";
    return result;
}

// ---------------------------------------------------------------------------------------------
// Compiled sources

Compiled_source::Compiled_source(std::shared_ptr<Compilation_unit> unit, std::string file_path)
    : unit_(std::move(unit)), file_path_(std::move(file_path))
{
}

Compiled_source::~Compiled_source() = default;

void Compiled_source::remove_class(Velar_node_class* node_class)
{
    auto found = std::find(classes_.rbegin(), classes_.rend(), node_class);
    if (found != classes_.rend())
        classes_.erase(std::next(found).base());
}

void Compiled_source::set_unit(std::shared_ptr<Compilation_unit> unit)
{
    unit_ = std::move(unit);
    std::vector<Velar_node_class*> classes = classes_;
    for (Velar_node_class* node_class : classes)
        node_class->refresh_from_unit();
}

void Compiled_source::drop_classes(const std::shared_ptr<Compiled_source>& source)
{
    if (!source)
        return;
    std::shared_ptr<Compiled_source> keep = source;
    std::vector<Velar_node_class*> classes;
    classes.swap(keep->classes_);
    for (Velar_node_class* node_class : classes)
        node_class->lose_source();
}

// ---------------------------------------------------------------------------------------------
// The base

Graph_node_class::~Graph_node_class()
{
    for (Graph_node* node : instances_)
        node->node_class_ = nullptr;
}

void Graph_node_class::add_parameter(bool is_input, const Parameter& parameter)
{
    // Only the interface of a compound carries attachments.
    list(is_input).push_back(without_attachments(parameter));
    if (observer)
        observer->parameter_added(this, !is_input, parameter.name());
}

void Graph_node_class::insert_parameter(bool is_input, uint32_t index, const Parameter& parameter)
{
    insert_clamped(list(is_input), index, without_attachments(parameter));
    // Hosts count on being told twice by this path.
    if (observer) {
        observer->parameter_added(this, !is_input, parameter.name());
        observer->parameter_added(this, !is_input, parameter.name());
    }
}

void Graph_node_class::remove_parameter(bool is_input, const char* name)
{
    const std::string removed = text_or_empty(name);
    if (remove_by_name(list(is_input), removed.c_str()) && observer)
        observer->parameter_removed(this, !is_input, removed.c_str());
}

Graph_node* Graph_node_class::create_node(const char* name)
{
    Graph_node* node = new Graph_node(name, this);
    node->inputs = inputs;
    node->outputs = outputs;
    node->note_targets();
    nodes.push_back(node);
    if (observer)
        observer->node_created(this, node);
    return node;
}

void Graph_node_class::remove_node(Graph_node* node)
{
    // Nodes go in the reverse order of creation more often than not.
    auto found = std::find(nodes.rbegin(), nodes.rend(), node);
    if (found != nodes.rend())
        nodes.erase(std::next(found).base());
}

void Graph_node_class::sync_nodes()
{
    std::vector<Graph_node*> current = nodes;
    for (Graph_node* node : current)
        node->sync_with_class();
}

bool Graph_node_class::is_trivial() const { return false; }

void Graph_node_class::set_value(Parameter& parameter, const void* bytes)
{
    if (observer)
        observer->class_value_changed(this, 0, parameter.name());
    parameter.set_value(bytes);
}

// ---------------------------------------------------------------------------------------------
// Classes of a compiled shader

Velar_node_class::Velar_node_class(std::shared_ptr<Compiled_source> source, const char* name)
    : name_(text_or_empty(name)), source_(std::move(source))
{
    if (source_)
        source_->add_class(this);
    rebuild_from_unit();
}

Velar_node_class::~Velar_node_class()
{
    if (source_)
        source_->remove_class(this);
}

void Velar_node_class::set_name(const char* name)
{
    if (name)
        name_ = name;
}

Compilation_unit* Velar_node_class::compilation_unit() const { return source_ ? source_->unit() : nullptr; }

void Velar_node_class::file_name(std::string& out) const { out = source_ ? source_->file_path() : std::string(); }

void Velar_node_class::file_path(std::filesystem::path& out) const
{
    out = source_ ? source_->file_path() : std::string();
}

Graph_node_class* Velar_node_class::clone() const
{
    return source_ ? new Velar_node_class(source_, name_.c_str()) : nullptr;
}

void Velar_node_class::copy_from(const Graph_node_class* other, const Class_map&)
{
    if (const auto* velar = dynamic_cast<const Velar_node_class*>(other)) {
        if (velar != this && velar->source_ != source_) {
            if (source_)
                source_->remove_class(this);
            source_ = velar->source_;
            if (source_)
                source_->add_class(this);
        }
        name_ = velar->name_;
    }
    rebuild_from_unit();
    sync_nodes();
}

bool Velar_node_class::equals(const Graph_node_class* other, const Class_map&) const
{
    return other && other->kind() == CLASS_VELAR && std::strcmp(name(), other->name()) == 0;
}

bool Velar_node_class::has_no_file() const { return !source_ || source_->file_path().empty(); }

bool Velar_node_class::is_trivial() const
{
    const Compilation_unit* unit = compilation_unit();
    const Shader_declaration* shader = unit ? unit->find_shader(name_) : nullptr;
    if (!shader)
        return true;
    return shader->is_technique() || (shader->all_members().empty() && shader->all_methods().empty() && !shader->main_method);
}

void Velar_node_class::refresh_from_unit()
{
    const Compilation_unit* unit = compilation_unit();
    if (!unit || unit->error_count() > 0)
        return;
    rebuild_from_unit();
    sync_nodes();
}

void Velar_node_class::rebuild_from_unit()
{
    inputs.clear();
    outputs.clear();
    annotations.clear();
    const Compilation_unit* unit = compilation_unit();
    const Shader_declaration* shader = unit ? unit->find_shader(name_) : nullptr;
    if (!shader)
        return;
    read_parameters(shader->all_inputs(), *unit, inputs);
    read_parameters(shader->all_outputs(), *unit, outputs);
    if (shader->class_node)
        read_annotation_block(shader->class_node->find_child(NODE_ANNOTATION_BLOCK), *unit, annotations);
}

void Velar_node_class::lose_source() { source_.reset(); }

// ---------------------------------------------------------------------------------------------
// Compounds

Compage_node_class::Compage_node_class(const char* name) : name_(text_or_empty(name)) {}

Compage_node_class::~Compage_node_class()
{
    std::vector<Graph_node*> inner;
    inner.swap(inner_nodes);
    for (Graph_node* node : inner)
        delete node;
    for (Graph_node* target : targets_) {
        auto& holders = target->incoming_classes_;
        holders.erase(std::remove(holders.begin(), holders.end(), this), holders.end());
    }
    for (Graph_node* child : children_)
        child->parent_ = nullptr;
}

void Compage_node_class::set_name(const char* name)
{
    if (name)
        name_ = name;
}

Graph_node_class* Compage_node_class::clone() const
{
    auto* copy = new Compage_node_class(name_.c_str());
    copy->copy_from(this, Class_map{});
    return copy;
}

void Compage_node_class::copy_from(const Graph_node_class* other, const Class_map& remap)
{
    if (!other || other == this || other->kind() != CLASS_COMPAGE)
        return;
    const auto* source = dynamic_cast<const Compage_node_class*>(other);
    if (!source)
        return;

    std::vector<Graph_node*> old_nodes;
    old_nodes.swap(inner_nodes);
    for (Graph_node* node : old_nodes)
        delete node;

    Node_map map;
    for (const Graph_node* node : source->inner_nodes) {
        Graph_node* copy = node->clone();
        auto mapped = remap.find(node->node_class());
        if (node->node_class() && mapped != remap.end() && mapped->second)
            copy->set_node_class(const_cast<Graph_node_class*>(mapped->second));
        copy->set_parent(this);
        copy->owner_ = this;
        inner_nodes.push_back(copy);
        if (copy->node_class() && copy->node_class()->observer)
            copy->node_class()->observer->node_created(copy->node_class(), copy);
        if (observer)
            observer->compound_node_added(this, copy);
        map[node] = copy;
    }
    for (Graph_node* copy : inner_nodes)
        copy->remap_targets(map);

    interface_outputs = source->interface_outputs;
    interface_inputs = source->interface_inputs;
    inputs.clear();
    outputs.clear();
    for (const Parameter& parameter : source->inputs)
        inputs.push_back(without_attachments(parameter));
    for (const Parameter& parameter : source->outputs)
        outputs.push_back(without_attachments(parameter));
    for (Parameter_list* list : {&interface_inputs, &interface_outputs})
        for (Parameter& parameter : *list)
            for (Attachment& record : parameter.attachments) {
                auto found = map.find(record.target_node);
                if (record.target_node && found != map.end())
                    record.target_node = found->second;
            }
    note_interface_targets();
    annotations = source->annotations;
    local_types.clear();
    for (const auto& type : source->local_types)
        local_types.emplace_back(static_cast<Named_type*>(type->clone()));

    user_data.reset(source->user_data ? source->user_data->clone() : nullptr);
    sync_nodes();
}

bool Compage_node_class::equals(const Graph_node_class* other, const Class_map& visited) const
{
    auto found = visited.find(this);
    if (found != visited.end() && found->second == other)
        return true;
    if (!other || other->kind() != CLASS_COMPAGE)
        return false;
    return graph_classes_equal(this, other, visited);
}

void Compage_node_class::add_parameter(bool is_input, const Parameter& parameter)
{
    list(is_input).push_back(without_attachments(parameter));
    interface_list(is_input).push_back(parameter);
    note_interface_targets();
    if (observer)
        observer->parameter_added(this, !is_input, parameter.name());
}

void Compage_node_class::insert_parameter(bool is_input, uint32_t index, const Parameter& parameter)
{
    insert_clamped(list(is_input), index, without_attachments(parameter));
    insert_clamped(interface_list(is_input), index, parameter);
    note_interface_targets();
    if (observer)
        observer->parameter_added(this, !is_input, parameter.name());
}

void Compage_node_class::remove_parameter(bool is_input, const char* name)
{
    const std::string removed = text_or_empty(name);
    bool outer = remove_by_name(list(is_input), removed.c_str());
    bool inner = remove_by_name(interface_list(is_input), removed.c_str());
    if ((outer || inner) && observer)
        observer->parameter_removed(this, !is_input, removed.c_str());
}

void Compage_node_class::add_inner_node(Graph_node* node)
{
    if (!node || node->owner_)
        return;
    node->owner_ = this;
    inner_nodes.push_back(node);
    node->set_parent(this);
    if (observer)
        observer->compound_node_added(this, node);
}

bool Compage_node_class::remove_inner_node(Graph_node* node)
{
    auto found = std::find(inner_nodes.begin(), inner_nodes.end(), node);
    if (!node || found == inner_nodes.end())
        return false;
    node->detach_all();
    inner_nodes.erase(std::find(inner_nodes.begin(), inner_nodes.end(), node));
    delete node;
    return true;
}

bool Compage_node_class::holds(const Graph_node* node) const
{
    return std::find(inner_nodes.begin(), inner_nodes.end(), node) != inner_nodes.end();
}

Graph_node* Compage_node_class::find_inner_node(const char* name) const
{
    const char* wanted = text_or_empty(name);
    for (Graph_node* node : inner_nodes)
        if (node->name == wanted)
            return node;
    return nullptr;
}

void Compage_node_class::attach_interface(const char* interface_output, Graph_node* source, const char* source_name)
{
    if (!interface_output || !source_name)
        return;
    std::string head, member;
    split_path(interface_output, head, member);
    int32_t index = find_parameter(interface_outputs, head.c_str());
    if (index >= 0) {
        interface_outputs[size_t(index)].attachments.push_back(Attachment{member, source, source_name});
        note_target(source);
    }
    std::string far_head, far_member;
    split_path(source_name, far_head, far_member);
    Parameter_list& far_list = source ? source->outputs : interface_inputs;
    int32_t far = find_parameter(far_list, far_head.c_str());
    if (far >= 0)
        far_list[size_t(far)].attachments.push_back(Attachment{far_member, nullptr, interface_output});
}

const Named_type* Compage_node_class::find_local_type(const char* name) const
{
    const char* wanted = text_or_empty(name);
    for (const auto& type : local_types)
        if (std::strcmp(text_or_empty(type->name()), wanted) == 0)
            return type.get();
    return nullptr;
}

void Compage_node_class::note_target(Graph_node* target)
{
    if (!target)
        return;
    if (targets_.insert(target).second)
        target->incoming_classes_.push_back(this);
}

void Compage_node_class::note_interface_targets()
{
    for (Parameter_list* list : {&interface_inputs, &interface_outputs})
        for (Parameter& parameter : *list)
            for (Attachment& record : parameter.attachments)
                note_target(record.target_node);
}

void Compage_node_class::forget_target(Graph_node* target)
{
    for (Parameter_list* list : {&interface_inputs, &interface_outputs, &inputs, &outputs})
        for (Parameter& parameter : *list) {
            auto& records = parameter.attachments;
            records.erase(std::remove_if(records.begin(), records.end(),
                                         [&](const Attachment& record) { return record.target_node == target; }),
                          records.end());
        }
    targets_.erase(target);
}

}  // namespace GRAPH
}  // namespace QZ

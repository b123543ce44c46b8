#include "graph/graph_node.h"

#include <algorithm>
#include <cstring>

#include "graph/value_block.h"
#include "log/mod_log.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "system/module.h"

namespace QZ {
namespace GRAPH {

namespace {

const char* text_or_empty(const char* text) { return text ? text : ""; }

// Removes the first record of member (a null member matches the whole parameter).
bool remove_record(Parameter& parameter, const std::string& member)
{
    auto& records = parameter.attachments;
    auto found = std::find_if(records.begin(), records.end(),
                              [&](const Attachment& record) { return record.member_name == member; });
    if (found == records.end())
        return false;
    records.erase(found);
    return true;
}

// Removes the far end of a wire: the first record of member that points back at node, with its
// path when one matches. A record that points elsewhere belongs to another wire and stays.
void remove_far_record(Parameter* parameter, const std::string& member, const Graph_node* node,
                       const std::string& path)
{
    if (!parameter)
        return;
    auto& records = parameter->attachments;
    auto matches = [&](const Attachment& record, bool with_path) {
        return record.member_name == member && record.target_node == node && (!with_path || record.target_name == path);
    };
    auto found = std::find_if(records.begin(), records.end(), [&](const Attachment& r) { return matches(r, true); });
    if (found == records.end())
        found = std::find_if(records.begin(), records.end(), [&](const Attachment& r) { return matches(r, false); });
    if (found != records.end())
        records.erase(found);
}

Parameter* find_in(Parameter_list& list, const char* name)
{
    int32_t index = find_parameter(list, name);
    return index >= 0 ? &list[size_t(index)] : nullptr;
}

// The text of a parameter head and member as a path again.
std::string join_path(const std::string& head, const std::string& member)
{
    if (member.empty())
        return head;
    return member[0] == '[' ? head + member : head + "." + member;
}

// Sorts list and drops repeats, in place.
template <typename T>
std::vector<T*>& distinct(std::vector<T*>& list)
{
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    return list;
}

template <typename T>
void erase_all(std::vector<T*>& list, const void* item)
{
    list.erase(std::remove(list.begin(), list.end(), item), list.end());
}

bool is_state_variable(const char* name)
{
    return SYNTAX_TREE::mod_syntax_tree && SYNTAX_TREE::mod_syntax_tree->state_variable_index(name) >= 0;
}

}  // namespace

int32_t path_split_index(const char* path)
{
    if (!path)
        return -1;
    int32_t depth = 0;
    for (int32_t i = 0; path[i]; ++i) {
        char c = path[i];
        if (c == '{')
            ++depth;
        else if (c == '}')
            --depth;
        else if (depth == 0 && (c == '.' || c == '['))
            return i;
    }
    return -1;
}

void split_path(const char* path, std::string& head, std::string& tail)
{
    head.clear();
    tail.clear();
    if (!path)
        return;
    int32_t index = path_split_index(path);
    if (index <= 0) {
        head = path;
        return;
    }
    head.assign(path, size_t(index));
    tail = path + index + (path[index] == '.' ? 1 : 0);
}

// ---------------------------------------------------------------------------------------------
// Life

Graph_node::Graph_node(const char* node_name, Graph_node_class* node_class) : name(text_or_empty(node_name))
{
    set_node_class(node_class);
}

Graph_node::~Graph_node()
{
    for (Graph_node* neighbour : distinct(neighbours_))
        if (neighbour != this) {
            neighbour->scrub_target(this);
            erase_all(neighbour->neighbours_, this);
        }
    for (Compage_node_class* holder : distinct(incoming_classes_))
        holder->forget_target(this);
    set_node_class(nullptr);
    if (parent_) {
        auto& inner = parent_->inner_nodes;
        auto found = std::find(inner.rbegin(), inner.rend(), this);
        if (found != inner.rend())
            inner.erase(std::next(found).base());
        parent_->children_.erase(this);
    }
}

Graph_library* Graph_node::owning_library() const
{
    // A compound that owns a node is always its parent too.
    if (!owner_ || parent_)
        return nullptr;
    return static_cast<Graph_library*>(const_cast<void*>(owner_));
}

void Graph_node::set_node_class(Graph_node_class* node_class)
{
    if (node_class == node_class_)
        return;
    if (node_class_) {
        auto& instances = node_class_->instances_;
        Graph_node* last = instances.back();
        instances[instance_index_] = last;
        last->instance_index_ = instance_index_;
        instances.pop_back();
        node_class_->remove_node(this);
    }
    node_class_ = node_class;
    if (node_class_) {
        instance_index_ = node_class_->instances_.size();
        node_class_->instances_.push_back(this);
    }
}

void Graph_node::set_parent(Compage_node_class* parent)
{
    if (parent == parent_)
        return;
    if (parent_)
        parent_->children_.erase(this);
    parent_ = parent;
    if (parent_)
        parent_->children_.insert(this);
}

void Graph_node::note_target(Graph_node* target)
{
    if (!target)
        return;
    auto note = [](std::vector<Graph_node*>& list, Graph_node* node) {
        if (list.empty())
            list.reserve(4);
        else if (list.back() == node)
            return;
        list.push_back(node);
    };
    note(neighbours_, target);
    note(target->neighbours_, this);
}

void Graph_node::note_targets()
{
    for (Parameter_list* list : {&inputs, &outputs})
        for (Parameter& parameter : *list)
            for (Attachment& record : parameter.attachments)
                note_target(record.target_node);
}

void Graph_node::scrub_target(const Graph_node* target)
{
    for (Parameter_list* list : {&inputs, &outputs})
        for (Parameter& parameter : *list) {
            auto& records = parameter.attachments;
            records.erase(std::remove_if(records.begin(), records.end(),
                                         [&](const Attachment& record) { return record.target_node == target; }),
                          records.end());
        }
}

Parameter* Graph_node::find_input(const char* parameter) { return find_in(inputs, parameter); }
Parameter* Graph_node::find_output(const char* parameter) { return find_in(outputs, parameter); }

// ---------------------------------------------------------------------------------------------
// Wires

void Graph_node::notify_attachments(const char* path)
{
    if (user_data)
        user_data->notify(1, this, path, nullptr);
}

void Graph_node::attach(const char* input_path, Graph_node* target, const char* target_path)
{
    if (!input_path || !target_path)
        return;
    std::string head, member;
    split_path(input_path, head, member);
    attach(find_input(head.c_str()), input_path, target, target_path);
}

void Graph_node::attach(Parameter* input, const char* input_path, Graph_node* target, const char* target_path)
{
    if (!input_path || !target_path)
        return;
    std::string head, member;
    split_path(input_path, head, member);
    if (input) {
        input->attachments.push_back(Attachment{member, target, target_path});
        note_target(target);
    }

    std::string far_head, far_member;
    split_path(target_path, far_head, far_member);
    if (target) {
        if (Parameter* output = target->find_output(far_head.c_str())) {
            output->attachments.push_back(Attachment{far_member, this, input_path});
            target->note_target(this);
        }
    } else if (parent_) {
        if (Parameter* interface = find_in(parent_->interface_inputs, far_head.c_str())) {
            interface->attachments.push_back(Attachment{far_member, this, input_path});
            parent_->note_target(this);
        }
    } else {
        if (LOG::mod_log)
            LOG::mod_log->warning(SYSTEM::MODULE_COMP, LOG::CAT_MISC, 7, "Node %s has no parent to attach '%s' to '%s'",
                                  name.c_str(), input_path, target_path);
        if (input) {
            if (!member.empty())
                remove_record(*input, member);
            else
                while (remove_record(*input, std::string())) {
                }
        }
        return;
    }
    if (observer)
        observer->attached(this, 0, input_path, nullptr);
    notify_attachments(input_path);
}

void Graph_node::detach(const char* path, bool is_input)
{
    if (!path)
        return;
    const std::string copy(path);
    std::string head, member;
    split_path(copy.c_str(), head, member);
    Parameter* parameter = is_input ? find_input(head.c_str()) : find_output(head.c_str());
    if (!parameter)
        return;
    auto& records = parameter->attachments;
    auto found = std::find_if(records.begin(), records.end(),
                              [&](const Attachment& record) { return record.member_name == member; });
    if (found == records.end())
        return;

    std::string far_head, far_member;
    split_path(found->target_name.c_str(), far_head, far_member);
    if (!found->target_node) {
        if (parent_)
            remove_far_record(find_in(parent_->interface_list(is_input), far_head.c_str()), far_member, this, copy);
    } else {
        Graph_node* target = found->target_node;
        Parameter* far = is_input ? target->find_output(far_head.c_str()) : target->find_input(far_head.c_str());
        remove_far_record(far, far_member, this, copy);
    }

    if (is_input) {
        // Both lists lose the record: an output may share the input's name.
        remove_record(*parameter, member);
        if (Parameter* output = find_output(head.c_str()))
            remove_record(*output, member);
    } else {
        remove_record(*parameter, member);
    }
    if (observer)
        observer->detached(this, is_input ? 0 : 1, head.c_str(), member.c_str());
    notify_attachments(copy.c_str());
}

void Graph_node::detach_all()
{
    for (bool is_input : {true, false}) {
        Parameter_list& list = is_input ? inputs : outputs;
        for (size_t i = 0; i < list.size(); ++i) {
            // Each detach removes one record; one that finds nothing to remove ends the loop,
            // and the rest go without telling.
            while (!list[i].attachments.empty()) {
                size_t before = list[i].attachments.size();
                std::string path = join_path(text_or_empty(list[i].name()), list[i].attachments.front().member_name);
                detach(path.c_str(), is_input);
                if (i >= list.size() || list[i].attachments.size() >= before)
                    break;
            }
        }
    }
    for (Parameter_list* list : {&inputs, &outputs})
        for (Parameter& parameter : *list)
            parameter.attachments.clear();
}

// ---------------------------------------------------------------------------------------------
// Values and names

void Graph_node::set_value(Parameter& parameter, const void* bytes)
{
    if (observer)
        observer->value_changed(this, 0, parameter.name());
    parameter.set_value(bytes);
}

void* Graph_node::find_value(const char* path, bool is_input)
{
    if (!path)
        return nullptr;
    std::string head, tail;
    split_path(path, head, tail);
    Parameter* parameter = is_input ? find_input(head.c_str()) : find_output(head.c_str());
    if (!parameter)
        return nullptr;
    // The tail keeps a leading '[' and has lost the '.'.
    return GRAPH::find_value(*parameter, tail.c_str(), parameter->value);
}

void Graph_node::rename(const char* new_name)
{
    if (!new_name)
        return;
    std::string old_name = name;
    if (observer)
        observer->node_renamed(this, old_name.c_str(), new_name);
    if (user_data)
        user_data->notify(0, this, old_name.c_str(), new_name);
    name = new_name;
}

// ---------------------------------------------------------------------------------------------
// Following the class

void Graph_node::sync_with_class()
{
    if (!node_class_)
        return;
    for (bool is_input : {true, false}) {
        Parameter_list& old_list = is_input ? inputs : outputs;
        Parameter_list fresh = is_input ? node_class_->inputs : node_class_->outputs;
        for (Parameter& parameter : fresh)
            parameter.attachments.clear();
        std::vector<bool> valued(fresh.size(), false);
        Parameter_list kept;
        for (Parameter& old : old_list) {
            int32_t index = find_parameter(fresh, old.name());
            if (index >= 0) {
                Parameter& target = fresh[size_t(index)];
                // The class's type wins; a value of another layout cannot be carried over.
                if (!valued[size_t(index)] && target.same_layout(old)) {
                    target.set_value(old.value);
                    valued[size_t(index)] = true;
                }
                for (Attachment& record : old.attachments)
                    target.attachments.push_back(std::move(record));
            } else if (is_input && is_state_variable(old.name())) {
                kept.push_back(std::move(old));
            } else {
                // The parameter dies with its wires, at both ends.
                for (const Attachment& record : old.attachments) {
                    std::string far_head, far_member;
                    split_path(record.target_name.c_str(), far_head, far_member);
                    std::string path = join_path(text_or_empty(old.name()), record.member_name);
                    if (record.target_node) {
                        Graph_node* target = record.target_node;
                        remove_far_record(is_input ? target->find_output(far_head.c_str())
                                                   : target->find_input(far_head.c_str()),
                                          far_member, this, path);
                    } else if (parent_) {
                        remove_far_record(find_in(parent_->interface_list(is_input), far_head.c_str()), far_member,
                                          this, path);
                    }
                }
            }
        }
        for (Parameter& parameter : kept)
            fresh.push_back(std::move(parameter));
        old_list.swap(fresh);
    }
}

// ---------------------------------------------------------------------------------------------
// Copies

Graph_node* Graph_node::clone() const
{
    Graph_node* copy = new Graph_node(name.c_str(), node_class_);
    if (node_class_)
        node_class_->nodes.push_back(copy);
    copy->set_parent(parent_);
    copy->inputs = inputs;
    copy->outputs = outputs;
    copy->annotations = annotations;
    if (user_data)
        copy->user_data.reset(user_data->clone());
    copy->note_targets();
    return copy;
}

void Graph_node::remap_targets(const Node_map& map)
{
    for (Parameter_list* list : {&inputs, &outputs})
        for (Parameter& parameter : *list)
            for (Attachment& record : parameter.attachments) {
                auto found = map.find(record.target_node);
                if (record.target_node && found != map.end())
                    record.target_node = found->second;
            }
    note_targets();
}

bool Graph_node::equals(const Graph_node* other, const Class_map& visited) const
{
    return graph_nodes_equal(this, other, visited);
}

}  // namespace GRAPH
}  // namespace QZ

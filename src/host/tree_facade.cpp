#include "host/tree_facade.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "host/type_facade.h"
#include "log/mod_log.h"
#include "syntax_tree/compilation_unit.h"
#include "syntax_tree/mod_syntax_tree.h"
#include "syntax_tree/st_node.h"

namespace QZ {
namespace HOST {

using SYNTAX_TREE::St_node;

Syntax_tree_wrapper::Syntax_tree_wrapper(St_node* node, std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit)
    : node_(node), unit_(std::move(unit))
{
}

Syntax_tree_wrapper::~Syntax_tree_wrapper()
{
    for (Syntax_tree_wrapper* child : children_)
        child->release();
}

int32_t Syntax_tree_wrapper::host_kind(int32_t node_kind)
{
    if (node_kind == SYNTAX_TREE::NODE_HEX_CONSTANT)
        return SYNTAX_TREE::NODE_OCT_CONSTANT;
    if (node_kind == SYNTAX_TREE::NODE_OCT_CONSTANT)
        return SYNTAX_TREE::NODE_HEX_CONSTANT;
    return node_kind >= SYNTAX_TREE::NODE_NO_OP || node_kind < 0 ? int32_t(SYNTAX_TREE::NODE_NO_OP) : node_kind;
}

int32_t Syntax_tree_wrapper::get_kind() { return node_ ? host_kind(node_->kind) : int32_t(SYNTAX_TREE::NODE_NO_OP); }

int32_t Syntax_tree_wrapper::get_value_length() { return node_ ? node_->text_size : 0; }

const void* Syntax_tree_wrapper::get_value() { return node_ ? node_->text : nullptr; }

vorn::IType* Syntax_tree_wrapper::get_type()
{
    return Type_wrapper::of_index(node_ ? node_->type_index : -1, unit_);
}

bool Syntax_tree_wrapper::get_value_as_bool()
{
    return node_ && node_->kind == SYNTAX_TREE::NODE_BOOL_CONSTANT && node_->text && std::strcmp(node_->text, "true") == 0;
}

int32_t Syntax_tree_wrapper::get_value_as_int()
{
    if (!node_ || !node_->text)
        return 0;
    switch (node_->kind) {
    case SYNTAX_TREE::NODE_INT_CONSTANT:
    case SYNTAX_TREE::NODE_HEX_CONSTANT:
    case SYNTAX_TREE::NODE_OCT_CONSTANT:
        return node_->int_value();
    case SYNTAX_TREE::NODE_STATE_VARIABLE_REFERENCE:
    case SYNTAX_TREE::NODE_STATE_FUNCTION_REFERENCE: {
        int32_t value = 0;
        if (node_->text_size >= 4)
            std::memcpy(&value, node_->text, 4);
        return value;
    }
    default:
        return 0;
    }
}

double Syntax_tree_wrapper::get_value_as_float()
{
    if (!node_ || !node_->text || node_->kind != SYNTAX_TREE::NODE_FLOAT_CONSTANT)
        return 0.0;
    return std::strtod(node_->text, nullptr);
}

const char* Syntax_tree_wrapper::get_value_as_text()
{
    if (!node_)
        return nullptr;
    if (node_->kind == SYNTAX_TREE::NODE_STATE_VARIABLE_REFERENCE)
        return SYNTAX_TREE::mod_syntax_tree->state_variable_name(get_value_as_int());
    if (node_->kind == SYNTAX_TREE::NODE_STATE_FUNCTION_REFERENCE)
        return SYNTAX_TREE::mod_syntax_tree->state_function_name(get_value_as_int());
    if (node_->text_size > 0)
        return "<binary data>";
    return node_->text;
}

void Syntax_tree_wrapper::sync_children()
{
    // Wrappers are made once per child and kept, so that a child handed out stays the same.
    if (!node_)
        return;
    size_t index = 0;
    for (St_node* child = node_->first_child; child; child = child->next_sibling, ++index) {
        if (index < children_.size() && children_[index]->node_ == child)
            continue;
        if (index < children_.size()) {
            children_[index]->release();
            children_[index] = new Syntax_tree_wrapper(child, unit_);
        } else {
            children_.push_back(new Syntax_tree_wrapper(child, unit_));
        }
    }
    while (children_.size() > index) {
        children_.back()->release();
        children_.pop_back();
    }
}

int32_t Syntax_tree_wrapper::get_child_count() { return node_ ? node_->child_count() : 0; }

vorn::ISyntax_tree* Syntax_tree_wrapper::get_child(int32_t index)
{
    sync_children();
    if (index < 0 || size_t(index) >= children_.size())
        throw std::out_of_range("vector");
    children_[size_t(index)]->retain();
    return children_[size_t(index)];
}

vorn::IDeclaration* Syntax_tree_wrapper::get_declaration()
{
    SYNTAX_TREE::Declaration declaration;
    if (!node_ || !unit_ || !SYNTAX_TREE::find_declaration(*unit_, node_, declaration))
        return nullptr;
    return new Declaration_wrapper(declaration, unit_);
}

namespace {

bool subtree_contains(const St_node* root, const St_node* wanted)
{
    std::vector<const St_node*> pending{root};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        if (node == wanted)
            return true;
        for (const St_node* child = node->first_child; child; child = child->next_sibling)
            pending.push_back(child);
    }
    return false;
}

}  // namespace

void Syntax_tree_wrapper::add_child(vorn::ISyntax_tree* child)
{
    // A node has one owner: only a node that the unit holds for the host, made by
    // create_tree_node and not yet added, may join a tree, and never one that holds this node.
    auto* wrapper = dynamic_cast<Syntax_tree_wrapper*>(child);
    if (!node_ || !unit_)
        return;
    const char* refusal = nullptr;
    if (!wrapper || !wrapper->node_)
        refusal = "not a node of this library";
    else if (wrapper->unit_ != unit_)
        refusal = "a node of another unit";
    else if (!unit_->is_loose_node(wrapper->node_))
        refusal = "a node that is in a tree already";
    else if (subtree_contains(wrapper->node_, node_))
        refusal = "the node itself or one that holds it";
    if (refusal) {
        LOG::mod_log->error(SYSTEM::MODULE_COMP, LOG::CAT_PLUG, 1, "add_child refused: %s", refusal);
        return;
    }
    unit_->adopt_loose_node(wrapper->node_);
    node_->add_child(wrapper->node_);
}

void Syntax_tree_wrapper::set_value(int32_t length, const void* bytes)
{
    if (!node_)
        return;
    if (length < 0)
        node_->set_text(bytes ? static_cast<const char*>(bytes) : "");
    else
        node_->set_binary_text(bytes, length);
}

void Syntax_tree_wrapper::set_value_bool(bool value)
{
    if (node_)
        node_->set_text(value ? "true" : "false");
}

void Syntax_tree_wrapper::set_value_int(int32_t value)
{
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    if (node_)
        node_->set_text(text);
}

void Syntax_tree_wrapper::set_value_float(double value)
{
    char text[512];
    std::snprintf(text, sizeof text, "%f", value);
    if (node_)
        node_->set_text(text);
}

void Syntax_tree_wrapper::set_value_text(const char* text)
{
    if (!node_)
        return;
    if (text)
        node_->set_text(text);
    else
        node_->clear_text();
}

Declaration_wrapper::Declaration_wrapper(const SYNTAX_TREE::Declaration& declaration,
                                         std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit)
    : declaration_(declaration), unit_(std::move(unit))
{
}

bool Declaration_wrapper::lacks_flag_6()
{
    return declaration_.node && !flag(6);
}

vorn::IType* Declaration_wrapper::get_type() { return Type_wrapper::of_index(declaration_.type_index, unit_); }

vorn::ISyntax_tree* Declaration_wrapper::get_tree() { return new Syntax_tree_wrapper(declaration_.node, unit_); }

}  // namespace HOST
}  // namespace QZ

#include "syntax_tree/tree_traverser.h"

namespace QZ {
namespace SYNTAX_TREE {

St_node* Tree_traverser_base::visit(St_node* node)
{
    if (!node)
        return nullptr;
    if (depth_ >= DEPTH_LIMIT) {
        depth_exceeded(node);
        return nullptr;
    }
    ++depth_;
    St_node* replacement = dispatch(node);
    --depth_;
    return replacement == node ? nullptr : replacement;
}

St_node* Tree_traverser_base::visit_child(St_node* parent, St_node* child)
{
    St_node* replacement = visit(child);
    if (!replacement)
        return child;
    if (parent->replace_child(child, replacement))
        delete child;
    return replacement;
}

void Tree_traverser_base::traverse(St_node* node)
{
    // Siblings are iterated, so only nesting costs stack; the link to the current child is
    // kept, so a replacement costs no search through the list.
    for (St_node** link = &node->first_child; *link;) {
        St_node* child = *link;
        St_node* replacement = visit(child);
        if (replacement) {
            replacement->next_sibling = child->next_sibling;
            child->next_sibling = nullptr;
            *link = replacement;
            delete child;
            child = replacement;
        }
        link = &child->next_sibling;
    }
}

St_node* Tree_traverser_base::visit_default(St_node* node)
{
    traverse(node);
    return nullptr;
}

void Tree_traverser_base::depth_exceeded(St_node*) {}

St_node* Tree_traverser_base::dispatch(St_node* node)
{
    if (node->kind < 0 || node->kind >= NODE_KIND_COUNT)
        return visit_default(node);
    switch (static_cast<Node_kind>(node->kind)) {
#define VORN_DISPATCH_VISIT(kind, name) \
    case NODE_##kind:                   \
        return visit_##name(node);
        VORN_NODE_KIND_VISITS(VORN_DISPATCH_VISIT)
#undef VORN_DISPATCH_VISIT
    }
    return visit_default(node);
}

#define VORN_DEFINE_VISIT(kind, name) \
    St_node* Tree_traverser_base::visit_##name(St_node* node) { return visit_default(node); }
VORN_NODE_KIND_VISITS(VORN_DEFINE_VISIT)
#undef VORN_DEFINE_VISIT

}  // namespace SYNTAX_TREE
}  // namespace QZ

#include "serial/deserialization_manager.h"

#include <vector>

namespace QZ {
namespace SERIAL {

Deserialization_manager::~Deserialization_manager()
{
    // Iterative, since a run of rising registrations leaves a tree as deep as it is large.
    std::vector<Node*> work;
    if (root_)
        work.push_back(root_);
    while (!work.empty()) {
        Node* node = work.back();
        work.pop_back();
        if (node->left)
            work.push_back(node->left);
        if (node->right)
            work.push_back(node->right);
        delete node;
    }
}

void Deserialization_manager::splay(Class_id id)
{
    if (!root_)
        return;
    Node header{0, nullptr, nullptr, nullptr};
    Node* left_max = &header;   // largest node of the tree of smaller ids
    Node* right_min = &header;  // smallest node of the tree of larger ids
    Node* t = root_;
    for (;;) {
        if (id < t->id) {
            if (!t->left)
                break;
            if (id < t->left->id) {
                Node* y = t->left;  // rotate right
                t->left = y->right;
                y->right = t;
                t = y;
                if (!t->left)
                    break;
            }
            right_min->left = t;
            right_min = t;
            t = t->left;
        } else if (id > t->id) {
            if (!t->right)
                break;
            if (id > t->right->id) {
                Node* y = t->right;  // rotate left
                t->right = y->left;
                y->left = t;
                t = y;
                if (!t->right)
                    break;
            }
            left_max->right = t;
            left_max = t;
            t = t->right;
        } else {
            break;
        }
    }
    left_max->right = t->left;
    right_min->left = t->right;
    t->left = header.right;
    t->right = header.left;
    root_ = t;
}

void Deserialization_manager::register_class(Class_id id, Factory factory)
{
    std::lock_guard<std::mutex> guard(lock_);
    splay(id);
    if (root_ && root_->id == id)
        return;
    Node* node = new Node{id, factory, nullptr, nullptr};
    if (root_) {
        if (id < root_->id) {
            node->left = root_->left;
            node->right = root_;
            root_->left = nullptr;
        } else {
            node->right = root_->right;
            node->left = root_;
            root_->right = nullptr;
        }
    }
    root_ = node;
    ++count_;
}

Serializable* Deserialization_manager::construct(Class_id id)
{
    Factory factory = nullptr;
    {
        std::lock_guard<std::mutex> guard(lock_);
        splay(id);
        if (root_ && root_->id == id)
            factory = root_->factory;
    }
    // The lock is gone before the factory runs: a factory may itself ask the manager.
    return factory ? factory() : nullptr;
}

bool Deserialization_manager::is_registered(Class_id id)
{
    std::lock_guard<std::mutex> guard(lock_);
    splay(id);
    return root_ && root_->id == id;
}

size_t Deserialization_manager::class_count()
{
    std::lock_guard<std::mutex> guard(lock_);
    return count_;
}

Class_id Deserialization_manager::root_class_id()
{
    std::lock_guard<std::mutex> guard(lock_);
    return root_ ? root_->id : 0;
}

Deserialization_manager& deserialization_manager()
{
    static Deserialization_manager* manager = new Deserialization_manager;
    return *manager;
}

}  // namespace SERIAL
}  // namespace QZ

// Makes empty objects from class ids, for streams that meet an object by its id.
#pragma once

#include <cstddef>
#include <mutex>

#include "serial/serializable.h"

namespace QZ {
namespace SERIAL {

class Deserialization_manager {
public:
    using Factory = Serializable* (*)();

    Deserialization_manager() = default;
    virtual ~Deserialization_manager();

    Deserialization_manager(const Deserialization_manager&) = delete;
    Deserialization_manager& operator=(const Deserialization_manager&) = delete;

    // The first registration of an id stands; later ones are ignored.
    virtual void register_class(Class_id id, Factory factory);
    // A new empty object, owned by the caller, or null for an unknown id.
    virtual Serializable* construct(Class_id id);
    virtual bool is_registered(Class_id id);

    size_t class_count();
    // The id at the root of the tree, 0 when empty: lets tests see the self-adjustment.
    Class_id root_class_id();

private:
    struct Node {
        Class_id id;
        Factory factory;
        Node* left;
        Node* right;
    };

    // Top-down splay: brings the node of id, or the last node visited, to the root.
    void splay(Class_id id);

    std::mutex lock_;
    Node* root_ = nullptr;
    size_t count_ = 0;
};

// The process-wide manager. It is created on first use and lives to the end of the process, so
// that SITE and SYNT may register in either order and a factory never outlives its table.
Deserialization_manager& deserialization_manager();

}  // namespace SERIAL
}  // namespace QZ

// The host's view of syntax-tree nodes.
#pragma once

#include <memory>
#include <vector>

#include "host/interface_impl.h"

namespace QZ {
namespace SYNTAX_TREE {
class St_node;
class Compilation_unit;
}

namespace HOST {

class Syntax_tree_wrapper : public Counted_interface<vorn::ISyntax_tree, vorn::IID_SYNTAX_TREE> {
public:
    // The node belongs to the unit; the wrapper keeps the unit alive for as long as it lives.
    Syntax_tree_wrapper(SYNTAX_TREE::St_node* node, std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit);
    ~Syntax_tree_wrapper() override;

    void* get_internal() override { return node_; }
    int32_t get_kind() override;
    int32_t get_value_length() override;
    const void* get_value() override;
    vorn::IType* get_type() override;
    bool get_value_as_bool() override;
    int32_t get_value_as_int() override;
    double get_value_as_float() override;
    const char* get_value_as_text() override;
    int32_t get_child_count() override;
    vorn::ISyntax_tree* get_child(int32_t index) override;
    vorn::Interface* get_declaration() override;
    void add_child(vorn::ISyntax_tree* child) override;
    void set_value(int32_t length, const void* bytes) override;
    void set_value_bool(bool value) override;
    void set_value_int(int32_t value) override;
    void set_value_float(double value) override;
    void set_value_text(const char* text) override;

    // Node kinds and host kinds differ in that 56 and 57 trade places; 72 and above read as 72.
    static int32_t host_kind(int32_t node_kind);

private:
    void sync_children();

    SYNTAX_TREE::St_node* node_;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit_;
    std::vector<Syntax_tree_wrapper*> children_;
};

}  // namespace HOST
}  // namespace QZ

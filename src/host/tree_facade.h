// The host's view of syntax-tree nodes.
#pragma once

#include <memory>
#include <vector>

#include "host/interface_impl.h"
#include "syntax_tree/declaration.h"

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
    vorn::IDeclaration* get_declaration() override;
    void add_child(vorn::ISyntax_tree* child) override;
    void set_value(int32_t length, const void* bytes) override;
    void set_value_bool(bool value) override;
    void set_value_int(int32_t value) override;
    void set_value_float(double value) override;
    void set_value_text(const char* text) override;

    // Node kinds and host kinds differ in that 56 and 57 trade places; 72 and above read as 72.
    // The mapping is its own inverse.
    static int32_t host_kind(int32_t node_kind);

private:
    void sync_children();

    SYNTAX_TREE::St_node* node_;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit_;
    std::vector<Syntax_tree_wrapper*> children_;
};

class Declaration_wrapper : public Counted_interface<vorn::IDeclaration, -1> {
public:
    Declaration_wrapper(const SYNTAX_TREE::Declaration& declaration,
                        std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit);

    // A declaration answers no interface id at all.
    vorn::Interface* get_interface(int32_t) override { return nullptr; }
    void* get_internal() override { return &declaration_; }
    bool lacks_flag_6() override;
    bool is_flag_0() override { return flag(0); }
    bool is_flag_1() override { return flag(1); }
    bool is_flag_2() override { return flag(2); }
    bool is_flag_3() override { return flag(3); }
    bool is_flag_4() override { return flag(4); }
    bool is_flag_5() override { return flag(5); }
    bool is_flag_6() override { return flag(6); }
    bool is_flag_7() override { return flag(7); }
    bool is_flag_8() override { return flag(8); }
    int32_t get_value() override { return declaration_.value; }
    vorn::IType* get_type() override;
    vorn::ISyntax_tree* get_tree() override;

private:
    bool flag(int bit) const { return (declaration_.flags >> bit) & 1; }

    SYNTAX_TREE::Declaration declaration_;
    std::shared_ptr<SYNTAX_TREE::Compilation_unit> unit_;
};

}  // namespace HOST
}  // namespace QZ

#include "passes_support.h"

#include "front12/ovrel_parser.h"
#include "syntax_tree/builtins.h"
#include "syntax_tree/diagnostics.h"
#include "syntax_tree/prelude_symbols.h"
#include "syntax_tree/semantic_pass.h"
#include "syntax_tree/st_node.h"

namespace passes_test {

using namespace QZ::SYNTAX_TREE;

std::shared_ptr<const Prelude_symbols> test_prelude()
{
    static std::unique_ptr<St_node> list;
    static std::shared_ptr<const Prelude_symbols> symbols;
    if (!symbols) {
        auto parsed = QZ::FRONT12::parse_text(
            "Vector4 illumination(Scalar dot_nl,Scalar dot_nh,Scalar exponent);", "stdlib.ovl");
        list = std::move(parsed.tree);
        append_builtin_declarations(list.get());
        symbols = std::make_shared<const Prelude_symbols>(list.get());
    }
    return symbols;
}

Compiled compile(const std::string& text, const std::string& file_name,
                 Tree_traverser_prepass::Import_resolver resolver, bool lend_every_entry)
{
    Compiled compiled;
    auto parsed = QZ::FRONT12::parse_text(text, file_name);
    for (const Error_record& error : parsed.errors)
        compiled.messages.push_back(format_error(error, file_name.c_str()));
    compiled.unit = std::make_unique<Compilation_unit>(test_prelude());
    compiled.unit->set_tree(parsed.tree.release());
    Tree_traverser_prepass prepass(*compiled.unit, std::move(resolver));
    prepass.run();
    compiled.unit->link_shaders();
    Tree_traverser_semantic_pass pass(*compiled.unit);
    if (lend_every_entry)
        pass.lend_every_entry();
    pass.run();
    for (const Error_record& error : compiled.unit->errors())
        compiled.messages.push_back(format_error(error, file_name.c_str()));
    return compiled;
}

std::string type_text(const Compilation_unit& unit, int32_t index)
{
    const Type* type = unit.type_at(index);
    return type ? type->text() : "<none>";
}

St_node* find_node(St_node* root, int32_t kind, int n)
{
    std::vector<St_node*> work;
    if (root)
        work.push_back(root);
    while (!work.empty()) {
        St_node* node = work.back();
        work.pop_back();
        if (node->kind == kind && n-- == 0)
            return node;
        std::vector<St_node*> children;
        for (St_node* child = node->first_child; child; child = child->next_sibling)
            children.push_back(child);
        work.insert(work.end(), children.rbegin(), children.rend());
    }
    return nullptr;
}

std::string statement_type(const Compiled& compiled, const std::string& function, int n)
{
    for (St_node* node : compiled.unit->functions()) {
        if (node->kind != NODE_FUNCTION_DEFINITION)
            continue;
        St_node* identifier = find_node(node->find_child(NODE_FUNCTION_DECLARATION), NODE_IDENTIFIER);
        if (!identifier || identifier->text_view() != function)
            continue;
        St_node* statement = node->find_child(NODE_STATEMENT_BLOCK)->child(n);
        if (!statement)
            return "<no statement>";
        St_node* expression = statement->kind == NODE_EXPRESSION_STATEMENT ? statement->first_child : statement;
        return expression ? type_text(*compiled.unit, expression->type_index) : "<empty>";
    }
    return "<no function>";
}

}  // namespace passes_test

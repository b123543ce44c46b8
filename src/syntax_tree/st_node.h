// The syntax-tree node of the whole system: built by the parser, annotated by the passes,
// built by hand by the graph code, read by the back ends.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "serial/serializable.h"

namespace QZ {
namespace SYNTAX_TREE {

// The numbers are written into binary files: never renumber.
// ORDER: node_kind_names in st_node.cpp follows these numbers.
enum Node_kind : int32_t {
    NODE_DECLARATION_LIST = 0,
    NODE_IDENTIFIER = 1,
    NODE_INIT_IDENTIFIER_LIST = 2,
    NODE_INIT_IDENTIFIER = 3,
    NODE_ARRAY_SPECIFIER = 4,
    NODE_ARRAY_INITIALIZER = 5,
    NODE_FUNCTION_DECLARATION = 6,
    NODE_FUNCTION_DECLARATOR = 7,
    NODE_FUNCTION_PARAMETER_LIST = 8,
    NODE_FUNCTION_PARAMETER = 9,
    NODE_PARAMETER_QUALIFIER = 10,
    NODE_FUNCTION_DEFINITION = 11,
    NODE_VARIABLE_DECLARATION = 12,
    NODE_VARIABLE_SPECIFIERS = 13,
    NODE_STORAGE_CLASS_SPECIFIER = 14,
    NODE_SIMPLE_TYPE_SPECIFIER = 15,
    NODE_NESTED_TYPE_SPECIFIER = 16,
    NODE_CLASS_DECLARATION = 17,
    NODE_CLASS_MEMBER_DECLARATION_BLOCK_LIST = 18,
    NODE_CLASS_MEMBER_DECLARATION_BLOCK = 19,
    NODE_CLASS_PARENT_SPECIFIER = 20,
    NODE_STATEMENT_BLOCK = 21,
    NODE_CONDITION_STATEMENT = 22,
    NODE_CONDITION = 23,
    NODE_EXPRESSION_STATEMENT = 24,
    NODE_DO_STATEMENT = 25,
    NODE_WHILE_STATEMENT = 26,
    NODE_FOR_STATEMENT = 27,
    NODE_FOREACH_STATEMENT = 28,
    NODE_JUMP_STATEMENT = 29,
    NODE_FOR_INIT = 30,
    NODE_FOR_CONDITION = 31,
    NODE_FOR_EXPRESSION = 32,
    NODE_EXPRESSION_LIST = 33,
    NODE_ASSIGNMENT_EXPRESSION = 34,
    NODE_CONDITIONAL_EXPRESSION = 35,
    NODE_OR_EXPRESSION = 36,
    NODE_XOR_EXPRESSION = 37,
    NODE_AND_EXPRESSION = 38,
    NODE_EQUALITY_EXPRESSION = 39,
    NODE_RELATIONAL_EXPRESSION = 40,
    NODE_ADDITIVE_EXPRESSION = 41,
    NODE_MULTIPLICATIVE_EXPRESSION = 42,
    NODE_CAST_EXPRESSION = 43,
    NODE_PRE_INCREMENT_EXPRESSION = 44,
    NODE_PRE_DECREMENT_EXPRESSION = 45,
    NODE_UNARY_EXPRESSION = 46,
    NODE_POST_INCREMENT_EXPRESSION = 47,
    NODE_POST_DECREMENT_EXPRESSION = 48,
    NODE_CLASS_MEMBER_REF_EXPRESSION = 49,
    NODE_ARRAY_INDEX_EXPRESSION = 50,
    NODE_FUNCTION_CALL_EXPRESSION = 51,
    NODE_METHOD_CALL_EXPRESSION = 52,
    NODE_CONSTRUCTOR_CALL_EXPRESSION = 53,
    NODE_FUNCTION_CALL_PARAMETERS = 54,
    NODE_INT_CONSTANT = 55,
    NODE_HEX_CONSTANT = 56,
    NODE_OCT_CONSTANT = 57,
    NODE_FLOAT_CONSTANT = 58,
    NODE_BOOL_CONSTANT = 59,
    NODE_STRING_CONSTANT = 60,
    NODE_VARIABLE_ID = 61,
    NODE_MEMBER_VARIABLE_ID = 62,
    NODE_STATE_VARIABLE_REFERENCE = 63,
    NODE_STATE_FUNCTION_REFERENCE = 64,
    NODE_ENUM_DECLARATION = 65,
    NODE_ENUM_MEMBER = 66,
    NODE_SWITCH_STATEMENT = 67,
    NODE_SWITCH_CASE = 68,
    NODE_SWITCH_DEFAULT = 69,
    NODE_ANNOTATION_BLOCK = 70,
    NODE_IMPORT_DECLARATION = 71,
    NODE_NO_OP = 72,
};

constexpr int32_t NODE_KIND_COUNT = 73;

// A node's source file name: a pointer into a table of names that lives as long as the process,
// so that a node pays one word for it and copying it costs nothing. A program meets few
// distinct file names. Null is no name.
class File_name {
public:
    File_name() = default;
    explicit operator bool() const { return name_ != nullptr; }
    const std::string* get() const { return name_; }
    const std::string* operator->() const { return name_; }
    const std::string& operator*() const { return *name_; }
    // Equal names are one entry of the table, so the pointers tell.
    bool operator==(const File_name& other) const { return name_ == other.name_; }
    bool operator!=(const File_name& other) const { return name_ != other.name_; }

private:
    friend File_name make_file_name(std::string_view name);
    explicit File_name(const std::string* name) : name_(name) {}
    const std::string* name_ = nullptr;
};

// The table's entry for the name, added at its first use. Safe from any thread.
File_name make_file_name(std::string_view name);

class Node_arena;

class St_node : public SERIAL::Serializable {
public:
    // Children given as null are skipped, so optional parts can be passed as they are.
    St_node(int32_t kind, File_name file, std::initializer_list<St_node*> children = {});
    St_node(int32_t kind, File_name file, std::string_view text, std::initializer_list<St_node*> children = {});
    // text_size -1: text is a string ending at a zero byte; 0: no text (text is ignored);
    // n > 0: n bytes of binary text. extra_position is the column range.
    St_node(int32_t kind, File_name file, int32_t line, int32_t column, const char* text, int32_t text_size,
            int32_t extra_position);
    // Destroys the children and the rest of the sibling chain, without recursion.
    ~St_node() override;

    // The written form: this node, then its whole sibling chain, then its children, each node
    // as flags, kind, type index, file, text and position. Written and read without recursion.
    SERIAL::Class_id get_class_id() const override;
    void serialize(SERIAL::Serializer& out) const override;
    // Reads into an empty node; a stream that fails leaves what was read so far.
    void deserialize(SERIAL::Deserializer& in) override;

    St_node(const St_node&) = delete;
    St_node& operator=(const St_node&) = delete;

    // Nodes come from a pool, or from the arena of a tree (new (arena) St_node(...)): a parse
    // makes and frees them by the hundred thousand. A node of an arena deleted alone goes back
    // to it; a node that keeps its arena takes the arena, and the tree in it, along. Texts of
    // a node in an arena are in the arena too.
    static void* operator new(size_t size);
    static void* operator new(size_t size, Node_arena* arena);
    static void operator delete(void* node, size_t size);
    static void operator delete(void* node, Node_arena* arena);

    // The n-th child (0 is the first); null past the end.
    St_node* child(int32_t n) const;
    int32_t child_count() const;
    // Appends the node, and any siblings behind it, at the end of the child list. A node has
    // one parent: the caller takes it out of any other list first. Null, this node itself and
    // a node already in this list are ignored; that the node holds no ancestor of this one is
    // for the caller to know, since finding out would walk its whole subtree.
    void add_child(St_node* node);
    // Puts replacement (a single node) where old stood. Old leaves the list, with its own
    // children, and belongs to the caller again. False when old is not a child.
    bool replace_child(St_node* old, St_node* replacement);
    // The first child of the kind, or null.
    St_node* find_child(int32_t kind) const;
    // Deep copy of this node and its children, without its siblings; in the arena when one is
    // given, else from the pool.
    St_node* clone(Node_arena* arena = nullptr) const;

    void set_text(std::string_view string);
    // Shares a text that lives to the end of the program instead of copying it. The byte in
    // front of the text must be STATIC_TEXT_MARK, as in the literal "\x02" "Bool" + 1.
    static constexpr char STATIC_TEXT_MARK = 2;
    void set_static_text(const char* marked_text);
    void set_binary_text(const void* bytes, int32_t size);
    void clear_text();
    bool has_text() const { return text != nullptr; }
    // The text as a string; empty for none. Binary text comes out as its bytes.
    std::string_view text_view() const;
    const char* file_name() const { return file ? file->c_str() : ""; }

    // The integer of INT_CONSTANT, HEX_CONSTANT, OCT_CONSTANT (wrapping to 32 bits),
    // BOOL_CONSTANT, or of a UNARY_EXPRESSION "-" or "+" over one; 0 for anything else.
    int32_t int_value() const;
    // The number of a FLOAT_CONSTANT or of any integer form above; 0 for anything else.
    double float_value() const;
    // True only for the text "true".
    bool bool_value() const;

    // "unknown" for kinds outside the table.
    static const char* kind_name(int32_t kind);

    // Pointers first and the 32-bit fields together, so that no padding is left: a large
    // program holds a million nodes. The binary form has an order of its own.
    St_node* first_child = nullptr;
    St_node* next_sibling = nullptr;
    char* text = nullptr;  // owned; always followed by a zero byte
    File_name file;
    void* annotation = nullptr;  // for passes; never owned
    int32_t kind;
    int32_t text_size = 0;
    int32_t line = -1;
    int32_t column = -1;
    int32_t extra_position = -1;
    int32_t type_index = -1;

private:
    void add_children(std::initializer_list<St_node*> children);
    void copy_fields_to(St_node& copy) const;
};

// Appends children at the end of a node's list in constant time each; add_child walks the list,
// which makes a long list built one child at a time quadratic. Takes ownership; null is ignored.
class List_builder {
public:
    explicit List_builder(St_node* parent);
    void add(St_node* child);
    void add(std::unique_ptr<St_node> child) { add(child.release()); }

private:
    St_node* parent_;
    St_node* tail_ = nullptr;
};

}  // namespace SYNTAX_TREE
}  // namespace QZ

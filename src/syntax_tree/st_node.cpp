#include "syntax_tree/st_node.h"

#include <charconv>
#include <cstring>
#include <mutex>
#include <unordered_set>
#include <utility>
#include <vector>

#include "serial/serializer.h"
#include "syntax_tree/node_arena.h"
#include "system/block_pool.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

// ORDER: one entry per Node_kind, 0 to NODE_KIND_COUNT - 1.
const char* const node_kind_names[NODE_KIND_COUNT] = {
    "DECLARATION_LIST",
    "IDENTIFIER",
    "INIT_IDENTIFIER_LIST",
    "INIT_IDENTIFIER",
    "ARRAY_SPECIFIER",
    "ARRAY_INITIALIZER",
    "FUNCTION_DECLARATION",
    "FUNCTION_DECLARATOR",
    "FUNCTION_PARAMETER_LIST",
    "FUNCTION_PARAMETER",
    "PARAMETER_QUALIFIER",
    "FUNCTION_DEFINITION",
    "VARIABLE_DECLARATION",
    "VARIABLE_SPECIFIERS",
    "STORAGE_CLASS_SPECIFIER",
    "SIMPLE_TYPE_SPECIFIER",
    "NESTED_TYPE_SPECIFIER",
    "CLASS_DECLARATION",
    "CLASS_MEMBER_DECLARATION_BLOCK_LIST",
    "CLASS_MEMBER_DECLARATION_BLOCK",
    "CLASS_PARENT_SPECIFIER",
    "STATEMENT_BLOCK",
    "CONDITION_STATEMENT",
    "CONDITION",
    "EXPRESSION_STATEMENT",
    "DO_STATEMENT",
    "WHILE_STATEMENT",
    "FOR_STATEMENT",
    "FOREACH_STATEMENT",
    "JUMP_STATEMENT",
    "FOR_INIT",
    "FOR_CONDITION",
    "FOR_EXPRESSION",
    "EXPRESSION_LIST",
    "ASSIGNMENT_EXPRESSION",
    "CONDITIONAL_EXPRESSION",
    "OR_EXPRESSION",
    "XOR_EXPRESSION",
    "AND_EXPRESSION",
    "EQUALITY_EXPRESSION",
    "RELATIONAL_EXPRESSION",
    "ADDITIVE_EXPRESSION",
    "MULTIPLICATIVE_EXPRESSION",
    "CAST_EXPRESSION",
    "PRE_INCREMENT_EXPRESSION",
    "PRE_DECREMENT_EXPRESSION",
    "UNARY_EXPRESSION",
    "POST_INCREMENT_EXPRESSION",
    "POST_DECREMENT_EXPRESSION",
    "CLASS_MEMBER_REF_EXPRESSION",
    "ARRAY_INDEX_EXPRESSION",
    "FUNCTION_CALL_EXPRESSION",
    "METHOD_CALL_EXPRESSION",
    "CONSTRUCTOR_CALL_EXPRESSION",
    "FUNCTION_CALL_PARAMETERS",
    "INT_CONSTANT",
    "HEX_CONSTANT",
    "OCT_CONSTANT",
    "FLOAT_CONSTANT",
    "BOOL_CONSTANT",
    "STRING_CONSTANT",
    "VARIABLE_ID",
    "MEMBER_VARIABLE_ID",
    "STATE_VARIABLE_REFERENCE",
    "STATE_FUNCTION_REFERENCE",
    "ENUM_DECLARATION",
    "ENUM_MEMBER",
    "SWITCH_STATEMENT",
    "SWITCH_CASE",
    "SWITCH_DEFAULT",
    "ANNOTATION_BLOCK",
    "IMPORT_DECLARATION",
    "NO_OP",
};

// A large program holds a million nodes: every field added costs megabytes.
static_assert(sizeof(void*) != 8 || sizeof(St_node) == 72, "a node grew");

using Node_pool = SYSTEM::Block_pool<sizeof(St_node), alignof(St_node)>;

// Texts carry one byte in front that says where they came from: most are short names and
// numbers, which come from pools of small blocks.
constexpr size_t TINY_TEXT_BLOCK = 16;
constexpr size_t SMALL_TEXT_BLOCK = 32;
using Tiny_text_pool = SYSTEM::Block_pool<TINY_TEXT_BLOCK, 8>;
using Text_pool = SYSTEM::Block_pool<SMALL_TEXT_BLOCK>;
enum Text_origin : char {
    TEXT_FROM_HEAP = 0,
    TEXT_FROM_POOL = 1,
    TEXT_STATIC = St_node::STATIC_TEXT_MARK,
    TEXT_FROM_TINY_POOL = 3,
    // Arena texts: blocks of the two small sizes go back to the arena one at a time, larger
    // ones only with the arena.
    TEXT_IN_ARENA_TINY = 4,
    TEXT_IN_ARENA_SMALL = 5,
    TEXT_IN_ARENA = 6,
};

// A copy for the text of owner: in owner's arena when it has one.
char* copy_bytes(const St_node* owner, const void* bytes, size_t size)
{
    // The block holds the origin byte, the text and its zero byte.
    char* block;
    if (Node_arena* arena = Node_arena::of(owner)) {
        block = arena->allocate_text(size + 2);
        block[0] = size + 2 <= Node_arena::TINY_TEXT    ? TEXT_IN_ARENA_TINY
                   : size + 2 <= Node_arena::SMALL_TEXT ? TEXT_IN_ARENA_SMALL
                                                        : TEXT_IN_ARENA;
    } else if (size + 2 <= TINY_TEXT_BLOCK) {
        block = static_cast<char*>(Tiny_text_pool::allocate());
        block[0] = TEXT_FROM_TINY_POOL;
    } else if (size + 2 <= SMALL_TEXT_BLOCK) {
        block = static_cast<char*>(Text_pool::allocate());
        block[0] = TEXT_FROM_POOL;
    } else {
        block = new char[size + 2];
        block[0] = TEXT_FROM_HEAP;
    }
    char* copy = block + 1;
    std::memcpy(copy, bytes, size);
    copy[size] = '\0';
    return copy;
}

void free_text(char* text)
{
    if (!text)
        return;
    char* block = text - 1;
    if (block[0] == TEXT_FROM_TINY_POOL)
        Tiny_text_pool::release(block);
    else if (block[0] == TEXT_FROM_POOL)
        Text_pool::release(block);
    else if (block[0] == TEXT_FROM_HEAP)
        delete[] block;
    else if (block[0] == TEXT_IN_ARENA_TINY)
        Node_arena::of(block)->release_text(block, Node_arena::TINY_TEXT);
    else if (block[0] == TEXT_IN_ARENA_SMALL)
        Node_arena::of(block)->release_text(block, Node_arena::SMALL_TEXT);
}

// Digits in the given base, up to the first character that is none (a suffix such as "L").
// Wraps modulo 2^32, as a 32-bit constant does.
uint32_t parse_digits(std::string_view digits, uint32_t base)
{
    uint32_t value = 0;
    for (char c : digits) {
        uint32_t digit;
        if (c >= '0' && c <= '9')
            digit = uint32_t(c - '0');
        else if (c >= 'a' && c <= 'f')
            digit = uint32_t(c - 'a' + 10);
        else if (c >= 'A' && c <= 'F')
            digit = uint32_t(c - 'A' + 10);
        else
            break;
        if (digit >= base)
            break;
        value = value * base + digit;
    }
    return value;
}

}  // namespace

File_name make_file_name(std::string_view name)
{
    // Never freed: nodes may be freed during static destruction, and names are few.
    static std::mutex* lock = new std::mutex;
    static auto* names = new std::unordered_set<std::string>;
    std::lock_guard<std::mutex> guard(*lock);
    return File_name(&*names->emplace(name).first);
}

St_node::St_node(int32_t kind_, File_name file_, std::initializer_list<St_node*> children)
    : file(file_), kind(kind_)
{
    add_children(children);
}

St_node::St_node(int32_t kind_, File_name file_, std::string_view string, std::initializer_list<St_node*> children)
    : file(file_), kind(kind_)
{
    set_text(string);
    add_children(children);
}

St_node::St_node(int32_t kind_, File_name file_, int32_t line_, int32_t column_, const char* text_,
                 int32_t text_size_, int32_t extra_position_)
    : file(file_), kind(kind_), line(line_), column(column_), extra_position(extra_position_)
{
    if (text_size_ < 0 && text_)
        set_text(text_);
    else if (text_size_ > 0 && text_)
        set_binary_text(text_, text_size_);
}

void* St_node::operator new(size_t size)
{
    return size == sizeof(St_node) ? Node_pool::allocate() : ::operator new(size);
}

void* St_node::operator new(size_t size, Node_arena* arena)
{
    if (arena && size == sizeof(St_node))
        if (void* block = arena->allocate_node())
            return block;
    return operator new(size);
}

void St_node::operator delete(void* node, size_t size)
{
    if (Node_arena* arena = Node_arena::of(node)) {
        if (arena->keeper() == node)
            delete arena;
        else
            arena->release_node(node);
    } else if (size == sizeof(St_node)) {
        Node_pool::release(node);
    } else {
        ::operator delete(node);
    }
}

void St_node::operator delete(void* node, Node_arena*)
{
    operator delete(node, sizeof(St_node));
}

St_node::~St_node()
{
    Node_arena* arena = Node_arena::of(this);
    if (arena && arena->keeper() == this) {
        // The arena goes with this node, and every node and text of the tree with it.
#ifdef VORN_CHECK_ARENAS
        arena->check_tree(this, "a tree dropped with its arena");
#endif
        return;
    }
    free_text(text);
    // Both links are trees in the binary sense (first child left, next sibling right). Each is
    // taken apart by rotating left links into right chains, which needs no stack; every node is
    // unlinked before it is deleted, so that no destructor below recurses.
    for (St_node* node : {first_child, next_sibling}) {
        while (node) {
            if (St_node* left = node->first_child) {
                node->first_child = left->next_sibling;
                left->next_sibling = node;
                node = left;
            } else {
                St_node* right = node->next_sibling;
                node->next_sibling = nullptr;
                delete node;
                node = right;
            }
        }
    }
    first_child = nullptr;
    next_sibling = nullptr;
}

void St_node::add_children(std::initializer_list<St_node*> children)
{
    for (St_node* node : children)
        add_child(node);
}

List_builder::List_builder(St_node* parent) : parent_(parent)
{
    for (St_node* node = parent->first_child; node; node = node->next_sibling)
        tail_ = node;
}

void List_builder::add(St_node* child)
{
    if (!child)
        return;
    if (tail_)
        tail_->next_sibling = child;
    else
        parent_->first_child = child;
    tail_ = child;
    while (tail_->next_sibling)
        tail_ = tail_->next_sibling;
}

St_node* St_node::child(int32_t n) const
{
    if (n < 0)
        return nullptr;
    St_node* node = first_child;
    while (node && n > 0) {
        node = node->next_sibling;
        --n;
    }
    return node;
}

int32_t St_node::child_count() const
{
    int32_t count = 0;
    for (St_node* node = first_child; node; node = node->next_sibling)
        ++count;
    return count;
}

void St_node::add_child(St_node* node)
{
    // A node linked twice would close a loop and be freed twice.
    if (!node || node == this)
        return;
    if (!first_child) {
        first_child = node;
        return;
    }
    St_node* last = first_child;
    for (;; last = last->next_sibling) {
        if (last == node)
            return;
        if (!last->next_sibling)
            break;
    }
    last->next_sibling = node;
}

bool St_node::replace_child(St_node* old, St_node* replacement)
{
    if (!old || !replacement)
        return false;
    St_node** link = &first_child;
    while (*link && *link != old)
        link = &(*link)->next_sibling;
    if (!*link)
        return false;
    replacement->next_sibling = old->next_sibling;
    *link = replacement;
    old->next_sibling = nullptr;
    return true;
}

St_node* St_node::find_child(int32_t wanted) const
{
    for (St_node* node = first_child; node; node = node->next_sibling)
        if (node->kind == wanted)
            return node;
    return nullptr;
}

void St_node::copy_fields_to(St_node& copy) const
{
    if (text_size < 0 && text)
        copy.set_text(text);
    else if (text_size > 0 && text)
        copy.set_binary_text(text, text_size);
    copy.line = line;
    copy.column = column;
    copy.extra_position = extra_position;
    copy.type_index = type_index;
    copy.annotation = annotation;
}

St_node* St_node::clone(Node_arena* arena) const
{
    St_node* root = new (arena) St_node(kind, file);
    copy_fields_to(*root);
    // Pairs of an original and its copy whose children are still to be copied.
    std::vector<std::pair<const St_node*, St_node*>> pending;
    pending.emplace_back(this, root);
    while (!pending.empty()) {
        auto [original, copy] = pending.back();
        pending.pop_back();
        St_node** link = &copy->first_child;
        for (const St_node* child_node = original->first_child; child_node; child_node = child_node->next_sibling) {
            St_node* child_copy = new (arena) St_node(child_node->kind, child_node->file);
            child_node->copy_fields_to(*child_copy);
            *link = child_copy;
            link = &child_copy->next_sibling;
            if (child_node->first_child)
                pending.emplace_back(child_node, child_copy);
        }
    }
    return root;
}

void St_node::set_text(std::string_view string)
{
    free_text(text);
    text = copy_bytes(this, string.data(), string.size());
    text_size = -1;
}

void St_node::set_static_text(const char* marked_text)
{
    free_text(text);
    text = const_cast<char*>(marked_text);
    text_size = -1;
}

void St_node::set_binary_text(const void* bytes, int32_t size)
{
    free_text(text);
    text = nullptr;
    text_size = 0;
    if (size <= 0 || !bytes)
        return;
    text = copy_bytes(this, bytes, size_t(size));
    text_size = size;
}

void St_node::clear_text()
{
    free_text(text);
    text = nullptr;
    text_size = 0;
}

std::string_view St_node::text_view() const
{
    if (!text)
        return {};
    if (text_size > 0)
        return std::string_view(text, size_t(text_size));
    return std::string_view(text);
}

int32_t St_node::int_value() const
{
    std::string_view digits = text_view();
    switch (kind) {
    case NODE_INT_CONSTANT:
        return int32_t(parse_digits(digits, 10));
    case NODE_HEX_CONSTANT:
        return int32_t(parse_digits(digits.size() > 2 ? digits.substr(2) : std::string_view(), 16));
    case NODE_OCT_CONSTANT:
        return int32_t(parse_digits(digits, 8));
    case NODE_BOOL_CONSTANT:
        return bool_value() ? 1 : 0;
    case NODE_UNARY_EXPRESSION:
        if (!first_child)
            return 0;
        if (digits == "-")
            return int32_t(0u - uint32_t(first_child->int_value()));
        return digits == "+" ? first_child->int_value() : 0;
    }
    return 0;
}

double St_node::float_value() const
{
    switch (kind) {
    case NODE_FLOAT_CONSTANT: {
        // from_chars reads the C locale's form whatever the host's locale is, and stops at a suffix.
        std::string_view digits = text_view();
        double value = 0.0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return value;
    }
    case NODE_UNARY_EXPRESSION:
        if (!first_child)
            return 0.0;
        if (text_view() == "-")
            return -first_child->float_value();
        return text_view() == "+" ? first_child->float_value() : 0.0;
    case NODE_INT_CONSTANT:
    case NODE_HEX_CONSTANT:
    case NODE_OCT_CONSTANT:
    case NODE_BOOL_CONSTANT:
        return double(int_value());
    }
    return 0.0;
}

bool St_node::bool_value() const
{
    return text_view() == "true";
}

const char* St_node::kind_name(int32_t kind)
{
    if (kind < 0 || kind >= NODE_KIND_COUNT)
        return "unknown";
    return node_kind_names[kind];
}

// Serialization

namespace {

enum Written_flags : uint8_t { HAS_SIBLING = 1, HAS_CHILD = 2 };

void write_header(const St_node& node, SERIAL::Serializer& out)
{
    out.write_uint8(uint8_t((node.next_sibling ? HAS_SIBLING : 0) | (node.first_child ? HAS_CHILD : 0)));
    out.write_uint8(uint8_t(node.kind));
    out.write_sint32(node.type_index);
    out.write_string(node.file_name());
    int32_t length = node.text ? node.text_size : 0;
    out.write_sint32(length);
    if (length >= 0) {
        for (int32_t i = 0; i < length; ++i)
            out.write_sint32(int32_t(int8_t(node.text[i])));
    } else {
        out.write_string(node.text);
    }
    out.write_sint32(node.column);
    out.write_sint32(node.extra_position);
    out.write_sint32(node.line);
}

// Reads one node's own fields; returns its flags. File names repeat from node to node, so a
// name equal to the previous one shares its string. scratch holds texts on their way.
uint8_t read_header(St_node& node, SERIAL::Deserializer& in, File_name& last_file, std::string& scratch)
{
    uint8_t flags = 0, kind = 0;
    in.read_uint8(&flags);
    in.read_uint8(&kind);
    node.kind = kind;
    in.read_sint32(&node.type_index);
    in.read_text(scratch);
    if (!last_file || *last_file != scratch)
        last_file = make_file_name(scratch);
    node.file = last_file;
    int32_t length = 0;
    in.read_sint32(&length);
    if (length > 0) {
        // Each byte came as a 32-bit value; a length past what the stream holds is cut short.
        uint64_t room = in.bytes_remaining() / 4;
        if (uint64_t(length) > room)
            length = int32_t(room);
        scratch.assign(size_t(length), '\0');
        for (int32_t i = 0; i < length; ++i) {
            int32_t byte = 0;
            in.read_sint32(&byte);
            scratch[size_t(i)] = char(byte);
        }
        if (length > 0)
            node.set_binary_text(scratch.data(), length);
    } else if (length < 0) {
        in.read_text(scratch);
        node.set_text(scratch);
    }
    in.read_sint32(&node.column);
    in.read_sint32(&node.extra_position);
    in.read_sint32(&node.line);
    return flags;
}

}  // namespace

SERIAL::Class_id St_node::get_class_id() const { return SERIAL::class_id_of("_StN"); }

void St_node::serialize(SERIAL::Serializer& out) const
{
    // The sibling chain of a node comes before its children.
    std::vector<const St_node*> pending{this};
    while (!pending.empty()) {
        const St_node* node = pending.back();
        pending.pop_back();
        write_header(*node, out);
        if (node->first_child)
            pending.push_back(node->first_child);
        if (node->next_sibling)
            pending.push_back(node->next_sibling);
    }
}

void St_node::deserialize(SERIAL::Deserializer& in)
{
    File_name last_file;
    std::string scratch;
    // Links still to be filled, the top one first: a node's sibling link lies above its child
    // link, so the whole sibling chain is read before the children.
    std::vector<St_node**> pending;
    Node_arena* arena = Node_arena::of(this);
    auto read_into = [&](St_node& node) {
        uint8_t flags = read_header(node, in, last_file, scratch);
        if (!in.good())
            return;
        if (flags & HAS_CHILD)
            pending.push_back(&node.first_child);
        if (flags & HAS_SIBLING)
            pending.push_back(&node.next_sibling);
    };
    read_into(*this);
    while (!pending.empty() && in.good()) {
        St_node** link = pending.back();
        pending.pop_back();
        *link = new (arena) St_node(NODE_NO_OP, File_name());
        read_into(**link);
    }
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

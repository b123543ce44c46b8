#include "syntax_tree/tree_printer.h"

#include <utility>
#include <vector>

#include "syntax_tree/st_node.h"

namespace QZ {
namespace SYNTAX_TREE {

namespace {

const char hex_digits[] = "0123456789abcdef";

void append_hex_byte(std::string& out, unsigned char byte)
{
    out += hex_digits[byte >> 4];
    out += hex_digits[byte & 15];
}

void append_string_text(std::string& out, std::string_view text)
{
    out += '"';
    for (char c : text) {
        unsigned char byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte == 0x7f) {
            out += "\\x";
            append_hex_byte(out, byte);
        } else {
            out += c;
        }
    }
    out += '"';
}

void append_binary_text(std::string& out, std::string_view bytes)
{
    out += '[';
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0)
            out += ' ';
        append_hex_byte(out, static_cast<unsigned char>(bytes[i]));
    }
    out += ']';
}

void append_line(std::string& out, const St_node& node, size_t depth)
{
    out.append(depth * 2, ' ');
    out += St_node::kind_name(node.kind);
    if (node.text) {
        out += ' ';
        if (node.text_size > 0)
            append_binary_text(out, node.text_view());
        else
            append_string_text(out, node.text_view());
    }
    out += ' ';
    out += std::to_string(node.line);
    out += ':';
    out += std::to_string(node.column);
    out += '\n';
}

}  // namespace

void print_tree(const St_node* node, std::string& out)
{
    // Depth first without recursion: a node's children come before its next sibling.
    std::vector<std::pair<const St_node*, size_t>> pending;
    if (node)
        pending.emplace_back(node, 0);
    while (!pending.empty()) {
        auto [current, depth] = pending.back();
        pending.pop_back();
        append_line(out, *current, depth);
        if (current->next_sibling)
            pending.emplace_back(current->next_sibling, depth);
        if (current->first_child)
            pending.emplace_back(current->first_child, depth + 1);
    }
}

std::string tree_text(const St_node* node)
{
    std::string out;
    print_tree(node, out);
    return out;
}

void print_tree(const St_node* node, std::FILE* file)
{
    std::string out = tree_text(node);
    std::fwrite(out.data(), 1, out.size(), file);
}

}  // namespace SYNTAX_TREE
}  // namespace QZ

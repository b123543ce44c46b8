// Value blocks: one byte block per value, laid out by its Type. A fixed array is its elements in
// a row; an unsized array is a 32-bit count and, at offset 8, a pointer to the elements; a
// string or texture is a pointer to its own C string. Struct members sit at their alignment.
#pragma once

#include <cstddef>
#include <cstdint>

#include "syntax_tree/type.h"

namespace QZ {
namespace GRAPH {

using SYNTAX_TREE::Type;

// Blocks above this size are refused (no block): a type made by a host can claim any size.
constexpr uint32_t MAX_VALUE_SIZE = 64u << 20;

// True for the codes whose slot is a pointer to owned text.
bool owns_text(uint32_t code);
// A copy made with malloc, as value blocks own their text; null for null.
char* duplicate_text(const char* text);

// size zeroed bytes from malloc; ends the process when memory runs out.
void* allocate_bytes(size_t size);
// A zeroed block of the type's size; null for a size of 0 or above MAX_VALUE_SIZE.
void* allocate_value(const Type& type);
// A deep copy of source: text and the elements of unsized arrays are copied too. Null for null.
void* copy_value(const Type& type, const void* source);
// Frees what the block owns, then the block. Null is ignored.
void free_value(const Type& type, void* block);
// Frees what the block owns and leaves the block itself alone. Null is ignored.
void release_value(const Type& type, void* block);
// A deep copy of source written to target, which holds the type's size in bytes.
void copy_value_into(const Type& type, const void* source, void* target);

// Element by element with the comparison rules of parameters. A type without a known comparison
// logs and compares as equal. Two null blocks are equal; one null block is compared as zeroes.
bool values_equal(const Type& type, const void* a, const void* b);

// The address of the part of a value that path names: "", "x", "[2]", "list[1].x", "[0].y". Null
// for a null path, an unknown member, an index out of range or a malformed index.
void* find_value(const Type& type, const char* path, void* base);

// The bytes of one element of the type, whatever its array size.
uint32_t element_size(const Type& type);

}  // namespace GRAPH
}  // namespace QZ

#include "graph/value_block.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "log/mod_log.h"

namespace QZ {
namespace GRAPH {

using namespace SYNTAX_TREE;

namespace {

// Struct types made by the compiler nest a few levels; a host-made one could go on forever.
constexpr int MAX_NESTING = 32;

// Offset of the element pointer of an unsized array, behind the 32-bit count.
constexpr uint32_t UNSIZED_POINTER_OFFSET = 8;

void* allocate_zeroed(size_t size)
{
    void* block = std::calloc(1, size);
    if (!block) {
        std::fprintf(stderr, "FATAL: Cannot allocate %lu bytes of memory.\n", static_cast<unsigned long>(size));
        std::exit(1);
    }
    return block;
}

uint32_t round_up(uint32_t offset, uint32_t alignment)
{
    return alignment ? (offset + alignment - 1) / alignment * alignment : offset;
}

uint32_t element_alignment(const Type& type)
{
    if (type.code() != TYPE_STRUCT) {
        uint32_t size = type_code_info(type.code()).component_size;
        return size ? size : 1;
    }
    uint32_t result = 1;
    for (const Type* member = type.first_member(); member; member = member->next_member())
        result = std::max(result, member->alignment());
    return result;
}

uint32_t& unsized_count(void* block) { return *static_cast<uint32_t*>(block); }
uint8_t*& unsized_elements(void* block)
{
    return *reinterpret_cast<uint8_t**>(static_cast<uint8_t*>(block) + UNSIZED_POINTER_OFFSET);
}

// Calls visit(member, offset) for each struct member in declaration order.
template <typename Visit>
void for_each_member(const Type& type, Visit visit)
{
    uint32_t offset = 0;
    for (const Type* member = type.first_member(); member; member = member->next_member()) {
        offset = round_up(offset, member->alignment());
        if (!visit(*member, offset))
            return;
        offset += member->size();
    }
}

// A value of type whose array size is taken as 1 when element is set.
struct Slot {
    const Type& type;
    bool element;
    uint32_t count() const { return element ? 1 : type.array_size(); }
};

void release_parts(Slot slot, uint8_t* block, int depth);

void release_element(const Type& type, uint8_t* at, int depth)
{
    if (owns_text(type.code())) {
        std::free(*reinterpret_cast<char**>(at));
        *reinterpret_cast<char**>(at) = nullptr;
    } else if (type.code() == TYPE_STRUCT && depth < MAX_NESTING) {
        for_each_member(type, [&](const Type& member, uint32_t offset) {
            release_parts(Slot{member, false}, at + offset, depth + 1);
            return true;
        });
    }
}

void release_parts(Slot slot, uint8_t* block, int depth)
{
    if (slot.count() == 0) {
        uint8_t* elements = unsized_elements(block);
        uint32_t size = element_size(slot.type);
        for (uint32_t i = 0; elements && i < unsized_count(block); ++i)
            release_element(slot.type, elements + uint64_t(i) * size, depth);
        std::free(elements);
        unsized_elements(block) = nullptr;
        unsized_count(block) = 0;
        return;
    }
    if (!owns_text(slot.type.code()) && slot.type.code() != TYPE_STRUCT)
        return;
    uint32_t size = element_size(slot.type);
    for (uint32_t i = 0; i < slot.count(); ++i)
        release_element(slot.type, block + uint64_t(i) * size, depth);
}

// target holds a bitwise copy of source; the owned parts are replaced by copies of their own.
void deepen_parts(Slot slot, uint8_t* target, int depth);

void deepen_element(const Type& type, uint8_t* at, int depth)
{
    if (owns_text(type.code())) {
        char*& text = *reinterpret_cast<char**>(at);
        text = duplicate_text(text);
    } else if (type.code() == TYPE_STRUCT) {
        if (depth >= MAX_NESTING) {
            std::memset(at, 0, element_size(type));
            return;
        }
        for_each_member(type, [&](const Type& member, uint32_t offset) {
            deepen_parts(Slot{member, false}, at + offset, depth + 1);
            return true;
        });
    }
}

void deepen_parts(Slot slot, uint8_t* target, int depth)
{
    if (slot.count() == 0) {
        uint32_t count = unsized_count(target);
        const uint8_t* elements = unsized_elements(target);
        uint64_t bytes = uint64_t(count) * element_size(slot.type);
        if (!elements || count == 0 || bytes > MAX_VALUE_SIZE) {
            unsized_count(target) = 0;
            unsized_elements(target) = nullptr;
            return;
        }
        uint8_t* copy = static_cast<uint8_t*>(allocate_zeroed(bytes));
        std::memcpy(copy, elements, bytes);
        unsized_elements(target) = copy;
        for (uint32_t i = 0; i < count; ++i)
            deepen_element(slot.type, copy + uint64_t(i) * element_size(slot.type), depth);
        return;
    }
    if (!owns_text(slot.type.code()) && slot.type.code() != TYPE_STRUCT)
        return;
    uint32_t size = element_size(slot.type);
    for (uint32_t i = 0; i < slot.count(); ++i)
        deepen_element(slot.type, target + uint64_t(i) * size, depth);
}

bool floats_equal(double a, double b)
{
    // Bit patterns do not matter (0 equals -0); two NaNs are unequal.
    if (std::isnan(a) && std::isnan(b))
        return false;
    return !(a < b) && !(a > b);
}

bool texts_equal(const char* a, const char* b) { return std::strcmp(a ? a : "", b ? b : "") == 0; }

bool has_known_comparison(uint32_t code)
{
    return is_scalar(code) || is_vector(code) || is_matrix(code) || is_texture(code) || code == TYPE_STRING ||
           code == TYPE_STRUCT;
}

void report_unknown_comparison(const Type& type)
{
    if (!LOG::mod_log)
        return;
    const char* word = language_word(type.code());
    const char* name = type.is_struct() ? type.type_name_text() : word ? word : type_code_name(type.code());
    std::string text = std::string("Can not compare parameters of type '") + name + "' " +
                       "-- assuming equality";
    LOG::mod_log->warning(SYSTEM::MODULE_SYNT, LOG::CAT_MISC, 0, "%s", text.c_str());
}

bool parts_equal(Slot slot, const uint8_t* a, const uint8_t* b, int depth);

bool element_equal(const Type& type, const uint8_t* a, const uint8_t* b, int depth)
{
    uint32_t code = type.code();
    if (code == TYPE_STRUCT) {
        if (depth >= MAX_NESTING)
            return true;
        bool equal = true;
        for_each_member(type, [&](const Type& member, uint32_t offset) {
            equal = parts_equal(Slot{member, false}, a + offset, b + offset, depth + 1);
            return equal;
        });
        return equal;
    }
    if (owns_text(code))
        return texts_equal(*reinterpret_cast<const char* const*>(a), *reinterpret_cast<const char* const*>(b));
    if (!has_known_comparison(code)) {
        report_unknown_comparison(type);
        return true;
    }
    const Type_code_info& info = type_code_info(code);
    for (uint32_t i = 0; i < info.components; ++i) {
        const uint8_t* x = a + i * info.component_size;
        const uint8_t* y = b + i * info.component_size;
        if (info.component_code == TYPE_SCALAR) {
            float fx, fy;
            std::memcpy(&fx, x, sizeof fx);
            std::memcpy(&fy, y, sizeof fy);
            if (!floats_equal(fx, fy))
                return false;
        } else if (info.component_code == TYPE_BOOLEAN) {
            if ((*x != 0) != (*y != 0))
                return false;
        } else if (std::memcmp(x, y, info.component_size) != 0) {
            return false;
        }
    }
    return true;
}

bool parts_equal(Slot slot, const uint8_t* a, const uint8_t* b, int depth)
{
    uint32_t size = element_size(slot.type);
    if (slot.count() == 0) {
        uint32_t count = unsized_count(const_cast<uint8_t*>(a));
        if (count != unsized_count(const_cast<uint8_t*>(b)))
            return false;
        const uint8_t* ea = unsized_elements(const_cast<uint8_t*>(a));
        const uint8_t* eb = unsized_elements(const_cast<uint8_t*>(b));
        for (uint32_t i = 0; ea && eb && i < count; ++i)
            if (!element_equal(slot.type, ea + uint64_t(i) * size, eb + uint64_t(i) * size, depth))
                return false;
        return true;
    }
    for (uint32_t i = 0; i < slot.count(); ++i)
        if (!element_equal(slot.type, a + uint64_t(i) * size, b + uint64_t(i) * size, depth))
            return false;
    return true;
}

// "123]" -> 123 and the text after ']'; false without digits or ']'.
bool read_index(const char*& text, int64_t& index)
{
    const char* p = text;
    bool negative = *p == '-';
    if (negative)
        ++p;
    if (*p < '0' || *p > '9')
        return false;
    int64_t value = 0;
    while (*p >= '0' && *p <= '9') {
        if (value < (int64_t(1) << 40))
            value = value * 10 + (*p - '0');
        ++p;
    }
    while (*p && *p != ']')
        ++p;
    if (*p != ']')
        return false;
    index = negative ? -value : value;
    text = p + 1;
    return true;
}

}  // namespace

void* allocate_bytes(size_t size) { return allocate_zeroed(size); }

bool owns_text(uint32_t code)
{
    return code == TYPE_STRING || is_texture(code) || code == TYPE_BRDF;
}

char* duplicate_text(const char* text)
{
    if (!text)
        return nullptr;
    size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(allocate_zeroed(size));
    std::memcpy(copy, text, size);
    return copy;
}

uint32_t element_size(const Type& type)
{
    if (type.array_size() == 1)
        return type.size();
    if (type.code() != TYPE_STRUCT) {
        const Type_code_info& info = type_code_info(type.code());
        return uint32_t(info.components) * info.component_size;
    }
    uint32_t offset = 0;
    for_each_member(type, [&](const Type& member, uint32_t at) {
        offset = at + member.size();
        return true;
    });
    return round_up(offset, element_alignment(type));
}

void* allocate_value(const Type& type)
{
    uint32_t size = type.size();
    if (size == 0 || size > MAX_VALUE_SIZE)
        return nullptr;
    return allocate_zeroed(size);
}

void* copy_value(const Type& type, const void* source)
{
    if (!source)
        return nullptr;
    void* copy = allocate_value(type);
    if (!copy)
        return nullptr;
    std::memcpy(copy, source, type.size());
    deepen_parts(Slot{type, false}, static_cast<uint8_t*>(copy), 0);
    return copy;
}

void free_value(const Type& type, void* block)
{
    if (!block)
        return;
    release_parts(Slot{type, false}, static_cast<uint8_t*>(block), 0);
    std::free(block);
}

void release_value(const Type& type, void* block)
{
    if (block)
        release_parts(Slot{type, false}, static_cast<uint8_t*>(block), 0);
}

void copy_value_into(const Type& type, const void* source, void* target)
{
    std::memcpy(target, source, type.size());
    deepen_parts(Slot{type, false}, static_cast<uint8_t*>(target), 0);
}

bool values_equal(const Type& type, const void* a, const void* b)
{
    void* zero = nullptr;
    if (!a || !b) {
        zero = allocate_value(type);
        if (!zero)
            return true;
        (a ? b : a) = zero;
    }
    bool equal = parts_equal(Slot{type, false}, static_cast<const uint8_t*>(a), static_cast<const uint8_t*>(b), 0);
    std::free(zero);
    return equal;
}

void* find_value(const Type& type, const char* path, void* base)
{
    if (!path)
        return nullptr;
    const Type* current = &type;
    bool element = false;  // current is taken with array size 1
    uint8_t* at = static_cast<uint8_t*>(base);
    // Walks the path step by step: a long path costs no stack.
    for (int steps = 0; at; ++steps) {
        if (*path == '\0')
            return at;
        uint32_t count = element ? 1 : current->array_size();
        if (*path == '[') {
            ++path;
            int64_t index = 0;
            if (count == 1 || !read_index(path, index) || index < 0)
                return nullptr;
            uint32_t size = element_size(*current);
            if (count == 0) {
                if (index >= unsized_count(at))
                    return nullptr;
                at = unsized_elements(at);
            } else if (index >= count) {
                return nullptr;
            }
            if (!at)
                return nullptr;
            at += uint64_t(index) * size;
            element = true;
            if (*path == '.')
                ++path;
            else if (*path != '\0')
                return nullptr;
            continue;
        }
        if (count != 1 || current->code() != TYPE_STRUCT)
            return nullptr;
        size_t head = std::strcspn(path, ".[");
        const Type* found = nullptr;
        uint32_t found_offset = 0;
        for_each_member(*current, [&](const Type& member, uint32_t offset) {
            const char* name = member.name();
            if (name && std::strlen(name) == head && std::strncmp(name, path, head) == 0) {
                found = &member;
                found_offset = offset;
                return false;
            }
            return true;
        });
        if (!found)
            return nullptr;
        at += found_offset;
        current = found;
        element = false;
        path += head;
        if (*path == '.')
            ++path;
    }
    return nullptr;
}

}  // namespace GRAPH
}  // namespace QZ

// The read side of the element database as the compiler sees it: pinned records and the
// transaction that hands them out.
#pragma once

#include <cstdint>

#include "db/element.h"

namespace QZ {
namespace DB {

// A stored element as the database holds it while a reader has it pinned.
struct Record {
    Element_base* element = nullptr;
    int32_t pin_count = 0;
};

// Gives a pinned record back to the database.
void unpin(Record* record);

// The operations of a transaction that the compiler calls, in their order. A transaction
// counts its references under a lock of its own.
class Transaction {
public:
    virtual void retain() = 0;
    virtual void release() = 0;
    // The element's name, null if it has none.
    virtual const char* get_tag_name(Tag tag) = 0;
    // The record of tag, pinned for the caller, or null for a tag the database does not know.
    // All compiler calls wait (wait = 1).
    virtual Record* access(Tag tag, uint8_t wait) = 0;
    // A new empty element of the class, owned by the caller; null for a class it cannot make.
    virtual Element_base* construct_empty(Class_id class_id) = 0;

protected:
    virtual ~Transaction() = default;
};

}  // namespace DB
}  // namespace QZ

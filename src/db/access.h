// The typed read handle: holds one element of a transaction for as long as it is read.
#pragma once

#include "db/transaction.h"

namespace QZ {
namespace DB {

class Access {
public:
    Access() = default;
    // Unpins a held record. A temporary element (see set) stays the caller's.
    ~Access();
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

    // The element of tag. A tag the transaction does not know gives a new empty element of
    // class_id, which the caller owns; info() is null then. Tag 0 gives null. A record held
    // from an earlier call is unpinned first. A null transaction keeps the one given before.
    Element_base* set(Tag tag, Transaction* transaction, Class_id class_id, uint8_t wait = 1);

    Tag tag() const { return tag_; }
    Transaction* transaction() const { return transaction_; }
    Record* info() const { return info_; }
    Element_base* element() const { return element_; }
    template <typename T>
    T* element_as() const
    {
        return dynamic_cast<T*>(element_);
    }
    // True when the element was found in the database; false for none or a temporary one.
    bool found() const { return info_ != nullptr; }

    // Destroys a temporary element, unpins a held record and empties the handle.
    void finish();

private:
    void unpin_held();

    Tag tag_ = 0;
    Transaction* transaction_ = nullptr;
    Record* info_ = nullptr;
    Element_base* element_ = nullptr;
};

}  // namespace DB
}  // namespace QZ

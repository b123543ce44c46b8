// A transaction over a small table of elements held in this process: enough for the routes
// that read shaders from the database, with no database behind it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "db/transaction.h"

namespace QZ {
namespace DB {

class Local_transaction : public Transaction {
public:
    // Starts at count 1, owned by the caller; release() at 0 destroys it.
    Local_transaction() = default;

    void retain() override;
    void release() override;
    const char* get_tag_name(Tag tag) override;
    // Logs "Access to invalid tag %u" for a tag that was never stored.
    Record* access(Tag tag, uint8_t wait) override;
    // Declarations, sources and units; null for other classes.
    Element_base* construct_empty(Class_id class_id) override;

    // Stores an element under a new tag (the first is 1) and owns it from then on.
    Tag store(Element_base* element, const char* name = nullptr);
    // How many readers hold the record of tag pinned; 0 for an unknown tag.
    int32_t pin_count(Tag tag) const;

private:
    ~Local_transaction() override;

    struct Entry {
        std::unique_ptr<Element_base> element;
        std::string name;
        bool has_name = false;
        Record record;
    };

    std::mutex count_lock_;
    int32_t count_ = 1;
    std::map<Tag, Entry> entries_;
    Tag next_tag_ = 1;
};

}  // namespace DB
}  // namespace QZ

#include "db/local_transaction.h"

#include "db/shader_elements.h"
#include "log/mod_log.h"
#include "serial/deserialization_manager.h"

namespace QZ {
namespace DB {

Local_transaction::~Local_transaction() = default;

void Local_transaction::retain()
{
    std::lock_guard<std::mutex> guard(count_lock_);
    ++count_;
}

void Local_transaction::release()
{
    bool last;
    {
        std::lock_guard<std::mutex> guard(count_lock_);
        last = --count_ == 0;
    }
    if (last)
        delete this;
}

const char* Local_transaction::get_tag_name(Tag tag)
{
    auto found = entries_.find(tag);
    return found != entries_.end() && found->second.has_name ? found->second.name.c_str() : nullptr;
}

Record* Local_transaction::access(Tag tag, uint8_t)
{
    // Stores take effect at once here, so there is no pending work to run before looking.
    auto found = entries_.find(tag);
    if (found == entries_.end()) {
        if (LOG::mod_log)
            LOG::mod_log->error(SYSTEM::MODULE_MAIN, LOG::CAT_DB, 1, "Access to invalid tag %u\n", tag);
        return nullptr;
    }
    ++found->second.record.pin_count;
    return &found->second.record;
}

Element_base* Local_transaction::construct_empty(Class_id class_id)
{
    switch (class_id) {
    case _Dcl:
        return new Shader_declaration_element;
    case _Src:
        return new Shader_source_element;
    case _CoU: {
        // Units are made by the class factory of the tree module, with the prelude of the day.
        SERIAL::Serializable* made = SERIAL::deserialization_manager().construct(class_id);
        auto* element = dynamic_cast<Element_base*>(made);
        if (!element)
            delete made;
        return element;
    }
    default:
        return nullptr;
    }
}

Tag Local_transaction::store(Element_base* element, const char* name)
{
    Tag tag = next_tag_++;
    Entry& entry = entries_[tag];
    entry.element.reset(element);
    entry.record.element = element;
    if (name) {
        entry.name = name;
        entry.has_name = true;
    }
    return tag;
}

int32_t Local_transaction::pin_count(Tag tag) const
{
    auto found = entries_.find(tag);
    return found == entries_.end() ? 0 : found->second.record.pin_count;
}

}  // namespace DB
}  // namespace QZ

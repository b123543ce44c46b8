#include "db/access.h"

namespace QZ {
namespace DB {

void unpin(Record* record)
{
    if (record && record->pin_count > 0)
        --record->pin_count;
}

Access::~Access()
{
    unpin_held();
}

void Access::unpin_held()
{
    if (info_)
        unpin(info_);
    info_ = nullptr;
}

Element_base* Access::set(Tag tag, Transaction* transaction, Class_id class_id, uint8_t wait)
{
    unpin_held();
    element_ = nullptr;
    tag_ = tag;
    if (transaction)
        transaction_ = transaction;
    if (tag == 0 || !transaction_)
        return nullptr;
    info_ = transaction_->access(tag, wait);
    if (info_) {
        element_ = info_->element;
        return element_;
    }
    element_ = transaction_->construct_empty(class_id);
    return element_;
}

void Access::finish()
{
    if (!info_)
        delete element_;
    unpin_held();
    element_ = nullptr;
    tag_ = 0;
}

}  // namespace DB
}  // namespace QZ

// The reference counting every host wrapper shares.
#pragma once

#include <cstdint>

#include "system/mod_mem.h"
#include "vorn/vorn.h"

namespace QZ {
namespace HOST {

// Implements the four operations of Interface for a wrapper class answering to one id.
// Base is the host interface, Self the final class.
template <typename Base, int32_t ID>
class Counted_interface : public Base, public SYSTEM::Mem_object {
public:
    void retain() override { ++count_; }
    void release() override
    {
        if (--count_ == 0)
            delete this;
    }
    vorn::Interface* get_interface(int32_t id) override
    {
        if (id != ID)
            return nullptr;
        retain();
        return this;
    }
    int32_t reference_count() const { return count_; }
    virtual ~Counted_interface() = default;

private:
    int32_t count_ = 1;
};

}  // namespace HOST
}  // namespace QZ

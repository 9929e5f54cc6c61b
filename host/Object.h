// Reference-counted objects of the host: counts that are safe from several threads, and interface queries.
#pragma once

#include <atomic>
#include <cstdint>

#include "0_Base_i.h"

namespace velhost {

// One interface that an object offers: its identifier, and whether that identifier is the one asked for.
#define VELHOST_ANSWER(interface_name)                \
    if (iid == MakeInterfaceId(#interface_name)) {    \
        *object = static_cast<interface_name*>(this); \
        AddRef();                                     \
        return S_OK;                                  \
    }

// Implements AddRef and Release for the interfaces Bases; Derived is deleted when the count reaches 0. A new object
// has a count of 1, which belongs to whoever made it.
template <class Derived, class... Bases>
class Counted : public Bases... {
public:
    Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    uint32_t AddRef() override { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    // The decrement's own result decides: of two threads that release at once, one sees 0.
    uint32_t Release() override {
        const uint32_t count = m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (count == 0) delete static_cast<Derived*>(this);
        return count;
    }

protected:
    ~Counted() = default;

private:
    std::atomic<uint32_t> m_count{1};
};

}  // namespace velhost

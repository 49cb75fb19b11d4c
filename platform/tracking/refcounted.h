#pragma once

#include "tracking_export.h"

#include <atomic>

// Base of objects shared through boost::intrusive_ptr. The count is atomic because the tracker is
// reached from the main thread and from its writer.
namespace Vantel {

class TRACKING_EXPORT RefCounted {
public:
    RefCounted(const RefCounted &) = delete;
    RefCounted &operator=(const RefCounted &) = delete;

protected:
    RefCounted() = default;
    virtual ~RefCounted() = default;

private:
    friend void intrusive_ptr_add_ref(const RefCounted *object) noexcept;
    friend void intrusive_ptr_release(const RefCounted *object) noexcept;
    mutable std::atomic<long> m_refs { 0 };
};

inline void intrusive_ptr_add_ref(const RefCounted *object) noexcept
{
    object->m_refs.fetch_add(1, std::memory_order_relaxed);
}

inline void intrusive_ptr_release(const RefCounted *object) noexcept
{
    if (object->m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete object;
}

} // namespace Vantel

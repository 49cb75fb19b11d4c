#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Statistics {

// A set of object addresses for the timeline census: open addressing in one array, so a lookup
// is a multiply and, nearly always, one probe in memory that stays in cache. A node-based set
// chases a pointer per lookup, which on a walk over a hundred thousand clips cost more than all
// the other counting together (bench/timelinecensus_bench.cpp).
class PointerSet {
public:
    // False when the address was already there. Null is never stored.
    bool insert(const void *object)
    {
        if (!object)
            return false;
        if ((m_size + 1) * 2 > m_slots.size())
            grow();
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = slotOf(object);; i = (i + 1) & mask) {
            if (m_slots[i] == object)
                return false;
            if (!m_slots[i]) {
                m_slots[i] = object;
                ++m_size;
                return true;
            }
        }
    }

    std::size_t size() const noexcept { return m_size; }

private:
    std::size_t slotOf(const void *object) const noexcept
    {
        // Fibonacci hashing: addresses differ in their middle bits, the product spreads them
        // into the top bits the shift keeps.
        return static_cast<std::size_t>(
            (reinterpret_cast<std::uintptr_t>(object) * 0x9E3779B97F4A7C15ull) >> m_shift);
    }

    // Out of line, so the probe itself stays small enough to be inlined into each picker.
    [[gnu::noinline]] void grow()
    {
        std::vector<const void *> old(m_slots.empty() ? 64 : m_slots.size() * 2, nullptr);
        old.swap(m_slots);
        m_shift = 64;
        for (std::size_t n = m_slots.size(); n > 1; n >>= 1)
            --m_shift;
        m_size = 0;
        for (const void *object : old) {
            if (object)
                insert(object);
        }
    }

    std::vector<const void *> m_slots;
    std::size_t m_size = 0;
    unsigned m_shift = 64;
};

} // namespace Statistics

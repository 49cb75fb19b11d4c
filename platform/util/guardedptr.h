#pragma once

#include <memory>

// A pointer that notices when its object is gone, for objects that are no QObject. Work that
// finishes long after it was asked for (an analysis of many files, a download) keeps such a
// pointer to what it will change, and finds null when the user closed or deleted that meanwhile.
// Main thread: a check and the use that follows it must not be separated by another thread.
namespace Util {

// A member of an object that guarded pointers watch. A copy of its owner is another object, so
// copying starts a lifetime of its own.
class Lifetime {
public:
    Lifetime() noexcept = default;
    Lifetime(const Lifetime &) noexcept { }
    Lifetime &operator=(const Lifetime &) noexcept { return *this; }

    // Made on first demand, so objects nobody watches cost no allocation.
    std::weak_ptr<const void> watch() const
    {
        if (!m_token)
            m_token = std::make_shared<char>();
        return m_token;
    }

private:
    mutable std::shared_ptr<char> m_token;
};

// T has `const Util::Lifetime &lifetime() const`.
template<class T> class GuardedPtr {
public:
    GuardedPtr() noexcept = default;
    GuardedPtr(T *object)
        : m_object(object)
    {
        if (object)
            m_alive = object->lifetime().watch();
    }

    // Null once the object is destroyed.
    T *get() const noexcept { return m_alive.expired() ? nullptr : m_object; }

private:
    T *m_object = nullptr;
    std::weak_ptr<const void> m_alive;
};

} // namespace Util

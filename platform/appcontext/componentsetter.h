#pragma once

#include "appcontext_export.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// A holder for one application component that tells its observers, synchronously, each time a
// new component is set; and a process-wide record of which components were set when, for the
// start-up diagnostics. Safe to use from any thread: the announcing thread runs the observers.
namespace Vantel::Tracking {

class APPCONTEXT_EXPORT ComponentSetterTracker {
public:
    struct Record {
        std::string component;
        std::chrono::steady_clock::time_point when;
        std::size_t observers = 0;
    };

    void componentSet(std::string component, std::size_t observers);
    std::vector<Record> records() const;

private:
    mutable std::mutex m_mutex;
    std::vector<Record> m_records;
};

} // namespace Vantel::Tracking

namespace Vantel::App {

template<class I> class ComponentSetterObserver {
public:
    virtual ~ComponentSetterObserver() = default;
    virtual void componentChanged(const std::shared_ptr<I> &component) = 0;
};

// Runs observers in the announcing thread before set() returns.
struct SyncExecutePolicy {
    template<class F> static void execute(F &&f) { f(); }
};

// Publishes to observers under two locks: one guards the list (observers may come and go from
// other threads), the other keeps two announcements from interleaving, so every observer sees
// the components in the order they were set.
template<class I, class Policy = SyncExecutePolicy> class EventPublisher {
public:
    void addObserver(ComponentSetterObserver<I> *observer)
    {
        std::lock_guard<std::mutex> lock(m_listMutex);
        m_observers.push_back(observer);
    }
    void removeObserver(ComponentSetterObserver<I> *observer)
    {
        std::lock_guard<std::mutex> lock(m_listMutex);
        m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer),
                          m_observers.end());
    }
    std::size_t publish(const std::shared_ptr<I> &component)
    {
        std::lock_guard<std::recursive_mutex> order(m_publishMutex);
        std::vector<ComponentSetterObserver<I> *> observers;
        {
            std::lock_guard<std::mutex> lock(m_listMutex);
            observers = m_observers;
        }
        for (ComponentSetterObserver<I> *observer : observers)
            Policy::execute([&] { observer->componentChanged(component); });
        return observers.size();
    }

private:
    std::mutex m_listMutex;
    std::recursive_mutex m_publishMutex;
    std::vector<ComponentSetterObserver<I> *> m_observers;
};

// Keeps the component weakly when Ptr is a weak_ptr-compatible shared_ptr: the announcer owns it.
template<class I, class Ptr = std::shared_ptr<I>> class ComponentSetter {
public:
    ComponentSetter(std::shared_ptr<Tracking::ComponentSetterTracker> tracker, std::string name)
        : m_tracker(std::move(tracker))
        , m_name(std::move(name))
    {
    }

    void set(const Ptr &component)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_component = component;
        }
        const std::size_t told = m_publisher.publish(component);
        if (m_tracker)
            m_tracker->componentSet(m_name, told);
    }
    std::shared_ptr<I> component() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_component.lock();
    }
    EventPublisher<I> &publisher() { return m_publisher; }

private:
    std::shared_ptr<Tracking::ComponentSetterTracker> m_tracker;
    std::string m_name;
    mutable std::mutex m_mutex;
    std::weak_ptr<I> m_component;
    EventPublisher<I> m_publisher;
};

} // namespace Vantel::App

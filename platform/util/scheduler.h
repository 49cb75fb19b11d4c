#pragma once

#include "util_export.h"

#include <QObject>
#include <QTimer>

#include <atomic>

namespace Vantel::Util {

// Calls back on a later pass of the owner's event loop; any number of requests made before that
// pass give one call. Requests may come from any thread (they post an event), the call always
// runs on the thread the scheduler lives in. Destroying the scheduler (or cancel()) disarms it,
// so an owner can never be called after it started to go away.
class UTIL_EXPORT SchedulerBase : public QObject {
    Q_OBJECT
public:
    void schedule();
    void cancel();
    bool isPending() const noexcept { return m_state.load() & RunRequested; }

protected:
    SchedulerBase();
    ~SchedulerBase() override;
    virtual void run() = 0;
    void customEvent(QEvent *event) override;

private:
    enum : int { Armed = 2, RunRequested = 4 };
    void fire();

    std::atomic<int> m_state { Armed };
    QTimer m_timer;
};

template<class Owner> class Scheduler final : public SchedulerBase {
public:
    using Callback = void (Owner::*)();
    Scheduler(Owner *owner, Callback callback)
        : m_owner(owner)
        , m_callback(callback)
    {
    }
    ~Scheduler() override { cancel(); }

private:
    void run() override { (m_owner->*m_callback)(); }

    Owner *m_owner;
    Callback m_callback;
};

} // namespace Vantel::Util

namespace Util {
using Vantel::Util::Scheduler;
}

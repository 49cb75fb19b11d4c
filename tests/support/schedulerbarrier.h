#pragma once

#include "eventwait.h"

#include "util/scheduler.h"

namespace TestSupport {

// Runs the event loop until every Util::Scheduler request made before this call has been served:
// a request of its own, made last, is served last, so when it has run the others have too.
inline bool runScheduledCalls()
{
    struct Sentinel {
        void served() { done = true; }
        bool done = false;
        Vantel::Util::Scheduler<Sentinel> scheduler { this, &Sentinel::served };
    } sentinel;
    sentinel.scheduler.schedule();
    return waitUntil([&] { return sentinel.done; });
}

} // namespace TestSupport

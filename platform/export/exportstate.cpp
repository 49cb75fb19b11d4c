#include "export/exportstate.h"

#include <algorithm>
#include <functional>
#include <mutex>
#include <vector>

namespace Export {

ExportRange ExportRange::partial(MTime from, MTime to)
{
    ExportRange range;
    range.m_kind = Partial;
    range.m_from = from;
    range.m_to = std::max(from, to);
    return range;
}

namespace {

// The engine reports from its own thread while watchers come and go on the main thread. The lock
// is held across each call, so a watcher's destructor (which takes it to unregister) waits for a
// call in progress and is never called after it returns. A watcher must not export from inside
// a callback.
struct Registry {
    std::recursive_mutex mutex;
    std::vector<ExportStateWatcher *> watchers;
};

Registry &registry()
{
    static Registry r;
    return r;
}

void forEachWatcher(const std::function<void(ExportStateWatcher &)> &call)
{
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    // By index: a callback may register a new watcher, which then hears from the next change on.
    for (std::size_t i = 0, n = r.watchers.size(); i < n && i < r.watchers.size(); ++i)
        call(*r.watchers[i]);
}

} // namespace

ExportStateWatcher::ExportStateWatcher()
{
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    r.watchers.push_back(this);
}

ExportStateWatcher::~ExportStateWatcher()
{
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    r.watchers.erase(std::remove(r.watchers.begin(), r.watchers.end(), this), r.watchers.end());
}

void notifyStarted(const ExportState &state)
{
    forEachWatcher([&](ExportStateWatcher &w) { w.exportStarted(state); });
}

void notifyFinished(const ExportState &state)
{
    forEachWatcher([&](ExportStateWatcher &w) { w.exportFinished(state); });
}

void notifyCancelled(const ExportState &state)
{
    forEachWatcher([&](ExportStateWatcher &w) { w.exportCancelled(state); });
}

void notifyFailed(const ExportState &state, const ExportErrorDesc &error)
{
    forEachWatcher([&](ExportStateWatcher &w) { w.exportFailed(state, error); });
}

} // namespace Export

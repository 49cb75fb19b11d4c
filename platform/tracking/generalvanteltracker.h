#pragma once

#include "tracking_export.h"

#include "tracking/idatafiller.h"
#include "tracking/refcounted.h"
#include "tracking/trackedevent.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace Vantel::Tracking {

// The usage tracker: takes named events with text parameters, lets the registered fillers add
// theirs, stamps time and session and hands the result to its sinks (the durable store, an
// export file, a test's recorder). Shared by intrusive reference count; used on the main thread.
class TRACKING_EXPORT GeneralVantelTracker : public Vantel::RefCounted {
public:
    static const std::string APP_FIRST_START;
    static const std::string APP_EVERY_START;
    static const std::string APP_LAUNCHED;
    static const std::string APP_EXIT;
    static const std::string APP_FAILED;
    static const std::string APP_RESTARTED;
    static const std::string SID;

    explicit GeneralVantelTracker(std::string sessionId);
    ~GeneralVantelTracker() override;

    void sendEvent(const std::string &event, const std::map<std::string, std::string> &params);
    // The same, taking the map over instead of copying it.
    void sendEvent(const std::string &event, std::map<std::string, std::string> &&params);
    void RegisterFiller(const std::string &event,
                        const std::shared_ptr<IDataFiller> &filler,
                        FillerKeyMatchingMethod method);

    void addSink(std::shared_ptr<IEventSink> sink);
    void removeSink(const std::shared_ptr<IEventSink> &sink);
    const std::string &sessionId() const noexcept { return m_sessionId; }

private:
    struct Registration {
        std::string key;
        std::shared_ptr<IDataFiller> filler;
        FillerKeyMatchingMethod method;
    };
    // Never changed once published; a change publishes a new one.
    struct Routes {
        std::vector<Registration> fillers;
        std::vector<std::shared_ptr<IEventSink>> sinks;
    };

    std::shared_ptr<const Routes> routes() const;
    void change(const std::function<void(Routes &)> &edit);

    const std::string m_sessionId;
    mutable std::mutex m_mutex;
    std::shared_ptr<const Routes> m_routes;
};

} // namespace Vantel::Tracking

#pragma once

#include "applogicexport.h"

#include "Statistics/statisticsevents.h"

#include "appsettings/applicationsettingsmanager.h"
#include "util/scheduler.h"

#include <boost/intrusive_ptr.hpp>

#include <string>

namespace Statistics {

// The four preferences "PREF_CHANGED" describes.
struct PreferenceSnapshot {
    std::string language;
    bool autoUpdate = true;
    bool dontShowNewProjectDialog = false;
    bool fastTrackEnabled = true;

    bool operator==(const PreferenceSnapshot &o) const
    {
        return language == o.language && autoUpdate == o.autoUpdate
            && dontShowNewProjectDialog == o.dontShowNewProjectDialog
            && fastTrackEnabled == o.fastTrackEnabled;
    }
    bool operator!=(const PreferenceSnapshot &o) const { return !(*this == o); }
};

APPLOGIC_EXPORT PreferenceSnapshot
readPreferences(const Vantel::App::IApplicationSettingsManager &manager);
// Whether a change of this key leads to a report; the language alone does not, it rides along.
APPLOGIC_EXPORT bool isReportedPreference(const std::string &key);
APPLOGIC_EXPORT Event prefChangedEvent(const PreferenceSnapshot &preferences);

// Reports preference changes. A preferences dialog changes several keys at once, so the report
// waits for the next pass of the event loop and then compares with what was last reported:
// changes of one pass give one event, and a change undone within the pass gives none. Observes
// the process's settings manager, which must outlive it. Main thread only.
class SettingsHelper final : public Vantel::App::AbstractSettingsManagerObserver {
public:
    // Observes `manager` (which outlives the helper); without one there is nothing to report.
    SettingsHelper(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker,
                   Vantel::App::IApplicationSettingsManager *manager);
    ~SettingsHelper() override;
    SettingsHelper(const SettingsHelper &) = delete;
    SettingsHelper &operator=(const SettingsHelper &) = delete;

    void SettingChangedBool(const std::string &key,
                            bool value,
                            const std::optional<bool> &previous) override;
    void SettingChangedInt(const std::string &key,
                           int value,
                           const std::optional<int> &previous) override;
    void SettingChangedString(const std::string &key,
                              const std::string &value,
                              const std::optional<std::string> &previous) override;

private:
    void changed(const std::string &key);
    void report();

    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    Vantel::App::IApplicationSettingsManager *m_manager;
    PreferenceSnapshot m_snapshot;
    Vantel::Util::Scheduler<SettingsHelper> m_scheduler;
};

} // namespace Statistics

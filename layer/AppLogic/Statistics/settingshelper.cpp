#include "Statistics/settingshelper.h"

namespace Statistics {

using namespace Vantel::App;

PreferenceSnapshot readPreferences(const IApplicationSettingsManager &manager)
{
    PreferenceSnapshot snapshot;
    snapshot.language = manager.language();
    snapshot.autoUpdate = manager.boolValue(SettingKeys::autoUpdate);
    snapshot.dontShowNewProjectDialog = manager.boolValue(SettingKeys::dontShowNewProjectDialog);
    snapshot.fastTrackEnabled = manager.boolValue(SettingKeys::fastTrackEnabled);
    return snapshot;
}

bool isReportedPreference(const std::string &key)
{
    return key == SettingKeys::autoUpdate || key == SettingKeys::dontShowNewProjectDialog
        || key == SettingKeys::fastTrackEnabled;
}

Event prefChangedEvent(const PreferenceSnapshot &preferences)
{
    Params params;
    params["APP_LANGUAGE"] = preferences.language;
    params["UPDATE_CHECKING"] = flag(preferences.autoUpdate);
    params["SHOW_NEW_PROJECT"] = flag(!preferences.dontShowNewProjectDialog);
    params["FTHD_ENABLED"] = flag(preferences.fastTrackEnabled);
    return { "PREF_CHANGED", std::move(params) };
}

SettingsHelper::SettingsHelper(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker,
                               IApplicationSettingsManager *manager)
    : m_tracker(std::move(tracker))
    , m_manager(manager)
    , m_scheduler(this, &SettingsHelper::report)
{
    if (m_manager) {
        m_snapshot = readPreferences(*m_manager);
        m_manager->addObserver(this);
    }
}

SettingsHelper::~SettingsHelper()
{
    m_scheduler.cancel();
    if (m_manager)
        m_manager->removeObserver(this);
}

void SettingsHelper::SettingChangedBool(const std::string &key, bool, const std::optional<bool> &)
{
    changed(key);
}

void SettingsHelper::SettingChangedInt(const std::string &key, int, const std::optional<int> &)
{
    changed(key);
}

void SettingsHelper::SettingChangedString(const std::string &key,
                                          const std::string &,
                                          const std::optional<std::string> &)
{
    changed(key);
}

void SettingsHelper::changed(const std::string &key)
{
    if (isReportedPreference(key))
        m_scheduler.schedule();
}

void SettingsHelper::report()
{
    const PreferenceSnapshot current = readPreferences(*m_manager);
    if (current == m_snapshot)
        return;
    m_snapshot = current;
    const Event event = prefChangedEvent(current);
    m_tracker->sendEvent(event.name, event.params);
}

} // namespace Statistics

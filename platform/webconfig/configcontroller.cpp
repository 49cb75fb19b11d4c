#include "webconfig/configcontroller.h"

#include "customization/customization.h"
#include "downloader/localfile.h"
#include "downloader/resourcemanager.h"
#include "util/settingspaths.h"

#include <QDateTime>

#include <glog/logging.h>

#include <algorithm>

namespace Vantel::App::WebConfig {

ISettingsManager::~ISettingsManager() = default;
IConfigController::~IConfigController() = default;

// ---- SectionManager

SectionManager::SectionManager(std::string section)
    : m_section(std::move(section))
{
}

void SectionManager::addObserver(ISettingsManagerObserver *observer)
{
    if (std::find(m_observers.begin(), m_observers.end(), observer) == m_observers.end())
        m_observers.push_back(observer);
}

void SectionManager::removeObserver(ISettingsManagerObserver *observer)
{
    m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer),
                      m_observers.end());
}

template<class T>
static std::optional<T> typed(const SectionManager::Entries &entries, const std::string &key)
{
    const auto it = entries.find(key);
    if (it == entries.end())
        return std::nullopt;
    if (const T *value = std::get_if<T>(&it->second.value))
        return *value;
    return std::nullopt;
}

bool SectionManager::getBool(const std::string &key, bool defaultValue) const
{
    return typed<bool>(m_entries, key).value_or(defaultValue);
}

int SectionManager::getInt(const std::string &key, int defaultValue) const
{
    return typed<int>(m_entries, key).value_or(defaultValue);
}

std::string SectionManager::getString(const std::string &key, const std::string &defaultValue) const
{
    return typed<std::string>(m_entries, key).value_or(defaultValue);
}

bool SectionManager::accept(const std::string &key, const std::string &) const
{
    const auto it = m_entries.find(key);
    return !key.empty()
        && (it == m_entries.end() || std::holds_alternative<std::string>(it->second.value));
}

void SectionManager::update(const std::string &key, const std::string &value)
{
    if (!accept(key, value))
        return;
    Entries entries = m_entries;
    const auto it = entries.find(key);
    if (it != entries.end() && std::get<std::string>(it->second.value) == value)
        return;
    entries[key] = Entry { value, ValueSource::Fetched };
    replace(std::move(entries));
}

std::vector<std::string> SectionManager::keys() const
{
    std::vector<std::string> result;
    for (const auto &[key, entry] : m_entries)
        result.push_back(key);
    return result;
}

std::optional<ConfigValue> SectionManager::value(const std::string &key) const
{
    const auto it = m_entries.find(key);
    return it == m_entries.end() ? std::nullopt : std::optional<ConfigValue>(it->second.value);
}

std::optional<ValueSource> SectionManager::source(const std::string &key) const
{
    const auto it = m_entries.find(key);
    return it == m_entries.end() ? std::nullopt : std::optional<ValueSource>(it->second.source);
}

void SectionManager::replace(Entries entries)
{
    std::vector<std::tuple<std::string, ConfigValue, std::optional<ConfigValue>>> changes;
    for (const auto &[key, entry] : entries) {
        const auto old = m_entries.find(key);
        if (old == m_entries.end())
            changes.emplace_back(key, entry.value, std::nullopt);
        else if (old->second.value != entry.value)
            changes.emplace_back(key, entry.value, old->second.value);
    }
    m_entries = std::move(entries);
    for (const auto &[key, value, old] : changes)
        tell(key, value, old);
}

void SectionManager::tell(const std::string &key,
                          const ConfigValue &value,
                          const std::optional<ConfigValue> &old)
{
    // A copy: an observer may go away while it is told.
    const std::vector<ISettingsManagerObserver *> observers = m_observers;
    for (ISettingsManagerObserver *observer : observers) {
        if (std::find(m_observers.begin(), m_observers.end(), observer) == m_observers.end())
            continue;
        if (const bool *b = std::get_if<bool>(&value)) {
            std::optional<bool> previous;
            if (old && std::holds_alternative<bool>(*old))
                previous = std::get<bool>(*old);
            observer->SettingChangedBool(key, *b, previous);
        } else if (const int *i = std::get_if<int>(&value)) {
            std::optional<int> previous;
            if (old && std::holds_alternative<int>(*old))
                previous = std::get<int>(*old);
            observer->SettingChangedInt(key, *i, previous);
        } else {
            std::optional<std::string> previous;
            if (old && std::holds_alternative<std::string>(*old))
                previous = std::get<std::string>(*old);
            observer->SettingChangedString(key, std::get<std::string>(value), previous);
        }
    }
}

// ---- ConfigController

ConfigController::ConfigController(WebConfigFactory::Initializer initializer)
    : m_init(std::move(initializer))
    , m_cachePath(m_init.cachePath.isEmpty() ? Settings::webConfigCachePath() : m_init.cachePath)
    , m_downloader(m_init.downloads ? *m_init.downloads : Downloader::ResourceManager::instance())
{
    m_refresh.setSingleShot(true);
    connect(&m_refresh, &QTimer::timeout, this, &ConfigController::fetch);
    connect(&m_downloader, &Downloader::ResourceDownloader::reported, this,
            &ConfigController::fetched);
}

ConfigController::~ConfigController() = default;

void ConfigController::start()
{
    const QByteArray defaults
        = m_init.defaultConfigReader ? m_init.defaultConfigReader() : QByteArray();
    if (!defaults.isEmpty()) {
        ParseResult parsed = parseWebConfig(defaults);
        if (parsed.ok())
            m_defaults = std::move(parsed.config);
        else
            LOG(WARNING) << "The bundled default web configuration "
                         << Settings::defaultWebConfigPath().toStdString()
                         << " is refused: " << parsed.error.toStdString();
    }

    QString error;
    const auto cached = Downloader::readRegularFile(m_cachePath, maxConfigBytes, &error);
    Config lastGood;
    if (!cached && !error.isEmpty()) {
        LOG(WARNING) << "The last good web configuration " << m_cachePath.toStdString()
                     << " is refused: " << error.toStdString();
    } else if (cached) {
        ParseResult parsed = parseWebConfig(*cached);
        if (parsed.ok()) {
            lastGood = std::move(parsed.config);
            m_lastGood = *cached;
        } else {
            LOG(WARNING) << "The last good web configuration " << m_cachePath.toStdString()
                         << " is refused: " << parsed.error.toStdString();
        }
    }
    apply(lastGood, ValueSource::Cached);
    fetch();
}

std::shared_ptr<ISettingsManager> ConfigController::settingsManager(const std::string &section)
{
    const auto it = m_managers.find(section);
    return it == m_managers.end() ? nullptr : it->second;
}

std::vector<std::string> ConfigController::sections() const
{
    std::vector<std::string> result;
    for (const auto &[name, manager] : m_managers)
        result.push_back(name);
    return result;
}

FetchStatus ConfigController::fetchStatus() const
{
    return m_status;
}

void ConfigController::apply(const Config &layer, ValueSource source)
{
    std::map<std::string, SectionManager::Entries> sections;
    for (const auto &[name, manager] : m_managers)
        sections[name];
    for (const auto &[name, keys] : m_defaults) {
        sections[name]; // an empty section still has a manager
        for (const auto &[key, value] : keys)
            sections[name][key] = { value, ValueSource::Default };
    }
    for (const auto &[name, keys] : layer) {
        sections[name];
        for (const auto &[key, value] : keys)
            sections[name][key] = { value, source };
    }
    for (auto &[name, entries] : sections) {
        auto &manager = m_managers[name];
        if (!manager)
            manager = std::make_shared<SectionManager>(name);
        manager->replace(std::move(entries));
    }
}

void ConfigController::fetch()
{
    if (m_status.inFlight)
        return;
    m_status.url
        = m_init.url ? *m_init.url : Customization::appUrl(QStringLiteral("WEB_CONFIG_URL"));
    if (m_status.url.isEmpty()) {
        m_status.result = FetchStatus::Result::None;
        m_status.error = QStringLiteral("no address for WEB_CONFIG_URL");
        return;
    }
    const auto timeout = static_cast<int>(m_init.fetchTimeout.count());
    Downloader::DownloadParams params;
    params.url = m_status.url;
    // Fetched beside the last good copy, never over it: it replaces that copy only once it reads.
    params.destination = m_cachePath + QStringLiteral(".fetched");
    params.flags = Downloader::Revalidate | Downloader::Compressed;
    params.maxBytes = maxConfigBytes;
    params.deadlineMs = timeout;
    params.stallTimeoutMs = std::min(timeout, 15000);
    params.maxRetries = 2;
    params.maxRetryDelayMs = std::min(timeout, 30000);
    m_status.inFlight = true;
    m_lastFetchStart = QDateTime::currentMSecsSinceEpoch();
    LOG(INFO) << "Fetching the web configuration from "
              << m_status.url.toDisplayString().toStdString() << " (session " << m_init.session
              << ")";
    m_downloader.download(params, 1, 0);
}

void ConfigController::fetched(const Downloader::DownloadParams &params,
                               const Downloader::DownloadReport &report)
{
    m_status.inFlight = false;
    m_status.finishedAt = QDateTime::currentDateTimeUtc();
    m_status.error = report.error;
    scheduleNext();
    if (report.code != Downloader::Success) {
        m_status.result = FetchStatus::Result::Failed;
        return;
    }
    if (report.notModified && !m_lastGood.isEmpty()) {
        m_status.result = FetchStatus::Result::NotModified;
        return;
    }
    QString error;
    const auto bytes = Downloader::readRegularFile(params.destination, maxConfigBytes, &error);
    ParseResult parsed = bytes ? parseWebConfig(*bytes) : ParseResult { {}, error };
    if (!parsed.ok()) {
        m_status.result = FetchStatus::Result::Failed;
        m_status.error = parsed.error;
        LOG(WARNING) << "The web configuration fetched from "
                     << m_status.url.toDisplayString().toStdString() << " into "
                     << params.destination.toStdString()
                     << " is refused: " << parsed.error.toStdString()
                     << "; the last good copy stays";
        return;
    }
    if (*bytes != m_lastGood) {
        if (Downloader::writeFileAtomically(m_cachePath, *bytes, &error))
            m_lastGood = *bytes;
        else
            LOG(WARNING) << "Cannot keep the web configuration as " << m_cachePath.toStdString()
                         << ": " << error.toStdString();
    }
    m_status.result
        = report.notModified ? FetchStatus::Result::NotModified : FetchStatus::Result::Ok;
    apply(parsed.config, ValueSource::Fetched);
}

void ConfigController::scheduleNext()
{
    const qint64 interval = m_init.refreshInterval.count();
    const qint64 due = m_lastFetchStart + interval - QDateTime::currentMSecsSinceEpoch();
    m_refresh.start(static_cast<int>(std::clamp<qint64>(due, 0, interval)));
}

} // namespace Vantel::App::WebConfig

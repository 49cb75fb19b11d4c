#include "appsettings/applicationsettingsmanager.h"

#include "util/settingspaths.h"

#include <QSettings>

#include <glog/logging.h>

#include <algorithm>

namespace Vantel::App {

namespace {

IApplicationSettingsManager *current = nullptr;

QString qKey(const std::string &key)
{
    return QString::fromStdString(key);
}

std::optional<bool> parseBool(const QString &text)
{
    if (text == QLatin1String("true"))
        return true;
    if (text == QLatin1String("false"))
        return false;
    return std::nullopt;
}

std::optional<int> parseInt(const QString &text)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok ? std::optional<int>(value) : std::nullopt;
}

} // namespace

bool defaultBool(const std::string &key)
{
    return key == SettingKeys::autoUpdate || key == SettingKeys::fastTrackEnabled;
}

std::string defaultString(const std::string &key)
{
    return key == SettingKeys::language ? "en_US" : std::string();
}

ApplicationSettingsManager::ApplicationSettingsManager()
    : ApplicationSettingsManager(Settings::applicationSettingsPath())
{
}

ApplicationSettingsManager::ApplicationSettingsManager(const QString &path)
    : m_settings(std::make_unique<QSettings>(path, QSettings::IniFormat))
{
}

ApplicationSettingsManager::~ApplicationSettingsManager()
{
    m_settings->sync();
}

QString ApplicationSettingsManager::path() const
{
    return m_settings->fileName();
}

void ApplicationSettingsManager::addObserver(ISettingsManagerObserver *observer)
{
    if (observer
        && std::find(m_observers.begin(), m_observers.end(), observer) == m_observers.end())
        m_observers.push_back(observer);
}

void ApplicationSettingsManager::removeObserver(ISettingsManagerObserver *observer)
{
    m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer),
                      m_observers.end());
}

// Values are stored as text, so the file reads the same whoever wrote it and a hand-edited value
// that does not parse falls back to the default instead of to Qt's guess.
std::optional<QString> ApplicationSettingsManager::stored(const std::string &key) const
{
    const QVariant value = m_settings->value(qKey(key));
    if (!value.isValid())
        return std::nullopt;
    return value.toString();
}

void ApplicationSettingsManager::store(const std::string &key, const QString &value)
{
    m_settings->setValue(qKey(key), value);
    m_settings->sync();
    if (m_settings->status() != QSettings::NoError)
        LOG(WARNING) << "cannot write the preferences to " << path().toStdString();
}

bool ApplicationSettingsManager::boolValue(const std::string &key) const
{
    const auto text = stored(key);
    const auto value = text ? parseBool(*text) : std::nullopt;
    return value.value_or(defaultBool(key));
}

int ApplicationSettingsManager::intValue(const std::string &key) const
{
    const auto text = stored(key);
    const auto value = text ? parseInt(*text) : std::nullopt;
    return value.value_or(0);
}

std::string ApplicationSettingsManager::stringValue(const std::string &key) const
{
    const auto text = stored(key);
    return text ? text->toStdString() : defaultString(key);
}

void ApplicationSettingsManager::setBool(const std::string &key, bool value)
{
    const auto text = stored(key);
    const std::optional<bool> previous = text ? parseBool(*text) : std::nullopt;
    if (previous == value)
        return;
    store(key, value ? QStringLiteral("true") : QStringLiteral("false"));
    // Copied: an observer may remove itself while being told.
    const auto observers = m_observers;
    for (ISettingsManagerObserver *observer : observers)
        observer->SettingChangedBool(key, value, previous);
}

void ApplicationSettingsManager::setInt(const std::string &key, int value)
{
    const auto text = stored(key);
    const std::optional<int> previous = text ? parseInt(*text) : std::nullopt;
    if (previous == value)
        return;
    store(key, QString::number(value));
    const auto observers = m_observers;
    for (ISettingsManagerObserver *observer : observers)
        observer->SettingChangedInt(key, value, previous);
}

void ApplicationSettingsManager::setString(const std::string &key, const std::string &value)
{
    const auto text = stored(key);
    const std::optional<std::string> previous
        = text ? std::optional<std::string>(text->toStdString()) : std::nullopt;
    if (previous == value)
        return;
    store(key, QString::fromStdString(value));
    const auto observers = m_observers;
    for (ISettingsManagerObserver *observer : observers)
        observer->SettingChangedString(key, value, previous);
}

std::vector<std::string> ApplicationSettingsManager::storedKeys() const
{
    std::vector<std::string> keys;
    for (const QString &key : m_settings->allKeys())
        keys.push_back(key.toStdString());
    std::sort(keys.begin(), keys.end());
    return keys;
}

void setApplicationSettingsManager(IApplicationSettingsManager *manager)
{
    current = manager;
}

IApplicationSettingsManager *applicationSettingsManager()
{
    return current;
}

} // namespace Vantel::App

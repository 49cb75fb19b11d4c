#include "appsettings/applicationsettingsmanager.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QFileInfo>

#include <glog/logging.h>

#include <algorithm>
#include <stdexcept>

namespace Vantel::App {

namespace {

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

// Preferences are a few dozen short lines; anything near this was not written by us.
constexpr qint64 MaxSettingsFile = 1 << 20;

const QByteArray plainKeyCharacters = "_.-";

QString unquote(const QString &raw)
{
    if (!raw.startsWith(QLatin1Char('"')))
        return raw;
    QString value;
    for (int i = 1; i < raw.size(); ++i) {
        const QChar c = raw.at(i);
        if (c == QLatin1Char('"'))
            break;
        if (c != QLatin1Char('\\') || i + 1 == raw.size()) {
            value += c;
            continue;
        }
        const QChar next = raw.at(++i);
        value += next == QLatin1Char('n') ? QLatin1Char('\n')
            : next == QLatin1Char('r')    ? QLatin1Char('\r')
            : next == QLatin1Char('t')    ? QLatin1Char('\t')
                                          : next;
    }
    return value;
}

QString quoted(const QString &value)
{
    const bool plain = value.trimmed() == value && !value.contains(QLatin1Char('"'))
        && !value.contains(QLatin1Char('\\')) && !value.contains(QLatin1Char('\n'))
        && !value.contains(QLatin1Char('\r')) && !value.contains(QLatin1Char('\t'));
    if (plain)
        return value;
    QString text = QStringLiteral("\"");
    for (const QChar c : value) {
        if (c == QLatin1Char('"') || c == QLatin1Char('\\'))
            text += QLatin1Char('\\') + c;
        else if (c == QLatin1Char('\n'))
            text += QLatin1String("\\n");
        else if (c == QLatin1Char('\r'))
            text += QLatin1String("\\r");
        else if (c == QLatin1Char('\t'))
            text += QLatin1String("\\t");
        else
            text += c;
    }
    return text + QLatin1Char('"');
}

QByteArray encodedKey(const QString &key)
{
    return key.toUtf8().toPercentEncoding(plainKeyCharacters);
}

} // namespace

QByteArray writeSettingsText(const std::map<QString, QString> &values)
{
    std::map<QString, QByteArray> sections;
    for (const auto &[key, value] : values) {
        const int slash = key.indexOf(QLatin1Char('/'));
        const QString section = slash > 0 ? key.left(slash) : QStringLiteral("General");
        const QString name = slash > 0 ? key.mid(slash + 1) : key;
        sections[section] += encodedKey(name) + '=' + quoted(value).toUtf8() + '\n';
    }
    QByteArray text;
    for (const auto &[section, lines] : sections) {
        if (!text.isEmpty())
            text += '\n';
        text += '[' + encodedKey(section) + "]\n" + lines;
    }
    return text;
}

std::map<QString, QString> readSettingsText(const QByteArray &text)
{
    std::map<QString, QString> values;
    QString section;
    for (const QByteArray &rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char(';'))
            || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            section = QString::fromUtf8(
                QByteArray::fromPercentEncoding(line.mid(1, line.size() - 2).toUtf8()));
            if (section == QLatin1String("General"))
                section.clear();
            continue;
        }
        const int equals = line.indexOf(QLatin1Char('='));
        if (equals <= 0)
            continue;
        const QString key = QString::fromUtf8(
            QByteArray::fromPercentEncoding(line.left(equals).trimmed().toUtf8()));
        if (key.isEmpty())
            continue;
        values[section.isEmpty() ? key : section + QLatin1Char('/') + key]
            = unquote(line.mid(equals + 1).trimmed());
    }
    return values;
}

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
    : m_path(QFileInfo(path).absoluteFilePath())
{
    reload();
}

ApplicationSettingsManager::~ApplicationSettingsManager() = default;

QString ApplicationSettingsManager::path() const
{
    return m_path;
}

void ApplicationSettingsManager::reload()
{
    try {
        m_values = readSettingsText(FS::readRegularFile(m_path, MaxSettingsFile));
    } catch (const FS::Error &e) {
        m_values.clear();
        if (!e.notFound())
            LOG(WARNING) << "cannot read the preferences, using the defaults: " << e.what();
    }
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
    const auto found = m_values.find(qKey(key));
    if (found == m_values.end())
        return std::nullopt;
    return found->second;
}

// Another editor on the same data folder may have changed other keys since we read the file:
// the change is made to the file as it is now, under its lock.
void ApplicationSettingsManager::store(const std::string &key, const QString &value)
{
    try {
        const FS::FileLock lock(m_path + QStringLiteral(".lock"));
        reload();
        std::map<QString, QString> values = m_values;
        values[qKey(key)] = value;
        FS::writeFileAtomically(m_path, writeSettingsText(values));
        m_values = std::move(values);
    } catch (const FS::Error &e) {
        throw std::runtime_error("cannot save the preference " + key + ": " + e.what());
    }
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
    for (const auto &entry : m_values)
        keys.push_back(entry.first.toStdString());
    std::sort(keys.begin(), keys.end());
    return keys;
}

} // namespace Vantel::App

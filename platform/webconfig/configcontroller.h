#pragma once

#include "webconfig_export.h"

#include "webconfig/webconfigfactory.h"

#include "downloader/resourcedownloader.h"

#include <QObject>
#include <QTimer>

#include <map>

// The web-configuration controller behind WebConfigFactory: one SectionManager per known
// section, the loading of the default and last good files, and the fetch cycle. Internal.
namespace Vantel::App::WebConfig {

class WEBCONFIG_EXPORT SectionManager final : public ISettingsManager {
public:
    struct Entry {
        ConfigValue value;
        ValueSource source;
    };
    using Entries = std::map<std::string, Entry>;

    explicit SectionManager(std::string section);

    void addObserver(ISettingsManagerObserver *observer) override;
    void removeObserver(ISettingsManagerObserver *observer) override;
    bool getBool(const std::string &key, bool defaultValue) const override;
    int getInt(const std::string &key, int defaultValue) const override;
    std::string getString(const std::string &key, const std::string &defaultValue) const override;
    bool accept(const std::string &key, const std::string &value) const override;
    void update(const std::string &key, const std::string &value) override;
    std::string section() const override { return m_section; }
    std::vector<std::string> keys() const override;
    std::optional<ConfigValue> value(const std::string &key) const override;
    std::optional<ValueSource> source(const std::string &key) const override;

    // Puts `entries` in effect, then tells the observers of each key whose value changed, in key
    // order, with the value it had before (empty when it had none of that type).
    void replace(Entries entries);

private:
    void
    tell(const std::string &key, const ConfigValue &value, const std::optional<ConfigValue> &old);

    std::string m_section;
    Entries m_entries;
    std::vector<ISettingsManagerObserver *> m_observers;
};

class WEBCONFIG_EXPORT ConfigController final
    : public QObject
    , public IConfigController {
    Q_OBJECT
public:
    explicit ConfigController(WebConfigFactory::Initializer initializer);
    ~ConfigController() override;

    // Loads the default and last good files and starts the first fetch.
    void start();

    std::shared_ptr<ISettingsManager> settingsManager(const std::string &section) override;
    std::vector<std::string> sections() const override;
    FetchStatus fetchStatus() const override;

private:
    void apply(const Config &layer, ValueSource source);
    void fetch();
    void fetched(const Downloader::DownloadParams &params,
                 const Downloader::DownloadReport &report);
    void scheduleNext();

    WebConfigFactory::Initializer m_init;
    QString m_cachePath;
    Config m_defaults;
    QByteArray m_lastGood;
    std::map<std::string, std::shared_ptr<SectionManager>> m_managers;
    FetchStatus m_status;
    Downloader::ResourceDownloader m_downloader;
    QTimer m_refresh;
    qint64 m_lastFetchStart = 0; // ms since the epoch; 0 before the first
};

} // namespace Vantel::App::WebConfig

#include "customization/customization.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <glog/logging.h>

namespace Customization {

namespace {

struct ProductConfig {
    QString path;
    QHash<QString, QUrl> links;
    QSet<QString> reportedMissing;
};

ProductConfig &config()
{
    static ProductConfig cfg;
    return cfg;
}

QString &overridePath()
{
    static QString path;
    return path;
}

// Far more than any list of link keys needs.
constexpr qint64 maxProductConfigBytes = 1 << 20;

QString bundledProductConfigPath()
{
    return QDir(Settings::bundledResourcesPath()).filePath(QStringLiteral("product.json"));
}

void load(ProductConfig &cfg, const QString &path)
{
    cfg = ProductConfig { path, {}, {} };
    // The data folder's copy is ours to keep, so a link there was planted; the install's may
    // be a packager's link.
    const bool bundled = path == bundledProductConfigPath();
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(path, maxProductConfigBytes,
                                    bundled ? FS::LinkPolicy::UsersOwn : FS::LinkPolicy::Refuse);
    } catch (const FS::Error &e) {
        LOG(WARNING) << "Cannot read the product configuration: " << e.what();
        if (bundled || !overridePath().isEmpty())
            return;
        load(cfg, bundledProductConfigPath());
        cfg.path = path;
        return;
    }
    QJsonParseError error {};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (!doc.isObject()) {
        LOG(WARNING) << "The product configuration " << path.toStdString()
                     << " is not a JSON object: " << error.errorString().toStdString();
        return;
    }
    const QDir base = QFileInfo(path).absoluteDir();
    const QJsonObject links = doc.object().value(QStringLiteral("links")).toObject();
    for (auto it = links.begin(); it != links.end(); ++it) {
        const QString text = it.value().toString();
        if (text.isEmpty())
            continue;
        QUrl url(text);
        if (url.isRelative())
            url = QUrl::fromLocalFile(base.absoluteFilePath(text));
        cfg.links.insert(it.key(), url);
    }
}

} // namespace

QString productConfigPath()
{
    if (!overridePath().isEmpty())
        return overridePath();
    const QString user = QDir(Settings::dataFolder()).filePath(QStringLiteral("product.json"));
    if (QFileInfo::exists(user))
        return user;
    return bundledProductConfigPath();
}

void setProductConfigPath(const QString &path)
{
    overridePath() = path;
}

QUrl appUrl(const QString &key)
{
    ProductConfig &cfg = config();
    const QString path = productConfigPath();
    if (cfg.path != path)
        load(cfg, path);
    const auto it = cfg.links.constFind(key);
    if (it != cfg.links.constEnd())
        return *it;
    if (!cfg.reportedMissing.contains(key)) {
        cfg.reportedMissing.insert(key);
        LOG(WARNING) << "No address for link key " << key.toStdString() << " in "
                     << path.toStdString();
    }
    return {};
}

QHash<QString, QUrl> configuredLinks()
{
    ProductConfig &cfg = config();
    const QString path = productConfigPath();
    if (cfg.path != path)
        load(cfg, path);
    return cfg.links;
}

Vantel::App::LaunchType applicationLaunchType()
{
    // Decided once per data folder and kept: the marker written here must not turn this same run
    // into a regular one when asked again.
    static QHash<QString, Vantel::App::LaunchType> decided;
    const QString folder = Settings::dataFolder();
    const auto known = decided.constFind(folder);
    if (known != decided.constEnd())
        return *known;
    const QString marker = QDir(folder).filePath(QStringLiteral("installation"));
    Vantel::App::LaunchType type = Vantel::App::LaunchType::Regular;
    if (!QFileInfo(marker).exists() && !QFileInfo(marker).isSymLink()) {
        type = Vantel::App::LaunchType::FirstLaunch;
        try {
            FS::writeFileAtomically(marker, {});
        } catch (const FS::Error &e) {
            LOG(WARNING) << "Cannot write the launch marker: " << e.what();
        }
    }
    decided.insert(folder, type);
    return type;
}

} // namespace Customization

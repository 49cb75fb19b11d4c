#include "util/customization.h"

#include "util/settingspaths.h"

#include <QDir>
#include <QFile>
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

void load(ProductConfig &cfg, const QString &path)
{
    cfg = ProductConfig { path, {}, {} };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        LOG(WARNING) << "Cannot read the product configuration " << path.toStdString() << ": "
                     << file.errorString().toStdString();
        return;
    }
    QJsonParseError error {};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
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
    return QDir(Settings::bundledResourcesPath()).filePath(QStringLiteral("product.json"));
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
    QFile marker(QDir(folder).filePath(QStringLiteral("installation")));
    Vantel::App::LaunchType type = Vantel::App::LaunchType::Regular;
    if (!marker.exists()) {
        type = Vantel::App::LaunchType::FirstLaunch;
        if (!marker.open(QIODevice::WriteOnly))
            LOG(WARNING) << "Cannot write the launch marker " << marker.fileName().toStdString();
    }
    decided.insert(folder, type);
    return type;
}

} // namespace Customization

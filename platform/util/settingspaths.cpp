#include "util/settingspaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <stdexcept>

namespace Settings {

namespace {

QString &folderStorage()
{
    static QString folder;
    return folder;
}

QString under(const QString &relative)
{
    return QDir(dataFolder()).filePath(relative);
}

} // namespace

void setDataFolder(const QString &folder)
{
    // An empty path would quietly mean the current folder, wherever the user happens to be.
    if (folder.trimmed().isEmpty())
        throw std::runtime_error("the data folder must be named: an empty path is not one");
    const QString absolute = QDir(folder).absolutePath();
    if (!QDir().mkpath(absolute))
        throw std::runtime_error("cannot create the data folder " + absolute.toStdString());
    // A folder that exists but refuses files would only fail later, one event or cache at a
    // time; find out now.
    QTemporaryFile probe(QDir(absolute).filePath(QStringLiteral(".write-test-XXXXXX")));
    if (!probe.open())
        throw std::runtime_error("the data folder " + absolute.toStdString()
                                 + " is not writable: " + probe.errorString().toStdString());
    folderStorage() = absolute;
}

QString dataFolder()
{
    QString &folder = folderStorage();
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    return folder;
}

QString trackingDatabasePath()
{
    return under(QStringLiteral("usage/events.sqlite"));
}
QString sessionsPath()
{
    return under(QStringLiteral("usage/sessions"));
}
QString applicationSettingsPath()
{
    return under(QStringLiteral("settings.ini"));
}
QString fileStoragePath()
{
    return under(QStringLiteral("storage/index.json"));
}
QString externalAudioCachePath()
{
    return under(QStringLiteral("cache/external_audio.json"));
}
QString externalEffectsCachePath()
{
    return under(QStringLiteral("cache/external_effects.json"));
}
QString collectionsTrendingConfigCachePath()
{
    return under(QStringLiteral("cache/trending.json"));
}
QString downloadableResourcesPath()
{
    return under(QStringLiteral("resources"));
}
QString webConfigCachePath()
{
    return under(QStringLiteral("cache/webconfig.json"));
}
QString recordingsPath()
{
    return under(QStringLiteral("recordings"));
}

QString outputsRecordPath()
{
    return under(QStringLiteral("outputs.json"));
}

namespace {

// `path` with its links and dots resolved as far as the path exists: a name that does not exist
// yet is judged by the folder it would be made in.
QString resolved(const QString &path)
{
    QFileInfo info(QDir::cleanPath(QDir(path).absolutePath()));
    QStringList missing;
    while (!info.exists() && !info.isSymLink() && !info.isRoot()) {
        missing.prepend(info.fileName());
        info = QFileInfo(info.absolutePath());
    }
    QString base = info.exists() ? info.canonicalFilePath() : info.absoluteFilePath();
    for (const QString &part : missing)
        base = QDir(base).filePath(part);
    return base;
}

} // namespace

bool isStatePath(const QString &path)
{
    // Every top-level name the editor itself writes; a name that starts with one (a lock, a
    // temporary copy, a damaged copy put aside) is the editor's too.
    static const char *const names[] = {
        "usage",        "settings.ini", "storage",      "cache",        "resources",
        "recordings",   "logs",         "product.json", "installation", "collection-marks.json",
        "outputs.json",
    };
    const QString root = resolved(dataFolder());
    for (const QString &spelling : { resolved(path), QDir::cleanPath(QDir(path).absolutePath()) }) {
        if (!spelling.startsWith(root + QLatin1Char('/')))
            continue;
        QString first = spelling.mid(root.size() + 1).section(QLatin1Char('/'), 0, 0);
        if (first.startsWith(QLatin1Char('.')))
            first.remove(0, 1);
        for (const char *name : names) {
            const QLatin1String n(name);
            if (first == n || first.startsWith(n + QLatin1Char('.')))
                return true;
        }
        if (first.startsWith(QLatin1String("write-test-")))
            return true;
    }
    return false;
}

QString projectFileExtension()
{
    return QStringLiteral("edproj");
}

bool isProjectFilePath(const QString &path)
{
    return QFileInfo(path).suffix().compare(projectFileExtension(), Qt::CaseInsensitive) == 0;
}

QString defaultWebConfigPath()
{
    return QDir(bundledResourcesPath()).filePath(QStringLiteral("webconfig/default.json"));
}

QString bundledResourcesPath()
{
    // An installed build finds its resources beside the program; a build tree uses the sources.
    if (QCoreApplication::instance()) {
        const QString installed = QDir(QCoreApplication::applicationDirPath())
                                      .filePath(QStringLiteral("../share/editor/resources"));
        if (QFileInfo(installed).isDir())
            return QDir(installed).absolutePath();
    }
    return QStringLiteral(EDITOR_RESOURCES_DIR);
}

} // namespace Settings

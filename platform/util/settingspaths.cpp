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

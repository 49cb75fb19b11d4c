#include "filestorage/localfilestorage.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <algorithm>
#include <optional>

namespace Vantel::App {

namespace {

constexpr int indexVersion = 1;
// Some hundred bytes an entry: room for far more files than anyone adds.
constexpr qint64 MaxIndexSize = qint64(256) << 20;

QString kindText(FileStorageKind kind)
{
    return kind == FileStorageKind::Project ? QStringLiteral("project") : QStringLiteral("media");
}

QString toQString(const std::filesystem::path &path)
{
    return QString::fromStdString(path.u8string());
}

} // namespace

IFileStorageControllerObserver::~IFileStorageControllerObserver() = default;
IFileStorageController::~IFileStorageController() = default;

std::unique_ptr<IFileStorageController>
FileStorageFactory::CreateController(const QString &indexPath)
{
    return std::make_unique<LocalFileStorage>(indexPath.isEmpty() ? Settings::fileStoragePath()
                                                                  : indexPath);
}

LocalFileStorage::LocalFileStorage(QString indexPath)
    : m_indexPath(std::move(indexPath))
{
    QDir().mkpath(QFileInfo(m_indexPath).absolutePath());
    m_available = folderUsable();
    load();
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &LocalFileStorage::refresh);
    watch();
}

LocalFileStorage::~LocalFileStorage() = default;

void LocalFileStorage::watch()
{
    const QString folder = QFileInfo(m_indexPath).absolutePath();
    // The folder itself and its parent: deleting the folder is seen from above.
    for (const QString &dir : { folder, QFileInfo(folder).absolutePath() }) {
        if (QFileInfo(dir).isDir() && !m_watcher.directories().contains(dir))
            m_watcher.addPath(dir);
    }
}

bool LocalFileStorage::folderUsable() const
{
    const QFileInfo folder(QFileInfo(m_indexPath).absolutePath());
    return folder.isDir() && folder.isWritable();
}

void LocalFileStorage::load()
{
    m_files.clear();
    m_byPath.clear();
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(m_indexPath, MaxIndexSize);
    } catch (const FS::Error &e) {
        if (!e.notFound())
            LOG(WARNING) << "Cannot read the file storage index: " << e.what();
        return;
    }
    QJsonParseError error {};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    const QJsonObject root = doc.object();
    if (!doc.isObject() || root.value(QLatin1String("version")).toInt() != indexVersion) {
        const QString aside = m_indexPath + QStringLiteral(".damaged");
        QFile::remove(aside);
        QFile::rename(m_indexPath, aside);
        LOG(WARNING) << "The file storage index " << m_indexPath.toStdString()
                     << " is damaged and was set aside as " << aside.toStdString() << ": "
                     << error.errorString().toStdString();
        return;
    }
    for (const QJsonValue &value : root.value(QLatin1String("files")).toArray()) {
        const QJsonObject o = value.toObject();
        StoredFile f;
        f.path = o.value(QLatin1String("path")).toString();
        if (f.path.isEmpty() || m_byPath.contains(f.path)) {
            LOG(WARNING) << "Skipping an entry without a path or a repeated path in "
                         << m_indexPath.toStdString();
            continue;
        }
        f.kind = o.value(QLatin1String("kind")).toString() == QLatin1String("project")
            ? FileStorageKind::Project
            : FileStorageKind::Media;
        f.size = static_cast<std::int64_t>(o.value(QLatin1String("size")).toDouble(-1));
        f.firstAdded = QDateTime::fromString(o.value(QLatin1String("firstAdded")).toString(),
                                             Qt::ISODateWithMs);
        f.lastAdded = QDateTime::fromString(o.value(QLatin1String("lastAdded")).toString(),
                                            Qt::ISODateWithMs);
        f.timesAdded = std::max(1, o.value(QLatin1String("timesAdded")).toInt(1));
        m_byPath.insert(f.path, m_files.size());
        m_files.push_back(std::move(f));
    }
}

QByteArray LocalFileStorage::indexText() const
{
    QJsonArray files;
    for (const StoredFile &f : m_files) {
        files.append(QJsonObject {
            { QStringLiteral("path"), f.path },
            { QStringLiteral("kind"), kindText(f.kind) },
            { QStringLiteral("size"), static_cast<double>(f.size) },
            { QStringLiteral("firstAdded"), f.firstAdded.toString(Qt::ISODateWithMs) },
            { QStringLiteral("lastAdded"), f.lastAdded.toString(Qt::ISODateWithMs) },
            { QStringLiteral("timesAdded"), f.timesAdded },
        });
    }
    const QJsonObject root { { QStringLiteral("version"), indexVersion },
                             { QStringLiteral("files"), files } };
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

std::vector<FileStorageEntryId>
LocalFileStorage::addFiles(const std::vector<std::filesystem::path> &paths, FileStorageKind kind)
{
    std::vector<FileStorageEntryId> entries;
    if (!m_available) {
        // The folder may be back (a remounted disk, a recreated data folder).
        QDir().mkpath(QFileInfo(m_indexPath).absolutePath());
        refresh();
        if (!m_available)
            return entries;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    entries.reserve(paths.size());
    // Other editors on this data folder add files too: their entries are read again, under
    // the index's lock, and ours are added to them, so nobody's are lost.
    std::optional<FS::FileLock> lock;
    try {
        lock.emplace(m_indexPath + QStringLiteral(".lock"));
    } catch (const FS::Error &e) {
        LOG(WARNING) << "Cannot change the file storage index: " << e.what();
        setAvailable(false);
        return entries;
    }
    load();
    for (const std::filesystem::path &p : paths) {
        const QString path = toQString(p);
        if (path.isEmpty())
            continue;
        const QFileInfo info(path);
        const auto known = m_byPath.constFind(path);
        if (known == m_byPath.constEnd()) {
            StoredFile f;
            f.path = path;
            f.kind = kind;
            f.size = info.isFile() ? info.size() : -1;
            f.firstAdded = f.lastAdded = now;
            f.timesAdded = 1;
            m_byPath.insert(path, m_files.size());
            m_files.push_back(std::move(f));
        } else {
            StoredFile &f = m_files[*known];
            f.kind = kind;
            f.size = info.isFile() ? info.size() : -1;
            f.lastAdded = now;
            ++f.timesAdded;
        }
        const FileStorageEntryId id = m_nextEntry++;
        m_entries.emplace(id, path);
        entries.push_back(id);
    }
    if (paths.empty())
        return entries;
    try {
        FS::writeFileAtomically(m_indexPath, indexText());
        setAvailable(true);
    } catch (const FS::Error &e) {
        LOG(WARNING) << "Cannot write the file storage index: " << e.what();
        // What is on disk is still the truth; the entries stay handed out for this run.
        load();
        setAvailable(false);
    }
    return entries;
}

void LocalFileStorage::releaseEntry(FileStorageEntryId entry)
{
    m_entries.erase(entry);
}

std::vector<StoredFile> LocalFileStorage::files() const
{
    std::vector<StoredFile> sorted = m_files;
    std::stable_sort(sorted.begin(), sorted.end(), [](const StoredFile &a, const StoredFile &b) {
        return a.lastAdded > b.lastAdded;
    });
    return sorted;
}

void LocalFileStorage::addObserver(IFileStorageControllerObserver *observer)
{
    if (observer
        && std::find(m_observers.begin(), m_observers.end(), observer) == m_observers.end())
        m_observers.push_back(observer);
}

void LocalFileStorage::removeObserver(IFileStorageControllerObserver *observer)
{
    m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer),
                      m_observers.end());
}

void LocalFileStorage::refresh()
{
    if (!QFileInfo(QFileInfo(m_indexPath).absolutePath()).isDir()) {
        setAvailable(false);
        watch();
        return;
    }
    setAvailable(folderUsable());
    watch();
}

void LocalFileStorage::setAvailable(bool available)
{
    if (available == m_available)
        return;
    m_available = available;
    // A copy: an observer may remove itself while being told.
    const std::vector<IFileStorageControllerObserver *> observers = m_observers;
    for (IFileStorageControllerObserver *o : observers) {
        if (std::find(m_observers.begin(), m_observers.end(), o) != m_observers.end())
            o->fileStorageStateChanged();
    }
}

} // namespace Vantel::App

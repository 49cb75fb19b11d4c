#include "Collection/usermarks.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <algorithm>

namespace EditorCollection {

namespace {

constexpr qint64 maxMarksBytes = 8 * 1024 * 1024;

QString keyOf(const QString &collection, const QString &uniqueId)
{
    // A collection name never holds a newline; the pair cannot be confused with another.
    return collection + QLatin1Char('\n') + uniqueId;
}

QSet<QString> readKeys(const QJsonValue &value)
{
    QSet<QString> keys;
    for (const QJsonValue &entry : value.toArray()) {
        const QJsonObject item = entry.toObject();
        const QString collection = item.value(QLatin1String("collection")).toString();
        const QString id = item.value(QLatin1String("uniqueId")).toString();
        if (!collection.isEmpty() && !id.isEmpty())
            keys.insert(keyOf(collection, id));
    }
    return keys;
}

QJsonArray writeKeys(const QSet<QString> &keys)
{
    // Sorted, so the file changes only where the marks do.
    QStringList sorted(keys.cbegin(), keys.cend());
    std::sort(sorted.begin(), sorted.end());
    QJsonArray array;
    for (const QString &key : qAsConst(sorted)) {
        const int cut = key.indexOf(QLatin1Char('\n'));
        array.append(QJsonObject { { QStringLiteral("collection"), key.left(cut) },
                                   { QStringLiteral("uniqueId"), key.mid(cut + 1) } });
    }
    return array;
}

} // namespace

UserMarks::UserMarks()
{
    load();
}

QString UserMarks::path()
{
    return QDir(Settings::dataFolder()).filePath(QStringLiteral("collection-marks.json"));
}

void UserMarks::load()
{
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(path(), maxMarksBytes);
    } catch (const FS::Error &e) {
        if (e.notFound()) {
            m_favorites.clear();
            m_deleted.clear();
            return;
        }
        throw;
    }
    QJsonParseError error {};
    const QJsonObject root = QJsonDocument::fromJson(bytes, &error).object();
    if (error.error != QJsonParseError::NoError)
        LOG(WARNING) << "The collection marks in " << path().toStdString()
                     << " are damaged and read as none: " << error.errorString().toStdString();
    m_favorites = readKeys(root.value(QLatin1String("favorites")));
    m_deleted = readKeys(root.value(QLatin1String("deleted")));
}

bool UserMarks::isFavorite(const QString &collection, const QString &uniqueId) const
{
    return m_favorites.contains(keyOf(collection, uniqueId));
}

bool UserMarks::isDeleted(const QString &collection, const QString &uniqueId) const
{
    return m_deleted.contains(keyOf(collection, uniqueId));
}

bool UserMarks::setFavorite(const QString &collection, const QString &uniqueId, bool on)
{
    return change(Kind::Favorite, keyOf(collection, uniqueId), on);
}

bool UserMarks::setDeleted(const QString &collection, const QString &uniqueId, bool on)
{
    return change(Kind::Deleted, keyOf(collection, uniqueId), on);
}

bool UserMarks::change(Kind kind, const QString &key, bool on)
{
    const FS::FileLock lock(path() + QStringLiteral(".lock"));
    // Another editor may have changed the file since we read it; its marks are kept.
    load();
    QSet<QString> &set = kind == Kind::Favorite ? m_favorites : m_deleted;
    if (set.contains(key) == on)
        return false;
    QSet<QString> changed = set;
    if (on)
        changed.insert(key);
    else
        changed.remove(key);
    QJsonObject root {
        { QStringLiteral("favorites"), writeKeys(kind == Kind::Favorite ? changed : m_favorites) },
        { QStringLiteral("deleted"), writeKeys(kind == Kind::Deleted ? changed : m_deleted) }
    };
    FS::writeFileAtomically(path(), QJsonDocument(root).toJson());
    set = std::move(changed);
    return true;
}

} // namespace EditorCollection

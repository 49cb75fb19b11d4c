#include "outputpath/outputpath.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <sys/stat.h>

#include <optional>

namespace FS {

namespace {

// The record of earlier outputs stays small: a user who exported more than this many files
// since is asked again about the oldest.
constexpr int maxRemembered = 256;
constexpr qint64 maxRecordBytes = 256 * 1024;

struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    qint64 size = 0;
    qint64 modifiedNs = 0;
    mode_t mode = 0;
    bool operator==(const Identity &o) const { return device == o.device && inode == o.inode; }
};

std::optional<Identity> identityOf(const QString &path, bool followLink)
{
    struct stat st { };
    const QByteArray name = QFile::encodeName(path);
    if ((followLink ? ::stat(name.constData(), &st) : ::lstat(name.constData(), &st)) != 0)
        return std::nullopt;
    return Identity { st.st_dev, st.st_ino, static_cast<qint64>(st.st_size),
                      static_cast<qint64>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec,
                      st.st_mode };
}

const char *notAFile(mode_t mode)
{
    if (S_ISDIR(mode))
        return "is a folder";
    if (S_ISFIFO(mode))
        return "is a pipe (FIFO)";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "is a device";
    if (S_ISSOCK(mode))
        return "is a socket";
    return "is not a regular file";
}

QString keyOf(const QString &path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(QFileInfo(path).absoluteFilePath()) : canonical;
}

QJsonArray readRecord()
{
    try {
        return QJsonDocument::fromJson(
                   readRegularFile(Settings::outputsRecordPath(), maxRecordBytes))
            .object()
            .value(QStringLiteral("outputs"))
            .toArray();
    } catch (const Error &e) {
        if (!e.notFound())
            LOG(WARNING) << "The record of earlier outputs cannot be read: " << e.what();
        return {};
    }
}

// Whether `kind` wrote `path` and nobody changed it since: the same file, size and time.
bool remembered(const QString &path, const QString &kind, const Identity &now)
{
    const QString key = keyOf(path);
    for (const QJsonValue &value : readRecord()) {
        const QJsonObject o = value.toObject();
        if (o.value(QStringLiteral("path")).toString() != key
            || o.value(QStringLiteral("kind")).toString() != kind)
            continue;
        return o.value(QStringLiteral("inode")).toString() == QString::number(now.inode)
            && o.value(QStringLiteral("device")).toString() == QString::number(now.device)
            && o.value(QStringLiteral("size")).toString() == QString::number(now.size)
            && o.value(QStringLiteral("modified")).toString() == QString::number(now.modifiedNs);
    }
    return false;
}

OutputRefusal forbidden(const QString &path, const QString &why)
{
    return { OutputRefusal::Why::Forbidden, path + QLatin1Char(' ') + why };
}

} // namespace

OutputRefusal checkOutputPath(const QString &path, const OutputRules &rules)
{
    if (path.isEmpty())
        return forbidden(QStringLiteral("\"\""), QStringLiteral("is not a file name"));
    const std::optional<Identity> entry = identityOf(path, false);
    // A link is judged by what it points at, as a user reading the name would.
    const std::optional<Identity> target = identityOf(path, true);
    if (entry && !S_ISLNK(entry->mode) && !S_ISREG(entry->mode))
        return forbidden(path,
                         QStringLiteral("%1; an output is a regular file or a new name")
                             .arg(QLatin1String(notAFile(entry->mode))));
    if (target && !S_ISREG(target->mode))
        return forbidden(path,
                         QStringLiteral("is a link to something that %1; an output is a regular "
                                        "file or a new name")
                             .arg(QLatin1String(notAFile(target->mode))));

    const bool isReplaced
        = !rules.replaces.isEmpty() && target && identityOf(rules.replaces, true) == target;
    const QString cleanPath = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    for (const QString &input : rules.inputs) {
        if (input.isEmpty())
            continue;
        const bool samePath = QDir::cleanPath(QFileInfo(input).absoluteFilePath()) == cleanPath;
        const std::optional<Identity> used = identityOf(input, true);
        const bool sameFile = used && ((target && *used == *target) || (entry && *used == *entry));
        if ((samePath || sameFile) && !isReplaced)
            return forbidden(path,
                             QStringLiteral("is %1, which the project uses; choose another name")
                                 .arg(samePath
                                          ? QStringLiteral("a file")
                                          : QStringLiteral("(by another name) %1").arg(input)));
    }
    if (Settings::isStatePath(path)
        || (target && Settings::isStatePath(QFileInfo(path).canonicalFilePath())))
        return forbidden(path,
                         QStringLiteral("is one of the editor's own files in its data folder %1")
                             .arg(Settings::dataFolder()));

    if (target && !isReplaced && !rules.replaceExisting && !remembered(path, rules.kind, *target))
        return { OutputRefusal::Why::Exists, path + QStringLiteral(" exists") };
    return {};
}

void rememberOutput(const QString &path, const QString &kind)
{
    const std::optional<Identity> now = identityOf(path, true);
    if (!now)
        return;
    try {
        const FileLock lock(Settings::outputsRecordPath() + QStringLiteral(".lock"));
        const QString key = keyOf(path);
        QJsonArray kept;
        kept.append(
            QJsonObject { { QStringLiteral("path"), key },
                          { QStringLiteral("kind"), kind },
                          { QStringLiteral("device"), QString::number(now->device) },
                          { QStringLiteral("inode"), QString::number(now->inode) },
                          { QStringLiteral("size"), QString::number(now->size) },
                          { QStringLiteral("modified"), QString::number(now->modifiedNs) } });
        for (const QJsonValue &value : readRecord()) {
            if (kept.size() >= maxRemembered)
                break;
            if (value.toObject().value(QStringLiteral("path")).toString() != key)
                kept.append(value);
        }
        writeFileAtomically(
            Settings::outputsRecordPath(),
            QJsonDocument(QJsonObject { { QStringLiteral("outputs"), kept } }).toJson());
    } catch (const Error &e) {
        LOG(WARNING) << "Cannot note " << path.toStdString()
                     << " as the editor's own output: " << e.what();
    }
}

} // namespace FS

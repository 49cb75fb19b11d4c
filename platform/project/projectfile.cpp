#include "project/projectfile.h"

#include "project/internal/effectfields.h"
#include "project/internal/jsonreader.h"
#include "project/internal/timelinecodec.h"

#include "mediamodel/mediafile.h"
#include "util/fs.h"

#include <QDir>
#include <QFileInfo>

namespace Project {

using FileFormat::Node;
using FileFormat::readDocument;
using FileFormat::readEffect;
using FileFormat::writeDocument;
using FileFormat::writeEffect;

std::unique_ptr<Object> readProjectFile(const QByteArray &bytes)
{
    return readDocument(bytes, [](const QString &path) { return path; });
}

QByteArray writeProjectFile(const Object &project)
{
    return writeDocument(project, [](const QString &path) { return path; });
}

OpenResult open(const QString &path)
{
    // Project files are small; anything this large is not one, and reading it would only cost
    // the user memory and time. A pipe or a device named as a project is refused, not waited on.
    constexpr qint64 maxProjectFileSize = 256 * 1024 * 1024;
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(path, maxProjectFileSize, FS::LinkPolicy::UsersOwn);
    } catch (const FS::Error &e) {
        throw FileError(e.what());
    }
    OpenResult result;
    try {
        // Relative paths are made whole before anything indexes the files by path.
        const QDir folder = QFileInfo(path).absoluteDir();
        result.project = readDocument(bytes, [&](const QString &media) {
            return QDir::isRelativePath(media) ? QDir::cleanPath(folder.absoluteFilePath(media))
                                               : media;
        });
    } catch (const FileError &e) {
        throw FileError(
            QStringLiteral("%1: %2").arg(path, QString::fromStdString(e.what())).toStdString());
    }

    for (const auto &media : result.project->mediaFiles()) {
        if (!QFileInfo::exists(media->path)) {
            media->state = Media::File::State::Failed;
            media->error = QStringLiteral("the file is missing");
            ++result.lostFiles;
        }
    }
    result.project->setPath(QFileInfo(path).absoluteFilePath());
    return result;
}

void save(Object &project, const QString &path)
{
    const QDir folder = QFileInfo(path).absoluteDir();
    const bool portable = project.isPortable();
    const QByteArray bytes = writeDocument(project, [&](const QString &media) {
        return portable ? folder.relativeFilePath(media) : media;
    });
    // A link at the path is the user's: the project replaces the link, and whatever it pointed
    // at is left alone.
    try {
        FS::writeFileAtomically(path, bytes, FS::LinkPolicy::UsersOwn);
    } catch (const FS::Error &e) {
        throw FileError(e.what());
    }
    project.setPath(QFileInfo(path).absoluteFilePath());
}

QJsonObject effectToJson(const Effect::Object &effect)
{
    return writeEffect(effect, QStringLiteral("effect"));
}

std::unique_ptr<Effect::Object> effectFromJson(const QJsonObject &object)
{
    return readEffect(Node(object, QString()));
}

} // namespace Project

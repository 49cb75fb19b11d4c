#pragma once

#include "project_export.h"

#include "project/project.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <memory>
#include <stdexcept>

// The project file: a JSON document (docs/project-format.md). Reading is a pure function of the
// bytes so tests and the fuzzer call it directly; opening and saving add the disk around it.
namespace Project {

// Why a file could not be read or written, in words for the user.
class PROJECT_EXPORT FileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline constexpr const char *fileFormatName = "editor-project";
inline constexpr int fileFormatVersion = 1;

// Builds the project a file describes. Media paths are kept exactly as written (relative ones
// too) and nothing on disk is looked at. Throws FileError naming the first thing that is wrong.
PROJECT_EXPORT std::unique_ptr<Object> readProjectFile(const QByteArray &bytes);
// The file's bytes. Media paths are written as the files hold them; see save() for portable
// projects.
PROJECT_EXPORT QByteArray writeProjectFile(const Object &project);

// One effect as the file holds it, for the editing commands that change settings by name: the
// object the file would write, and the effect such an object reads as (FileError when it is bad).
PROJECT_EXPORT QJsonObject effectToJson(const Effect::Object &effect);
PROJECT_EXPORT std::unique_ptr<Effect::Object> effectFromJson(const QJsonObject &object);

struct OpenResult {
    std::unique_ptr<Object> project;
    int lostFiles = 0; // media files of the project that are not on disk
};

// Reads the project file at `path`, resolves relative media paths against its folder and marks
// files that are missing as failed. Throws FileError (unreadable, damaged or foreign file).
PROJECT_EXPORT OpenResult open(const QString &path);
// Writes the project to `path` (atomically: the old file stays until the new one is complete)
// and makes `path` the project's path. A portable project writes media paths relative to the
// file's folder. Throws FileError.
PROJECT_EXPORT void save(Object &project, const QString &path);

} // namespace Project

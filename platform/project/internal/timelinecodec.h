#pragma once

#include "project/project.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

// The project document and back: media, tracks, clips, transitions and the effect library.
namespace Project::FileFormat {

// `pathOf` turns a path as written into the path the project holds. Throws FileError.
std::unique_ptr<Object> readDocument(const QByteArray &bytes,
                                     const std::function<QString(const QString &)> &pathOf);
// `pathOf` turns a path the project holds into the path written. Throws FileError for a value
// the reader would refuse.
QByteArray writeDocument(const Object &project,
                         const std::function<QString(const QString &)> &pathOf);

} // namespace Project::FileFormat

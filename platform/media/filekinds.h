#pragma once

#include "media_export.h"

#include <QString>

// Content packages (effects, title and transition packs) travel as one file that the package
// installer unpacks; an add request hands them over instead of analysing them. Told apart by
// extension, like project files (Settings::isProjectFilePath), before anything is read.
namespace Settings {

MEDIA_EXPORT QString packageFileExtension();
MEDIA_EXPORT bool isPackageFilePath(const QString &path);

} // namespace Settings

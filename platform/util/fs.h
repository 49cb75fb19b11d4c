#pragma once

#include "util_export.h"

#include <QString>
#include <QStringList>

namespace FS {

// Joins path parts with '/', then appends ".ext" when `extension` is not empty.
UTIL_EXPORT QString joinPath(const QStringList &parts, const QString &extension = {});
// The file's extension in lower case, without the dot; empty when there is none.
UTIL_EXPORT QString extensionL(const QString &path);
// Whether `path`, once cleaned, stays inside `root` (no "..", no absolute escape).
UTIL_EXPORT bool isInside(const QString &root, const QString &path);

} // namespace FS

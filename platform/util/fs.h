#pragma once

#include <QString>
#include <QStringList>

namespace FS {

// Joins path parts with '/', then appends ".ext" when `extension` is not empty.
QString joinPath(const QStringList &parts, const QString &extension = {});
// The file's extension in lower case, without the dot; empty when there is none.
QString extensionL(const QString &path);
// Whether `path`, once cleaned, stays inside `root` (no "..", no absolute escape).
bool isInside(const QString &root, const QString &path);

} // namespace FS

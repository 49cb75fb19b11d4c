#include "util/fs.h"

#include <QDir>
#include <QFileInfo>

namespace FS {

QString joinPath(const QStringList &parts, const QString &extension)
{
    QString joined;
    for (const QString &part : parts) {
        if (part.isEmpty())
            continue;
        if (!joined.isEmpty() && !joined.endsWith(QLatin1Char('/')))
            joined += QLatin1Char('/');
        joined += part;
    }
    if (!extension.isEmpty())
        joined += QLatin1Char('.') + extension;
    return joined;
}

QString extensionL(const QString &path)
{
    return QFileInfo(path).suffix().toLower();
}

bool isInside(const QString &root, const QString &path)
{
    const QString cleanRoot = QDir::cleanPath(QDir(root).absolutePath());
    const QString cleanPath = QDir::cleanPath(QDir(root).absoluteFilePath(path));
    return cleanPath.startsWith(cleanRoot + QLatin1Char('/'));
}

} // namespace FS

#include "media/filekinds.h"

#include <QFileInfo>

namespace Settings {

QString packageFileExtension()
{
    return QStringLiteral("edpack");
}

bool isPackageFilePath(const QString &path)
{
    return QFileInfo(path).suffix().compare(packageFileExtension(), Qt::CaseInsensitive) == 0;
}

} // namespace Settings

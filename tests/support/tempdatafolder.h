#pragma once

#include <QString>
#include <QTemporaryDir>

namespace TestSupport {

// A fresh data folder for one test: made the application's data folder on construction, deleted
// with everything in it on destruction.
class TempDataFolder {
public:
    TempDataFolder();
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

private:
    QTemporaryDir m_dir;
};

} // namespace TestSupport

#pragma once

#include "project_export.h"

#include <QString>

#include <chrono>

// Held for the whole open → change → save cycle of one project file, so that editors (or shell
// commands) changing the same project take turns instead of one saving over what another has
// just saved. The lock is an advisory lock on a hidden file beside the project (".NAME.lock"),
// which the holder removes when it lets go; a holder that dies lets go with its process.
namespace Project {

class PROJECT_EXPORT EditLock {
public:
    // Waits at most `wait` for whoever is changing the project to finish. Throws FileError when
    // the wait runs out or the lock file cannot be made.
    EditLock(const QString &projectPath, std::chrono::milliseconds wait);
    ~EditLock();
    EditLock(const EditLock &) = delete;
    EditLock &operator=(const EditLock &) = delete;

    // The project the lock is for, as given.
    const QString &projectPath() const { return m_projectPath; }

private:
    QString m_projectPath;
    QString m_lockPath;
    int m_fd = -1;
};

} // namespace Project

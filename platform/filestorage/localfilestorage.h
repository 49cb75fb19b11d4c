#pragma once

#include "filestorage_export.h"

#include "filestorage/ifilestoragecontroller.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>

#include <map>
#include <vector>

namespace Vantel::App {

// The service as a JSON index in the data folder, rewritten whole and atomically on every change
// (a crash or a full disk leaves the previous index). Each change is made under a lock on the
// index to what is on disk then, so several editors on one data folder keep each other's
// entries. An index that cannot be read is set aside (as "<index>.damaged") and a new one
// started, so one bad file never stops the user adding files.
// The service is available while its folder can be written; it watches the folder and tells
// its observers when that changes.
class FILESTORAGE_EXPORT LocalFileStorage final
    : public QObject
    , public IFileStorageController {
    Q_OBJECT
public:
    explicit LocalFileStorage(QString indexPath);
    ~LocalFileStorage() override;

    std::vector<FileStorageEntryId> addFiles(const std::vector<std::filesystem::path> &paths,
                                             FileStorageKind kind) override;
    void releaseEntry(FileStorageEntryId entry) override;
    bool isAvailable() const override { return m_available; }
    std::vector<StoredFile> files() const override;
    void addObserver(IFileStorageControllerObserver *observer) override;
    void removeObserver(IFileStorageControllerObserver *observer) override;

    // Entries handed out and not released yet.
    std::size_t heldEntries() const noexcept { return m_entries.size(); }
    const QString &indexPath() const noexcept { return m_indexPath; }

    // Looks at the folder again and tells the observers when availability changed.
    void refresh();

private:
    void load();
    QByteArray indexText() const;
    bool folderUsable() const;
    void setAvailable(bool available);
    void watch();

    QString m_indexPath;
    bool m_available = false;
    std::vector<StoredFile> m_files;
    QHash<QString, std::size_t> m_byPath; // path -> index in m_files
    std::map<FileStorageEntryId, QString> m_entries;
    FileStorageEntryId m_nextEntry = 1;
    std::vector<IFileStorageControllerObserver *> m_observers;
    QFileSystemWatcher m_watcher;
};

} // namespace Vantel::App

#pragma once

#include "filestorage_export.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

// The file storage service: keeps track of the files the user brought into the editor or saved
// from it, so they can be found again (recent media, recent projects) after the editor closed.
// The editor hands it files with a kind; each registration is an entry the editor holds until it
// releases it. Main thread.
namespace Vantel::App {

// The kind codes of the service's contract.
enum class FileStorageKind : int { Media = 0, Project = 1 };

using FileStorageEntryId = std::uint64_t;

class FILESTORAGE_EXPORT IFileStorageControllerObserver {
public:
    virtual ~IFileStorageControllerObserver();
    // The service became available or stopped being so; ask isAvailable() for the new state.
    virtual void fileStorageStateChanged() = 0;
};

// One file the service keeps.
struct StoredFile {
    QString path;
    FileStorageKind kind = FileStorageKind::Media;
    std::int64_t size = -1; // -1 when the file was not there when it was last given
    QDateTime firstAdded;
    QDateTime lastAdded;
    int timesAdded = 0;
};

class FILESTORAGE_EXPORT IFileStorageController {
public:
    virtual ~IFileStorageController();

    // Takes the files in (a file already known is updated, not repeated) and returns one entry
    // per path, in order. Nothing is registered while the service is unavailable: the result
    // is then empty.
    virtual std::vector<FileStorageEntryId>
    addFiles(const std::vector<std::filesystem::path> &paths, FileStorageKind kind) = 0;
    // The editor no longer holds the entry. The file stays known.
    virtual void releaseEntry(FileStorageEntryId entry) = 0;
    virtual bool isAvailable() const = 0;
    // The files known, most recently added first.
    virtual std::vector<StoredFile> files() const = 0;

    virtual void addObserver(IFileStorageControllerObserver *observer) = 0;
    virtual void removeObserver(IFileStorageControllerObserver *observer) = 0;
};

class FILESTORAGE_EXPORT FileStorageFactory {
public:
    // The service on this machine: a local index kept at `indexPath` (the data folder's
    // Settings::fileStoragePath() unless given).
    static std::unique_ptr<IFileStorageController> CreateController(const QString &indexPath = {});
};

} // namespace Vantel::App

#pragma once

#include "filestorage/ifilestoragecontroller.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace TestSupport {

// A file storage service whose availability a test switches, keeping every call in a log that
// outlives the service (the controller under test owns and destroys it).
class FakeFileStorage final : public Vantel::App::IFileStorageController {
public:
    struct Log {
        struct Add {
            std::vector<std::filesystem::path> paths;
            Vantel::App::FileStorageKind kind;
        };
        std::vector<Add> adds;
        std::vector<Vantel::App::FileStorageEntryId> released;
        int observers = 0;
    };

    explicit FakeFileStorage(std::shared_ptr<Log> log)
        : log(std::move(log))
    {
    }

    std::vector<Vantel::App::FileStorageEntryId>
    addFiles(const std::vector<std::filesystem::path> &paths,
             Vantel::App::FileStorageKind kind) override
    {
        log->adds.push_back({ paths, kind });
        if (failAdds)
            throw std::runtime_error("the index cannot be written");
        // The real service looks at its folder again on every add, and may find it changed.
        if (changeOnAdd)
            setAvailable(!available);
        std::vector<Vantel::App::FileStorageEntryId> ids;
        for (std::size_t i = 0; i < paths.size(); ++i)
            ids.push_back(nextId--); // handed out in falling order, so release order is visible
        return ids;
    }
    void releaseEntry(Vantel::App::FileStorageEntryId entry) override
    {
        log->released.push_back(entry);
    }
    bool isAvailable() const override { return available; }
    std::vector<Vantel::App::StoredFile> files() const override { return {}; }
    void addObserver(Vantel::App::IFileStorageControllerObserver *o) override
    {
        observers.push_back(o);
        ++log->observers;
    }
    void removeObserver(Vantel::App::IFileStorageControllerObserver *o) override
    {
        observers.erase(std::remove(observers.begin(), observers.end(), o), observers.end());
        --log->observers;
    }

    // Switches availability and tells the observers, as the real service does.
    void setAvailable(bool value)
    {
        available = value;
        for (auto *o : observers)
            o->fileStorageStateChanged();
    }

    std::shared_ptr<Log> log;
    bool available = true;
    bool failAdds = false;
    bool changeOnAdd = false;
    Vantel::App::FileStorageEntryId nextId = 1000;
    std::vector<Vantel::App::IFileStorageControllerObserver *> observers;
};

} // namespace TestSupport

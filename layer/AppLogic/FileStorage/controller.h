#pragma once

#include "applogicexport.h"

#include "filestorage/ifilestoragecontroller.h"

#include <memory>

// Connects the editor to the file storage service: hands it every file the user adds (media) or
// saves (projects), and answers whether the storage is available. No interface of its own.
// The application makes one; main thread.
namespace FileStorage {

class APPLOGIC_EXPORT Controller {
public:
    // The service on this machine (FileStorageFactory), or the one given.
    Controller();
    explicit Controller(std::unique_ptr<Vantel::App::IFileStorageController> service);
    // Releases every entry it registered, in registration order.
    ~Controller();
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    const Vantel::App::IFileStorageController &service() const;

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

} // namespace FileStorage

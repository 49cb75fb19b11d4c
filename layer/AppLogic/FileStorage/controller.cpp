#include "FileStorage/controller.h"

#include "Messages/command.h"
#include "Messages/fileadder.h"
#include "Messages/projectrequests.h"

#include "pubsub/subscriber.h"

#include <glog/logging.h>

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <map>

namespace FileStorage {

using Vantel::App::FileStorageEntryId;
using Vantel::App::FileStorageKind;

class Controller::Impl final
    : public PubSub::Subscriber<FileAdder::AddMediaFilesResult,
                                Project::SaveAsyncRequest,
                                Project::SaveRequest,
                                Command::VideoAddRequest,
                                Command::AudioAddRequest,
                                Command::FileStorageAvailableRequest>
    , public Vantel::App::IFileStorageControllerObserver {
public:
    explicit Impl(std::unique_ptr<Vantel::App::IFileStorageController> service)
        : service(std::move(service))
    {
        this->service->addObserver(this);
        subscribe(FileAdder::globalObject());
        subscribe(Command::globalObject());
        subscribeAll(typeid(Project::SaveAsyncRequest));
        subscribeAll(typeid(Project::SaveRequest));
    }

    ~Impl() override
    {
        for (const auto &[entry, kind] : entries) {
            try {
                service->releaseEntry(entry);
            } catch (const std::exception &e) {
                LOG(WARNING) << "The file storage service did not release entry " << entry << ": "
                             << e.what();
            }
        }
        service->removeObserver(this);
        unsubscribeAllTypes();
        unsubscribe(FileAdder::globalObject());
        unsubscribe(Command::globalObject());
    }

    void notify(const FileAdder::AddMediaFilesResult &m) override
    {
        pass(m.files, FileStorageKind::Media);
    }
    void notify(const Command::AudioAddRequest &m) override
    {
        pass({ m.path }, FileStorageKind::Media);
    }
    void notify(const Command::VideoAddRequest &m) override
    {
        pass({ m.path }, FileStorageKind::Media);
    }
    void notify(const Project::SaveAsyncRequest &m) override
    {
        pass({ m.path }, FileStorageKind::Project);
    }
    void notify(const Project::SaveRequest &m) override
    {
        pass({ m.path }, FileStorageKind::Project);
    }
    void notify(const Command::FileStorageAvailableRequest &) override { announce(); }

    void fileStorageStateChanged() override
    {
        // Each change is told with the state of its own moment, so two changes in a row make two
        // notifications. The value is read here, on the service's thread, because by the time
        // the main thread gets to it the service may have changed again.
        bool available = false;
        try {
            available = service->isAvailable();
        } catch (const std::exception &e) {
            LOG(WARNING) << "The file storage service could not say whether it is available: "
                         << e.what();
            return;
        }
        if (QThread::currentThread() == context.thread()) {
            announce(available);
            return;
        }
        QMetaObject::invokeMethod(
            &context, [this, available] { announce(available); }, Qt::QueuedConnection);
    }

    void pass(const QStringList &paths, FileStorageKind kind)
    {
        // Whoever published the message added files and is done with them: a failing service is
        // this controller's problem, not theirs.
        try {
            std::vector<std::filesystem::path> converted;
            converted.reserve(static_cast<std::size_t>(paths.size()));
            for (const QString &path : paths)
                converted.push_back(std::filesystem::u8path(path.toStdString()));
            for (FileStorageEntryId entry : service->addFiles(converted, kind))
                entries.emplace(entry, kind);
        } catch (const std::exception &e) {
            LOG(WARNING) << "The file storage service did not take " << paths.size()
                         << " file(s): " << e.what();
        }
    }

    void announce()
    {
        try {
            announce(service->isAvailable());
        } catch (const std::exception &e) {
            LOG(WARNING) << "The file storage service could not say whether it is available: "
                         << e.what();
        }
    }
    void announce(bool available)
    {
        PubSub::publish(Command::FileStorageAvailableNotification(available));
    }

    const std::unique_ptr<Vantel::App::IFileStorageController> service;
    // What this controller registered, to be released on its way out.
    std::map<FileStorageEntryId, FileStorageKind> entries;
    // Lives on the main thread; queued calls die with it.
    QObject context;
};

Controller::Controller()
    : Controller(Vantel::App::FileStorageFactory::CreateController())
{
}

Controller::Controller(std::unique_ptr<Vantel::App::IFileStorageController> service)
    : d(std::make_unique<Impl>(std::move(service)))
{
}

Controller::~Controller() = default;

const Vantel::App::IFileStorageController &Controller::service() const
{
    return *d->service;
}

} // namespace FileStorage

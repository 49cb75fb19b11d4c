#include "FileAdder/controller.h"

#include "FileAdder/taskhandlers.h"
#include "FileAnalyzer/model.h"
#include "FileAnalyzer/view.h"
#include "Messages/command.h"
#include "Messages/packageinstall.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/istatistics.h"

#include "dialogs/dialog.h"
#include "media/filekinds.h"
#include "media/fileutil.h"
#include "util/fs.h"
#include "util/scheduler.h"
#include "util/settingspaths.h"
#include "util/translator.h"

#include <QSet>

#include <map>
#include <set>

namespace FileAdder {

namespace {

using Statistics::AddingMethod;

QString mainWindowText(const char *text)
{
    return Translator::translate("MainWindow", text);
}

// Which way a file came in, from where the request came and where it goes (2 timeline,
// 1 collection, 4 transition). Drops are told apart by where they landed.
AddingMethod addingMethodFor(Asrc source, int contextMask)
{
    switch (static_cast<int>(source)) {
    case 0:
        return AddingMethod::ImportButton;
    case 1:
        return AddingMethod::CollectionButton;
    case 2:
        return AddingMethod::CollectionContextMenu;
    case 3:
        return AddingMethod::PlusBtnFiles;
    case 4:
        return AddingMethod::PlusBtnMusic;
    case 5:
        return AddingMethod::MainImportButton;
    case 6:
        return AddingMethod::MainMenu;
    case 7:
        return AddingMethod::TimelineImportButton;
    case 8:
        return AddingMethod::ImportFolders;
    case 9:
    case 11:
        return contextMask == 2 ? AddingMethod::DragAndDropTimeline
            : contextMask == 1  ? AddingMethod::DragAndDropCollection
                                : AddingMethod::DragAndDropTimelineCollection;
    case 10:
        return AddingMethod::DragAndDropCollectionToTimeline;
    case 12:
    case 13:
        return AddingMethod::IntroClipDragAndDrop;
    case 14:
        return AddingMethod::AudioRec;
    case 16:
        return AddingMethod::External;
    case 18:
        return AddingMethod::TransitionSettings;
    default:
        return AddingMethod::DragAndDropCollection;
    }
}

bool isLogoSource(Asrc source)
{
    return source == Asrc::Logo || source == Asrc::LogoDragAndDrop;
}

bool isLogoOrExternal(Asrc source)
{
    return source == Asrc::Logo || source == Asrc::External;
}

} // namespace

class Controller::Impl final : public FileAnalyzer::View {
public:
    Impl()
        : supportedExtensions(FileUtil::supportedFileExtensions())
        , scheduler(this, &Impl::releaseFinished)
    {
    }

    ~Impl() override { scheduler.cancel(); }

    void handle(const AddMediaFiles &request);
    void addMediaFiles(const QStringList &files, const Contexts &contexts, Asrc source);

    void statusChanged(const FileAnalyzer::Object *object,
                       FileAnalyzer::Object::Status status) override;

private:
    void reportAdded(const QStringList &media, Asrc source, int contextMask);
    void releaseFinished();

    const QSet<QString> supportedExtensions;
    Vantel::Util::Scheduler<Impl> scheduler;
    std::set<const FileAnalyzer::Object *> finishedObjects;
    std::multimap<const FileAnalyzer::Object *, std::shared_ptr<AbstractAnalyzeTaskHandler>>
        handlers;
    // The analysis objects this controller made; it lets go of them once they are finished.
    std::set<const FileAnalyzer::Object *> own;
};

void Controller::Impl::handle(const AddMediaFiles &request)
{
    QStringList media;
    QStringList projects;
    for (const QString &path : request.files) {
        if (!supportedExtensions.contains(FS::extensionL(path)))
            continue;
        if (Settings::isProjectFilePath(path))
            projects << path;
        else if (Settings::isPackageFilePath(path))
            PubSub::publish(Command::InstallPackageRequest(path));
        else
            media << path;
    }

    if (!media.isEmpty()) {
        if (!projects.isEmpty()
            && !Dialog::alertAction(
                mainWindowText("Open Project"),
                mainWindowText("Only media files will be opened. If you want to open the "
                               "project, select it individually."))) {
            PubSub::publish(AddMediaFilesResult(AddedResult::Declined, {}));
            return;
        }
        const Contexts contexts = request.contexts;
        const int contextMask = (contexts.timeline ? 2 : 0) + (contexts.collection ? 1 : 0)
            + (contexts.transition ? 4 : 0);
        if (contextMask != 0)
            reportAdded(media, request.source, contextMask);
        addMediaFiles(media, contexts, request.source);
        PubSub::publish(AddMediaFilesResult(AddedResult::Done, media));
        return;
    }

    if (projects.size() >= 2) {
        const bool answer
            = Dialog::alertAction(mainWindowText("Open Project"),
                                  mainWindowText("You can only open one project at a time."));
        PubSub::publish(
            AddMediaFilesResult(answer ? AddedResult::Declined : AddedResult::Done, {}));
        return;
    }
    if (projects.size() == 1)
        PubSub::publish(Command::OpenProject(projects.front()));
    PubSub::publish(AddMediaFilesResult(AddedResult::Done, {}));
}

void Controller::Impl::reportAdded(const QStringList &media, Asrc source, int contextMask)
{
    Statistics::IStatistics *statistics = Statistics::statistics();
    if (!statistics)
        return;
    Statistics::IFilesStatistics *files = statistics->filesStatistics();
    const AddingMethod method = addingMethodFor(source, contextMask);
    for (const QString &path : media) {
        if (isLogoSource(source))
            files->logoFileAdded(path);
        else
            files->fileAdded(path, method, static_cast<int>(media.size()));
    }
}

void Controller::Impl::addMediaFiles(const QStringList &files,
                                     const Contexts &contexts,
                                     Asrc source)
{
    int mask = 0;
    if (contexts.timeline || contexts.transition)
        mask |= FileAnalyzer::Object::TimelineOrTransition;
    if (contexts.collection)
        mask |= FileAnalyzer::Object::Collection;

    auto object = std::make_shared<FileAnalyzer::Object>();
    object->setMask(mask);
    object->setFiles(files);
    const FileAnalyzer::Object *key = object.get();
    own.insert(key);
    FileAnalyzer::requestAdd(object);

    if (contexts.timeline)
        handlers.emplace(key, std::make_shared<TimelineClipTaskHandler>(contexts));
    if (contexts.collection) {
        const bool flag = contexts.timeline ? isLogoOrExternal(source)
                                            : (!contexts.transition || isLogoOrExternal(source));
        handlers.emplace(key, std::make_shared<UserCollectionTaskHandler>(flag));
    }
    if (contexts.transition)
        handlers.emplace(key, std::make_shared<TransitionTaskHandler>(*contexts.transition));
}

void Controller::Impl::statusChanged(const FileAnalyzer::Object *object,
                                     FileAnalyzer::Object::Status status)
{
    if (!own.count(object))
        return;
    if (status == FileAnalyzer::Object::Status::Finished) {
        // A copy of the range: a handler may not add handlers, but it may publish, and nothing
        // here should depend on what a subscriber does meanwhile.
        const auto range = handlers.equal_range(object);
        std::vector<std::shared_ptr<AbstractAnalyzeTaskHandler>> toRun;
        for (auto it = range.first; it != range.second; ++it)
            toRun.push_back(it->second);
        for (const auto &handler : toRun)
            handler->handleTaskResultInternal(object->opened(), object->failed());
    }
    if (status == FileAnalyzer::Object::Status::Finished
        || status == FileAnalyzer::Object::Status::Cancelled) {
        // Handlers are released on a later pass, never inside their own call.
        finishedObjects.insert(object);
        scheduler.schedule();
    }
}

void Controller::Impl::releaseFinished()
{
    const std::set<const FileAnalyzer::Object *> finished = std::move(finishedObjects);
    finishedObjects.clear();
    for (const FileAnalyzer::Object *key : finished) {
        handlers.erase(key);
        FileAnalyzer::ObjectPtr object;
        if (key)
            object = FileAnalyzer::Model::instance().find(key);
        else if (!FileAnalyzer::Model::instance().objects().empty())
            object = FileAnalyzer::Model::instance().objects().front();
        own.erase(key);
        if (object)
            FileAnalyzer::requestRemove(object);
    }
}

Controller::Controller()
    : d(std::make_unique<Impl>())
{
    subscribeAllTypes();
}

Controller::~Controller()
{
    unsubscribeAllTypes();
}

void Controller::notify(const AddMediaFiles &request)
{
    d->handle(request);
}

} // namespace FileAdder

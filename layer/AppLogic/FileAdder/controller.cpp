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
#include "translator/translator.h"
#include "util/fs.h"
#include "util/scheduler.h"
#include "util/settingspaths.h"

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

using FileAnalyzer::Destination;
using FileAnalyzer::Destinations;

Destinations destinationsOf(const Contexts &contexts)
{
    Destinations destinations;
    destinations.setFlag(Destination::Timeline, contexts.timeline.has_value());
    destinations.setFlag(Destination::Collection, contexts.collection.has_value());
    destinations.setFlag(Destination::Transition, contexts.transition.has_value());
    return destinations;
}

// What the analysis is told: a transition's files count as the timeline's, as clips of failed
// files may be on the timeline either way.
Destinations analysisDestinations(Destinations destinations)
{
    if (destinations.testFlag(Destination::Transition)) {
        destinations.setFlag(Destination::Transition, false);
        destinations.setFlag(Destination::Timeline);
    }
    return destinations;
}

// Which way a file came in, from where the request came and where it goes. Drops are told apart
// by where they landed.
AddingMethod addingMethodFor(Asrc source, Destinations destinations)
{
    switch (source) {
    case Asrc::ImportButton:
        return AddingMethod::ImportButton;
    case Asrc::CollectionButton:
        return AddingMethod::CollectionButton;
    case Asrc::CollectionContextMenu:
        return AddingMethod::CollectionContextMenu;
    case Asrc::PlusButtonFiles:
        return AddingMethod::PlusBtnFiles;
    case Asrc::PlusButtonMusic:
        return AddingMethod::PlusBtnMusic;
    case Asrc::MainImportButton:
        return AddingMethod::MainImportButton;
    case Asrc::MainMenu:
        return AddingMethod::MainMenu;
    case Asrc::TimelineImportButton:
        return AddingMethod::TimelineImportButton;
    case Asrc::ImportFolders:
        return AddingMethod::ImportFolders;
    case Asrc::DragAndDrop:
    case Asrc::DragAndDropFromExplorer:
        if (destinations == Destinations(Destination::Timeline))
            return AddingMethod::DragAndDropTimeline;
        if (destinations == Destinations(Destination::Collection))
            return AddingMethod::DragAndDropCollection;
        return AddingMethod::DragAndDropTimelineCollection;
    case Asrc::CollectionToTimeline:
        return AddingMethod::DragAndDropCollectionToTimeline;
    case Asrc::IntroClip:
    case Asrc::IntroClipReplace:
        return AddingMethod::IntroClipDragAndDrop;
    case Asrc::AudioRecording:
        return AddingMethod::AudioRec;
    case Asrc::External:
        return AddingMethod::External;
    case Asrc::TransitionSettings:
        return AddingMethod::TransitionSettings;
    case Asrc::Logo:
    case Asrc::LogoDragAndDrop:
        break; // reported as logos, without a method
    }
    // Also a number the editor sends that this list does not name.
    return AddingMethod::DragAndDropCollection;
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
    explicit Impl(FileAnalyzer::Model &analysis)
        : View(analysis)
        , supportedExtensions(FileUtil::supportedFileExtensions())
        , scheduler(this, &Impl::releaseFinished)
    {
    }

    ~Impl() override { scheduler.cancel(); }

    void handle(const AddMediaFiles &request);
    void addMediaFiles(const QStringList &files, const Contexts &contexts, Asrc source);

    void statusChanged(const FileAnalyzer::Object *object,
                       FileAnalyzer::Object::Status status) override;
    void fileAnalyzerRemoveRequested(FileAnalyzer::Object *object) override;

private:
    void reportAdded(const QStringList &media, Asrc source, Destinations destinations);
    void releaseFinished();

    const QSet<QString> supportedExtensions;
    Vantel::Util::Scheduler<Impl> scheduler;
    // Objects are known by id, not by address: an object someone else removed may be followed
    // by a new one at the same place, which must not inherit its handlers.
    std::set<std::uint64_t> finishedObjects;
    std::multimap<std::uint64_t, std::shared_ptr<AbstractAnalyzeTaskHandler>> handlers;
    // The analysis objects this controller made; it lets go of them once they are finished.
    std::set<std::uint64_t> own;
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
        const Destinations destinations = destinationsOf(contexts);
        if (destinations)
            reportAdded(media, request.source, destinations);
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

void Controller::Impl::reportAdded(const QStringList &media, Asrc source, Destinations destinations)
{
    Statistics::IStatistics *statistics = Statistics::statistics();
    if (!statistics)
        return;
    Statistics::IFilesStatistics *files = statistics->filesStatistics();
    const AddingMethod method = addingMethodFor(source, destinations);
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
    auto object = std::make_shared<FileAnalyzer::Object>();
    object->setDestinations(analysisDestinations(destinationsOf(contexts)));
    object->setFiles(files);
    const std::uint64_t key = object->id();
    own.insert(key);
    // The handlers are in place before the analysis sees the object, which may end at once.
    if (contexts.timeline)
        handlers.emplace(key, std::make_shared<TimelineClipTaskHandler>(contexts));
    if (contexts.collection) {
        const bool flag = contexts.timeline ? isLogoOrExternal(source)
                                            : (!contexts.transition || isLogoOrExternal(source));
        handlers.emplace(key, std::make_shared<UserCollectionTaskHandler>(flag));
    }
    if (contexts.transition)
        handlers.emplace(key, std::make_shared<TransitionTaskHandler>(*contexts.transition));
    FileAnalyzer::requestAdd(object);
}

void Controller::Impl::statusChanged(const FileAnalyzer::Object *object,
                                     FileAnalyzer::Object::Status status)
{
    const std::uint64_t key = object->id();
    if (!own.count(key))
        return;
    if (status == FileAnalyzer::Object::Status::Finished) {
        // A copy of the range: a handler may not add handlers, but it may publish, and nothing
        // here should depend on what a subscriber does meanwhile.
        const auto range = handlers.equal_range(key);
        std::vector<std::shared_ptr<AbstractAnalyzeTaskHandler>> toRun;
        for (auto it = range.first; it != range.second; ++it)
            toRun.push_back(it->second);
        for (const auto &handler : toRun)
            handler->handleTaskResultInternal(object->opened(), object->failed());
    }
    if (status == FileAnalyzer::Object::Status::Finished
        || status == FileAnalyzer::Object::Status::Cancelled) {
        // Handlers are released on a later pass, never inside their own call.
        finishedObjects.insert(key);
        scheduler.schedule();
    }
}

void Controller::Impl::fileAnalyzerRemoveRequested(FileAnalyzer::Object *object)
{
    // Removed before it finished (by whoever): its handlers will never have a result to place.
    // A handler running right now holds its own reference.
    const std::uint64_t key = object->id();
    if (own.erase(key))
        handlers.erase(key);
}

void Controller::Impl::releaseFinished()
{
    const std::set<std::uint64_t> finished = std::move(finishedObjects);
    finishedObjects.clear();
    for (const std::uint64_t key : finished) {
        handlers.erase(key);
        FileAnalyzer::ObjectPtr object;
        if (key)
            object = model().find(key);
        else if (!model().objects().empty())
            object = model().objects().front();
        own.erase(key);
        if (object)
            FileAnalyzer::requestRemove(object);
    }
}

Controller::Controller(FileAnalyzer::Model &analysis)
    : d(std::make_unique<Impl>(analysis))
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

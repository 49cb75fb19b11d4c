#include "FileAnalyzer/controller.h"

#include "FileAnalyzer/model.h"
#include "FileAnalyzer/timelineviewer.h"

#include "translator/translator.h"
#include "util/scheduler.h"

#include <algorithm>
#include <deque>
#include <set>

namespace FileAnalyzer {

namespace {

Controller *theController = nullptr;

QString progressText(const char *text)
{
    return Translator::translate("ProgressEngine", text);
}

// The destinations after which a request for the timeline alone is not told its failures again.
const Destinations timelineAndCollection = Destination::Timeline | Destination::Collection;

// Requests whose failed files may have clips on the timeline.
bool mayHaveClips(Destinations destinations)
{
    return destinations == Destinations(Destination::Timeline)
        || destinations == Destinations(Destination::Other);
}

} // namespace

// The queue and the current request. The steps that need the file-opening handler or the
// progress go through the controller, whose bases those are.
class Controller::Impl {
public:
    explicit Impl(Controller *q)
        : q(q)
        , next(this, &Impl::processQueue)
    {
    }

    void processQueue();
    void addFiles(const Object *object);
    void removeFiles(const Object *object);
    void handleFinishedTask(const Object *object);
    void cancelCurrentTask();
    void changeStatus(const Object *object,
                      Object::Status status,
                      const MediaFiles *opened = nullptr,
                      const MediaFiles *failed = nullptr);
    void updateProgress(int processed, int total);

    Controller *const q;
    std::deque<Object *> queue;
    Object *current = nullptr;
    std::set<Media::FilePtr> tracked;
    TimelineViewer timelineViewer;
    Destinations lastDestinations;
    // Starts the next request on a later pass once one finished, rather than from inside the
    // finishing request's own announcement.
    Vantel::Util::Scheduler<Impl> next;
};

void setTimeline(Timeline::ITimeline *timeline)
{
    if (theController)
        theController->setTimeline(timeline);
}

Controller::Controller(Model &model)
    : View(model)
    , d(std::make_unique<Impl>(this))
{
    theController = this;
    // Requests added before this controller existed are waiting in the domain already.
    for (const ObjectPtr &object : model.objects()) {
        if (object->status() == Object::Status::Queued)
            d->queue.push_back(object.get());
    }
    d->processQueue();
}

Controller::~Controller()
{
    if (theController == this)
        theController = nullptr;
    removeProgress();
}

void Controller::setTimeline(Timeline::ITimeline *timeline)
{
    d->timelineViewer.setTimeline(timeline);
}

void Controller::setAnalysisTimeout(std::chrono::milliseconds timeout)
{
    analysis().setTimeout(timeout);
}

void Controller::fileAnalyzerAddRequested(Object *object)
{
    d->queue.push_back(object);
    d->processQueue();
}

void Controller::fileAnalyzerChangeRequested(Object *, Object *) { }

void Controller::fileAnalyzerRemoveRequested(Object *object)
{
    d->handleFinishedTask(object);
    d->removeFiles(object);
    d->processQueue();
}

void Controller::statusChanged(const Object *object, Object::Status status)
{
    if (status != Object::Status::Finished && status != Object::Status::Cancelled)
        return;
    d->removeFiles(object);
    d->handleFinishedTask(object);
    d->next.schedule();
}

void Controller::Impl::processQueue()
{
    if (current || queue.empty())
        return;
    current = queue.front();
    addFiles(current);
    // A request without files never finishes by itself (processing waits for a file to count):
    // it stays until whoever made it cancels or removes it, as the editor's own adder never
    // sends one.
    changeStatus(current, Object::Status::Analysing);
}

void Controller::Impl::addFiles(const Object *object)
{
    MediaFiles files = object->mediaFiles();
    if (files.empty() && !object->files().isEmpty()) {
        // The request names paths; the media records are made here, once, and kept with it.
        for (const QString &path : object->files())
            files.push_back(std::make_shared<Media::File>(path));
        if (const ObjectPtr own = q->model().find(object))
            own->setMediaFiles(files);
    }
    tracked.insert(files.begin(), files.end());
    q->FileOpenHandler::addFiles(std::vector<Media::FilePtr>(files.begin(), files.end()));
}

void Controller::Impl::removeFiles(const Object *object)
{
    std::vector<Media::FilePtr> untracked;
    for (const Media::FilePtr &file : object->mediaFiles()) {
        if (tracked.erase(file))
            untracked.push_back(file);
    }
    // Files still being analysed stop counting; a cancelled request's files never finish.
    q->FileOpenHandler::removeFiles(untracked);
    if (object == current)
        q->removeProgress();
}

void Controller::Impl::handleFinishedTask(const Object *object)
{
    if (object == current)
        current = nullptr;
    queue.erase(std::remove(queue.begin(), queue.end(), object), queue.end());
}

void Controller::Impl::cancelCurrentTask()
{
    if (current && current->status() != Object::Status::Cancelled)
        changeStatus(current, Object::Status::Cancelled);
}

void Controller::Impl::changeStatus(const Object *object,
                                    Object::Status status,
                                    const MediaFiles *opened,
                                    const MediaFiles *failed)
{
    auto copy = std::make_shared<Object>(*object);
    copy->setStatus(status);
    if (opened)
        copy->setOpened(*opened);
    if (failed)
        copy->setFailed(*failed);
    requestChange(std::move(copy));
}

void Controller::processing()
{
    if (!d->current)
        return;
    const int total = totalFilesCount();
    const int processed = processedFilesCount();
    d->updateProgress(processed, total);
    if (processed != total || total == 0)
        return;

    MediaFiles opened;
    MediaFiles failed;
    for (const Media::FilePtr &file : addedFiles())
        (file->isFailed() ? failed : opened).push_back(file);
    // The handler's own step tells the user (postProcessing) and closes the batch.
    FileOpenHandler::processing();
    // A dialog above may have let the user cancel meanwhile.
    if (d->current)
        d->changeStatus(d->current, Object::Status::Finished, &opened, &failed);
}

void Controller::Impl::updateProgress(int processed, int total)
{
    // A request of one file goes from 0 to done in one step and never shows a dialog.
    if (processed > 0 && processed < total && !q->isProgressShown())
        q->showProgress(progressText("Analysing files"), progressText("Cancel"), total, QString());
    q->setProgressValue(processed);
    if (processed == total)
        q->removeProgress();
}

void Controller::updateLabelText(QString &text)
{
    text = progressText("Analysing file %1 of %2. Please Wait.")
               .arg(processedFilesCount())
               .arg(totalFilesCount());
}

void Controller::reporterCancelled(Report::IProgress &)
{
    d->cancelCurrentTask();
}

void Controller::postProcessing(FileOpenHandler::AnalyzedProduct product)
{
    if (!d->current)
        return;
    const Destinations destinations = d->current->destinations();
    if (d->lastDestinations == timelineAndCollection
        && destinations == Destinations(Destination::Timeline)) {
        d->lastDestinations = Destination::Timeline;
        return;
    }
    d->lastDestinations = destinations;
    if (product.hasProblems()) {
        const bool answer = showFailedFilesDialog(product);
        if (mayHaveClips(destinations))
            d->timelineViewer.handleFailedFiles(product, answer);
    }
    if (product.hasHDRFiles())
        showHDRFilesAddedDialog();
}

bool Controller::allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product)
{
    if (!d->current || !mayHaveClips(d->current->destinations()))
        return false;
    return d->timelineViewer.allowToDeleteClips(product);
}

} // namespace FileAnalyzer

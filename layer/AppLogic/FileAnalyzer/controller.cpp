#include "FileAnalyzer/controller.h"

#include "FileAnalyzer/model.h"

#include "util/translator.h"

#include <algorithm>

namespace FileAnalyzer {

namespace {

Controller *theController = nullptr;

QString progressText(const char *text)
{
    return Translator::translate("ProgressEngine", text);
}

} // namespace

void setTimeline(Timeline::ITimeline *timeline)
{
    if (theController)
        theController->setTimeline(timeline);
}

Controller::Controller()
    : m_next(this, &Controller::processQueue)
{
    theController = this;
    // Requests added before this controller existed are waiting in the domain already.
    for (const ObjectPtr &object : Model::instance().objects()) {
        if (object->status() == Object::Status::Queued)
            m_queue.push_back(object.get());
    }
    processQueue();
}

Controller::~Controller()
{
    if (theController == this)
        theController = nullptr;
    removeProgress();
}

void Controller::setTimeline(Timeline::ITimeline *timeline)
{
    m_timelineViewer.setTimeline(timeline);
}

void Controller::setAnalysisTimeout(std::chrono::milliseconds timeout)
{
    analysis().setTimeout(timeout);
}

void Controller::fileAnalyzerAddRequested(Object *object)
{
    m_queue.push_back(object);
    processQueue();
}

void Controller::fileAnalyzerChangeRequested(Object *, Object *) { }

void Controller::fileAnalyzerRemoveRequested(Object *object)
{
    handleFinishedTask(object);
    removeFiles(object);
    processQueue();
}

void Controller::statusChanged(const Object *object, Object::Status status)
{
    if (status != Object::Status::Finished && status != Object::Status::Cancelled)
        return;
    removeFiles(object);
    handleFinishedTask(object);
    m_next.schedule();
}

void Controller::processQueue()
{
    if (m_current || m_queue.empty())
        return;
    m_current = m_queue.front();
    addFiles(m_current);
    changeStatus(m_current, Object::Status::Analysing);
}

void Controller::addFiles(const Object *object)
{
    MediaFiles files = object->mediaFiles();
    if (files.empty() && !object->files().isEmpty()) {
        // The request names paths; the media records are made here, once, and kept with it.
        for (const QString &path : object->files())
            files.push_back(std::make_shared<Media::File>(path));
        if (const ObjectPtr own = Model::instance().find(object))
            own->setMediaFiles(files);
    }
    m_tracked.insert(files.begin(), files.end());
    FileOpenHandler::addFiles(std::vector<Media::FilePtr>(files.begin(), files.end()));
}

void Controller::removeFiles(const Object *object)
{
    std::vector<Media::FilePtr> untracked;
    for (const Media::FilePtr &file : object->mediaFiles()) {
        if (m_tracked.erase(file))
            untracked.push_back(file);
    }
    // Files still being analysed stop counting; a cancelled request's files never finish.
    FileOpenHandler::removeFiles(untracked);
    if (object == m_current)
        removeProgress();
}

void Controller::handleFinishedTask(const Object *object)
{
    if (object == m_current)
        m_current = nullptr;
    m_queue.erase(std::remove(m_queue.begin(), m_queue.end(), object), m_queue.end());
}

void Controller::cancelCurrentTask()
{
    if (m_current && m_current->status() != Object::Status::Cancelled)
        changeStatus(m_current, Object::Status::Cancelled);
}

void Controller::changeStatus(const Object *object,
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
    if (!m_current)
        return;
    const int total = totalFilesCount();
    const int processed = processedFilesCount();
    updateProgress(processed, total);
    if (processed != total || total == 0)
        return;

    MediaFiles opened;
    MediaFiles failed;
    for (const Media::FilePtr &file : addedFiles())
        (file->isFailed() ? failed : opened).push_back(file);
    // The handler's own step tells the user (postProcessing) and closes the batch.
    FileOpenHandler::processing();
    // A dialog above may have let the user cancel meanwhile.
    if (m_current)
        changeStatus(m_current, Object::Status::Finished, &opened, &failed);
}

void Controller::updateProgress(int processed, int total)
{
    // A request of one file goes from 0 to done in one step and never shows a dialog.
    if (processed > 0 && processed < total && !isProgressShown())
        showProgress(progressText("Analysing files"), progressText("Cancel"), total, QString());
    setProgressValue(processed);
    if (processed == total)
        removeProgress();
}

void Controller::updateLabelText(QString &text)
{
    text = progressText("Analysing file %1 of %2. Please Wait.")
               .arg(processedFilesCount())
               .arg(totalFilesCount());
}

void Controller::reporterCancelled(Report::IProgress &)
{
    cancelCurrentTask();
}

void Controller::postProcessing(FileOpenHandler::AnalyzedProduct product)
{
    if (!m_current)
        return;
    const int mask = m_current->mask();
    if (m_lastMask == 3 && mask == Object::TimelineOrTransition) {
        m_lastMask = Object::TimelineOrTransition;
        return;
    }
    m_lastMask = mask;
    if (product.hasProblems()) {
        const bool answer = showFailedFilesDialog(product);
        if (mask == Object::TimelineOrTransition || mask == Object::Other)
            m_timelineViewer.handleFailedFiles(product, answer);
    }
    if (product.hasHDRFiles())
        showHDRFilesAddedDialog();
}

bool Controller::allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product)
{
    if (!m_current)
        return false;
    const int mask = m_current->mask();
    if (mask != Object::TimelineOrTransition && mask != Object::Other)
        return false;
    return m_timelineViewer.allowToDeleteClips(product);
}

} // namespace FileAnalyzer

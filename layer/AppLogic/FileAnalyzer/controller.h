#pragma once

#include "FileAnalyzer/timelineviewer.h"
#include "FileAnalyzer/view.h"

#include "dialogs/progress.h"
#include "media/fileopenhandler.h"
#include "util/scheduler.h"

#include <deque>
#include <set>

namespace Timeline {
class ITimeline;
}

namespace FileAnalyzer {

// Opens and analyses the media files of each add request, one request at a time in arrival
// order, with a progress dialog that can cancel; sorts the files into opened and failed, tells
// the user about the failures, and marks each request finished so that its task handlers can
// place the files. The application makes one; main thread.
class APPLOGIC_EXPORT Controller final
    : public FileOpenHandler
    , public Report::ProgressReporter
    , public View {
public:
    Controller();
    ~Controller() override;

    // The timeline whose clips the failed-files dialog may offer to remove.
    void setTimeline(Timeline::ITimeline *timeline);
    // How long one file's analysis may take before it counts as failed.
    void setAnalysisTimeout(std::chrono::milliseconds timeout);

    void fileAnalyzerAddRequested(Object *object) override;
    void fileAnalyzerChangeRequested(Object *object, Object *changed) override;
    void fileAnalyzerRemoveRequested(Object *object) override;
    void statusChanged(const Object *object, Object::Status status) override;

protected:
    void processing() override;
    void postProcessing(FileOpenHandler::AnalyzedProduct product) override;
    bool allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product) override;
    void updateLabelText(QString &text) override;
    void reporterCancelled(Report::IProgress &progress) override;

private:
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

    std::deque<Object *> m_queue;
    Object *m_current = nullptr;
    std::set<Media::FilePtr> m_tracked;
    TimelineViewer m_timelineViewer;
    int m_lastMask = 0;
    // Starts the next request on a later pass once one finished, rather than from inside the
    // finishing request's own announcement.
    Vantel::Util::Scheduler<Controller> m_next;
};

// Forwards to the one controller, when there is one.
APPLOGIC_EXPORT void setTimeline(Timeline::ITimeline *timeline);

} // namespace FileAnalyzer

#pragma once

#include "FileAnalyzer/object.h"
#include "Messages/fileadder.h"

#include "timeline/timeline.h"
#include "util/guardedptr.h"

// What happens to the files of one analysed request, per destination. Private to the file
// adding controller, which makes them with the request and releases them once the request is
// finished. What a request pointed at may be gone by then (another project opened, a clip and
// its transitions removed): the handlers watch it and leave it alone. Main thread.
namespace FileAdder {

class AbstractAnalyzeTaskHandler {
public:
    virtual ~AbstractAnalyzeTaskHandler();
    virtual void handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                          const FileAnalyzer::MediaFiles &failed)
        = 0;
};

// Puts the opened files on the timeline one after another from the context's track and position.
class TimelineClipTaskHandler final : public AbstractAnalyzeTaskHandler {
public:
    explicit TimelineClipTaskHandler(const Contexts &contexts);
    void handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                  const FileAnalyzer::MediaFiles &failed) override;

private:
    Util::GuardedPtr<Timeline::Model> m_timeline;
    int m_track;
    MTime m_position;
};

// Hands the opened files to the project's collection.
class UserCollectionTaskHandler final : public AbstractAnalyzeTaskHandler {
public:
    explicit UserCollectionTaskHandler(bool flag);
    void handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                  const FileAnalyzer::MediaFiles &failed) override;

private:
    bool m_flag;
};

// Gives the transition the analysed files as its resources, keeping only those whose type its
// filter accepts (a shader transition takes no media). A request whose files all failed leaves
// the transition as it was.
class TransitionTaskHandler final : public AbstractAnalyzeTaskHandler {
public:
    explicit TransitionTaskHandler(const TransitionContext &context);
    void handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                  const FileAnalyzer::MediaFiles &failed) override;

private:
    Util::GuardedPtr<Transition::Object> m_transition;
};

} // namespace FileAdder

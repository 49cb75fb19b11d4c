#pragma once

#include "FileAnalyzer/object.h"
#include "Messages/fileadder.h"

// What happens to the files of one analysed request, per destination. Private to the file
// adding controller, which makes them with the request and releases them once the request is
// finished. Main thread.
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
    TimelineContext m_context;
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

// Gives the transition the analysed files as its media.
class TransitionTaskHandler final : public AbstractAnalyzeTaskHandler {
public:
    explicit TransitionTaskHandler(const TransitionContext &context);
    void handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                  const FileAnalyzer::MediaFiles &failed) override;

private:
    TransitionContext m_context;
};

} // namespace FileAdder

#pragma once

#include "media/fileopenhandler.h"
#include "timeline/timeline.h"
#include "util/guardedptr.h"

namespace FileAnalyzer {

// Knows the timeline the analysis places files on and decides about the clips of files that
// failed: whether the user may be offered their removal, and the removal itself. Main thread.
class TimelineViewer {
public:
    // Watched: a timeline that goes before the next one is set counts as none.
    void setTimeline(Timeline::ITimeline *timeline) { m_timeline = timeline; }
    Timeline::ITimeline *timeline() const noexcept { return m_timeline.get(); }

    // True when a timeline is set and one of its clips is made from a file that failed.
    bool allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product) const;
    // After the failed-files dialog: with the user's consent, takes every clip of a failed file
    // off the timeline. Reports the dialog's outcome to the statistics either way. Returns the
    // number of clips removed.
    int handleFailedFiles(const FileOpenHandler::AnalyzedProduct &product, bool removeClips);

private:
    Util::GuardedPtr<Timeline::ITimeline> m_timeline;
};

} // namespace FileAnalyzer

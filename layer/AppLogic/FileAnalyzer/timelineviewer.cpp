#include "FileAnalyzer/timelineviewer.h"

#include "Messages/editorevents.h"

#include "pubsub/subscriber.h"
#include "timeline/timeline.h"

#include <vector>

namespace FileAnalyzer {

bool TimelineViewer::isFailedClip(const Timeline::IClip &clip, const FileOpenHandler::AnalyzedProduct &product) const
{
    const auto &file = clip.file();
    if (!file)
        return false;
    // By path: a clip placed earlier holds its own record of the same file.
    for (const Media::FilePtr &failed : product.failedFiles) {
        if (failed == file || failed->path == file->path)
            return true;
    }
    return false;
}

bool TimelineViewer::allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product) const
{
    if (!m_timeline || product.failedFiles.empty())
        return false;
    for (int t = 0; t < m_timeline->trackCount(); ++t) {
        const Timeline::ITrack &track = m_timeline->track(t);
        for (std::size_t c = 0; c < track.clipCount(); ++c) {
            if (isFailedClip(track.clip(c), product))
                return true;
        }
    }
    return false;
}

int TimelineViewer::handleFailedFiles(const FileOpenHandler::AnalyzedProduct &product, bool removeClips)
{
    const bool allowed = allowToDeleteClips(product);
    int removed = 0;
    // Only the editable model can lose clips; a timeline seen through its read-only interface
    // is left as it is.
    auto *model = dynamic_cast<Timeline::Model *>(m_timeline);
    if (allowed && removeClips && model) {
        std::vector<Timeline::ClipId> doomed;
        for (int t = 0; t < model->trackCount(); ++t) {
            const Timeline::ITrack &track = model->track(t);
            for (std::size_t c = 0; c < track.clipCount(); ++c) {
                if (isFailedClip(track.clip(c), product))
                    doomed.push_back(track.clip(c).id());
            }
        }
        for (Timeline::ClipId id : doomed)
            removed += model->removeClip(id) ? 1 : 0;
    }
    PubSub::publish(Statistics::DeleteFailedFilesEventNotification(allowed, removed > 0));
    return removed;
}

} // namespace FileAnalyzer

#include "FileAnalyzer/timelineviewer.h"

#include "Messages/editorevents.h"

#include "pubsub/subscriber.h"
#include "timeline/timeline.h"

#include <QSet>

#include <vector>

namespace FileAnalyzer {

namespace {

// By path: a clip placed earlier holds its own record of the same file.
QSet<QString> failedPaths(const FileOpenHandler::AnalyzedProduct &product)
{
    QSet<QString> paths;
    paths.reserve(static_cast<int>(product.failedFiles.size()));
    for (const Media::FilePtr &failed : product.failedFiles)
        paths.insert(failed->path);
    return paths;
}

bool isFailedClip(const Timeline::IClip &clip, const QSet<QString> &failed)
{
    return clip.file() && failed.contains(clip.file()->path);
}

} // namespace

bool TimelineViewer::allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product) const
{
    const Timeline::ITimeline *timeline = m_timeline.get();
    if (!timeline || product.failedFiles.empty())
        return false;
    const QSet<QString> failed = failedPaths(product);
    for (int t = 0; t < timeline->trackCount(); ++t) {
        const Timeline::ITrack &track = timeline->track(t);
        for (std::size_t c = 0; c < track.clipCount(); ++c) {
            if (isFailedClip(track.clip(c), failed))
                return true;
        }
    }
    return false;
}

int TimelineViewer::handleFailedFiles(const FileOpenHandler::AnalyzedProduct &product,
                                      bool removeClips)
{
    const bool allowed = allowToDeleteClips(product);
    int removed = 0;
    // Only the editable model can lose clips; a timeline seen through its read-only interface
    // is left as it is.
    auto *model = dynamic_cast<Timeline::Model *>(m_timeline.get());
    if (allowed && removeClips && model) {
        const QSet<QString> failed = failedPaths(product);
        std::vector<Timeline::ClipId> doomed;
        for (int t = 0; t < model->trackCount(); ++t) {
            const Timeline::ITrack &track = model->track(t);
            for (std::size_t c = 0; c < track.clipCount(); ++c) {
                if (isFailedClip(track.clip(c), failed))
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

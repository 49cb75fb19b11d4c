#include "FileAdder/taskhandlers.h"

#include "Messages/projectrequests.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/istatistics.h"

#include "pubsub/subscriber.h"
#include "timeline/timeline.h"
#include "timeline/transition.h"

#include <glog/logging.h>

#include <stdexcept>

namespace FileAdder {

AbstractAnalyzeTaskHandler::~AbstractAnalyzeTaskHandler() = default;

TimelineClipTaskHandler::TimelineClipTaskHandler(const Contexts &contexts)
    : m_timeline(contexts.timeline->timeline)
    , m_track(contexts.timeline->track)
    , m_position(contexts.timeline->position)
{
}

namespace {

// The first sound track, made at the end when the project has none.
int firstAudioTrack(Timeline::Model &timeline)
{
    for (int t = 0; t < timeline.trackCount(); ++t)
        if (timeline.track(t).type() == Timeline::TrackType::Audio)
            return t;
    timeline.addTrack(Timeline::TrackType::Audio);
    return timeline.trackCount() - 1;
}

} // namespace

void TimelineClipTaskHandler::handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                                       const FileAnalyzer::MediaFiles &failed)
{
    Timeline::Model *timeline = m_timeline.get();
    if (!timeline)
        return;
    // Every analysed file is reported once it has reached the timeline: an opened file right
    // after it is placed, a failed one after the timeline noted that it came. The report asks
    // the timeline how often the file came there and speaks on the first time only, so a file
    // brought twice in one request, or again later, tells its outcome once.
    Statistics::IStatistics *statistics = Statistics::statistics();
    Statistics::IFilesStatistics *files = statistics ? statistics->filesStatistics() : nullptr;
    MTime position = m_position;
    // Sound alone belongs on a sound track, as in every editor: songs dropped with clips start at
    // the drop too, one after another, beside the pictures rather than between them.
    MTime soundPosition = m_position;
    for (const Media::FilePtr &file : opened) {
        const bool soundOnly = !file->hasVideo() && file->hasAudio();
        int track = m_track;
        try {
            if (soundOnly) {
                // A request that names a sound track (a recording put where it was spoken)
                // gets it.
                const bool soundTrackNamed = m_track >= 0 && m_track < timeline->trackCount()
                    && timeline->track(m_track).type() == Timeline::TrackType::Audio;
                track = soundTrackNamed ? m_track : firstAudioTrack(*timeline);
                soundPosition = timeline->insertClip(track, soundPosition, file).end();
            } else {
                position = timeline->insertClip(track, position, file).end();
            }
        } catch (const std::exception &e) {
            LOG(ERROR) << "Cannot place " << file->path.toStdString() << " on track " << track
                       << ": " << e.what();
        }
        if (files)
            files->fileAnalyzed(*file, *timeline);
    }
    for (const Media::FilePtr &file : failed) {
        timeline->noteFailedFile(*file);
        if (files)
            files->fileAnalyzed(*file, *timeline);
    }
}

UserCollectionTaskHandler::UserCollectionTaskHandler(bool flag)
    : m_flag(flag)
{
}

void UserCollectionTaskHandler::handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                                         const FileAnalyzer::MediaFiles &)
{
    PubSub::publish(Project::FileAddRequest(opened, m_flag));
}

TransitionTaskHandler::TransitionTaskHandler(const TransitionContext &context)
    : m_transition(context.transition)
{
}

namespace {

Transition::ResourceType resourceTypeOf(const Media::File &file)
{
    if (file.isStillImage())
        return Transition::ResourceType::Image;
    return file.hasVideo() ? Transition::ResourceType::Video : Transition::ResourceType::Audio;
}

// A shader transition draws its picture itself and takes no media; the others take pictures,
// video and sound.
bool accepts(const Transition::Object &transition, Transition::ResourceType type)
{
    if (transition.id() == Transition::Id::ShaderISF)
        return type == Transition::ResourceType::Shader;
    return type != Transition::ResourceType::Shader;
}

} // namespace

void TransitionTaskHandler::handleTaskResultInternal(const FileAnalyzer::MediaFiles &opened,
                                                     const FileAnalyzer::MediaFiles &)
{
    Transition::Object *transition = m_transition.get();
    // A request whose files all failed would leave the transition with nothing to show: it keeps
    // the media it had.
    if (!transition || opened.empty())
        return;
    // The new media are put together on a copy; the transition itself changes in one step, so a
    // resource the filter refuses never shows on it, not even for a moment.
    const std::unique_ptr<Transition::Object> copy = transition->copy();
    std::vector<Transition::Resource> resources;
    for (const Media::FilePtr &file : opened) {
        const Transition::ResourceType type = resourceTypeOf(*file);
        if (accepts(*copy, type))
            resources.push_back(Transition::Resource { type, file, QString() });
    }
    copy->setResources(std::move(resources));
    transition->setResources(copy->resources());
}

} // namespace FileAdder

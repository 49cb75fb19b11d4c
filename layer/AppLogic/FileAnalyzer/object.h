#pragma once

#include "applogicexport.h"

#include "mediamodel/mediafile.h"
#include "pubsub/message.h"
#include "pubsub/object.h"

#include <QFlags>
#include <QStringList>

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

// The file analysis domain: one Object per add request, carrying its paths, the media files made
// from them and, once analysed, which opened and which failed. Objects are added, changed and
// removed through the domain's messages (AddRequest, ChangeRequest, RemoveRequest); the domain
// (FileAnalyzer::Model) keeps them and tells the views. Main thread.
namespace FileAnalyzer {

APPLOGIC_EXPORT const PubSub::Object *globalObject();

// Where the files of a request go. An analysis object carries Timeline (which stands for a
// transition too: either way clips of failed files may be on the timeline), Collection, or Other
// from creators outside the file adder; these values travel with the object. Transition is told
// apart only where the file adder needs it, for the adding method of a drop.
enum class Destination : int { Timeline = 0x1, Collection = 0x2, Other = 0x4, Transition = 0x8 };
Q_DECLARE_FLAGS(Destinations, Destination)

using MediaFiles = std::deque<Media::FilePtr>;

class APPLOGIC_EXPORT Object {
public:
    enum class Status : int { Queued = 0, Analysing = 1, Finished = 2, Cancelled = 3 };

    Object();
    // A copy stands for the same request (same id) with possibly other values: the domain's
    // change messages carry copies.
    Object(const Object &) = default;
    Object &operator=(const Object &) = default;

    // The same for an object and its copies, unique among requests of one run.
    std::uint64_t id() const noexcept { return m_id; }

    const QStringList &files() const noexcept { return m_files; }
    void setFiles(QStringList files) { m_files = std::move(files); }
    const MediaFiles &mediaFiles() const noexcept { return m_mediaFiles; }
    void setMediaFiles(MediaFiles files) { m_mediaFiles = std::move(files); }
    const MediaFiles &opened() const noexcept { return m_opened; }
    void setOpened(MediaFiles files) { m_opened = std::move(files); }
    const MediaFiles &failed() const noexcept { return m_failed; }
    void setFailed(MediaFiles files) { m_failed = std::move(files); }

    Destinations destinations() const noexcept { return m_destinations; }
    void setDestinations(Destinations destinations) { m_destinations = destinations; }
    Status status() const noexcept { return m_status; }
    void setStatus(Status status) { m_status = status; }

private:
    std::uint64_t m_id;
    QStringList m_files;
    MediaFiles m_mediaFiles;
    MediaFiles m_opened;
    MediaFiles m_failed;
    Destinations m_destinations;
    Status m_status = Status::Queued;
};

using ObjectPtr = std::shared_ptr<Object>;

// The domain's messages. Requests carry the object (Add) or a copy with the new values (Change,
// Remove; matched by id). What the domain did is told to its views (FileAnalyzer::View), then
// published in the past tense with the domain's own object, for subscribers outside the intake.
using AddRequest = Message::Types::Add<Object>;
using ChangeRequest = Message::Types::Change<Object>;
using RemoveRequest = Message::Types::Remove<Object>;
using Added = Message::Types::Added<Object>;
using Changed = Message::Types::Changed<Object>;
using Removed = Message::Types::Removed<Object>;

// Publish the requests with the domain's identity as sender.
APPLOGIC_EXPORT void requestAdd(ObjectPtr object);
APPLOGIC_EXPORT void requestChange(ObjectPtr copy);
APPLOGIC_EXPORT void requestRemove(ObjectPtr object);

} // namespace FileAnalyzer

Q_DECLARE_OPERATORS_FOR_FLAGS(FileAnalyzer::Destinations)

#pragma once

#include "applogicexport.h"

#include "media/mediafile.h"
#include "pubsub/message.h"
#include "pubsub/object.h"

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

using MediaFiles = std::deque<Media::FilePtr>;

class APPLOGIC_EXPORT Object {
public:
    enum class Status : int { Queued = 0, Analysing = 1, Finished = 2, Cancelled = 3 };

    // Where the files of the request go: a bit set.
    enum Mask : int { TimelineOrTransition = 1, Collection = 2, Other = 4 };

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

    int mask() const noexcept { return m_mask; }
    void setMask(int mask) { m_mask = mask; }
    Status status() const noexcept { return m_status; }
    void setStatus(Status status) { m_status = status; }

private:
    std::uint64_t m_id;
    QStringList m_files;
    MediaFiles m_mediaFiles;
    MediaFiles m_opened;
    MediaFiles m_failed;
    int m_mask = 0;
    Status m_status = Status::Queued;
};

using ObjectPtr = std::shared_ptr<Object>;

// The domain's messages. Requests carry the object (Add) or a copy with the new values (Change,
// Remove; matched by id); the past-tense reports carry the domain's own object.
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

#pragma once

#include "audio_export.h"

#include "audio/audioreader.h"

#include <QString>

#include <functional>
#include <memory>

namespace AudIO {

// Records what a reader delivers into a take file: a writer thread takes the samples out of the
// reader's ring every 50 ms (a pulled reader's consumer runs right after each pull instead),
// writes them with the lost ones as silence, and keeps the take's header valid after each write.
// Save turns the take into the user's file. Owner's thread, but for the writer.
class AUDIO_EXPORT RecordingStream {
public:
    // The take goes to `takeFolder`, by default the data folder's recordings.
    explicit RecordingStream(std::shared_ptr<AudioReader> reader, QString takeFolder = {});
    // Stops, and deletes the take unless it was saved or kept.
    ~RecordingStream();
    RecordingStream(const RecordingStream &) = delete;
    RecordingStream &operator=(const RecordingStream &) = delete;

    // Opens the take and starts the reader; throws std::runtime_error with the reason.
    void Start();
    // Stops the reader, writes what is left and closes the take.
    void Stop();
    bool IsRecording() const;

    // Writes the take to `path` (see convertAudioFile) and deletes it; throws
    // std::runtime_error with the reason, leaving the take where it is.
    void Save(const QString &path);
    // Deletes the take.
    void Drop();
    // Leaves the take on disk for a later recovery.
    void Keep();

    // Called once, on the writer's thread, when the take stops being written (a full disk, a
    // disk gone): from then on nothing more is kept, so the owner should end the recording.
    // Set before Start.
    void SetWriteFailedHandler(std::function<void()> handler);

    // Frames in the take so far, from any thread.
    std::int64_t Frames() const;
    RecordingResult Result() const;
    // Empty before Start; a writer failure (a full disk) ends the take there and is told here.
    QString TakePath() const;
    QString WriteError() const;

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

} // namespace AudIO

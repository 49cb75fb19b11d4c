#pragma once

#include "audio_export.h"

#include "audio/audiodeviceinfo.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

namespace AudIO {

// A take as it is recorded: 32-bit float WAV in the recordings folder, its header rewritten after
// every write, so a crash or a kill leaves a file any player opens, short of the last write. The
// file is locked while the take runs; a take nobody holds is one that was interrupted. Writer
// thread only.
class AUDIO_EXPORT TakeFile {
public:
    // Creates a new take in `folder`; throws std::runtime_error with the reason.
    TakeFile(const QString &folder, AudioFormat format);
    // Closes the file, which stays where it is.
    ~TakeFile();
    TakeFile(const TakeFile &) = delete;
    TakeFile &operator=(const TakeFile &) = delete;

    // Both throw std::runtime_error when the disk refuses (full, gone).
    void write(const float *samples, int frames);
    void writeSilence(std::int64_t frames);
    // Makes the header tell what was written so far.
    void updateHeader();
    void close();

    QString path() const { return m_path; }
    std::int64_t frames() const { return m_frames; }

private:
    class Impl;
    std::unique_ptr<Impl> d;
    QString m_path;
    std::int64_t m_frames = 0;
    AudioFormat m_format;
};

// Takes in `folder` left by a recording that never ended, newest first. None when `folder` is a
// link: the data folder's links are never followed.
AUDIO_EXPORT QStringList interruptedTakes(const QString &folder);

// The extensions a take can be saved as: "wav" (and "wave"), "flac", "ogg" and "oga" (Vorbis).
AUDIO_EXPORT QStringList audioFileExtensions();
AUDIO_EXPORT bool isAudioFileExtension(const QString &path);

// Writes the audio of `source` to `target` in the format its extension names (see
// audioFileExtensions; any other is refused), through a temporary file beside it that is renamed
// over `target` only once complete: whatever stood at `target` survives any failure.
// Returns the frames written; throws std::runtime_error with the reason.
AUDIO_EXPORT std::int64_t convertAudioFile(const QString &source, const QString &target);

// Saves the interrupted take `take` to `target` and removes it only then, and only when it is
// still the same file under its name, no recording holds it, its folder is no link and `target`
// is not the take itself. Returns the frames saved; throws std::runtime_error with the reason,
// the take left where it is.
AUDIO_EXPORT std::int64_t recoverTake(const QString &take, const QString &target);

} // namespace AudIO

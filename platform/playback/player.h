#pragma once

#include "playback_export.h"

#include "audio/clock.h"
#include "util/mtime.h"

#include <QImage>
#include <QObject>
#include <QPixmap>
#include <QTimer>

#include <memory>
#include <vector>

namespace Playback {

// Told when a playback starts and stops; main thread.
class PLAYBACK_EXPORT PlaybackWatcher {
public:
    virtual ~PlaybackWatcher();
    virtual void playbackStarted() { }
    virtual void playbackStopped() { }
};

// A clock-driven player of the project's timeline: the position runs from where play started by
// the chronometer, as the editor's engine would run it while it shows the frames. It draws
// nothing itself; a PlayerWidget shows it. Main thread.
class PLAYBACK_EXPORT Player : public QObject {
    Q_OBJECT
public:
    // `duration` 0 plays until stopped.
    explicit Player(MTime duration = {},
                    const AudIO::IClock &clock = AudIO::steadyClock(),
                    QObject *parent = nullptr);
    ~Player() override;

    // Starts on a later turn of the event loop, as an engine does once its first frames are
    // ready; the watchers hear of it then.
    void play();
    void stop();
    bool isPlaying() const { return m_playing; }
    bool isStarting() const { return m_starting; }

    MTime position() const;
    void seek(MTime position);
    MTime duration() const { return m_duration; }
    void setDuration(MTime duration) { m_duration = duration; }
    // Runs while playing; a recording reads it to sit where it was made on the timeline.
    const std::shared_ptr<AudIO::Chronometer> &chronometer() const { return m_chronometer; }

    void addWatcher(PlaybackWatcher *watcher);
    void removeWatcher(PlaybackWatcher *watcher);

    // The timeline's picture at the position, at preview size; null before the first one is
    // made. Whatever renders the timeline sets it as frames become due.
    void setPicture(const QImage &picture);
    const QImage &picture() const { return m_picture; }

    // The picture laid over the video (the voice-over countdown); a null pixmap clears it.
    void setOverlayPixmap(const QPixmap &pixmap);
    const QPixmap &overlayPixmap() const { return m_overlay; }

signals:
    void started();
    void stopped();
    void positionChanged();
    void overlayChanged();
    void pictureChanged();

private:
    void begin();
    void tick();

    MTime m_duration;
    std::shared_ptr<AudIO::Chronometer> m_chronometer;
    bool m_playing = false;
    bool m_starting = false;
    QTimer m_ticker;
    QPixmap m_overlay;
    QImage m_picture;
    std::vector<PlaybackWatcher *> m_watchers;
};

// The editor's playback, when it has one: the application sets it, the capture controller
// stops and starts it.
PLAYBACK_EXPORT void setCurrentPlayback(Player *player);
PLAYBACK_EXPORT Player *currentPlayback();

} // namespace Playback

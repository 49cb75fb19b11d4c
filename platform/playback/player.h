#pragma once

#include "playback_export.h"

#include "audio/clock.h"
#include "util/mtime.h"

#include <QImage>
#include <QObject>
#include <QPixmap>
#include <QTimer>

#include <QSize>

#include <memory>
#include <thread>
#include <vector>

namespace Timeline {
class ITimeline;
}

namespace Playback {

class TimelineFeed;

// Told when a playback starts and stops; main thread.
class PLAYBACK_EXPORT PlaybackWatcher {
public:
    virtual ~PlaybackWatcher();
    virtual void playbackStarted() { }
    virtual void playbackStopped() { }
};

// The editor's player of the project's timeline. The position runs from where play started by
// the chronometer; while it plays, the timeline's pictures are made by the export's own graph at
// the preview size on a worker thread and handed out as they fall due, and its sound goes to the
// default output (a clocked null output when there is none). Without a timeline it is the clock
// alone. It draws nothing itself; a PlayerWidget shows it. Main thread.
class PLAYBACK_EXPORT Player : public QObject {
    Q_OBJECT
public:
    // `duration` 0 plays until stopped.
    explicit Player(MTime duration = {},
                    const AudIO::IClock &clock = AudIO::steadyClock(),
                    QObject *parent = nullptr);
    ~Player() override;

    // What it plays; null: the clock alone, for `duration`. Not owned; it must outlive the
    // player or be replaced first. Stops a playback under way. Standing still, the picture is
    // the timeline's at the playhead once it was moved there (a seek; made on a thread of its
    // own, so that opening a project costs no decoding).
    void setTimeline(const Timeline::ITimeline *timeline);
    const Timeline::ITimeline *timeline() const { return m_timeline; }
    // The pictures' size (640x360 by default).
    void setPreviewSize(QSize size) { m_previewSize = size; }
    QSize previewSize() const { return m_previewSize; }
    // Where the sound goes: the default output (the null one when the machine has none), always
    // the null one (the same timing, no device opened), or nowhere.
    enum class Sound { DefaultOutput, NullOutput, None };
    void setSound(Sound sound) { m_sound = sound; }

    // Starts on a later turn of the event loop, once the first picture and sound are ready, as
    // an engine does; the watchers hear of it then.
    void play();
    void stop();
    bool isPlaying() const { return m_playing; }
    bool isStarting() const { return m_starting; }

    MTime position() const;
    void seek(MTime position);
    // The timeline's, when there is one.
    MTime duration() const;
    void setDuration(MTime duration) { m_duration = duration; }
    // Runs while playing; a recording reads it to sit where it was made on the timeline.
    const std::shared_ptr<AudIO::Chronometer> &chronometer() const { return m_chronometer; }

    // Of the playback under way or the last one: pictures shown, and pictures passed over
    // because a later one was due already (the picture could not keep up).
    int shownFrames() const;
    int droppedFrames() const;
    // Why the pictures or the sound stopped early (a file gone); empty while all is well.
    QString playbackError() const;

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
    void showDue();
    void startFeed(MTime from);
    void endFeed();
    void showStill();
    void endStill();

    MTime m_duration;
    std::shared_ptr<AudIO::Chronometer> m_chronometer;
    bool m_playing = false;
    bool m_starting = false;
    QTimer m_ticker;
    QPixmap m_overlay;
    QImage m_picture;
    std::vector<PlaybackWatcher *> m_watchers;
    const Timeline::ITimeline *m_timeline = nullptr;
    QSize m_previewSize { 640, 360 };
    Sound m_sound = Sound::DefaultOutput;
    std::unique_ptr<TimelineFeed> m_feed;
    QTimer m_frameTimer;
    int m_shownBefore = 0;
    int m_droppedBefore = 0;
    QString m_error;
    // The picture at a still playhead, made on a thread of its own; only the newest is shown.
    std::thread m_still;
    int m_stillRequest = 0;
};

} // namespace Playback

#include "playback/player.h"

#include "playback/timelinefeed.h"

#include "exportengine/picturestream.h"

#include "timeline/timeline.h"

#include <glog/logging.h>

#include <algorithm>

namespace Playback {

PlaybackWatcher::~PlaybackWatcher() = default;

Player::Player(MTime duration, const AudIO::IClock &clock, QObject *parent)
    : QObject(parent)
    , m_duration(duration)
    , m_chronometer(std::make_shared<AudIO::Chronometer>(clock))
{
    // 25 position updates a second: what a time display needs, and no more.
    m_ticker.setInterval(40);
    connect(&m_ticker, &QTimer::timeout, this, &Player::tick);
    // A picture is due every 33 ms; looking every 5 shows each within a few milliseconds.
    m_frameTimer.setInterval(5);
    m_frameTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_frameTimer, &QTimer::timeout, this, &Player::showDue);
}

Player::~Player()
{
    endFeed();
    endStill();
}

void Player::setTimeline(const Timeline::ITimeline *timeline)
{
    stop();
    m_timeline = timeline;
}

void Player::showStill()
{
    if (!m_timeline || m_playing || m_starting || position() >= duration())
        return;
    std::shared_ptr<Export::PictureStream> stream;
    try {
        stream = std::make_shared<Export::PictureStream>(*m_timeline, position(), m_previewSize);
    } catch (const std::exception &) {
        return; // told when it plays
    }
    endStill();
    const int request = ++m_stillRequest;
    m_still = std::thread([this, stream, request] {
        QImage picture;
        MTime at;
        try {
            if (!stream->next(picture, at))
                return;
        } catch (const std::exception &) {
            return;
        }
        QMetaObject::invokeMethod(
            this,
            [this, picture, request] {
                if (request == m_stillRequest && !m_playing)
                    setPicture(picture);
            },
            Qt::QueuedConnection);
    });
}

void Player::endStill()
{
    if (m_still.joinable())
        m_still.join();
}

MTime Player::duration() const
{
    return m_timeline ? m_timeline->duration() : m_duration;
}

void Player::play()
{
    if (m_playing || m_starting)
        return;
    // Play at the end starts over, as the editor's play button does.
    const MTime end = duration();
    if (end > MTime() && position() >= end) {
        m_chronometer->start(MTime());
        m_chronometer->stop();
    }
    m_starting = true;
    if (m_timeline && position() < end) {
        startFeed(position());
        if (m_feed) {
            m_frameTimer.start();
            return;
        }
    }
    QMetaObject::invokeMethod(this, &Player::begin, Qt::QueuedConnection);
}

void Player::startFeed(MTime from)
{
    endFeed();
    m_error.clear();
    try {
        m_feed = std::make_unique<TimelineFeed>(
            *m_timeline, from, m_previewSize,
            m_sound == Sound::NullOutput ? TimelineFeed::Sound::NullOutput
                : m_sound == Sound::None ? TimelineFeed::Sound::None
                                         : TimelineFeed::Sound::DefaultOutput,
            m_chronometer);
    } catch (const std::exception &e) {
        LOG(WARNING) << "The playback shows no pictures: " << e.what();
        m_error = QString::fromStdString(e.what());
    }
}

void Player::endFeed()
{
    m_frameTimer.stop();
    if (!m_feed)
        return;
    m_shownBefore = m_feed->shown();
    m_droppedBefore = m_feed->dropped();
    if (m_error.isEmpty())
        m_error = m_feed->error();
    m_feed.reset();
}

void Player::begin()
{
    if (!m_starting)
        return;
    m_starting = false;
    m_chronometer->start(position());
    m_playing = true;
    ++m_stillRequest;
    m_ticker.start();
    if (m_feed)
        m_feed->go();
    emit started();
    const auto watchers = m_watchers;
    for (PlaybackWatcher *watcher : watchers)
        watcher->playbackStarted();
}

void Player::showDue()
{
    if (!m_feed)
        return;
    if (m_starting) {
        // Started once the first picture and sound are there, so neither starts late.
        if (m_feed->isReady())
            begin();
        return;
    }
    QImage picture;
    if (m_feed->takeDue(position(), picture))
        setPicture(picture);
}

void Player::stop()
{
    const bool wasPlaying = m_playing;
    m_starting = false;
    endFeed();
    if (!wasPlaying)
        return;
    m_chronometer->stop();
    m_playing = false;
    m_ticker.stop();
    emit stopped();
    const auto watchers = m_watchers;
    for (PlaybackWatcher *watcher : watchers)
        watcher->playbackStopped();
}

MTime Player::position() const
{
    return m_chronometer->position();
}

void Player::seek(MTime position)
{
    const bool running = m_chronometer->isRunning();
    m_chronometer->start(position);
    if (!running)
        m_chronometer->stop();
    if (!running && !m_starting)
        showStill();
    else if (m_timeline && position < duration()) {
        // The pictures and sound made ahead are for the old place.
        startFeed(position);
        if (m_feed) {
            if (running)
                m_feed->go();
            m_frameTimer.start();
        } else if (m_starting) {
            QMetaObject::invokeMethod(this, &Player::begin, Qt::QueuedConnection);
        }
    }
    emit positionChanged();
}

void Player::tick()
{
    emit positionChanged();
    const MTime end = duration();
    if (end > MTime() && position() >= end)
        stop();
}

int Player::shownFrames() const
{
    return m_feed ? m_feed->shown() : m_shownBefore;
}

int Player::droppedFrames() const
{
    return m_feed ? m_feed->dropped() : m_droppedBefore;
}

QString Player::playbackError() const
{
    if (m_feed && m_error.isEmpty())
        return m_feed->error();
    return m_error;
}

void Player::addWatcher(PlaybackWatcher *watcher)
{
    m_watchers.push_back(watcher);
}

void Player::removeWatcher(PlaybackWatcher *watcher)
{
    m_watchers.erase(std::remove(m_watchers.begin(), m_watchers.end(), watcher), m_watchers.end());
}

void Player::setOverlayPixmap(const QPixmap &pixmap)
{
    m_overlay = pixmap;
    emit overlayChanged();
}

void Player::setPicture(const QImage &picture)
{
    m_picture = picture;
    emit pictureChanged();
}

} // namespace Playback

#include "playback/player.h"

#include <algorithm>

namespace Playback {

PlaybackWatcher::~PlaybackWatcher() = default;

namespace {
Player *current = nullptr;
}

Player::Player(MTime duration, const AudIO::IClock &clock, QObject *parent)
    : QObject(parent)
    , m_duration(duration)
    , m_chronometer(std::make_shared<AudIO::Chronometer>(clock))
{
    // 25 position updates a second: what a time display needs, and no more.
    m_ticker.setInterval(40);
    connect(&m_ticker, &QTimer::timeout, this, &Player::tick);
}

Player::~Player()
{
    if (current == this)
        current = nullptr;
}

void Player::play()
{
    if (m_playing || m_starting)
        return;
    m_starting = true;
    QMetaObject::invokeMethod(this, &Player::begin, Qt::QueuedConnection);
}

void Player::begin()
{
    if (!m_starting)
        return;
    m_starting = false;
    // Play at the end starts over, as the editor's play button does.
    const MTime from = m_duration > MTime() && position() >= m_duration ? MTime() : position();
    m_chronometer->start(from);
    m_playing = true;
    m_ticker.start();
    emit started();
    const auto watchers = m_watchers;
    for (PlaybackWatcher *watcher : watchers)
        watcher->playbackStarted();
}

void Player::stop()
{
    const bool wasPlaying = m_playing;
    m_starting = false;
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
    emit positionChanged();
}

void Player::tick()
{
    emit positionChanged();
    if (m_duration > MTime() && position() >= m_duration)
        stop();
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

void setCurrentPlayback(Player *player)
{
    current = player;
}

Player *currentPlayback()
{
    return current;
}

} // namespace Playback

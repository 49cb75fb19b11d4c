#pragma once

#include "playback_export.h"

#include <QFont>
#include <QWidget>

namespace Playback {

class Player;

// The picture a player lays over its video, drawn on top of everything and transparent to the
// mouse; it follows the player's overlay pixmap.
class PLAYBACK_EXPORT CountdownOverlay : public QWidget {
    Q_OBJECT
public:
    CountdownOverlay(Player &player, QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Player &m_player;
};

// The player's screen: the timeline's current picture scaled into the widget as it is, with black
// bars where the shapes differ (all black before the first picture), and the overlay above it.
class PLAYBACK_EXPORT PlayerWidget : public QWidget {
    Q_OBJECT
public:
    explicit PlayerWidget(Player &player, QWidget *parent = nullptr);
    CountdownOverlay &overlay() const { return *m_overlay; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    Player &m_player;
    CountdownOverlay *m_overlay;
};

} // namespace Playback

namespace Settings {
// The digits of the voice-over countdown over the player.
PLAYBACK_EXPORT QFont audioCaptureCountdownFont();
} // namespace Settings

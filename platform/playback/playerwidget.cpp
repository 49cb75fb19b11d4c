#include "playback/playerwidget.h"

#include "playback/player.h"

#include <QPainter>

namespace Playback {

CountdownOverlay::CountdownOverlay(Player &player, QWidget *parent)
    : QWidget(parent)
    , m_player(player)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    connect(&player, &Player::overlayChanged, this, qOverload<>(&QWidget::update));
}

void CountdownOverlay::paintEvent(QPaintEvent *)
{
    const QPixmap &pixmap = m_player.overlayPixmap();
    if (pixmap.isNull())
        return;
    QPainter painter(this);
    const QSize size
        = pixmap.size().scaled(this->size(), Qt::KeepAspectRatio).boundedTo(pixmap.size());
    const QRect target(QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), size);
    painter.drawPixmap(target, pixmap);
}

PlayerWidget::PlayerWidget(Player &player, QWidget *parent)
    : QWidget(parent)
    , m_player(player)
    , m_overlay(new CountdownOverlay(player, this))
{
    setMinimumSize(320, 180);
    connect(&player, &Player::positionChanged, this, qOverload<>(&QWidget::update));
}

void PlayerWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.fillRect(rect(), Qt::black);
    painter.setPen(QColor(128, 128, 128));
    painter.drawText(rect().adjusted(8, 8, -8, -8), Qt::AlignBottom | Qt::AlignLeft,
                     m_player.position().toClockString());
}

void PlayerWidget::resizeEvent(QResizeEvent *)
{
    m_overlay->setGeometry(rect());
}

} // namespace Playback

namespace Settings {

QFont audioCaptureCountdownFont()
{
    QFont font;
    font.setPixelSize(96);
    font.setBold(true);
    return font;
}

} // namespace Settings

#include "playback/playerwidget.h"

#include "playback/player.h"

#include <QPainter>
#include <QRegion>

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
    // Every pixel is painted below, so Qt need not clear the background before each frame.
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(&player, &Player::pictureChanged, this, qOverload<>(&QWidget::update));
}

void PlayerWidget::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QImage &picture = m_player.picture();
    if (picture.isNull() || picture.width() <= 0 || picture.height() <= 0) {
        painter.fillRect(rect(), Qt::black);
        return;
    }
    const QSize size = picture.size().scaled(this->size(), Qt::KeepAspectRatio);
    const QRect target(QPoint((width() - size.width()) / 2, (height() - size.height()) / 2), size);
    // Only the bars are filled: the picture covers the rest, 30 times a second.
    const QRegion bars = QRegion(rect()).subtracted(target);
    for (const QRect &bar : bars)
        painter.fillRect(bar, Qt::black);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, picture);
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

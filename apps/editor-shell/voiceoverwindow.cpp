#include "voiceoverwindow.h"

#include "levelmeter.h"

#include "audio/audiodevicemanager.h"
#include "playback/player.h"
#include "playback/playerwidget.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <array>

namespace Shell {

namespace {

// The clip mark sits right of the bar, apart from it, so a loud take's full bar never hides it.
constexpr int clipMarkWidth = 14;
constexpr int clipMarkGap = 4;
constexpr std::array<double, 7> scaleTicksDb { -60, -40, -20, -12, -6, -3, 0 };

int barLength(int width)
{
    return std::max(0, width - clipMarkWidth - clipMarkGap);
}

// The meter's bar: green to -12 dB, yellow to -3 dB, red above, the held peak as a white line and
// the clip mark lit after a sample at full scale.
class LevelBar final : public QWidget {
public:
    explicit LevelBar(const LevelMeter &meter, QWidget *parent)
        : QWidget(parent)
        , m_meter(meter)
    {
        setObjectName(QStringLiteral("levelBar"));
        setFixedHeight(16);
        setAttribute(Qt::WA_OpaquePaintEvent);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.fillRect(rect(), palette().window());
        const int length = barLength(width());
        const int h = height();
        p.fillRect(0, 0, length, h, QColor(30, 30, 30));
        const int level = LevelMeter::cells(m_meter.levelDb(), length);
        const int loud = LevelMeter::cells(-12.0, length);
        const int hot = LevelMeter::cells(-3.0, length);
        p.fillRect(0, 0, std::min(level, loud), h, QColor(40, 200, 60));
        if (level > loud)
            p.fillRect(loud, 0, std::min(level, hot) - loud, h, QColor(230, 200, 40));
        if (level > hot)
            p.fillRect(hot, 0, level - hot, h, QColor(230, 70, 40));
        const int hold = LevelMeter::cells(m_meter.holdDb(), length);
        if (hold > 0)
            p.fillRect(std::max(0, hold - 2), 0, 2, h, Qt::white);
        p.fillRect(length + clipMarkGap, 0, clipMarkWidth, h,
                   m_meter.clipping() ? QColor(240, 30, 30) : QColor(70, 25, 25));
    }

private:
    const LevelMeter &m_meter;
};

// The dB figures under the bar, placed by the same mapping as the bar itself.
class LevelScale final : public QWidget {
public:
    explicit LevelScale(QWidget *parent)
        : QWidget(parent)
    {
        QFont small = font();
        if (small.pointSizeF() > 0)
            small.setPointSizeF(small.pointSizeF() * 0.8);
        else
            small.setPixelSize(std::max(8, small.pixelSize() * 4 / 5));
        setFont(small);
        setFixedHeight(fontMetrics().height() + tickLength + 1);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.setPen(palette().color(QPalette::WindowText));
        const int length = barLength(width());
        const QFontMetrics metrics = fontMetrics();
        for (const double db : scaleTicksDb) {
            const int x = std::min(LevelMeter::cells(db, length), length - 1);
            p.drawLine(x, 0, x, tickLength - 1);
            const QString text = QString::number(db);
            const int textWidth = metrics.horizontalAdvance(text);
            const int left = std::clamp(x - textWidth / 2, 0, std::max(0, width() - textWidth));
            p.drawText(left, tickLength + metrics.ascent(), text);
        }
    }

private:
    static constexpr int tickLength = 4;
};

QLabel *clockLabel(QWidget *parent)
{
    auto *label = new QLabel(MTime().toClockString(), parent);
    // Fixed-width digits, so a running time does not make its neighbours dance.
    label->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    return label;
}

} // namespace

// The manager tells of a new list on its own thread; the window takes it on the main thread.
class VoiceOverWindow::DeviceFollower final : public AudIO::IAudioDevicesObserver {
public:
    DeviceFollower(VoiceOverWindow &window, AudIO::AudioDeviceManager &manager)
        : m_window(window)
        , m_manager(manager)
    {
        manager.AddObserver(this);
    }
    // Once this returns no call is running, and what one posted goes with the window.
    ~DeviceFollower() override { m_manager.RemoveObserver(this); }

    void OnAudioDevicesChanged(const std::vector<AudIO::AudioDeviceInfo> &devices) override
    {
        VoiceOverWindow *window = &m_window;
        QMetaObject::invokeMethod(
            window,
            [window, devices] {
                window->setDevices(devices, window->m_devices->currentData().toString());
            },
            Qt::QueuedConnection);
    }

private:
    VoiceOverWindow &m_window;
    AudIO::AudioDeviceManager &m_manager;
};

VoiceOverWindow::VoiceOverWindow(Playback::Player &player, const LevelMeter &meter, QWidget *parent)
    : QWidget(parent)
    , m_player(player)
    , m_meterBar(new LevelBar(meter, this))
    , m_recorded(clockLabel(this))
    , m_playhead(clockLabel(this))
    , m_devices(new QComboBox(this))
    , m_stop(new QPushButton(tr("Stop"), this))
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(new Playback::PlayerWidget(player, this), 1);
    auto *meterLayout = new QVBoxLayout;
    meterLayout->setSpacing(2);
    meterLayout->addWidget(m_meterBar);
    meterLayout->addWidget(new LevelScale(this));
    layout->addLayout(meterLayout);

    auto *controls = new QHBoxLayout;
    controls->addWidget(new QLabel(tr("Recorded"), this));
    controls->addWidget(m_recorded);
    controls->addSpacing(16);
    controls->addWidget(new QLabel(tr("Playhead"), this));
    controls->addWidget(m_playhead);
    controls->addStretch(1);
    controls->addWidget(new QLabel(tr("Input"), this));
    controls->addWidget(m_devices);
    controls->addWidget(m_stop);
    layout->addLayout(controls);

    m_meterBar->setToolTip(tr("The input's level in dBFS, with the highest peak of the last three "
                              "seconds and a mark that lights when a sample reaches full scale"));
    m_recorded->setToolTip(tr("How much the take holds"));
    m_playhead->setToolTip(tr("Where the timeline is playing"));
    m_stop->setToolTip(tr("Stop and save the take (as Ctrl+C does)"));
    m_devices->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    setRecording(false);

    connect(m_stop, &QPushButton::clicked, this, &VoiceOverWindow::requestStop);
    connect(m_devices, qOverload<int>(&QComboBox::activated), this,
            [this](int index) { emit deviceChosen(m_devices->itemData(index).toString()); });
    connect(&player, &Playback::Player::positionChanged, this, &VoiceOverWindow::showPlayhead);
    connect(&player, &Playback::Player::started, this, &VoiceOverWindow::showPlayhead);
    connect(&player, &Playback::Player::stopped, this, &VoiceOverWindow::showPlayhead);
    showPlayhead();
}

VoiceOverWindow::~VoiceOverWindow() = default;

void VoiceOverWindow::setDevices(const std::vector<AudIO::AudioDeviceInfo> &devices,
                                 const QString &current)
{
    const QSignalBlocker quiet(m_devices);
    m_devices->clear();
    for (const AudIO::AudioDeviceInfo &device : devices)
        m_devices->addItem(QString::fromStdString(device.Name()),
                           QString::fromStdString(device.Uid()));
    if (m_devices->findData(current) < 0)
        m_devices->addItem(current, current);
    m_devices->setCurrentIndex(m_devices->findData(current));
}

void VoiceOverWindow::followDevices(AudIO::AudioDeviceManager &manager)
{
    m_follower = std::make_unique<DeviceFollower>(*this, manager);
}

void VoiceOverWindow::setRecording(bool recording)
{
    m_devices->setEnabled(!recording);
    m_devices->setToolTip(recording ? tr("The input cannot change while recording: a take is made "
                                         "from one device. Stop, then record again with another.")
                                    : tr("The input to record from; another one chosen now is used "
                                         "for this take"));
}

void VoiceOverWindow::showProgress(MTime recorded)
{
    m_recorded->setText(recorded.toClockString());
    m_meterBar->update();
}

void VoiceOverWindow::closeEvent(QCloseEvent *event)
{
    // The window stays until the take is saved; the run ends then, and the window with it.
    event->ignore();
    requestStop();
}

void VoiceOverWindow::requestStop()
{
    m_stop->setEnabled(false);
    m_devices->setEnabled(false);
    emit stopRequested();
}

void VoiceOverWindow::showPlayhead()
{
    m_playhead->setText(m_player.position().toClockString());
}

} // namespace Shell

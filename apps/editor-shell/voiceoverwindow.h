#pragma once

#include "audio/audiodeviceinfo.h"
#include "util/mtime.h"

#include <QWidget>

#include <memory>
#include <vector>

class QComboBox;
class QLabel;
class QPushButton;

namespace AudIO {
class AudioDeviceManager;
}

namespace Playback {
class Player;
}

namespace Shell {

class LevelMeter;

// The window of `record --window`: the playing timeline with the countdown over it, the level
// meter on a dB scale, the time recorded and the playhead, the input and a Stop button. It only
// shows and asks; the recording session owns the take and answers its signals. Reads the player
// and the meter it is given, which outlive it. Main thread.
class VoiceOverWindow final : public QWidget {
    Q_OBJECT
public:
    VoiceOverWindow(Playback::Player &player, const LevelMeter &meter, QWidget *parent = nullptr);
    ~VoiceOverWindow() override;

    // The inputs offered, `current` chosen; one not in the list (a virtual input named on the
    // command line) is offered too, so the choice shows what is recorded.
    void setDevices(const std::vector<AudIO::AudioDeviceInfo> &devices, const QString &current);
    // Offers the inputs as `manager` lists them from now on, as they are plugged and pulled; the
    // choice stays. `manager` outlives the window.
    void followDevices(AudIO::AudioDeviceManager &manager);
    // From the first sample on the input stays as it is: a take is made from one device.
    void setRecording(bool recording);
    // The take holds `recorded`; the meter has a new reading.
    void showProgress(MTime recorded);

signals:
    // Stop and save, as Ctrl+C does; closing the window asks the same.
    void stopRequested();
    // The user picked another input before the take began.
    void deviceChosen(const QString &uid);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    class DeviceFollower;

    void requestStop();
    void showPlayhead();

    Playback::Player &m_player;
    QWidget *m_meterBar;
    QLabel *m_recorded;
    QLabel *m_playhead;
    QComboBox *m_devices;
    QPushButton *m_stop;
    std::unique_ptr<DeviceFollower> m_follower;
};

} // namespace Shell

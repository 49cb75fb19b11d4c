#pragma once

#include "downloader/clock.h"

namespace TestSupport {

// A downloader clock that moves only when the test says, so a Retry-After or a deadline of
// minutes is passed in one call. The timers due fire on the next pass of the event loop, as real
// ones do (not inside the test's call).
class ManualClock final : public Downloader::Clock {
public:
    std::int64_t nowMs() const override { return m_now; }
    QDateTime utcNow() const override { return m_start.addMSecs(m_now); }
    bool isManual() const override { return true; }

    void advance(std::int64_t ms)
    {
        m_now += ms;
        QMetaObject::invokeMethod(
            this, [this] { emit moved(); }, Qt::QueuedConnection);
    }

private:
    std::int64_t m_now = 0;
    QDateTime m_start = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
};

} // namespace TestSupport

#include "Statistics/playerstatistics.h"

namespace Statistics {

IPlayerStatistics::~IPlayerStatistics() = default;

PlayerStatistics::PlayerStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

void PlayerStatistics::fullscreenChanged(bool on)
{
    m_tracker->sendEvent(on ? "FULLSCREEN_ON" : "FULLSCREEN_OFF", {});
}

void PlayerStatistics::highQualityChanged(bool on)
{
    m_tracker->sendEvent(on ? "HIGHQUALITY_PREVIEW_ON" : "HIGHQUALITY_PREVIEW_OFF", {});
}

} // namespace Statistics

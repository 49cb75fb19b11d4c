#pragma once

#include "applogicexport.h"

#include "timeline/clip.h"
#include "tracking/generalvanteltracker.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

#include <cstdint>
#include <set>

// What the user changes in the properties of the selected clips: opacity, speed, volume, fades,
// blending, applied effects and their settings. Stateless; sends straight to the tracker.
namespace Statistics {

using BlendingMode = Timeline::BlendingMode;
enum class FadeType : int { FadeIn = 0, FadeOut = 1 };
using ClipSelection = std::set<const Timeline::IClip *>;

// "OVERLAY" ... "EXCLUSION"; "UNKNOWN" outside.
APPLOGIC_EXPORT const char *blendingModeText(BlendingMode mode);
// What a clip is, as the blending report names it: its title's subtype, "IMAGE", "SPECIAL_FX",
// "VIDEO", "INTRO", "AUDIO", "INTRO_AUDIO" or "UNKNOWN".
APPLOGIC_EXPORT const char *mediaTypeText(const Timeline::IClip &clip);

class APPLOGIC_EXPORT IClipPropertiesStatistics {
public:
    virtual ~IClipPropertiesStatistics();
    virtual void opacityChanged(std::uint64_t selectionCount, int opacity) = 0;
    virtual void speedChanged(std::uint64_t selectionCount, int speed) = 0;
    virtual void speedChangeRebound(int targetSpeed, int actualSpeed) = 0;
    virtual void volumeChanged(std::uint64_t selectionCount) = 0;
    virtual void adjustmentsDisabled(const QString &effectName, std::uint64_t selectionCount) = 0;
    virtual void adjustmentsRemoved(const QString &effectName, std::uint64_t selectionCount) = 0;
    virtual void adjustmentsShow(std::uint64_t effectCount, const ClipSelection &selected) = 0;
    virtual void effectSettingsChanged(const QString &effectName,
                                       const QString &uniqueId,
                                       const QString &parameters,
                                       std::uint64_t selectionCount)
        = 0;
    virtual void fadeUsed(FadeType type, std::uint64_t selectionCount) = 0;
    virtual void overlayEffectBlendingModeChanged(BlendingMode mode) = 0;
    virtual void clipBlendingModeChanged(BlendingMode mode, const ClipSelection &selected) = 0;
};

class APPLOGIC_EXPORT ClipPropertiesStatistics : public IClipPropertiesStatistics {
public:
    explicit ClipPropertiesStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    void opacityChanged(std::uint64_t selectionCount, int opacity) override;
    void speedChanged(std::uint64_t selectionCount, int speed) override;
    void speedChangeRebound(int targetSpeed, int actualSpeed) override;
    void volumeChanged(std::uint64_t selectionCount) override;
    void adjustmentsDisabled(const QString &effectName, std::uint64_t selectionCount) override;
    void adjustmentsRemoved(const QString &effectName, std::uint64_t selectionCount) override;
    void adjustmentsShow(std::uint64_t effectCount, const ClipSelection &selected) override;
    void effectSettingsChanged(const QString &effectName,
                               const QString &uniqueId,
                               const QString &parameters,
                               std::uint64_t selectionCount) override;
    // A type other than the two fades sends nothing.
    void fadeUsed(FadeType type, std::uint64_t selectionCount) override;
    void overlayEffectBlendingModeChanged(BlendingMode mode) override;
    void clipBlendingModeChanged(BlendingMode mode, const ClipSelection &selected) override;

private:
    void adjustmentsChanged(const char *event, const QString &effectName, std::uint64_t count);

    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics

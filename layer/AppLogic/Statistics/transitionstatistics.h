#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"
#include "util/mtime.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

// Changes to transitions and the wizards that apply transitions, clip lengths or pan-and-zoom to
// many clips at once. Stateless; sends straight to the tracker.
namespace Statistics {

// The wizards that apply a transition, a clip length or pan-and-zoom to many clips at once.
enum class WizardType : int { Transition = 0, ClipDuration = 1, PanZoom = 2 };
// The event of a wizard; null for a type no wizard has.
APPLOGIC_EXPORT const char *wizardEvent(WizardType type);
// The clock text of a wizard's duration ("mm:ss.zzz"); empty when the time has no clock form.
APPLOGIC_EXPORT QString wizardDurationText(MTime duration);

class APPLOGIC_EXPORT ITransitionStatistics {
public:
    virtual ~ITransitionStatistics();
    virtual void propertiesChanged() = 0;
    virtual void wizardApplied(WizardType type, const QString &name, MTime duration, bool allClips)
        = 0;
};

class APPLOGIC_EXPORT TransitionStatistics : public ITransitionStatistics {
public:
    explicit TransitionStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    void propertiesChanged() override;
    // A type outside the three sends nothing.
    void
    wizardApplied(WizardType type, const QString &name, MTime duration, bool allClips) override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics

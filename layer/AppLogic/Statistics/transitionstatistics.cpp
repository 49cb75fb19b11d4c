#include "Statistics/transitionstatistics.h"

#include "Statistics/eventparams.h"

namespace Statistics {

namespace {

const char *const wizardEvents[] = {
    "TRANSITION_WIZARD_APPLIED",
    "CLIP_DURATION_WIZARD_APPLIED",
    "PANZOOM_WIZARD_APPLIED",
};

// The application's clock format for short durations.
const QString durationFormat = QStringLiteral("mm:ss.zzz");

} // namespace

const char *wizardEvent(WizardType type)
{
    return wordOf(wizardEvents, static_cast<long long>(type), nullptr);
}

QString wizardDurationText(MTime duration)
{
    const QTime time = duration.toQTime();
    return time.isNull() ? QString() : time.toString(durationFormat);
}

ITransitionStatistics::~ITransitionStatistics() = default;

TransitionStatistics::TransitionStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

void TransitionStatistics::propertiesChanged()
{
    m_tracker->sendEvent("TRANSITIONS_CHANGED", {});
}

void TransitionStatistics::wizardApplied(WizardType type,
                                         const QString &name,
                                         MTime duration,
                                         bool allClips)
{
    const char *event = wizardEvent(type);
    if (!event)
        return;
    Params params;
    if (!name.isEmpty())
        params["TRANSITION_NAME"] = utf8(name);
    const QString clock = wizardDurationText(duration);
    if (!clock.isEmpty())
        params["DURATION"] = utf8(clock);
    params["METHOD"] = allClips ? "all" : "selected";
    m_tracker->sendEvent(event, std::move(params));
}

} // namespace Statistics

#pragma once

#include "applogicexport.h"

#include "Messages/collection.h"
#include "Statistics/environment.h"
#include "Statistics/eventparams.h"
#include "Statistics/timelinepicker.h"

#include "export/exportstate.h"
#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"

#include <QSize>

#include <boost/intrusive_ptr.hpp>
#include <boost/rational.hpp>

#include <mutex>

namespace Timeline {
class ITimeline;
}

// Usage events on the way to a finished video: the export click with a census of the project,
// the export's start, end and failure as the engine reports them, and the settings dialogs.
// Watches the export state (engine thread) and the collection's store items (bus); the census
// runs on the interface thread.
namespace Statistics {

class MotionTrackingStatistics;

// "draft", "good", "high", "custom"; empty outside.
APPLOGIC_EXPORT const char *exportQualityText(Export::Quality quality);
// Empty for mode 0 and outside, else "CBR_AUTO", "CBR", "VBR".
APPLOGIC_EXPORT const char *bitrateModeText(Export::BitrateMode mode);
APPLOGIC_EXPORT const char *encodingSpeedText(Export::EncodingSpeed speed);
APPLOGIC_EXPORT const char *encodingTuneText(Export::EncodingTune tune);
// The sharing service of a preset's tag; "UNKNOWN" for every other tag.
APPLOGIC_EXPORT const char *sharingText(const QString &tag);
// The preset block of "EXPORT_STARTED" and "EXPORT_FAILED".
APPLOGIC_EXPORT void addExportPresetInfo(const Export::ExportState &state, Params &params);

class APPLOGIC_EXPORT IExportStatistics {
public:
    virtual ~IExportStatistics();
    virtual void exportClicked(const Timeline::ITimeline *timeline,
                               const Export::ExportRange &range,
                               bool magnetEnabled)
        = 0;
    virtual void codecSettingsApplied(bool twoPassChanged, bool speedChanged, bool tuneChanged) = 0;
    virtual void
    exportAdvancedApplied(bool videoCodecChanged, bool resolutionChanged, bool bitrateChanged)
        = 0;
    virtual void exportSettingsAlertShown(const QSize &resolution,
                                          const boost::rational<std::int64_t> &frameRate)
        = 0;
};

class APPLOGIC_EXPORT ExportStatistics
    : public IExportStatistics
    , public Export::ExportStateWatcher
    , public PubSub::Subscriber<EditorCollection::RegisterItemNotification,
                                EditorCollection::UnregisterItemNotification> {
public:
    // With `watchExports` false the engine's state changes are not reported (a second reporter
    // for a census alone, as the benchmarks make).
    ExportStatistics(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker,
                     MotionTrackingStatistics *motionTracking,
                     const Environment &environment = {},
                     bool watchExports = true);
    ~ExportStatistics() override;

    void exportClicked(const Timeline::ITimeline *timeline,
                       const Export::ExportRange &range,
                       bool magnetEnabled) override;
    void codecSettingsApplied(bool twoPassChanged, bool speedChanged, bool tuneChanged) override;
    void exportAdvancedApplied(bool videoCodecChanged,
                               bool resolutionChanged,
                               bool bitrateChanged) override;
    void exportSettingsAlertShown(const QSize &resolution,
                                  const boost::rational<std::int64_t> &frameRate) override;

    void exportStarted(const Export::ExportState &state) override;
    void exportFinished(const Export::ExportState &state) override;
    void exportCancelled(const Export::ExportState &state) override;
    void exportFailed(const Export::ExportState &state,
                      const Export::ExportErrorDesc &error) override;

    void notify(const EditorCollection::RegisterItemNotification &n) override;
    void notify(const EditorCollection::UnregisterItemNotification &n) override;

    // The parameters "EXPORT_CLICKED" would carry, without sending it.
    Params census(const Timeline::ITimeline *timeline,
                  const Export::ExportRange &range,
                  bool magnetEnabled);

private:
    void handleExportFinished(const Export::ExportState &state, bool aborted);
    void send(const char *event, Params params) const;

    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    MotionTrackingStatistics *m_motionTracking;
    Environment m_environment;
    bool m_watchExports;
    // Filled from the bus, read by a census: the lock keeps a notification from another thread
    // out while a census walks with the registry.
    std::mutex m_registryMutex;
    StoreItemRegistry m_registry;
    Pickers m_pickers; // alive during one census only
};

} // namespace Statistics

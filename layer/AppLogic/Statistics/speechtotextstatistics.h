#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"
#include "util/mtime.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

// Usage events of subtitle generation from speech. Stateless; sends straight to the tracker.
namespace Statistics {

class APPLOGIC_EXPORT ISpeechToTextStatistics {
public:
    struct ResultInfo {
        int result = 0; // 1 error, 2 success, 5 cancelled
        int error = 0; // 0 none, 1 corrupt file, 2 no speech, 3 model failed to start
        MTime processingTime;
        int subtitlesCount = 0;
        int sourceClipsCount = 0;
        MTime sourceClipsLength;
        QString language;
        int lines = 0;
        QString modelVersion;
    };

    virtual ~ISpeechToTextStatistics();
    virtual void started() = 0;
    virtual void finished(const ResultInfo &info) = 0;
};

// "ERROR", "SUCCESS", "CANCELLED"; "Invalid" for every other value.
APPLOGIC_EXPORT const char *speechToTextResultText(int result);
// "CORRUPT_FILE", "NO_SPEECH_RECOGNIZED", "MODEL_INIT_ERROR"; "Invalid" for any other non-zero
// value. Error 0 is no error and is never sent, so its word "NO_ERROR" never appears.
APPLOGIC_EXPORT const char *speechToTextErrorText(int error);

class APPLOGIC_EXPORT SpeechToTextStatistics : public ISpeechToTextStatistics {
public:
    explicit SpeechToTextStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    void started() override;
    void finished(const ResultInfo &info) override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics

#include "Statistics/speechtotextstatistics.h"

#include "Statistics/eventparams.h"

namespace Statistics {

namespace {

// Indexed by value; the null entries are values that have no word of their own.
const char *const resultTexts[] = { nullptr, "ERROR", "SUCCESS", nullptr, nullptr, "CANCELLED" };
const char *const errorTexts[]
    = { "NO_ERROR", "CORRUPT_FILE", "NO_SPEECH_RECOGNIZED", "MODEL_INIT_ERROR" };

} // namespace

const char *speechToTextResultText(int result)
{
    return wordOf(resultTexts, result, "Invalid");
}

const char *speechToTextErrorText(int error)
{
    return wordOf(errorTexts, error, "Invalid");
}

ISpeechToTextStatistics::~ISpeechToTextStatistics() = default;

SpeechToTextStatistics::SpeechToTextStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

void SpeechToTextStatistics::started()
{
    m_tracker->sendEvent("STT_GEN_STARTED", {});
}

void SpeechToTextStatistics::finished(const ResultInfo &info)
{
    Params params;
    params["RESULT"] = speechToTextResultText(info.result);
    if (info.error != 0)
        params["ERROR_MESSAGE"] = speechToTextErrorText(info.error);
    params["PROCESSING_TIME"] = seconds(info.processingTime);
    params["OUTPUT_SUBTITLES_COUNT"] = decimal(info.subtitlesCount);
    params["SOURCE_CLIPS_COUNT"] = decimal(info.sourceClipsCount);
    // Spelled so since the first release; the reports are read by this key.
    params["SOURCE_CLIPS_LENGHT_SEC"] = seconds(info.sourceClipsLength);
    params["SETTINGS_LANGUAGE"] = utf8(info.language);
    params["SETTINGS_LINES"] = decimal(info.lines);
    params["MODEL_VERSION"] = utf8(info.modelVersion);
    m_tracker->sendEvent("STT_GEN_RESULT", std::move(params));
}

} // namespace Statistics

#include "Statistics/aistatistics.h"

#include "Statistics/eventparams.h"

namespace Statistics {

namespace {
const char *const reasonTexts[] = { "first", "retry", "update" };
} // namespace

const char *aiModelDownloadReasonText(AiModelDownloadReason reason)
{
    return wordOf(reasonTexts, static_cast<long long>(reason), "unknown");
}

AiStatistics::AiStatistics(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

AiStatistics::~AiStatistics() = default;

void AiStatistics::sendTagged(const char *event, const QString &tag)
{
    m_tracker->sendEvent(event, { { "TAG", utf8(tag) } });
}

void AiStatistics::aiApplyingException(const QString &tag, const QString &message)
{
    m_tracker->sendEvent("AI_APPLYING_EXCEPTION",
                         { { "TAG", utf8(tag) }, { "MESSAGE", utf8(message) } });
}

void AiStatistics::aiModelDownloadClicked(const QString &tag)
{
    sendTagged("AI_DOWNLOAD_CLICKED", tag);
}

void AiStatistics::aiModelDownloadErrorShown(const QString &tag)
{
    sendTagged("AI_ALERT_SHOW", tag);
}

void AiStatistics::aiModelDownloadErrorClosed(const QString &tag)
{
    sendTagged("AI_ALERT_CLOSED", tag);
}

void AiStatistics::aiModelDownloadStarted(const QString &tag, AiModelDownloadReason reason)
{
    m_tracker->sendEvent("AI_DOWNLOAD_STARTED",
                         { { "TAG", utf8(tag) }, { "REASON", aiModelDownloadReasonText(reason) } });
}

void AiStatistics::aiModelDownloadFinished(const QString &tag,
                                           AiModelDownloadReason reason,
                                           bool success,
                                           MTime duration)
{
    m_tracker->sendEvent("AI_DOWNLOAD_FINISHED",
                         { { "TAG", utf8(tag) },
                           { "REASON", aiModelDownloadReasonText(reason) },
                           { "SUCCESS", flag(success) },
                           { "TIME_SEC", seconds(duration) } });
}

} // namespace Statistics

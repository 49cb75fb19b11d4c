#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"
#include "util/mtime.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

// Usage events of AI model downloads and of failures while an AI effect is applied.
// Stateless; sends straight to the tracker.
namespace Statistics {

enum class AiModelDownloadReason : int { First = 0, Retry = 1, Update = 2 };
// "first", "retry", "update"; "unknown" outside.
APPLOGIC_EXPORT const char *aiModelDownloadReasonText(AiModelDownloadReason reason);

class APPLOGIC_EXPORT AiStatistics {
public:
    explicit AiStatistics(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    virtual ~AiStatistics();

    void aiApplyingException(const QString &tag, const QString &message);
    void aiModelDownloadClicked(const QString &tag);
    void aiModelDownloadErrorShown(const QString &tag);
    void aiModelDownloadErrorClosed(const QString &tag);
    void aiModelDownloadStarted(const QString &tag, AiModelDownloadReason reason);
    void aiModelDownloadFinished(const QString &tag,
                                 AiModelDownloadReason reason,
                                 bool success,
                                 MTime duration);

private:
    void sendTagged(const char *event, const QString &tag);

    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics

#include "statisticsrequest.h"

#include <cmath>

namespace Shell {

std::variant<StatisticsRequest, QString>
parseStatisticsRequest(const QStringList &arguments, bool json, const std::optional<QString> &wait)
{
    StatisticsRequest request;
    request.json = json;
    const QString verb = arguments.value(0);
    const qsizetype count = arguments.size();
    if ((verb == QLatin1String("on") || verb == QLatin1String("off")) && count == 1) {
        request.action = verb == QLatin1String("on") ? StatisticsRequest::Action::On
                                                     : StatisticsRequest::Action::Off;
    } else if (verb == QLatin1String("upload") && count == 2) {
        request.collector = arguments[1];
        request.action = request.collector == QLatin1String("off")
            ? StatisticsRequest::Action::UploadOff
            : StatisticsRequest::Action::Upload;
    } else if (verb == QLatin1String("flush") && count == 1) {
        request.action = StatisticsRequest::Action::Flush;
    } else {
        return QStringLiteral("expected on, off, upload URL, upload off or flush");
    }
    if (json && request.action != StatisticsRequest::Action::Flush)
        return QStringLiteral("--json goes with flush only");
    if (wait) {
        if (request.action != StatisticsRequest::Action::Flush)
            return QStringLiteral("--wait goes with flush only");
        bool ok = false;
        const double seconds = wait->toDouble(&ok);
        if (!ok || !std::isfinite(seconds) || seconds < 0 || seconds > 24 * 3600)
            return QStringLiteral("--wait takes seconds from 0 to 86400");
        request.wait = std::chrono::milliseconds(std::llround(seconds * 1000));
    }
    return request;
}

} // namespace Shell

#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <variant>

namespace Shell {

// What `statistics` was asked to do, read from its arguments alone.
struct StatisticsRequest {
    enum class Action { On, Off, Upload, UploadOff, Flush };
    Action action = Action::On;
    QString collector; // for Upload, as typed
    std::chrono::milliseconds wait { 10000 }; // for Flush
    bool json = false;
};

// The request, or the reason the arguments make none (a usage error). `wait` is the --wait
// value when given.
std::variant<StatisticsRequest, QString>
parseStatisticsRequest(const QStringList &arguments, bool json, const std::optional<QString> &wait);

} // namespace Shell

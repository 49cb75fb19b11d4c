#include "Statistics/bladestatistics.h"

#include "Messages/statistics.h"
#include "Statistics/eventparams.h"

#include "pubsub/subscriber.h"

namespace Statistics {

namespace {

const char *const alertClosedTexts[] = { "ENABLE", "CLOSE" };
const char *const bladeModeTexts[] = { "NORMAL", "WIDE" };
const char *const bladeSelectedTexts[] = { "HOTKEY", "EDIT_PANEL" };
const char *const cursorSelectedTexts[] = { "HOTKEY_A", "HOTKEY_ESC", "EDIT_PANEL" };

void publish(const char *event, const char *value)
{
    PubSub::publish(
        InteractionNotification(QString::fromLatin1(event), QString::fromLatin1(value)));
}

template<class Enum> long long ordinal(Enum value)
{
    return static_cast<long long>(value);
}

} // namespace

const char *bladeAlertClosedMethodText(BladeAlertClosedMethod method)
{
    return wordOf(alertClosedTexts, ordinal(method), "");
}
const char *bladeModeText(BladeMode mode)
{
    return wordOf(bladeModeTexts, ordinal(mode), "");
}
const char *bladeSelectedMethodText(BladeSelectedMethod method)
{
    return wordOf(bladeSelectedTexts, ordinal(method));
}
const char *cursorSelectedMethodText(CursorSelectedMethod method)
{
    return wordOf(cursorSelectedTexts, ordinal(method));
}

IBladeStatistics::~IBladeStatistics() = default;

void BladeStatistics::cursorSelected(CursorSelectedMethod method)
{
    publish("CURSOR_CLICKED", cursorSelectedMethodText(method));
}

void BladeStatistics::bladeSelected(BladeSelectedMethod method)
{
    publish("BLADE_CLICKED", bladeSelectedMethodText(method));
}

void BladeStatistics::bladeApplied(BladeMode mode)
{
    publish("BLADE_APPLIED", bladeModeText(mode));
}

void BladeStatistics::bladeAlertShown()
{
    publish("BLADE_ALERT_SHOWN", "");
}

void BladeStatistics::bladeAlertClosed(BladeAlertClosedMethod method)
{
    publish("BLADE_ALERT_CLOSED", bladeAlertClosedMethodText(method));
}

void BladeStatistics::bladeAlertClosedDontShow()
{
    publish("BLADE_ALERT_DONT_SHOW", "");
}

} // namespace Statistics

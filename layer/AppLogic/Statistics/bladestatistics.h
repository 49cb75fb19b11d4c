#pragma once

#include "applogicexport.h"

// The blade (cutting) tool and its alert. Reported as interactions on the bus, which the tracking
// helper turns into events, so the timeline tools need no tracker. Stateless.
namespace Statistics {

enum class BladeAlertClosedMethod : int { Enable = 0, Close = 1 };
enum class BladeMode : int { Normal = 0, Wide = 1 };
enum class BladeSelectedMethod : int { Hotkey = 0, EditPanel = 1 };
enum class CursorSelectedMethod : int { HotkeyA = 0, HotkeyEsc = 1, EditPanel = 2 };

// "ENABLE", "CLOSE"; empty outside.
APPLOGIC_EXPORT const char *bladeAlertClosedMethodText(BladeAlertClosedMethod method);
// "NORMAL", "WIDE"; empty outside.
APPLOGIC_EXPORT const char *bladeModeText(BladeMode mode);
// "HOTKEY", "EDIT_PANEL"; "UNKNOWN" outside.
APPLOGIC_EXPORT const char *bladeSelectedMethodText(BladeSelectedMethod method);
// "HOTKEY_A", "HOTKEY_ESC", "EDIT_PANEL"; "UNKNOWN" outside.
APPLOGIC_EXPORT const char *cursorSelectedMethodText(CursorSelectedMethod method);

class APPLOGIC_EXPORT IBladeStatistics {
public:
    virtual ~IBladeStatistics();
    virtual void cursorSelected(CursorSelectedMethod method) = 0;
    virtual void bladeSelected(BladeSelectedMethod method) = 0;
    virtual void bladeApplied(BladeMode mode) = 0;
    virtual void bladeAlertShown() = 0;
    virtual void bladeAlertClosed(BladeAlertClosedMethod method) = 0;
    virtual void bladeAlertClosedDontShow() = 0;
};

class APPLOGIC_EXPORT BladeStatistics : public IBladeStatistics {
public:
    void cursorSelected(CursorSelectedMethod method) override;
    void bladeSelected(BladeSelectedMethod method) override;
    void bladeApplied(BladeMode mode) override;
    void bladeAlertShown() override;
    void bladeAlertClosed(BladeAlertClosedMethod method) override;
    void bladeAlertClosedDontShow() override;
};

} // namespace Statistics

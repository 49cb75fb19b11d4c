#pragma once

#include "Messages/statistics.h"

// The interaction the send-path benchmarks publish: a transition's settings changed from the
// context menu, with five parameters, as busy an interaction as the editor sends often.
inline Statistics::InteractionNotification fiveParameterInteraction()
{
    Statistics::InteractionNotification n(QStringLiteral("TRANSITION_SETTINGS_CHANGED"),
                                          QStringLiteral("context_menu"));
    n.parameters.insert(QStringLiteral("NAME"), QStringLiteral("Cross fade"));
    n.parameters.insert(QStringLiteral("DURATION_MS"), QStringLiteral("1500"));
    n.parameters.insert(QStringLiteral("ALL_CLIPS"), QStringLiteral("false"));
    n.parameters.insert(QStringLiteral("TRACK"), QStringLiteral("2"));
    n.parameters.insert(QStringLiteral("SOURCE"), QStringLiteral("collection"));
    return n;
}

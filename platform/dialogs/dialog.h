#pragma once

#include "dialogs_export.h"

#include <QString>

#include <memory>

// The editor's modal questions and messages. Whoever shows them (a terminal, a window, a test's
// script) is installed once by the application; code that asks does not know which. Main thread.
namespace Dialog {

class DIALOGS_EXPORT IDialogs {
public:
    virtual ~IDialogs();
    // A question with two buttons; true for the first. Empty button texts mean the defaults.
    virtual bool question(const QString &title,
                          const QString &text,
                          const QString &yesText,
                          const QString &noText)
        = 0;
    // Information the user must see; `details` may hold a long list shown on request.
    virtual void message(const QString &title, const QString &text, const QString &details) = 0;
};

// Installs the implementation; null leaves the editor without dialogs (see alertAction).
DIALOGS_EXPORT void setDialogs(std::shared_ptr<IDialogs> dialogs);
DIALOGS_EXPORT std::shared_ptr<IDialogs> dialogs();

// Asks through the installed dialogs. Without any, the answer is false: declining is the choice
// that changes nothing, and a run with no way to ask must not act on a guess.
DIALOGS_EXPORT bool alertAction(const QString &title,
                                const QString &text,
                                const QString &yesText = {},
                                const QString &noText = {});
// Shows through the installed dialogs; without any, the message goes to the log.
DIALOGS_EXPORT void
showMessage(const QString &title, const QString &text, const QString &details = {});

} // namespace Dialog

#include "dialogs/dialog.h"

#include <glog/logging.h>

namespace Dialog {

namespace {
std::shared_ptr<IDialogs> &installed()
{
    static std::shared_ptr<IDialogs> dialogs;
    return dialogs;
}
} // namespace

IDialogs::~IDialogs() = default;

void setDialogs(std::shared_ptr<IDialogs> dialogs)
{
    installed() = std::move(dialogs);
}

std::shared_ptr<IDialogs> dialogs()
{
    return installed();
}

bool alertAction(const QString &title,
                 const QString &text,
                 const QString &yesText,
                 const QString &noText)
{
    // Held for the call: a dialog may install another implementation while it is open.
    const std::shared_ptr<IDialogs> d = installed();
    if (!d) {
        LOG(WARNING) << "No dialogs installed; declining \"" << title.toStdString()
                     << "\": " << text.toStdString();
        return false;
    }
    return d->question(title, text, yesText, noText);
}

void showMessage(const QString &title, const QString &text, const QString &details)
{
    const std::shared_ptr<IDialogs> d = installed();
    if (!d) {
        LOG(WARNING) << title.toStdString() << ": " << text.toStdString() << ' '
                     << details.toStdString();
        return;
    }
    d->message(title, text, details);
}

} // namespace Dialog

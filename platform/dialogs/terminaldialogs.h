#pragma once

#include "dialogs_export.h"

#include "dialogs/dialog.h"

#include <cstdio>

namespace Dialog {

// Questions and messages on a terminal. A scripted run answers every question in advance (the
// shell's --yes and --no); the question and the answer given are still printed, so a log of the
// run shows what was decided. Reading an answer blocks the main thread, as a modal dialog does.
class DIALOGS_EXPORT TerminalDialogs final : public IDialogs {
public:
    enum class Answer { Ask, Yes, No };

    TerminalDialogs(Answer answer, std::FILE *in, std::FILE *out);

    bool question(const QString &title,
                  const QString &text,
                  const QString &yesText,
                  const QString &noText) override;
    void message(const QString &title, const QString &text, const QString &details) override;

    // Parses a typed answer: the first button's text or any form of "yes" is true; the rest,
    // an empty line and the end of input are false.
    static bool isYes(const QString &typed, const QString &yesText);

private:
    void print(const QString &text);

    Answer m_answer;
    std::FILE *m_in;
    std::FILE *m_out;
};

} // namespace Dialog

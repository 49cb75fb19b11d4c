#include "dialogs/terminaldialogs.h"

#include <QCoreApplication>

namespace Dialog {

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("TerminalDialogs", text);
}
} // namespace

TerminalDialogs::TerminalDialogs(Answer answer, std::FILE *in, std::FILE *out)
    : m_answer(answer)
    , m_in(in)
    , m_out(out)
{
}

void TerminalDialogs::print(const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), m_out);
    std::fflush(m_out);
}

bool TerminalDialogs::isYes(const QString &typed, const QString &yesText)
{
    const QString t = typed.trimmed();
    if (t.isEmpty())
        return false;
    if (!yesText.isEmpty() && t.compare(yesText, Qt::CaseInsensitive) == 0)
        return true;
    return t.compare(QLatin1String("y"), Qt::CaseInsensitive) == 0
        || t.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0;
}

bool TerminalDialogs::question(const QString &title,
                               const QString &text,
                               const QString &yesText,
                               const QString &noText)
{
    const QString yes = yesText.isEmpty() ? tr("Yes") : yesText;
    const QString no = noText.isEmpty() ? tr("No") : noText;
    print(QStringLiteral("\n? %1\n  %2\n  [%3/%4] ").arg(title, text, yes, no));
    if (m_answer != Answer::Ask) {
        const bool answer = m_answer == Answer::Yes;
        print(QStringLiteral("%1 %2\n").arg(answer ? yes : no,
                                            answer ? tr("(--yes)") : tr("(--no)")));
        return answer;
    }
    char line[256];
    if (!m_in || !std::fgets(line, sizeof line, m_in)) {
        print(QStringLiteral("%1 %2\n").arg(no, tr("(no answer)")));
        return false;
    }
    return isYes(QString::fromLocal8Bit(line), yes);
}

void TerminalDialogs::message(const QString &title, const QString &text, const QString &details)
{
    QString shown = QStringLiteral("\n! %1\n  %2\n").arg(title, text);
    if (!details.isEmpty()) {
        for (const QString &line : details.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            shown += QStringLiteral("    %1\n").arg(line);
    }
    print(shown);
}

} // namespace Dialog

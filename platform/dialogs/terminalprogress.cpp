#include "dialogs/terminalprogress.h"

#include <QElapsedTimer>

#include <unistd.h>

namespace Report {

namespace {

constexpr int barWidth = 30;

} // namespace

class TerminalProgress final : public IProgress {
public:
    TerminalProgress(TerminalProgressFactory &factory,
                     QString label,
                     QString cancelText,
                     int maximum,
                     IProgressListener *listener)
        : m_factory(factory)
        , m_label(std::move(label))
        , m_cancelText(std::move(cancelText))
        , m_maximum(maximum)
        , m_listener(listener)
    {
        m_factory.attach(this);
        if (!m_factory.m_isTerminal)
            write(QStringLiteral("%1...\n").arg(m_label));
        redraw(true);
    }

    ~TerminalProgress() override
    {
        m_factory.detach(this);
        if (m_factory.m_isTerminal) {
            redraw(true);
            write(QStringLiteral("\n"));
        } else {
            write(QStringLiteral("%1: %2 of %3. %4\n")
                      .arg(m_label)
                      .arg(m_value)
                      .arg(m_maximum)
                      .arg(m_text));
        }
    }

    void setMaximum(int maximum) override
    {
        m_maximum = maximum;
        redraw(false);
    }
    void setValue(int value) override
    {
        m_value = value;
        redraw(value >= m_maximum);
    }
    void setText(const QString &text) override
    {
        m_text = text;
        redraw(false);
    }
    int value() const override { return m_value; }
    int maximum() const override { return m_maximum; }

    void cancel() { m_listener->progressCancelled(*this); }

private:
    void write(const QString &text)
    {
        const QByteArray bytes = text.toUtf8();
        std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), m_factory.m_out);
        std::fflush(m_factory.m_out);
    }

    // A terminal redraws at most every 50 ms: a thousand small files finish faster than anyone
    // can read, and writing each step would cost more than analysing it.
    void redraw(bool force)
    {
        if (!m_factory.m_isTerminal)
            return;
        if (!force && m_clock.isValid() && m_clock.elapsed() < 50)
            return;
        m_clock.start();
        const int filled = m_maximum > 0 ? qBound(0, m_value * barWidth / m_maximum, barWidth) : 0;
        const QString bar
            = QString(filled, QChar(0x2588)) + QString(barWidth - filled, QChar(0x2591));
        const QString hint = m_factory.m_takeInterrupts && !m_cancelText.isEmpty()
            ? QStringLiteral("  (Ctrl+C: %1)").arg(m_cancelText)
            : QString();
        write(QStringLiteral("\r\x1b[K%1 %2 %3%4").arg(m_label, bar, m_text, hint));
    }

    TerminalProgressFactory &m_factory;
    QString m_label;
    QString m_cancelText;
    QString m_text;
    int m_maximum = 0;
    int m_value = 0;
    IProgressListener *m_listener;
    QElapsedTimer m_clock;
};

TerminalProgressFactory::TerminalProgressFactory(std::FILE *out, InterruptTaker takeInterrupts)
    : m_out(out)
    , m_isTerminal(::isatty(fileno(out)) == 1)
    , m_takeInterrupts(std::move(takeInterrupts))
{
}

TerminalProgressFactory::~TerminalProgressFactory()
{
    if (m_current)
        detach(m_current);
}

std::unique_ptr<IProgress> TerminalProgressFactory::create(const QString &label,
                                                           const QString &cancelText,
                                                           int maximum,
                                                           IProgressListener *listener)
{
    return std::make_unique<TerminalProgress>(*this, label, cancelText, maximum, listener);
}

void TerminalProgressFactory::attach(TerminalProgress *progress)
{
    m_current = progress;
    if (m_takeInterrupts)
        m_interrupts = m_takeInterrupts([this] { interrupted(); });
}

void TerminalProgressFactory::detach(TerminalProgress *progress)
{
    if (m_current != progress)
        return;
    m_current = nullptr;
    m_interrupts.reset();
}

void TerminalProgressFactory::interrupted()
{
    // Once: a second Ctrl+C is the program's again, for a cancel that does not end the work.
    m_interrupts.reset();
    if (m_current)
        m_current->cancel();
}

} // namespace Report

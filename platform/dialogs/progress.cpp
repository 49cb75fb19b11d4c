#include "dialogs/progress.h"

namespace Report {

IProgress::~IProgress() = default;
IProgressListener::~IProgressListener() = default;
IProgressFactory::~IProgressFactory() = default;

ProgressReporter::ProgressReporter() = default;
ProgressReporter::~ProgressReporter() = default;

void ProgressReporter::setProgressFactory(std::shared_ptr<IProgressFactory> factory)
{
    m_factory = std::move(factory);
}

void ProgressReporter::showProgress(const QString &label,
                                    const QString &cancelText,
                                    int maximum,
                                    const QString &text)
{
    m_progress.reset();
    if (m_factory) {
        m_progress = m_factory->create(label, cancelText, maximum, this);
        if (m_progress)
            m_progress->setText(text);
    }
}

void ProgressReporter::setProgressValue(int value)
{
    if (!m_progress)
        return;
    m_progress->setValue(value);
    QString text;
    updateLabelText(text);
    m_progress->setText(text);
}

void ProgressReporter::removeProgress()
{
    m_progress.reset();
}

void ProgressReporter::updateLabelText(QString &) { }

void ProgressReporter::reporterCancelled(IProgress &) { }

void ProgressReporter::progressCancelled(IProgress &progress)
{
    if (&progress == m_progress.get())
        reporterCancelled(progress);
}

} // namespace Report

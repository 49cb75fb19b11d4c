#include "media/fileopenhandler.h"

#include "dialogs/dialog.h"
#include "util/format.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("FileOpenHandler", text);
}

// A dialog lists this many files and sums up the rest, so a failed folder of thousands stays
// readable.
constexpr int listedFiles = 20;

QString listOf(const FileOpenHandler::FileSet &files, bool withReason)
{
    QString text;
    int n = 0;
    for (const Media::FilePtr &file : files) {
        if (n++ == listedFiles) {
            text += tr("... and %1 more\n").arg(files.size() - listedFiles);
            break;
        }
        text += Format::printable(QFileInfo(file->path).fileName());
        if (withReason && !file->error.isEmpty())
            text += QStringLiteral(": ") + Format::printable(file->error);
        else if (!file->unsupportedCodecs.isEmpty())
            text += QStringLiteral(": ") + file->unsupportedCodecs.join(QLatin1String(", "));
        text += QLatin1Char('\n');
    }
    return text;
}

} // namespace

FileOpenHandler::FileOpenHandler()
{
    subscribe(Media::globalObject());
}

FileOpenHandler::~FileOpenHandler()
{
    unsubscribe(Media::globalObject());
}

void FileOpenHandler::addFiles(const std::vector<Media::FilePtr> &files)
{
    for (const Media::FilePtr &file : files) {
        if (!file || m_done.count(file.get()))
            continue;
        m_files.push_back(file);
        m_done.emplace(file.get(), false);
        m_analysis.open(file);
    }
}

void FileOpenHandler::removeFiles(const std::vector<Media::FilePtr> &files)
{
    for (const Media::FilePtr &file : files) {
        if (!file)
            continue;
        const auto it = m_done.find(file.get());
        if (it == m_done.end())
            continue;
        if (it->second)
            --m_processed;
        else
            m_analysis.cancel(file.get());
        m_done.erase(it);
        m_files.erase(std::remove(m_files.begin(), m_files.end(), file), m_files.end());
    }
}

void FileOpenHandler::notify(const Media::FileOpenedNotification &n)
{
    processed(n.file);
}

void FileOpenHandler::notify(const Media::FileOpenFailedNotification &n)
{
    processed(n.file);
}

void FileOpenHandler::processed(const Media::FilePtr &file)
{
    const auto it = m_done.find(file.get());
    if (it == m_done.end() || it->second)
        return; // not ours, or counted already
    it->second = true;
    ++m_processed;
    processing();
}

void FileOpenHandler::processing()
{
    if (m_files.empty() || m_processed < totalFilesCount())
        return;
    AnalyzedProduct product = analyze(m_files);
    // The batch is over before the product is told: a dialog below may run an event loop in
    // which the next batch starts.
    m_files.clear();
    m_done.clear();
    m_processed = 0;
    postProcessing(std::move(product));
}

FileOpenHandler::AnalyzedProduct FileOpenHandler::analyze(const std::vector<Media::FilePtr> &files)
{
    AnalyzedProduct product;
    for (const Media::FilePtr &file : files) {
        if (file->isFailed()) {
            product.failedFiles.insert(file);
            continue;
        }
        if (!file->unsupportedCodecs.isEmpty())
            product.unsupportedCodecFiles.insert(file);
        if (!file->isStillImage() && file->duration <= MTime())
            product.unknownDurationFiles.insert(file);
        if (file->hdr)
            product.hdrFiles.insert(file);
    }
    return product;
}

void FileOpenHandler::postProcessing(AnalyzedProduct product)
{
    if (product.hasProblems())
        showFailedFilesDialog(product);
    if (product.hasHDRFiles())
        showHDRFilesAddedDialog();
}

bool FileOpenHandler::allowToDeleteClips(const AnalyzedProduct &)
{
    return false;
}

bool FileOpenHandler::showFailedFilesDialog(const AnalyzedProduct &product)
{
    QString details;
    if (!product.failedFiles.empty())
        details += tr("Could not be opened:\n") + listOf(product.failedFiles, true);
    if (!product.unsupportedCodecFiles.empty())
        details += tr("Opened without the streams in these formats:\n")
            + listOf(product.unsupportedCodecFiles, false);
    if (!product.unknownDurationFiles.empty())
        details += tr("Opened, but their length is unknown (they may be cut short):\n")
            + listOf(product.unknownDurationFiles, false);

    const QString title = tr("Some files could not be opened");
    const std::size_t count = product.failedFiles.size() + product.unsupportedCodecFiles.size()
        + product.unknownDurationFiles.size();
    const QString text = QCoreApplication::translate("FileOpenHandler",
                                                     "%n file(s) could not be opened completely.",
                                                     nullptr, static_cast<int>(count));
    if (allowToDeleteClips(product)) {
        Dialog::showMessage(title, text, details);
        return Dialog::alertAction(
            title, tr("Remove the clips of the files that could not be opened from the timeline?"),
            tr("Remove"), tr("Keep"));
    }
    Dialog::showMessage(title, text, details);
    return false;
}

void FileOpenHandler::showHDRFilesAddedDialog()
{
    Dialog::showMessage(
        tr("HDR video added"),
        tr("Some of the added files are HDR video (PQ or HLG). On a screen without HDR their "
           "colours look flatter in the preview than they are."));
}

#include "outputguard.h"

#include "Application/application.h"
#include "terminallog.h"

#include "mediamodel/mediafile.h"
#include "outputpath/outputpath.h"
#include "project/editlock.h"
#include "project/project.h"
#include "project/projectfile.h"
#include "util/format.h"

#include <QFileInfo>

#include <memory>

#include <glog/logging.h>

namespace Shell {

namespace {

// Long enough for another command's import of a folder, short enough that a stuck editor is
// reported rather than waited on for ever.
constexpr std::chrono::seconds editLockWait(60);

std::unique_ptr<Project::EditLock> &heldLock()
{
    static std::unique_ptr<Project::EditLock> lock;
    return lock;
}

} // namespace

bool checkOutput(Context &context,
                 const QString &path,
                 const QString &kind,
                 bool project,
                 const QString &replaces,
                 QString *why)
{
    FS::OutputRules rules;
    rules.kind = kind;
    rules.replaces = replaces;
    rules.replaceExisting = context.answer == Answer::Yes;
    if (project) {
        const Project::Object &open = context.app.project();
        rules.inputs << open.path();
        for (const auto &file : open.mediaFiles())
            rules.inputs << file->path;
    }
    const FS::OutputRefusal refusal = FS::checkOutputPath(path, rules);
    if (!refusal)
        return true;
    QString message = Format::printable(refusal.message);
    if (refusal.why == FS::OutputRefusal::Why::Exists)
        message += QStringLiteral("; nothing was written (--yes replaces it)");
    context.err << errorPrefix << message << '\n';
    if (why)
        *why = message;
    return false;
}

void warnOnExtension(Context &context, const QString &path, const QString &format)
{
    const QString extension = QFileInfo(path).suffix().toLower();
    QStringList fitting { format.toLower() };
    if (format.compare(QLatin1String("mp4"), Qt::CaseInsensitive) == 0)
        fitting << QStringLiteral("m4v") << QStringLiteral("mov");
    else if (format.compare(QLatin1String("matroska"), Qt::CaseInsensitive) == 0)
        fitting = QStringList { QStringLiteral("mkv") };
    if (fitting.contains(extension))
        return;
    context.err << errorPrefix << "warning: " << Format::printable(path) << " does not end in ."
                << fitting.first() << ", yet the preset writes a " << format
                << " file; players that go by the name may refuse it\n";
}

void rememberOutput(const QString &path, const QString &kind)
{
    FS::rememberOutput(path, kind);
}

bool lockProject(Context &context, const QString &path)
{
    if (heldLock() && heldLock()->projectPath() == path)
        return true;
    try {
        heldLock() = std::make_unique<Project::EditLock>(path, editLockWait);
        return true;
    } catch (const Project::FileError &e) {
        {
            const TerminalLog::Told told;
            LOG(WARNING) << e.what();
        }
        context.err << errorPrefix << Format::printable(QString::fromStdString(e.what())) << '\n';
        return false;
    }
}

void releaseProject(const QString &path)
{
    if (heldLock() && heldLock()->projectPath() == path)
        heldLock().reset();
}

} // namespace Shell

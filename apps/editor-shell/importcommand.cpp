// `import`: publishes the add request for files and folders, shows the analysis progress, answers
// the layer's questions on the terminal (or from --yes / --no) and prints what reached the
// timeline or the collection, what failed and why, and the result.

#include "importcommand.h"

#include "Application/application.h"
#include "projectactions.h"

#include "FileAnalyzer/model.h"
#include "FileAnalyzer/view.h"
#include "Messages/command.h"
#include "Messages/fileadder.h"
#include "Messages/packageinstall.h"
#include "Messages/project.h"
#include "Messages/projectrequests.h"

#include "dialogs/dialog.h"
#include "dialogs/progress.h"
#include "dialogs/terminaldialogs.h"
#include "dialogs/terminalprogress.h"
#include "media/fileutil.h"
#include "media/mediafile.h"
#include "project/project.h"
#include "project/projectfile.h"
#include "pubsub/subscriber.h"
#include "timeline/clip.h"
#include "timeline/timeline.h"
#include "timeline/transition.h"
#include "util/format.h"
#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>

#include <glog/logging.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <limits>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_set>

namespace Shell {

namespace {

const QCommandLineOption projectOption(QStringLiteral("project"),
                                       QStringLiteral("Open PROJECT first and save it afterwards."),
                                       QStringLiteral("PROJECT"));
const QCommandLineOption
    toOption(QStringLiteral("to"),
             QStringLiteral("Where the files go: timeline (default), collection or transition."),
             QStringLiteral("WHERE"),
             QStringLiteral("timeline"));
const QCommandLineOption sourceOption(
    QStringLiteral("source"),
    QStringLiteral("The add source number (0-18); default 8 (import folders) when a folder is "
                   "given, else 0 (import button)."),
    QStringLiteral("N"));
const QCommandLineOption
    trackOption(QStringLiteral("track"),
                QStringLiteral("Timeline track to place on; default the first video track."),
                QStringLiteral("N"));
const QCommandLineOption
    allOption(QStringLiteral("all"),
              QStringLiteral("List every file in the report, not the first ones of each list."));
const QCommandLineOption
    atOption(QStringLiteral("at"),
             QStringLiteral("Timeline position in seconds; default the end of the track."),
             QStringLiteral("SECONDS"));

// A path the request named but that never reached the add request, and why.
struct Unread {
    QString path;
    QString reason;
};

// Folders deeper than this below the one named are not walked: a user's folder tree is not that
// deep, a generated or looping one is.
constexpr int maxFolderDepth = 32;

QString systemReason(int error)
{
    switch (error) {
    case ELOOP:
        return QStringLiteral("a symbolic link that leads back to itself");
    case EACCES:
    case EPERM:
        return QStringLiteral("cannot be read: permission denied");
    case ENOENT:
        return QStringLiteral("does not exist");
    case ENAMETOOLONG:
        return QStringLiteral("the name is too long");
    default:
        return QStringLiteral("cannot be read: %1")
            .arg(QString::fromLocal8Bit(std::strerror(error)));
    }
}

// Folders are walked with the system's own directory reading: the toolkit's leaves out names
// that are not valid UTF-8, and such a file must be reported as failed, not silently missed.
void walk(const QByteArray &folder, QStringList &out, std::vector<Unread> &unread, int depth)
{
    DIR *dir = ::opendir(folder.constData());
    if (!dir) {
        const int error = errno;
        LOG(INFO) << "Cannot read the folder " << folder.constData(); // the report tells the user
        unread.push_back(
            { QFile::decodeName(folder), QStringLiteral("a folder that ") + systemReason(error) });
        return;
    }
    std::vector<QByteArray> names;
    while (const dirent *entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    for (const QByteArray &name : names) {
        const QByteArray path = folder + '/' + name;
        struct stat st = {};
        if (::lstat(path.constData(), &st) != 0) {
            unread.push_back({ QFile::decodeName(path), systemReason(errno) });
            continue;
        }
        if (S_ISDIR(st.st_mode)) {
            // Symbolic links to folders are not followed: a loop would never end.
            if (depth < maxFolderDepth)
                walk(path, out, unread, depth + 1);
            else
                unread.push_back({ QFile::decodeName(path),
                                   QStringLiteral("a folder more than %1 levels deep, not read")
                                       .arg(maxFolderDepth) });
            continue;
        }
        out << QFile::decodeName(path);
    }
}

struct Paths {
    QStringList files;
    std::vector<Unread> unread;
    int folders = 0;
};

Paths expand(const QStringList &arguments)
{
    Paths paths;
    for (const QString &argument : arguments) {
        if (argument.isEmpty()) {
            // An empty name is no file; made absolute it would name the current folder.
            paths.unread.push_back({ argument, QStringLiteral("an empty path names no file") });
            continue;
        }
        const QFileInfo info(argument);
        if (info.isDir()) {
            ++paths.folders;
            walk(QFile::encodeName(QDir::cleanPath(info.absoluteFilePath())), paths.files,
                 paths.unread, 0);
        } else {
            paths.files << (info.isRelative() ? QDir::cleanPath(info.absoluteFilePath())
                                              : argument);
        }
    }
    return paths;
}

// Everything the layer says during one import.
class ImportWatch
    : public PubSub::Subscriber<FileAdder::AddMediaFilesResult,
                                ::Command::OpenProject,
                                ::Command::InstallPackageRequest,
                                Project::FileAddRequest>
    , public FileAnalyzer::View {
public:
    explicit ImportWatch(Project::Object &project)
        : project(project)
    {
        subscribeAllTypes();
    }

    void notify(const FileAdder::AddMediaFilesResult &m) override { results.push_back(m); }
    void notify(const ::Command::OpenProject &m) override { projectToOpen = m.path; }
    void notify(const ::Command::InstallPackageRequest &m) override { packages << m.path; }
    void notify(const Project::FileAddRequest &m) override
    {
        // The shell's project takes the files into its collection, as the editor's does.
        collectionAdded += static_cast<int>(project.userFiles().add(m.files));
        collectionOffered += static_cast<int>(m.files.size());
    }
    void fileAnalyzerAddRequested(FileAnalyzer::Object *object) override
    {
        if (FileAnalyzer::ObjectPtr added = FileAnalyzer::Model::instance().find(object))
            objects.push_back(std::move(added));
    }
    void fileAnalyzerRemoveRequested(FileAnalyzer::Object *) override
    {
        ++removed;
        if (loop && removed >= static_cast<int>(objects.size()))
            loop->quit();
    }

    bool allRemoved() const { return removed >= static_cast<int>(objects.size()); }

    Project::Object &project;
    std::vector<FileAdder::AddMediaFilesResult> results;
    QString projectToOpen;
    QStringList packages;
    int collectionAdded = 0;
    int collectionOffered = 0;
    std::vector<FileAnalyzer::ObjectPtr> objects;
    int removed = 0;
    QEventLoop *loop = nullptr;
};

QString codecName(const QString &codecId)
{
    QString name = codecId;
    name.remove(QLatin1String("CODEC_ID_"));
    return name;
}

// One line about a file for people: what is in it.
QString describe(const Media::File &file)
{
    QStringList parts;
    for (const Media::VideoTrack &v : file.videoTracks) {
        // A still JPEG is MJPEG to the decoder, but a JPEG to everybody else.
        const QString codec = v.stillImage && v.codecId == QLatin1String("CODEC_ID_MJPEG")
            ? QStringLiteral("JPEG")
            : codecName(v.codecId);
        QString text = QStringLiteral("%1 %2").arg(codec, Format::videoResolution(v.frameSize));
        if (v.stillImage)
            text += QStringLiteral(" picture");
        else
            text += QStringLiteral(" %1 fps").arg(Format::videoFrameRate(v.frameRate));
        if (v.bitDepth > 8)
            text += QStringLiteral(" %1-bit").arg(v.bitDepth);
        parts << text;
    }
    if (file.hdr)
        parts << QStringLiteral("HDR");
    for (const Media::AudioTrack &a : file.audioTracks)
        parts << QStringLiteral("%1 %2 kHz %3 ch")
                     .arg(codecName(a.codecId))
                     .arg(a.sampleRate / 1000.0)
                     .arg(a.channels);
    if (!file.unsupportedCodecs.isEmpty())
        parts << QStringLiteral("without %1").arg(file.unsupportedCodecs.join(QLatin1String(", ")));
    parts << Format::fileSize(file.size);
    return parts.join(QLatin1String(", "));
}

QString name(const QString &path)
{
    const QString fileName = QFileInfo(path).fileName();
    return Format::printable(fileName.isEmpty() ? path : fileName);
}

// Reads a whole number from `min` to `max`, or says why not.
std::optional<int> wholeNumber(const QString &text, int min, int max)
{
    bool ok = false;
    const qlonglong value = text.trimmed().toLongLong(&ok);
    if (!ok || value < min || value > max)
        return std::nullopt;
    return static_cast<int>(value);
}

// A folder of thousands makes lists nobody reads; the report shows the first lines of each and
// counts the rest, unless asked for all.
constexpr int listedLines = 30;

void printLines(Context &context, const QStringList &lines)
{
    const bool all = context.parser.isSet(allOption);
    for (int i = 0; i < lines.size(); ++i) {
        if (!all && i == listedLines) {
            context.out << "  ... and " << lines.size() - listedLines
                        << " more (--all lists them)\n";
            return;
        }
        context.out << "  " << lines[i] << '\n';
    }
}

int firstVideoTrack(Timeline::Model &timeline)
{
    for (int t = 0; t < timeline.trackCount(); ++t) {
        if (timeline.track(t).type() == Timeline::TrackType::Video)
            return t;
    }
    timeline.addTrack(Timeline::TrackType::Video);
    return timeline.trackCount() - 1;
}

void printPlaced(Context &context,
                 const Timeline::Model &timeline,
                 int track,
                 const FileAnalyzer::MediaFiles &opened)
{
    const std::unordered_set<const Media::File *> placed = [&] {
        std::unordered_set<const Media::File *> set;
        for (const Media::FilePtr &file : opened)
            set.insert(file.get());
        return set;
    }();
    // The chosen track, and any other the files went to (sound alone goes to a sound track).
    for (int t = 0; t < timeline.trackCount(); ++t) {
        QStringList lines;
        for (const auto &clip : timeline.track(t).clips()) {
            if (!placed.count(clip->file().get()))
                continue;
            lines << QStringLiteral("%1  +%2  %3  (%4)")
                         .arg(clip->position().toClockString(), clip->duration().toClockString(),
                              name(clip->file()->path), describe(*clip->file()));
        }
        if (t != track && lines.isEmpty())
            continue;
        context.out << "On the timeline, track " << t << ": " << lines.size() << " new clip"
                    << (lines.size() == 1 ? "" : "s") << '\n';
        printLines(context, lines);
    }
}

int run(Context &context)
{
    if (context.arguments.isEmpty()) {
        context.err << "Usage: editor-shell import FILE... [--project PROJECT] [--to "
                       "timeline|collection|transition] "
                       "[--source N] [--track N] [--at SECONDS] [--yes|--no]\n";
        return 2;
    }
    const QString to = context.parser.value(toOption);
    if (to != QLatin1String("timeline") && to != QLatin1String("collection")
        && to != QLatin1String("transition")) {
        context.err << "editor-shell: --to takes timeline, collection or transition, not "
                    << Format::printable(to) << '\n';
        return 2;
    }

    const QString projectPath = context.parser.value(projectOption);
    if (!projectPath.isEmpty()) {
        if (!Settings::isProjectFilePath(projectPath)) {
            context.err << "editor-shell: " << Format::printable(projectPath)
                        << " does not end in ." << Settings::projectFileExtension() << '\n';
            return 2;
        }
        // A project that does not exist yet is made: importing into a new project is how one
        // starts.
        if (QFileInfo::exists(projectPath)) {
            if (!openProject(context, projectPath, false))
                return 1;
        } else {
            context.app.setProject(Project::Object::createNew());
            context.out << "New project " << Format::printable(projectPath) << '\n';
        }
    }

    const Paths paths = expand(context.arguments);
    bool sourceOk = true;
    const int source = context.parser.isSet(sourceOption)
        ? context.parser.value(sourceOption).toInt(&sourceOk)
        : (paths.folders > 0 ? 8 : 0);
    if (!sourceOk || source < 0 || source > 18) {
        context.err << "editor-shell: --source takes a number from 0 to 18\n";
        return 2;
    }

    // The layer asks on this terminal, or takes the answer given on the command line; its
    // progress is drawn on the error stream, so the report on the output stays clean.
    context.app.setDialogs(std::make_shared<Dialog::TerminalDialogs>(
        context.answer == Answer::Yes      ? Dialog::TerminalDialogs::Answer::Yes
            : context.answer == Answer::No ? Dialog::TerminalDialogs::Answer::No
                                           : Dialog::TerminalDialogs::Answer::Ask,
        stdin, stdout));
    context.app.setProgressFactory(std::make_shared<Report::TerminalProgressFactory>(stderr, true));

    Project::Object &project = context.app.project();
    FileAdder::Contexts contexts;
    int track = -1;
    Transition::Object transition(Transition::Id::Dissolve);
    if (to == QLatin1String("timeline")) {
        Timeline::Model &timeline = project.timeline();
        if (context.parser.isSet(trackOption)) {
            const QString text = context.parser.value(trackOption);
            const std::optional<int> number = wholeNumber(text, 0, std::numeric_limits<int>::max());
            if (!number) {
                context.err << "editor-shell: --track takes a track number from 0, not \""
                            << Format::printable(text) << "\"\n";
                return 2;
            }
            track = *number;
        } else {
            track = firstVideoTrack(timeline);
        }
        if (track >= timeline.trackCount()) {
            context.err << "editor-shell: the project has no track " << track << " (it has "
                        << timeline.trackCount() << ")\n";
            return 2;
        }
        MTime at = timeline.track(track).end();
        if (context.parser.isSet(atOption)) {
            // Checked as a number of seconds before it becomes a time: a huge or odd value must
            // be refused here, not wrap around into a position the project cannot hold.
            const QString text = context.parser.value(atOption);
            bool ok = false;
            const double seconds = text.trimmed().toDouble(&ok);
            if (!ok || !std::isfinite(seconds) || seconds < 0
                || seconds > Timeline::maxTime.toSecF()) {
                context.err << "editor-shell: --at takes a position in seconds from 0 to "
                            << QString::number(Timeline::maxTime.toSecF(), 'f', 0) << ", not \""
                            << Format::printable(text) << "\"\n";
                return 2;
            }
            at = MTime::fromMSec(std::llround(seconds * 1000.0));
        }
        contexts.timeline = FileAdder::TimelineContext { &timeline, track, at };
        context.out << "Importing " << paths.files.size() << " file"
                    << (paths.files.size() == 1 ? "" : "s") << " to the timeline, track " << track
                    << " from " << at.toClockString() << '\n';
    } else if (to == QLatin1String("collection")) {
        contexts.collection = FileAdder::CollectionContext {};
        context.out << "Importing " << paths.files.size() << " files to the collection\n";
    } else {
        contexts.transition = FileAdder::TransitionContext { &transition };
        context.out << "Importing " << paths.files.size()
                    << " files into a new dissolve transition\n";
    }
    context.out.flush();

    ImportWatch watch(project);
    QElapsedTimer clock;
    clock.start();
    PubSub::publish(
        FileAdder::AddMediaFiles(paths.files, static_cast<FileAdder::Asrc>(source), contexts));
    if (!watch.allRemoved()) {
        QEventLoop loop;
        watch.loop = &loop;
        loop.exec();
        watch.loop = nullptr;
    }
    const double seconds = std::max<qint64>(1, clock.elapsed()) / 1000.0;

    // What the request did with each path.
    const FileAdder::AddMediaFilesResult result = watch.results.empty()
        ? FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Declined, {})
        : watch.results.back();
    // Sets, not lists: a folder of many thousand files must not cost the square of their number.
    const QSet<QString> passedOn(result.files.begin(), result.files.end());
    const QSet<QString> packages(watch.packages.begin(), watch.packages.end());
    QStringList skipped;
    for (const QString &path : paths.files) {
        if (!passedOn.contains(path) && !packages.contains(path) && path != watch.projectToOpen
            && !Settings::isProjectFilePath(path))
            skipped << path;
    }

    int openedCount = 0;
    int failedCount = 0;
    bool cancelled = false;
    for (const FileAnalyzer::ObjectPtr &object : watch.objects) {
        cancelled = cancelled || object->status() == FileAnalyzer::Object::Status::Cancelled;
        openedCount += static_cast<int>(object->opened().size());
        failedCount += static_cast<int>(object->failed().size());
        if (track >= 0 && !object->opened().empty())
            printPlaced(context, project.timeline(), track, object->opened());
        if (to == QLatin1String("collection")) {
            context.out << "In the collection: " << watch.collectionAdded << " new of "
                        << watch.collectionOffered << " opened (" << project.userFiles().count()
                        << " in all)\n";
            QStringList lines;
            for (const Media::FilePtr &file : object->opened())
                lines << QStringLiteral("%1  (%2)").arg(name(file->path), describe(*file));
            printLines(context, lines);
        }
        if (!object->failed().empty()) {
            context.out << "Failed: " << object->failed().size() << '\n';
            QStringList lines;
            for (const Media::FilePtr &file : object->failed())
                lines << name(file->path) + QStringLiteral(": ") + Format::printable(file->error);
            printLines(context, lines);
        }
    }
    if (to == QLatin1String("transition")) {
        context.out << "The transition took " << transition.resources().size() << " media file"
                    << (transition.resources().size() == 1 ? "" : "s") << '\n';
        for (const Transition::Resource &r : transition.resources())
            context.out << "  " << name(r.file->path) << "  (" << describe(*r.file) << ")\n";
    }
    if (!watch.packages.isEmpty()) {
        context.out << "Handed to the package installer: " << watch.packages.size() << '\n';
        QStringList lines;
        for (const QString &p : watch.packages)
            lines << name(p);
        printLines(context, lines);
    }
    if (!paths.unread.empty()) {
        context.out << "Not read: " << paths.unread.size() << '\n';
        QStringList lines;
        for (const Unread &u : paths.unread)
            lines << (u.path.isEmpty() ? QStringLiteral("\"\"") : Format::printable(u.path))
                    + QStringLiteral(": ") + u.reason;
        printLines(context, lines);
    }
    if (!skipped.isEmpty()) {
        context.out << "Not media, left out: " << skipped.size() << '\n';
        QStringList lines;
        for (const QString &p : skipped)
            lines << name(p);
        printLines(context, lines);
    }

    int status = 0;
    if (!watch.projectToOpen.isEmpty()) {
        if (!openProject(context, watch.projectToOpen, false))
            status = 1;
    }
    if (result.result == FileAdder::AddedResult::Declined) {
        context.out << "Result: declined, nothing was added.\n";
        status = 1;
    } else if (cancelled) {
        context.out << "Result: cancelled, nothing was placed.\n";
        status = 1;
    } else {
        context.out << "Result: done. " << result.files.size() << " media file"
                    << (result.files.size() == 1 ? "" : "s") << " passed on: " << openedCount
                    << " opened, " << failedCount << " failed, in "
                    << QString::number(seconds, 'f', 2) << " s ("
                    << QString::number(result.files.size() / seconds, 'f', 1) << " files/s).\n";
        if (!result.files.isEmpty())
            context.out << "File storage: " << Settings::fileStoragePath() << '\n';
    }
    if (!projectPath.isEmpty() && !saveProject(context, projectPath))
        status = 1;
    return status;
}

} // namespace

Command importCommand()
{
    return { "import",
             "import FILE|FOLDER... [--project PROJECT] [--to timeline|collection|transition] "
             "[--source N] "
             "[--track N] [--at SECONDS] [--all]  add files as the editor's import does",
             [](QCommandLineParser &parser) {
                 parser.addOption(projectOption);
                 parser.addOption(toOption);
                 parser.addOption(sourceOption);
                 parser.addOption(trackOption);
                 parser.addOption(atOption);
                 parser.addOption(allOption);
             },
             run };
}

} // namespace Shell

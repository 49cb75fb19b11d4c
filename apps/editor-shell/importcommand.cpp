// `import`: publishes the add request for files and folders, shows the analysis progress, answers
// the layer's questions on the terminal (or from --yes / --no) and prints what reached the
// timeline or the collection, what failed and why, and the result.

#include "importcommand.h"
#include "analysiswait.h"
#include "exitsignals.h"
#include "outputguard.h"

#include "Application/application.h"
#include "projectactions.h"

#include "FileAnalyzer/model.h"
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
#include "mediamodel/mediafile.h"
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
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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
    , public AnalysisWait {
public:
    ImportWatch(FileAnalyzer::Model &analysis, Project::Object &project)
        : AnalysisWait(analysis)
        , project(project)
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
    Project::Object &project;
    std::vector<FileAdder::AddMediaFilesResult> results;
    QString projectToOpen;
    QStringList packages;
    int collectionAdded = 0;
    int collectionOffered = 0;
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

// A folder of thousands makes lists nobody reads; the report shows the first lines of each and
// counts the rest, unless asked for all.
constexpr int listedLines = 30;

void printLines(Context &context, const QStringList &lines)
{
    const bool all = context.options.isSet(QStringLiteral("all"));
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

QJsonArray printPlaced(Context &context,
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
    QJsonArray json;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        QStringList lines;
        for (const auto &clip : timeline.track(t).clips()) {
            if (!placed.count(clip->file().get()))
                continue;
            lines << QStringLiteral("%1  +%2  %3  (%4)")
                         .arg(clip->position().toClockString(), clip->duration().toClockString(),
                              name(clip->file()->path), describe(*clip->file()));
            json.append(QJsonObject { { QStringLiteral("clip"), static_cast<qint64>(clip->id()) },
                                      { QStringLiteral("track"), t },
                                      { QStringLiteral("position"), clip->position().toSecF() },
                                      { QStringLiteral("duration"), clip->duration().toSecF() },
                                      { QStringLiteral("path"), clip->file()->path } });
        }
        if (t != track && lines.isEmpty())
            continue;
        context.out << "On the timeline, track " << t << ": " << lines.size() << " new clip"
                    << (lines.size() == 1 ? "" : "s") << '\n';
        printLines(context, lines);
    }
    return json;
}

// Paths as a JSON array, each as the file system gave it.
QJsonArray pathArray(const QStringList &paths)
{
    QJsonArray array;
    for (const QString &path : paths)
        array.append(path);
    return array;
}

// Options that do not go together; empty when they do.
QString combinationError(const Context &context)
{
    const OptionValues &o = context.options;
    const QString to = o.text(QStringLiteral("to"));
    const bool intoTransition = to == QLatin1String("transition");
    if (context.arguments.isEmpty())
        return QStringLiteral("import needs a FILE or FOLDER");
    if (o.isSet(QStringLiteral("transition")) && !intoTransition)
        return QStringLiteral("--transition goes with --to transition");
    if ((o.isSet(QStringLiteral("track")) || o.isSet(QStringLiteral("at")))
        && to != QLatin1String("timeline"))
        return QStringLiteral("--track and --at go with --to timeline");
    if (intoTransition && !o.text(QStringLiteral("project")).isEmpty()
        && !o.isSet(QStringLiteral("transition")))
        return QStringLiteral("--to transition with --project needs --transition N (as "
                              "`project open` numbers them)");
    return {};
}

// Opens the project of --project, or makes it when it does not exist yet: importing into a new
// project is how one starts. Nothing when it is ready, else the status to end with.
std::optional<int> prepareProject(Context &context, Context &report, const QString &projectPath)
{
    if (!Settings::isProjectFilePath(projectPath))
        return context.usageError(
            QStringLiteral("%1 does not end in .%2")
                .arg(Format::printable(projectPath), Settings::projectFileExtension()));
    // Locked first, so that of two imports into one new project the second opens what the first
    // saved.
    if (!lockProject(context, projectPath))
        return 1;
    if (QFileInfo::exists(projectPath)) {
        if (!openProject(report, projectPath, false))
            return 1;
    } else {
        context.app.setProject(Project::Object::createNew());
        report.out << "New project " << Format::printable(projectPath) << '\n';
    }
    return std::nullopt;
}

// The layer asks on this terminal, or takes the answer given on the command line; its progress
// is drawn on the error stream, so the report on the output stays clean.
void answerOnTheTerminal(Context &context)
{
    context.app.setDialogs(std::make_shared<Dialog::TerminalDialogs>(
        context.answer == Answer::Yes      ? Dialog::TerminalDialogs::Answer::Yes
            : context.answer == Answer::No ? Dialog::TerminalDialogs::Answer::No
                                           : Dialog::TerminalDialogs::Answer::Ask,
        stdin, context.json() ? stderr : stdout));
    context.app.setProgressFactory(
        std::make_shared<Report::TerminalProgressFactory>(stderr, &ExitSignals::take));
}

// Where the files go: a timeline track and position, the collection, or a transition.
struct Destination {
    Destination() = default;
    Destination(const Destination &) = delete;
    Destination &operator=(const Destination &) = delete;

    FileAdder::Contexts contexts;
    int track = -1; // the timeline's track; -1 elsewhere
    Transition::Object scratch { Transition::Id::Dissolve };
    Transition::Object *transition = &scratch;
};

// Fills `destination` from the options and says where the files go; nothing when the project
// has the track or transition named, else the usage error's status.
std::optional<int> chooseDestination(Context &context,
                                     Context &report,
                                     Project::Object &project,
                                     int fileCount,
                                     Destination &destination)
{
    const OptionValues &o = context.options;
    const QString to = o.text(QStringLiteral("to"));
    if (to == QLatin1String("timeline")) {
        Timeline::Model &timeline = project.timeline();
        const int track = o.isSet(QStringLiteral("track")) ? o.integer(QStringLiteral("track"))
                                                           : firstVideoTrack(timeline);
        if (track >= timeline.trackCount())
            return context.usageError(QStringLiteral("the project has no track %1 (it has %2)")
                                          .arg(track)
                                          .arg(timeline.trackCount()));
        const MTime at = o.isSet(QStringLiteral("at")) ? o.time(QStringLiteral("at"))
                                                       : timeline.track(track).end();
        destination.track = track;
        destination.contexts.timeline = FileAdder::TimelineContext { &timeline, track, at };
        report.out << "Importing " << fileCount << " file" << (fileCount == 1 ? "" : "s")
                   << " to the timeline, track " << track << " from " << at.toClockString() << '\n';
    } else if (to == QLatin1String("collection")) {
        destination.contexts.collection = FileAdder::CollectionContext {};
        report.out << "Importing " << fileCount << " files to the collection\n";
    } else {
        if (o.isSet(QStringLiteral("transition"))) {
            const auto index = static_cast<std::size_t>(o.integer(QStringLiteral("transition")));
            if (index >= project.timeline().transitionCount())
                return context.usageError(
                    QStringLiteral("the project has no transition %1 (it has %2)")
                        .arg(index)
                        .arg(project.timeline().transitionCount()));
            // The project's own transition takes the files, so the save keeps them.
            destination.transition = &project.timeline().transition(index);
            report.out << "Importing " << fileCount << " files into transition " << index << '\n';
        } else {
            report.out << "Importing " << fileCount << " files into a new dissolve transition\n";
        }
        destination.contexts.transition = FileAdder::TransitionContext { destination.transition };
    }
    return std::nullopt;
}

// Publishes the add request and waits until every analysis it started is let go; the seconds
// it took.
double addAndWait(ImportWatch &watch,
                  const QStringList &files,
                  int source,
                  const FileAdder::Contexts &contexts)
{
    QElapsedTimer clock;
    clock.start();
    PubSub::publish(
        FileAdder::AddMediaFiles(files, static_cast<FileAdder::Asrc>(source), contexts));
    if (!watch.allRemoved()) {
        QEventLoop loop;
        watch.loop = &loop;
        loop.exec();
        watch.loop = nullptr;
    }
    return std::max<qint64>(1, clock.elapsed()) / 1000.0;
}

// What the request did not pass on: media it declined, and what is not media at all.
struct LeftOut {
    QStringList declinedMedia;
    QStringList skipped;
};

LeftOut leftOut(const QStringList &files,
                const FileAdder::AddMediaFilesResult &result,
                const ImportWatch &watch)
{
    const bool declined = result.result == FileAdder::AddedResult::Declined;
    // Sets, not lists: a folder of many thousand files must not cost the square of their number.
    const QSet<QString> passedOn(result.files.begin(), result.files.end());
    const QSet<QString> packages(watch.packages.begin(), watch.packages.end());
    LeftOut left;
    for (const QString &path : files) {
        if (passedOn.contains(path) || packages.contains(path) || path == watch.projectToOpen
            || Settings::isProjectFilePath(path))
            continue;
        // A declined request passes nothing on: what it would have opened was declined, not
        // left out for not being media.
        if (declined && FileUtil::supportedFileExtensions().contains(FS::extensionL(path)))
            left.declinedMedia << path;
        else
            left.skipped << path;
    }
    return left;
}

// What the analyses made of the files.
struct Analysed {
    int opened = 0;
    int failed = 0;
    bool cancelled = false;
};

// Reports each analysis: the clips placed, the files the collection took, the failures.
Analysed reportAnalyses(Context &report,
                        const ImportWatch &watch,
                        Project::Object &project,
                        int track,
                        QJsonObject &json)
{
    const bool intoCollection
        = report.options.text(QStringLiteral("to")) == QLatin1String("collection");
    Analysed analysed;
    QJsonArray placed, failed, collection;
    for (const FileAnalyzer::ObjectPtr &object : watch.objects) {
        analysed.cancelled
            = analysed.cancelled || object->status() == FileAnalyzer::Object::Status::Cancelled;
        analysed.opened += static_cast<int>(object->opened().size());
        analysed.failed += static_cast<int>(object->failed().size());
        if (track >= 0 && !object->opened().empty()) {
            for (const QJsonValue &clip :
                 printPlaced(report, project.timeline(), track, object->opened()))
                placed.append(clip);
        }
        if (intoCollection) {
            report.out << "In the collection: " << watch.collectionAdded << " new of "
                       << watch.collectionOffered << " opened (" << project.userFiles().count()
                       << " in all)\n";
            QStringList lines;
            for (const Media::FilePtr &file : object->opened()) {
                lines << QStringLiteral("%1  (%2)").arg(name(file->path), describe(*file));
                collection.append(file->path);
            }
            printLines(report, lines);
        }
        if (!object->failed().empty()) {
            report.out << "Failed: " << object->failed().size() << '\n';
            QStringList lines;
            for (const Media::FilePtr &file : object->failed()) {
                lines << name(file->path) + QStringLiteral(": ") + Format::printable(file->error);
                failed.append(QJsonObject { { QStringLiteral("path"), file->path },
                                            { QStringLiteral("error"), file->error } });
            }
            printLines(report, lines);
        }
    }
    json[QStringLiteral("placed")] = placed;
    json[QStringLiteral("collection")] = collection;
    json[QStringLiteral("failed")] = failed;
    return analysed;
}

// A heading with the count, then the names.
void reportNames(Context &report, const char *heading, const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    report.out << heading << ": " << paths.size() << '\n';
    QStringList lines;
    for (const QString &p : paths)
        lines << name(p);
    printLines(report, lines);
}

// Everything else that became of the paths: what the transition took, the packages handed on,
// the paths not read, the media declined and what was left out.
void reportTheRest(Context &report,
                   const Transition::Object *transition,
                   const ImportWatch &watch,
                   const std::vector<Unread> &unreadPaths,
                   const LeftOut &left,
                   QJsonObject &json)
{
    if (transition) {
        report.out << "The transition took " << transition->resources().size() << " media file"
                   << (transition->resources().size() == 1 ? "" : "s") << '\n';
        QJsonArray resources;
        for (const Transition::Resource &r : transition->resources()) {
            if (!r.file)
                continue;
            report.out << "  " << name(r.file->path) << "  (" << describe(*r.file) << ")\n";
            resources.append(r.file->path);
        }
        json[QStringLiteral("transition")] = resources;
    }
    reportNames(report, "Handed to the package installer", watch.packages);
    json[QStringLiteral("packages")] = pathArray(watch.packages);
    QJsonArray unread;
    if (!unreadPaths.empty()) {
        report.out << "Not read: " << unreadPaths.size() << '\n';
        QStringList lines;
        for (const Unread &u : unreadPaths) {
            lines << (u.path.isEmpty() ? QStringLiteral("\"\"") : Format::printable(u.path))
                    + QStringLiteral(": ") + u.reason;
            unread.append(QJsonObject { { QStringLiteral("path"), u.path },
                                        { QStringLiteral("reason"), u.reason } });
        }
        printLines(report, lines);
    }
    json[QStringLiteral("unread")] = unread;
    reportNames(report, "Declined", left.declinedMedia);
    json[QStringLiteral("declined")] = pathArray(left.declinedMedia);
    reportNames(report, "Not media, left out", left.skipped);
    json[QStringLiteral("leftOut")] = pathArray(left.skipped);
}

// The one-line result, with its word for JSON; the status it makes (1 when nothing came of it).
int reportResult(Context &report,
                 const FileAdder::AddMediaFilesResult &result,
                 const Analysed &analysed,
                 const ImportWatch &watch,
                 double seconds,
                 QJsonObject &json)
{
    int status = 0;
    QString outcome;
    if (result.result == FileAdder::AddedResult::Declined) {
        report.out << "Result: declined, nothing was added.\n";
        outcome = QStringLiteral("declined");
        status = 1;
    } else if (analysed.cancelled) {
        report.out << "Result: cancelled, nothing was placed.\n";
        outcome = QStringLiteral("cancelled");
        status = 1;
    } else {
        report.out << "Result: done. " << result.files.size() << " media file"
                   << (result.files.size() == 1 ? "" : "s") << " passed on: " << analysed.opened
                   << " opened, " << analysed.failed << " failed, in "
                   << QString::number(seconds, 'f', 2) << " s ("
                   << QString::number(result.files.size() / seconds, 'f', 1) << " files/s).\n";
        if (!result.files.isEmpty())
            report.out << "File storage: " << Settings::fileStoragePath() << '\n';
        outcome = QStringLiteral("done");
        // Nothing opened, handed on or to be opened: the import did nothing a script could use.
        if (analysed.opened == 0 && watch.packages.isEmpty() && watch.projectToOpen.isEmpty()) {
            report.out << "Nothing was added.\n";
            outcome = QStringLiteral("nothing-added");
            status = 1;
        }
    }
    json[QStringLiteral("result")] = outcome;
    json[QStringLiteral("opened")] = analysed.opened;
    return status;
}

int run(Context &context)
{
    if (const QString error = combinationError(context); !error.isEmpty())
        return context.usageError(error);
    const OptionValues &o = context.options;
    const QString to = o.text(QStringLiteral("to"));
    const QString projectPath = o.text(QStringLiteral("project"));
    // With --json the report for people goes to the error stream, the output is one object.
    Context quiet { context.app, context.parser, context.arguments, context.answer,
                    context.err, context.err,    context.options };
    Context &report = context.json() ? quiet : context;
    QJsonObject json { { QStringLiteral("to"), to },
                       { QStringLiteral("project"),
                         projectPath.isEmpty() ? QJsonValue() : QJsonValue(projectPath) } };

    if (!projectPath.isEmpty()) {
        if (const std::optional<int> status = prepareProject(context, report, projectPath))
            return *status;
    }
    const Paths paths = expand(context.arguments);
    const int source = o.isSet(QStringLiteral("source")) ? o.integer(QStringLiteral("source"))
                                                         : (paths.folders > 0 ? 8 : 0);
    answerOnTheTerminal(context);
    Project::Object &project = context.app.project();
    Destination destination;
    if (const std::optional<int> status = chooseDestination(
            context, report, project, static_cast<int>(paths.files.size()), destination))
        return *status;
    report.out.flush();

    ImportWatch watch(context.app.analysis(), project);
    const double seconds = addAndWait(watch, paths.files, source, destination.contexts);
    // What the request did with each path.
    const FileAdder::AddMediaFilesResult result = watch.results.empty()
        ? FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Declined, {})
        : watch.results.back();
    const LeftOut left = leftOut(paths.files, result, watch);
    const Analysed analysed = reportAnalyses(report, watch, project, destination.track, json);
    reportTheRest(report, to == QLatin1String("transition") ? destination.transition : nullptr,
                  watch, paths.unread, left, json);

    int status = 0;
    if (!watch.projectToOpen.isEmpty()) {
        if (!openProject(report, watch.projectToOpen, false))
            status = 1;
        json[QStringLiteral("openedProject")] = watch.projectToOpen;
    }
    status = std::max(status, reportResult(report, result, analysed, watch, seconds, json));
    bool saved = false;
    if (!projectPath.isEmpty()) {
        saved = saveProject(report, projectPath);
        if (!saved)
            status = 1;
    } else if (analysed.opened > 0 && to != QLatin1String("collection")) {
        // The shell's timeline lives for this run only.
        report.out << "Nothing saved: without --project the result ends with this run.\n";
    }
    json[QStringLiteral("saved")] = saved;
    if (context.json())
        context.out << QJsonDocument(json).toJson(QJsonDocument::Compact) << '\n';
    return status;
}

} // namespace

Command importCommand()
{
    return tabledCommand(
        "import", QStringLiteral("FILE|FOLDER..."),
        QStringLiteral("Add files as the editor's import does, and report what was placed, "
                       "what failed and why."),
        {
            path(QStringLiteral("project"),
                 QStringLiteral("Open PROJECT first (made when it does not exist) and save it "
                                "afterwards; without it nothing is kept."),
                 QStringLiteral("PROJECT")),
            choice(QStringLiteral("to"), QStringLiteral("Where the files go."),
                   { QStringLiteral("timeline"), QStringLiteral("collection"),
                     QStringLiteral("transition") })
                .withDefault(QStringLiteral("timeline")),
            integer(QStringLiteral("source"),
                    QStringLiteral("The add source reported with each file (0 import button, "
                                   "8 import folders, ...); default 8 when a folder is given, "
                                   "else 0."),
                    0, 18),
            integer(QStringLiteral("track"),
                    QStringLiteral("Timeline track to place on; default the first video track."), 0,
                    9999),
            position(QStringLiteral("at"),
                     QStringLiteral("Timeline position; default the end of the track.")),
            integer(QStringLiteral("transition"),
                    QStringLiteral("With --to transition and --project: the project's "
                                   "transition that takes the files, as `project open` numbers "
                                   "them."),
                    0, 1'000'000),
            flag(QStringLiteral("all"),
                 QStringLiteral("List every file in the report, not the first ones of each "
                                "list.")),
        },
        run);
}

} // namespace Shell

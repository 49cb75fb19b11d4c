// `frame`: the one picture the export would show at a moment of a saved project, as a PNG.

#include "Application/application.h"
#include "editing.h"

#include "exportengine/exportengine.h"
#include "project/project.h"
#include "timeline/timeline.h"

#include <QFileInfo>
#include <QImageWriter>
#include <QJsonObject>
#include <QSaveFile>

#include <optional>

namespace Shell {

namespace {

const QCommandLineOption atOption(QStringLiteral("at"),
                                  QStringLiteral("The moment, in seconds from the start."),
                                  QStringLiteral("SECONDS"));
const QCommandLineOption sizeOption(QStringLiteral("size"),
                                    QStringLiteral("The picture's size (default: the project's "
                                                   "resolution)."),
                                    QStringLiteral("WxH"));

constexpr int pngQuality = 70; // zlib level 2

struct FrameRequest {
    double seconds = 0;
    QSize size; // invalid: the project's
    QString output;
};

// The parse alone, so the options can move to the shell's option table unchanged in meaning.
// Returns the exit code on a bad request (2, the message written).
std::optional<FrameRequest> parseRequest(Context &context, int *exitCode)
{
    *exitCode = 2;
    if (context.arguments.size() != 2 || !context.parser.isSet(atOption)) {
        context.err << "Usage: editor-shell frame PROJECT --at SECONDS OUT.png [--size WxH] "
                       "[--json]\n";
        return std::nullopt;
    }
    FrameRequest request;
    request.output = context.arguments.at(1);
    if (!secondsOption(context, atOption, &request.seconds))
        return std::nullopt;
    if (context.parser.isSet(sizeOption)) {
        const QStringList parts = context.parser.value(sizeOption).split(QLatin1Char('x'));
        bool w = false;
        bool h = false;
        if (parts.size() == 2)
            request.size = QSize(parts[0].toInt(&w), parts[1].toInt(&h));
        if (!w || !h || request.size.width() < 2 || request.size.height() < 2
            || request.size.width() > 16384 || request.size.height() > 16384) {
            context.err << "editor-shell: --size takes WIDTHxHEIGHT, each 2 to 16384\n";
            return std::nullopt;
        }
    }
    *exitCode = 0;
    return request;
}

int run(Context &context)
{
    int exitCode = 0;
    const std::optional<FrameRequest> request = parseRequest(context, &exitCode);
    if (!request)
        return exitCode;
    if (QFileInfo(request->output).isDir()) {
        context.err << "editor-shell: " << request->output << " is a folder\n";
        return 1;
    }
    if (!openForEditing(context))
        return 1;
    const Project::Object &project = context.app.project();
    const QSize size = request->size.isValid() ? request->size : project.resolution();
    const MTime at = MTime::fromSec(request->seconds);
    QImage picture;
    try {
        picture = Export::pictureAt(project.timeline(), at, size);
    } catch (const std::exception &e) {
        context.err << "editor-shell: " << QString::fromStdString(e.what()) << '\n';
        return 1;
    }
    // Written whole or not at all: a picture cut short would pass for a thumbnail.
    QSaveFile file(request->output);
    QImageWriter writer(&file, "png");
    // Light compression: a preview is written to be looked at now, and zlib's default level
    // takes longer than the picture.
    writer.setQuality(pngQuality);
    if (!file.open(QIODevice::WriteOnly) || !writer.write(picture) || !file.commit()) {
        context.err << "editor-shell: cannot write " << request->output << ": "
                    << (writer.error() != QImageWriter::UnknownError ? writer.errorString()
                                                                     : file.errorString())
                    << '\n';
        return 1;
    }
    printResult(context,
                { { QStringLiteral("path"), QFileInfo(request->output).absoluteFilePath() },
                  { QStringLiteral("at"), at.toSecF() },
                  { QStringLiteral("width"), picture.width() },
                  { QStringLiteral("height"), picture.height() } },
                QStringLiteral("Wrote the picture at %1 (%2x%3) to %4\n")
                    .arg(at.toClockString())
                    .arg(picture.width())
                    .arg(picture.height())
                    .arg(request->output));
    return 0;
}

} // namespace

Command frameCommand()
{
    return { "frame",
             "frame PROJECT --at SECONDS OUT.png [--size WxH] [--json]  the picture the export "
             "shows at a moment",
             [](QCommandLineParser &parser) {
                 parser.addOptions({ atOption, sizeOption, jsonOutputOption });
             },
             run };
}

} // namespace Shell

// `frame`: the one picture the export would show at a moment of a saved project, as a PNG.

#include "Application/application.h"
#include "editing.h"
#include "outputguard.h"

#include "exportengine/exportengine.h"
#include "project/project.h"
#include "timeline/timeline.h"
#include "util/format.h"

#include <QFileInfo>
#include <QImageWriter>
#include <QJsonObject>
#include <QSaveFile>

#include <optional>

namespace Shell {

namespace {

constexpr int pngQuality = 70; // zlib level 2

struct FrameRequest {
    MTime at;
    QSize size; // invalid: the project's
    QString output;
};

// The request the options make; the table has checked --at already.
std::optional<FrameRequest> parseRequest(Context &context, int *exitCode)
{
    *exitCode = usageExit;
    if (context.arguments.size() != 2) {
        context.usageError(QStringLiteral("frame takes a PROJECT and an OUT.png file"));
        return std::nullopt;
    }
    FrameRequest request;
    request.output = QFileInfo(context.arguments.at(1)).absoluteFilePath();
    request.at = context.options.time(QStringLiteral("at"));
    if (context.options.isSet(QStringLiteral("size"))) {
        const QStringList parts
            = context.options.text(QStringLiteral("size")).split(QLatin1Char('x'));
        bool w = false;
        bool h = false;
        if (parts.size() == 2)
            request.size = QSize(parts[0].toInt(&w), parts[1].toInt(&h));
        if (!w || !h || request.size.width() < 2 || request.size.height() < 2
            || request.size.width() > 16384 || request.size.height() > 16384) {
            context.usageError(QStringLiteral("--size takes WIDTHxHEIGHT, each 2 to 16384"));
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
    if (!openForReading(context))
        return 1;
    if (!checkOutput(context, request->output, QStringLiteral("frame"), true))
        return 1;
    const Project::Object &project = context.app.project();
    const QSize size = request->size.isValid() ? request->size : project.resolution();
    const MTime at = request->at;
    QImage picture;
    try {
        picture = Export::pictureAt(project.timeline(), at, size);
    } catch (const std::exception &e) {
        return context.failure(Format::printable(QString::fromStdString(e.what())));
    }
    // Written whole or not at all: a picture cut short would pass for a thumbnail.
    QSaveFile file(request->output);
    QImageWriter writer(&file, "png");
    // Light compression: a preview is written to be looked at now, and zlib's default level
    // takes longer than the picture.
    writer.setQuality(pngQuality);
    if (!file.open(QIODevice::WriteOnly) || !writer.write(picture) || !file.commit()) {
        return context.failure(QStringLiteral("cannot write %1: %2")
                                   .arg(Format::printable(request->output),
                                        writer.error() != QImageWriter::UnknownError
                                            ? writer.errorString()
                                            : file.errorString()));
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
                    .arg(Format::printable(request->output)));
    rememberOutput(request->output, QStringLiteral("frame"));
    return 0;
}

} // namespace

Command frameCommand()
{
    return tabledCommand(
        "frame", QStringLiteral("PROJECT OUT.png"),
        QStringLiteral("Write the picture the export shows at a moment of the project as a PNG."),
        { position(QStringLiteral("at"),
                   QStringLiteral("The moment, as `project open` shows times."))
              .needed(),
          text(QStringLiteral("size"),
               QStringLiteral("The picture's size, each side 2 to 16384 (default: the project's "
                              "resolution)."),
               QStringLiteral("WxH")) },
        run);
}

} // namespace Shell

// `export`: what the export button and the export dialog do: "EXPORT_CLICKED" with the census,
// then the project rendered to a video file with a progress bar that Ctrl+C cancels.

#include "editing.h"
#include "exitsignals.h"
#include "outputguard.h"
#include "terminallog.h"

#include "Application/application.h"
#include "Statistics/exportstatistics.h"
#include "Statistics/istatistics.h"

#include "dialogs/terminalprogress.h"
#include "export/exportpresets.h"
#include "export/exportstate.h"
#include "exportengine/exportengine.h"
#include "media/mediaprobe.h"
#include "project/project.h"
#include "util/format.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimer>

#include <cmath>
#include <optional>

namespace Shell {

namespace {

const QLatin1String defaultPreset("mp4_h264_1080p");

QString rateText(const boost::rational<std::int64_t> &rate)
{
    return rate.denominator() == 1 ? QString::number(rate.numerator())
                                   : QString::number(boost::rational_cast<double>(rate), 'f', 3);
}

int listPresets(Context &context)
{
    QJsonArray list;
    QString text;
    for (const Export::ExportPreset &p : Export::bundledPresets()) {
        const QString size = p.hasVideo() ? QStringLiteral("%1x%2 %3 fps")
                                                .arg(p.frameSize.width())
                                                .arg(p.frameSize.height())
                                                .arg(rateText(p.frameRate))
                                          : QStringLiteral("sound only");
        list.append(QJsonObject { { QStringLiteral("id"), p.id },
                                  { QStringLiteral("tag"), p.currentTag },
                                  { QStringLiteral("format"), p.outputFormat },
                                  { QStringLiteral("video_codec"), p.videoCodec },
                                  { QStringLiteral("audio_codec"), p.audioCodec },
                                  { QStringLiteral("width"), p.frameSize.width() },
                                  { QStringLiteral("height"), p.frameSize.height() },
                                  { QStringLiteral("frame_rate"), rateText(p.frameRate) },
                                  { QStringLiteral("sample_rate"), p.sampleRate } });
        text += QStringLiteral("  %1 %2 %3 %4\n")
                    .arg(p.id, -26)
                    .arg(p.outputFormat, -5)
                    .arg(QStringList { p.videoCodec, p.audioCodec }.join(QLatin1Char('/')), -12)
                    .arg(size);
    }
    printResult(context, QJsonObject { { QStringLiteral("presets"), list } },
                QStringLiteral("Export presets (default %1):\n").arg(defaultPreset) + text);
    return 0;
}

// How the export ended, heard as the statistics hear it.
class Outcome : public Export::ExportStateWatcher {
public:
    void exportStarted(const Export::ExportState &) override { }
    void exportFinished(const Export::ExportState &s) override
    {
        end(QStringLiteral("finished"), s);
    }
    void exportCancelled(const Export::ExportState &s) override
    {
        end(QStringLiteral("cancelled"), s);
    }
    void exportFailed(const Export::ExportState &s, const Export::ExportErrorDesc &e) override
    {
        error = e;
        end(QStringLiteral("failed"), s);
    }

    QString result;
    Export::ExportState state;
    Export::ExportErrorDesc error;
    QEventLoop loop;

private:
    void end(const QString &how, const Export::ExportState &s)
    {
        result = how;
        state = s;
        loop.quit();
    }
};

// The progress bar's cancel button is the engine's.
class CancelOnRequest : public Report::IProgressListener {
public:
    explicit CancelOnRequest(Export::Engine &engine)
        : m_engine(engine)
    {
    }
    void progressCancelled(Report::IProgress &) override { m_engine.cancel(); }

private:
    Export::Engine &m_engine;
};

QString clock(double seconds)
{
    const auto s = static_cast<qint64>(std::llround(seconds));
    return QStringLiteral("%1:%2").arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0'));
}

int run(Context &context)
{
    if (context.options.isSet(QStringLiteral("list-presets")))
        return listPresets(context);
    const QStringList &args = context.arguments;
    if (args.size() != 2)
        return context.usageError(QStringLiteral("export takes a PROJECT and an OUT file"));
    const QString presetId = context.options.text(QStringLiteral("preset"));
    const Export::ExportPreset *preset = Export::findPreset(presetId);
    if (!preset)
        return context.usageError(
            QStringLiteral("there is no export preset \"%1\" (editor-shell export "
                           "--list-presets lists them)")
                .arg(Format::printable(presetId)));
    Export::ExportRange range;
    if (context.options.isSet(QStringLiteral("range"))) {
        const TimeRange part = context.options.range(QStringLiteral("range"));
        range = Export::ExportRange::partial(part.from, part.to);
    }
    const QString output = QFileInfo(args.at(1)).absoluteFilePath();
    if (!openForReading(context))
        return 1;
    if (!checkOutput(context, output, QStringLiteral("export"), true))
        return 1;
    warnOnExtension(context, output, preset->outputFormat);

    const Timeline::Model &timeline = context.app.project().timeline();
    Statistics::statistics()->exportStatistics()->exportClicked(&timeline, range, false);

    Export::Engine &engine = context.app.exportEngine();
    auto factory = std::make_shared<Report::TerminalProgressFactory>(stderr, &ExitSignals::take);
    CancelOnRequest listener(engine);
    std::unique_ptr<Report::IProgress> bar;
    engine.setProgressHandler([&](const Export::ExportProgress &p) {
        if (!bar)
            return;
        bar->setValue(static_cast<int>(p.fraction * 1000));
        bar->setText(QStringLiteral("%1%  %2x  %3")
                         .arg(static_cast<int>(p.fraction * 100), 3)
                         .arg(p.speed, 0, 'f', 2)
                         .arg(p.secondsLeft < 0 ? QStringLiteral("--:-- left")
                                                : clock(p.secondsLeft) + QStringLiteral(" left")));
    });
    // SIGTERM (and Ctrl+C where no terminal bar takes it) ends the export as a cancel.
    QTimer exitWatch;
    QObject::connect(&exitWatch, &QTimer::timeout, [&] {
        if (ExitSignals::exitRequested())
            engine.cancel();
    });
    exitWatch.start(100);

    Outcome outcome;
    bar = factory->create(QStringLiteral("Exporting %1").arg(QFileInfo(output).fileName()),
                          QStringLiteral("cancel"), 1000, &listener);
    {
        // The engine logs what it leaves out and why it failed; the result below tells the user
        // both in the shell's words, once.
        const TerminalLog::Told told;
        if (!engine.start(timeline, *preset, range, output))
            return context.failure(QStringLiteral("an export is already under way"));
        if (outcome.result.isEmpty())
            outcome.loop.exec();
    }
    bar.reset();
    engine.setProgressHandler(nullptr);

    QJsonObject json { { QStringLiteral("output"), output },
                       { QStringLiteral("preset"), preset->id },
                       { QStringLiteral("state"), outcome.result },
                       { QStringLiteral("seconds"), outcome.state.elapsed.toSecF() } };
    QJsonArray leftOut;
    for (const QString &what : engine.leftOut())
        leftOut.append(what);
    json.insert(QStringLiteral("left_out"), leftOut);
    QString text;
    if (!engine.leftOut().isEmpty())
        text += QStringLiteral("Left out (the engine cannot draw them): %1\n")
                    .arg(Format::printable(engine.leftOut().join(QStringLiteral(", "))));
    int code = 0;
    if (outcome.result == QLatin1String("finished")) {
        rememberOutput(output, QStringLiteral("export"));
        const Media::File file = Media::probe(output);
        const QString video = file.hasVideo() ? file.videoTracks.front().codecName : QString();
        const QString audio = file.hasAudio() ? file.audioTracks.front().codecName : QString();
        json.insert(QStringLiteral("duration"), file.duration.toSecF());
        json.insert(QStringLiteral("size"), static_cast<double>(file.size));
        json.insert(QStringLiteral("video_codec"), video);
        json.insert(QStringLiteral("audio_codec"), audio);
        QStringList codecs { video, audio };
        codecs.removeAll(QString());
        QString picture;
        if (file.hasVideo()) {
            const Media::VideoTrack &v = file.videoTracks.front();
            json.insert(QStringLiteral("width"), v.frameSize.width());
            json.insert(QStringLiteral("height"), v.frameSize.height());
            json.insert(QStringLiteral("frame_rate"), boost::rational_cast<double>(v.frameRate));
            picture = QStringLiteral(", %1x%2 at %3 fps")
                          .arg(v.frameSize.width())
                          .arg(v.frameSize.height())
                          .arg(boost::rational_cast<double>(v.frameRate));
        }
        text += QStringLiteral("Exported %1\n  %2, %3 bytes, %4%5 in %6 s\n")
                    .arg(Format::printable(output), file.duration.toClockString())
                    .arg(file.size)
                    .arg(codecs.join(QLatin1Char('/')))
                    .arg(picture)
                    .arg(outcome.state.elapsed.toSecF(), 0, 'f', 1);
    } else if (outcome.result == QLatin1String("cancelled")) {
        text += QStringLiteral("Export cancelled; nothing was written to %1\n")
                    .arg(Format::printable(output));
        code = 130;
    } else {
        json.insert(QStringLiteral("reason"), outcome.error.reason);
        json.insert(QStringLiteral("error"), outcome.error.info);
        context.failure(QStringLiteral("export failed: %1. %2")
                            .arg(Format::printable(outcome.error.reason),
                                 Format::printable(outcome.error.info)));
        code = 1;
    }
    printResult(context, json, text);
    return code;
}

} // namespace

Command exportCommand()
{
    return tabledCommand(
        "export", QStringLiteral("PROJECT OUT"),
        QStringLiteral("Render the project to a video file, as the export button and dialog "
                       "do; Ctrl+C cancels."),
        { text(QStringLiteral("preset"), QStringLiteral("The export preset (see --list-presets)."),
               QStringLiteral("NAME"))
              .withDefault(defaultPreset),
          range(QStringLiteral("range"), QStringLiteral("Export only this part.")),
          flag(QStringLiteral("list-presets"),
               QStringLiteral("List the export presets instead.")) },
        run);
}

} // namespace Shell

#include "exportengine/exportengine.h"

#include "exportengine/renderer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
}

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <glog/logging.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>

namespace Export {

namespace {

// What the engine did with an export, handed from its thread to the owner's.
struct Outcome {
    enum Kind { Finished, Cancelled, Failed } kind = Finished;
    std::int64_t size = 0;
    ExportErrorDesc error;
};

} // namespace

struct Engine::Impl {
    QObject context; // lives on the owner's thread: the worker's results are queued to it
    QTimer progressTimer;
    std::function<void(const ExportProgress &)> progressHandler;
    std::thread worker;
    Detail::Control control;
    ExportState state;
    RenderPlan plan;
    QElapsedTimer clock;
    bool running = false;
    bool reported = true; // the last export's end was told to the watchers
    std::mutex mutex;
    std::optional<Outcome> outcome; // set by the worker, read by the owner

    ExportProgress progress() const
    {
        ExportProgress p;
        const double total = static_cast<double>(plan.duration.toMSec()) * control.passes;
        const double done = static_cast<double>(plan.duration.toMSec()) * control.pass
            + static_cast<double>(control.doneMs);
        const double elapsed = static_cast<double>(clock.isValid() ? clock.elapsed() : 0);
        p.fraction = total > 0 ? std::clamp(done / total, 0.0, 1.0) : 0;
        if (elapsed > 0)
            p.speed = done / elapsed;
        if (p.fraction > 0.01 && elapsed > 500)
            p.secondsLeft = (1.0 - p.fraction) * elapsed / p.fraction / 1000.0;
        return p;
    }

    void tellProgress()
    {
        if (progressHandler)
            progressHandler(progress());
    }

    // On the owner's thread, once per export.
    void conclude()
    {
        if (worker.joinable())
            worker.join();
        progressTimer.stop();
        running = false;
        if (reported)
            return;
        reported = true;
        Outcome o;
        {
            std::lock_guard lock(mutex);
            o = outcome.value_or(Outcome { Outcome::Cancelled, 0, {} });
        }
        state.elapsed = MTime::fromMSec(clock.elapsed());
        state.actualSize = o.size;
        if (o.kind == Outcome::Finished)
            tellProgress();
        switch (o.kind) {
        case Outcome::Finished:
            LOG(INFO) << "Exported " << state.outputPath.toStdString() << ": " << o.size
                      << " bytes in " << state.elapsed.toMSec() << " ms";
            notifyFinished(state);
            break;
        case Outcome::Cancelled:
            LOG(INFO) << "Export to " << state.outputPath.toStdString() << " cancelled";
            notifyCancelled(state);
            break;
        case Outcome::Failed:
            LOG(ERROR) << "Export to " << state.outputPath.toStdString()
                       << " failed: " << o.error.reason.toStdString() << ": "
                       << o.error.info.toStdString();
            notifyFailed(state, o.error);
            break;
        }
    }

    void run(ExportPreset preset, QString path)
    {
        Outcome o;
        try {
            o.size = Detail::render(plan, preset, path, control);
        } catch (const Detail::Cancelled &) {
            o.kind = Outcome::Cancelled;
        } catch (const Detail::Failure &f) {
            o.kind = Outcome::Failed;
            o.error = f.desc;
        } catch (const std::exception &e) {
            o.kind = Outcome::Failed;
            o.error = { QCoreApplication::translate("ExportEngine", "Encoding failed"),
                        QString::fromLocal8Bit(e.what()) };
        }
        {
            std::lock_guard lock(mutex);
            outcome = o;
        }
        QMetaObject::invokeMethod(
            &context, [this] { conclude(); }, Qt::QueuedConnection);
    }
};

Engine::Engine()
    : d(std::make_unique<Impl>())
{
    // The encoders' statistics and the decoders' complaints about odd files would otherwise
    // run through the progress bar; the engine reports what matters itself. (Where the media
    // analysis has routed the library's log, this changes nothing.)
    if (!VLOG_IS_ON(1))
        av_log_set_level(AV_LOG_FATAL);
    d->progressTimer.setInterval(200);
    QObject::connect(&d->progressTimer, &QTimer::timeout, &d->context,
                     [this] { d->tellProgress(); });
}

Engine::~Engine()
{
    cancel();
    // The queued conclusion dies with the context; the watchers hear the end here instead.
    d->conclude();
}

bool Engine::start(const Timeline::ITimeline &timeline,
                   const ExportPreset &preset,
                   const ExportRange &range,
                   const QString &outputPath)
{
    if (d->running)
        return false;
    d->plan = planRender(timeline, range);
    if (!d->plan.leftOut.isEmpty())
        LOG(WARNING) << "The export leaves out what it cannot draw: "
                     << d->plan.leftOut.join(QStringLiteral(", ")).toStdString();
    d->state = ExportState {};
    d->state.preset = preset;
    d->state.range = range;
    d->state.outputPath = outputPath;
    estimateSize(preset, d->plan.duration, &d->state.estimatedSizeMin, &d->state.estimatedSizeMax);
    d->control.cancel = false;
    d->control.pass = 0;
    d->control.passes = preset.twoPass.value_or(false) ? 2 : 1;
    d->control.doneMs = 0;
    d->outcome.reset();
    d->running = true;
    d->reported = false;
    d->clock.start();
    notifyStarted(d->state);
    d->progressTimer.start();
    d->worker = std::thread([this, preset, outputPath] { d->run(preset, outputPath); });
    return true;
}

void Engine::cancel()
{
    d->control.cancel = true;
}

bool Engine::isRunning() const
{
    return d->running;
}

QStringList Engine::leftOut() const
{
    return d->plan.leftOut;
}

void Engine::setProgressHandler(std::function<void(const ExportProgress &)> handler)
{
    d->progressHandler = std::move(handler);
}

QString encoderFor(const QString &codec)
{
    // The editor's codec names, and the encoders that make them best in this build.
    static const std::pair<const char *, const char *> preferred[] = {
        { "h264", "libx264" }, { "hevc", "libx265" },   { "vp9", "libvpx-vp9" },
        { "vp8", "libvpx" },   { "opus", "libopus" },   { "mp3", "libmp3lame" },
        { "aac", "aac" },      { "av1", "libaom-av1" },
    };
    for (const auto &[name, encoder] : preferred) {
        if (codec == QLatin1String(name) && avcodec_find_encoder_by_name(encoder))
            return QString::fromLatin1(encoder);
    }
    if (codec.isEmpty())
        return {};
    const QByteArray latin = codec.toLatin1();
    if (const AVCodec *c = avcodec_find_encoder_by_name(latin.constData()))
        return QString::fromLatin1(c->name);
    if (const AVCodecDescriptor *desc = avcodec_descriptor_get_by_name(latin.constData())) {
        if (const AVCodec *c = avcodec_find_encoder(desc->id))
            return QString::fromLatin1(c->name);
    }
    return {};
}

void estimateSize(const ExportPreset &preset, MTime duration, std::int64_t *min, std::int64_t *max)
{
    const double seconds = duration.toSecF();
    const double audio = preset.hasAudio() ? 192'000.0 * seconds / 8 : 0;
    double low = audio;
    double high = audio;
    if (preset.hasVideo()) {
        const double pixels = static_cast<double>(preset.frameSize.width())
            * preset.frameSize.height() * boost::rational_cast<double>(preset.frameRate) * seconds;
        switch (preset.bitrateMode) {
        case BitrateMode::Cbr:
            low += preset.videoBitRate * seconds / 8;
            high += preset.videoBitRate * seconds / 8;
            break;
        case BitrateMode::CbrAuto: {
            const double rate
                = preset.videoBitRate > 0 ? preset.videoBitRate * seconds : pixels / 10;
            low += rate / 8 * 0.5;
            high += rate / 8 * 1.5;
            break;
        }
        case BitrateMode::Vbr:
        case BitrateMode::None:
            // From still pictures to grain: two hundredths to a fifth of a bit per pixel.
            low += pixels * 0.02 / 8;
            high += pixels * 0.2 / 8;
            break;
        }
    }
    *min = static_cast<std::int64_t>(low);
    *max = static_cast<std::int64_t>(high);
}

} // namespace Export

#include "audio/recordingstream.h"

#include "audio/takefile.h"

#include "util/settingspaths.h"

#include <QFile>

#include <glog/logging.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace AudIO {

class RecordingStream::Impl {
public:
    // Writer side: called by the writer thread, or right after a pull.
    void drain()
    {
        std::lock_guard<std::mutex> lock(writeMutex);
        if (!take || failed)
            return;
        try {
            reader->Drain([this](const float *samples, int frames, int lostBefore) {
                if (lostBefore > 0)
                    take->writeSilence(lostBefore);
                take->write(samples, frames);
            });
            take->updateHeader();
        } catch (const std::exception &e) {
            LOG(ERROR) << "the take stopped being written: " << e.what();
            std::lock_guard<std::mutex> errorLock(errorMutex);
            writeError = QString::fromStdString(e.what());
            failed = true;
            // The header tells what the blocks before the failure hold; rewriting it in place
            // needs no more room.
            take->updateHeader();
            frames = take->frames();
            if (writeFailed)
                writeFailed();
            return;
        }
        frames = take->frames();
    }

    void runWriter()
    {
        std::unique_lock<std::mutex> lock(wakeMutex);
        while (!stopping) {
            wake.wait_for(lock, std::chrono::milliseconds(50), [this] { return stopping; });
            lock.unlock();
            drain();
            lock.lock();
        }
    }

    std::shared_ptr<AudioReader> reader;
    QString folder;
    std::unique_ptr<TakeFile> take;
    QString takePath;
    bool keepTake = false;
    bool recording = false;
    std::atomic<std::int64_t> frames { 0 };

    std::mutex writeMutex;
    bool failed = false;
    std::function<void()> writeFailed;
    mutable std::mutex errorMutex;
    QString writeError;

    std::thread writer;
    std::mutex wakeMutex;
    std::condition_variable wake;
    bool stopping = false;
};

RecordingStream::RecordingStream(std::shared_ptr<AudioReader> reader, QString takeFolder)
    : d(std::make_unique<Impl>())
{
    d->reader = std::move(reader);
    d->folder = takeFolder.isEmpty() ? Settings::recordingsPath() : std::move(takeFolder);
}

RecordingStream::~RecordingStream()
{
    Stop();
    if (!d->keepTake)
        Drop();
}

void RecordingStream::Start()
{
    if (d->recording)
        return;
    d->take = std::make_unique<TakeFile>(d->folder, d->reader->Format());
    d->takePath = d->take->path();
    if (d->reader->IsPulled()) {
        d->reader->SetPulledConsumer([impl = d.get()] { impl->drain(); });
    } else {
        d->stopping = false;
        d->writer = std::thread([impl = d.get()] { impl->runWriter(); });
    }
    d->recording = true;
    try {
        d->reader->Start();
    } catch (...) {
        Stop();
        Drop();
        throw;
    }
}

void RecordingStream::Stop()
{
    if (!d->recording)
        return;
    d->recording = false;
    d->reader->Stop();
    if (d->writer.joinable()) {
        {
            std::lock_guard<std::mutex> lock(d->wakeMutex);
            d->stopping = true;
        }
        d->wake.notify_all();
        d->writer.join();
    }
    d->reader->SetPulledConsumer(nullptr);
    d->drain();
    std::lock_guard<std::mutex> lock(d->writeMutex);
    if (!d->take)
        return;
    try {
        if (const std::int64_t trailing = d->reader->TakeTrailingLoss(); trailing > 0 && !d->failed)
            d->take->writeSilence(trailing);
    } catch (const std::exception &e) {
        LOG(ERROR) << "the end of the take could not be written: " << e.what();
    }
    d->frames = d->take->frames();
    d->take.reset();
}

bool RecordingStream::IsRecording() const
{
    return d->recording;
}

void RecordingStream::Save(const QString &path)
{
    Stop();
    if (d->takePath.isEmpty())
        throw std::runtime_error("nothing was recorded");
    convertAudioFile(d->takePath, path);
    Drop();
}

void RecordingStream::Drop()
{
    Stop();
    if (!d->takePath.isEmpty())
        QFile::remove(d->takePath);
    d->takePath.clear();
}

void RecordingStream::Keep()
{
    d->keepTake = true;
}

void RecordingStream::SetWriteFailedHandler(std::function<void()> handler)
{
    d->writeFailed = std::move(handler);
}

std::int64_t RecordingStream::Frames() const
{
    return d->frames.load();
}

RecordingResult RecordingStream::Result() const
{
    RecordingResult result;
    result.frames = d->frames.load();
    result.lostFrames = d->reader->LostFrames();
    result.overruns = d->reader->Overruns();
    result.format = d->reader->Format();
    result.firstSampleLatency = d->reader->FirstSampleLatency();
    return result;
}

QString RecordingStream::TakePath() const
{
    return d->takePath;
}

QString RecordingStream::WriteError() const
{
    std::lock_guard<std::mutex> lock(d->errorMutex);
    return d->writeError;
}

} // namespace AudIO

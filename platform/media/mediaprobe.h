#pragma once

#include "media_export.h"

#include "mediamodel/mediafile.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <cstdint>

// Reading what a media file holds, in this process, with the decoder library. A pure function of
// the file's bytes: safe to call from any thread, one call per file, nothing shared between calls.
namespace Media {

// What a probe may cost. A small file can describe huge work: a thousand streams, each with a
// decoder of its own, or a picture of 16000x16000 that the decoder would hold whole. A file over
// a limit fails with the limit named, before the work is done.
struct ProbeLimits {
    // A hostile or broken file can keep the demuxer reading forever (endless headers, a
    // pathological index); past this time the probe is abandoned and the file counts as failed.
    std::chrono::milliseconds timeout { 10000 };
    // Set from another thread to abandon the probe early; the file then counts as failed too.
    const std::atomic<bool> *cancelled = nullptr;
    // Streams of any kind in one file (a film with many languages and subtitles has a few dozen).
    int maxStreams = 64;
    // Pixels of one picture: 8192x8192 takes 8K video and photos of 60 megapixels.
    std::int64_t maxPixels = 8192LL * 8192;
    // What the decoders of one probe are expected to hold, estimated from the sizes the file
    // declares before anything is decoded (a picture of unknown size counts as maxPixels).
    std::int64_t maxMemory = 512LL << 20;
};

// All probes of the process together reserve at most this much memory; a probe whose estimate
// does not fit waits for others to finish (and still gives up at its timeout or when cancelled),
// so running more probes at once cannot multiply the cost past it.
inline constexpr std::int64_t probeMemoryTotal = 1024LL << 20;

// The file at `path`, analysed: state Opened with its container, tracks and properties, or
// Failed with a reason for people in `error`. Never throws for anything the file holds.
MEDIA_EXPORT File probe(const QString &path, const ProbeLimits &limits = {});

} // namespace Media

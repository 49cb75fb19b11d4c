#pragma once

#include "media_export.h"

#include "media/mediafile.h"

#include <QString>

#include <atomic>
#include <chrono>

// Reading what a media file holds, in this process, with the decoder library. A pure function of
// the file's bytes: safe to call from any thread, one call per file, nothing shared between calls.
namespace Media {

struct MEDIA_EXPORT ProbeLimits {
    // A hostile or broken file can keep the demuxer reading forever (endless headers, a
    // pathological index); past this time the probe is abandoned and the file counts as failed.
    std::chrono::milliseconds timeout { 10000 };
    // Set from another thread to abandon the probe early; the file then counts as failed too.
    const std::atomic<bool> *cancelled = nullptr;
};

// The file at `path`, analysed: state Opened with its container, tracks and properties, or
// Failed with a reason for people in `error`. Never throws for anything the file holds.
MEDIA_EXPORT File probe(const QString &path, const ProbeLimits &limits = {});

} // namespace Media

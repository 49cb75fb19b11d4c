#pragma once

#include "util/mtime.h"

#include <QSize>
#include <QString>
#include <QStringList>

#include <boost/rational.hpp>

#include <cstdint>
#include <memory>
#include <vector>

// A media file as the editor knows it after analysis: container, tracks and their properties.
// Shared (std::shared_ptr) between the timeline's clips, the collection and the analysis request
// that produced it; written by the analysis on the main thread only.
namespace Media {

// ITU-T H.273 code points.
struct ColorSpace {
    std::uint32_t primaries = 2;
    std::uint32_t transfer = 2;
    std::uint32_t matrix = 2;
};

struct VideoTrack {
    QString codecId; // the editor's codec identifier, e.g. "CODEC_ID_H264"
    QString codecName; // the decoder's short name, e.g. "h264"
    std::int64_t bitRate = 0; // bits per second; 0 when unknown
    boost::rational<int> frameRate { 0, 1 };
    QSize frameSize;
    bool stillImage = false;
    ColorSpace colorSpace;
    int bitDepth = 0; // bits per component of the decoded picture; 0 when unknown
};

struct AudioTrack {
    QString codecId;
    QString codecName;
    std::int64_t bitRate = 0;
    int sampleRate = 0;
    int channels = 0;
};

class File {
public:
    enum class State { NotAnalysed, Opened, Failed };

    explicit File(QString path)
        : path(std::move(path))
    {
    }

    bool isOpened() const noexcept { return state == State::Opened; }
    bool isFailed() const noexcept { return state == State::Failed; }
    bool isStillImage() const noexcept
    {
        return videoTracks.size() == 1 && videoTracks.front().stillImage;
    }
    bool hasVideo() const noexcept { return !videoTracks.empty(); }
    bool hasAudio() const noexcept { return !audioTracks.empty(); }

    QString path;
    State state = State::NotAnalysed;
    QString error; // why analysis failed, for people
    QString format; // container format name, e.g. "mov,mp4,m4a,3gp,3g2,mj2"
    std::int64_t size = 0;
    MTime duration;
    bool hdr = false; // a video track uses the PQ or HLG transfer
    std::vector<VideoTrack> videoTracks;
    std::vector<AudioTrack> audioTracks;
    // Identifiers of streams this build cannot decode, in stream order. Such streams are not
    // tracks: the editor could not show or play them, but the user may want to know what they were.
    QStringList unsupportedCodecs;
};

using FilePtr = std::shared_ptr<File>;

} // namespace Media

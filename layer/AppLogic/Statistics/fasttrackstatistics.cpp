#include "Statistics/fasttrackstatistics.h"

#include "Statistics/eventparams.h"

#include "util/format.h"

#include <cmath>

namespace Statistics {

namespace {

struct NamedColorSpace {
    std::uint32_t primaries;
    std::uint32_t transfer;
    std::uint32_t matrix;
    const char *name;
};

// Looked up in this order; the first match names the triple.
const NamedColorSpace namedColorSpaces[] = {
    { 2, 2, 2, "UNSPECIFIED" },    { 1, 13, 1, "SRGB" },         { 1, 8, 1, "SRGB_LINEAR" },
    { 1, 1, 1, "REC709" },         { 1, 8, 1, "REC709_LINEAR" }, { 9, 1, 9, "REC2020" },
    { 9, 8, 9, "REC2020_LINEAR" }, { 9, 16, 9, "REC2020_PQ" },   { 9, 18, 9, "REC2020_HLG" },
};

// Rounded to the nearest whole mebibyte (the files statistics truncate instead; both are kept
// as the events have always been sent).
std::string roundedMebibytes(std::int64_t bytes)
{
    return decimal(static_cast<std::int64_t>(
        std::lround(static_cast<double>(bytes) * (1.0 / 1024) * (1.0 / 1024))));
}

std::string resolution(const IFastTrackStatistics::FileInformation &info)
{
    return utf8(Format::videoResolution(QSize(info.width, info.height)));
}

void addSource(Params &params, const IFastTrackStatistics::FileInformation &source)
{
    params["FILE_SIZE_MB"] = roundedMebibytes(source.size);
    params["FILE_CODEC"] = utf8(source.codec);
    params["FILE_FORMAT"] = utf8(source.format);
    params["FILE_COLOR_SPACE"]
        = colorSpaceText(source.colorPrimaries, source.colorTransfer, source.colorMatrix);
    params["FILE_TIME_SEC"] = seconds(source.duration);
    params["FILE_RESOLUTION"] = resolution(source);
}

} // namespace

std::string colorSpaceText(std::uint32_t primaries, std::uint32_t transfer, std::uint32_t matrix)
{
    for (const NamedColorSpace &c : namedColorSpaces) {
        if (c.primaries == primaries && c.transfer == transfer && c.matrix == matrix)
            return c.name;
    }
    return decimal(primaries) + '-' + decimal(transfer) + '-' + decimal(matrix);
}

IFastTrackStatistics::~IFastTrackStatistics() = default;

FastTrackStatistics::FastTrackStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

FastTrackStatistics::~FastTrackStatistics() = default;

void FastTrackStatistics::started(const FileInformation &source)
{
    Params params;
    addSource(params, source);
    m_tracker->sendEvent("FTHD_FILE_PROCESSING_STARTED", std::move(params));
}

void FastTrackStatistics::finished(bool success,
                                   MTime processingTime,
                                   const QString &error,
                                   const FileInformation &source,
                                   const FileInformation &result)
{
    Params params { { "SUCCESS", flag(success) },
                    { "PROCESSING_TIME_SEC", seconds(processingTime) } };
    addSource(params, source);
    if (result.valid) {
        params["RESULT_FILE_SIZE_MB"] = roundedMebibytes(result.size);
        params["RESULT_FILE_CODEC"] = utf8(result.codec);
        params["RESULT_FILE_RESOLUTION"] = resolution(result);
    }
    if (!error.isEmpty())
        params["ERROR"] = utf8(error);
    m_tracker->sendEvent("FTHD_FILE_PROCESSING_FINISHED", std::move(params));
}

void FastTrackStatistics::failed(Error error, const QString &description)
{
    Params params;
    if (!description.isEmpty())
        params["DESCRIPTION"] = utf8(description);
    m_tracker->sendEvent(error == LowDiskSpace ? "FTHD_LOW_DISK_SPACE" : "FTHD_FILE_FAILED",
                         std::move(params));
}

} // namespace Statistics

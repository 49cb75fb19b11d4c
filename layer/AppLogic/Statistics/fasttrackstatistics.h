#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"
#include "util/mtime.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

#include <cstdint>
#include <string>

// Usage events of fast-track processing: a source file turned in the background into a copy that
// is quick to edit. Stateless; sends straight to the tracker.
namespace Statistics {

// The text of an ITU-T H.273 (primaries, transfer, matrix) triple: a name for the well-known
// ones, else the three numbers joined by "-". (1, 8, 1) is "SRGB_LINEAR": that name claims the
// triple before "REC709_LINEAR" could, which is why the latter is never sent.
APPLOGIC_EXPORT std::string
colorSpaceText(std::uint32_t primaries, std::uint32_t transfer, std::uint32_t matrix);

class APPLOGIC_EXPORT IFastTrackStatistics {
public:
    enum Error : int { LowDiskSpace = 0, FileFailed = 1 };

    struct FileInformation {
        bool valid = false;
        QString codec;
        QString format;
        std::uint32_t colorPrimaries = 2;
        std::uint32_t colorTransfer = 2;
        std::uint32_t colorMatrix = 2;
        std::int64_t size = 0;
        MTime duration;
        std::int32_t width = 0;
        std::int32_t height = 0;
    };

    virtual ~IFastTrackStatistics();
    virtual void started(const FileInformation &source) = 0;
    virtual void finished(bool success,
                          MTime processingTime,
                          const QString &error,
                          const FileInformation &source,
                          const FileInformation &result)
        = 0;
    virtual void failed(Error error, const QString &description) = 0;
};

class APPLOGIC_EXPORT FastTrackStatistics : public IFastTrackStatistics {
public:
    explicit FastTrackStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    FastTrackStatistics(const FastTrackStatistics &) = default;
    FastTrackStatistics(FastTrackStatistics &&) = default;
    FastTrackStatistics &operator=(const FastTrackStatistics &) = default;
    FastTrackStatistics &operator=(FastTrackStatistics &&) = default;
    ~FastTrackStatistics() override;

    void started(const FileInformation &source) override;
    void finished(bool success,
                  MTime processingTime,
                  const QString &error,
                  const FileInformation &source,
                  const FileInformation &result) override;
    void failed(Error error, const QString &description) override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics

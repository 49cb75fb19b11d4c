#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

namespace Media {
class File;
}
namespace Timeline {
class ITimeline;
}

// Usage events about the user's media files: files added to the project, the outcome of their
// analysis, the notice about H.265 files and logo pictures. Stateless; sends straight to the
// tracker. Reached through Statistics::statistics()->filesStatistics().
namespace Statistics {

// How a file or item came into the project. Shared by every reporter that names an adding way.
enum class AddingMethod : int {
    DragAndDropCollection = 0,
    DragAndDropTimeline = 1,
    DragAndDropTimelineCollection = 2,
    DragAndDropCollectionToTimeline = 3,
    DragAndDropExplorer = 4,
    ContextMenu = 5,
    PlayerDragAndDrop = 6,
    IntroClipDragAndDrop = 7,
    ImportButton = 8,
    CollectionButton = 9,
    CollectionContextMenu = 10,
    PlusBtnFiles = 11,
    PlusBtnMusic = 12,
    MainMenu = 13,
    MainImportButton = 14,
    TimelineImportButton = 15,
    ImportFolders = 16,
    AudioRec = 17,
    External = 18,
    CollectionItemDoubleClick = 19,
    CollectionItemClick = 20,
    CurrentPositionCollection = 21,
    InBeginningCollection = 22,
    InEndingCollection = 23,
    AfterCurrentClipCollection = 24,
    TransitionSettings = 25,
    Generated = 26,
    Undo = 27,
    Redo = 28,
};

// How the user left the notice about files in the H.265 format.
enum class UnsupportedCodecInfoDialogAction : int { Skipped = 0, Closed = 1 };

// The parameter text of a method; "unknown" outside the table.
APPLOGIC_EXPORT const char *addingMethodText(AddingMethod method);
// "SKIPPED", "CLOSED", or "INVALID_ACTION" outside the table.
APPLOGIC_EXPORT const char *
unsupportedCodecInfoDialogActionText(UnsupportedCodecInfoDialogAction action);
// The codec a file is reported under: its first track's codec, or when it has no track of the
// kind, the first unsupported codec of that kind; empty when neither. A still JPEG's MJPEG
// picture is reported as "CODEC_ID_JPEG".
APPLOGIC_EXPORT QString videoCodecText(const Media::File &file);
APPLOGIC_EXPORT QString audioCodecText(const Media::File &file);
class APPLOGIC_EXPORT IFilesStatistics {
public:
    virtual ~IFilesStatistics();
    virtual void fileAdded(const QString &path, AddingMethod method, int filesCount) = 0;
    // Sends "FILE_OPENED" or "FILE_FAILED" for a file on its first use on the timeline.
    virtual void fileAnalyzed(const Media::File &file, const Timeline::ITimeline &timeline) = 0;
    virtual void
    filesWithH265NotificationShown(const QString &type, const QString &format, int filesCount)
        = 0;
    virtual void filesWithH265NotificationLinkClicked(const QString &link) = 0;
    virtual void filesWithH265NotificationFinished(UnsupportedCodecInfoDialogAction action) = 0;
    virtual void logoFileAdded(const QString &path) = 0;
};

class APPLOGIC_EXPORT FilesStatistics : public IFilesStatistics {
public:
    explicit FilesStatistics(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    FilesStatistics(const FilesStatistics &) = default;
    FilesStatistics(FilesStatistics &&) = default;
    FilesStatistics &operator=(const FilesStatistics &) = default;
    FilesStatistics &operator=(FilesStatistics &&) = default;
    ~FilesStatistics() override;

    void fileAdded(const QString &path, AddingMethod method, int filesCount) override;
    void fileAnalyzed(const Media::File &file, const Timeline::ITimeline &timeline) override;
    void filesWithH265NotificationShown(const QString &type,
                                        const QString &format,
                                        int filesCount) override;
    void filesWithH265NotificationLinkClicked(const QString &link) override;
    void filesWithH265NotificationFinished(UnsupportedCodecInfoDialogAction action) override;
    void logoFileAdded(const QString &path) override;

private:
    void fileOpened(const Media::File &file);
    void fileFailed(const Media::File &file);

    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics

#pragma once

#include "media_export.h"

#include "media/fileanalysis.h"
#include "media/mediamessages.h"
#include "mediamodel/mediafile.h"

#include "pubsub/subscriber.h"

#include <set>
#include <unordered_map>
#include <vector>

// The editor's file-opening handler: opens a batch of media files through the analysis, counts
// them as they open or fail, and when the batch is complete sorts out the files the user must be
// told about. Subclasses watch the counts (processing) and decide what the problems mean
// (postProcessing). Main thread.
class MEDIA_EXPORT FileOpenHandler
    : public PubSub::Subscriber<Media::FileOpenedNotification, Media::FileOpenFailedNotification> {
public:
    // Ordered by path, so the dialogs list the files the way a file manager would.
    struct ByPath {
        bool operator()(const Media::FilePtr &a, const Media::FilePtr &b) const
        {
            return a->path != b->path ? a->path < b->path : a.get() < b.get();
        }
    };
    using FileSet = std::set<Media::FilePtr, ByPath>;

    // What a finished batch left to tell the user.
    struct AnalyzedProduct {
        FileSet failedFiles; // could not be opened at all
        FileSet unsupportedCodecFiles; // opened, but a stream is in a codec this build lacks
        FileSet unknownDurationFiles; // opened, but their length could not be found
        FileSet hdrFiles; // opened, with a PQ or HLG picture

        bool hasProblems() const
        {
            return !failedFiles.empty() || !unsupportedCodecFiles.empty()
                || !unknownDurationFiles.empty();
        }
        bool hasHDRFiles() const { return !hdrFiles.empty(); }
    };

    FileOpenHandler();
    ~FileOpenHandler() override;
    FileOpenHandler(const FileOpenHandler &) = delete;
    FileOpenHandler &operator=(const FileOpenHandler &) = delete;

    // Adds files to the batch and starts analysing them. A file already in the batch is not
    // added twice.
    void addFiles(const std::vector<Media::FilePtr> &files);
    // Takes files out of the batch; their analysis is abandoned and they no longer count.
    void removeFiles(const std::vector<Media::FilePtr> &files);

    int totalFilesCount() const noexcept { return static_cast<int>(m_files.size()); }
    int processedFilesCount() const noexcept { return m_processed; }
    // The batch, in the order the files were added.
    const std::vector<Media::FilePtr> &addedFiles() const noexcept { return m_files; }

    Media::FileAnalysis &analysis() noexcept { return m_analysis; }

    void notify(const Media::FileOpenedNotification &n) override;
    void notify(const Media::FileOpenFailedNotification &n) override;

protected:
    // Called after every file that opened or failed. This base, once every file of the batch is
    // processed, sorts the product, hands it to postProcessing and starts a new, empty batch.
    virtual void processing();
    virtual void postProcessing(AnalyzedProduct product);
    // Whether the failed-files dialog may offer to take the failed files' clips off the timeline.
    virtual bool allowToDeleteClips(const AnalyzedProduct &product);

    // Tells the user about the problem files. Returns true when the user chose to remove the
    // clips of the failed files (only ever asked when allowToDeleteClips permits).
    bool showFailedFilesDialog(const AnalyzedProduct &product);
    void showHDRFilesAddedDialog();

    static AnalyzedProduct analyze(const std::vector<Media::FilePtr> &files);

private:
    void processed(const Media::FilePtr &file);

    Media::FileAnalysis m_analysis;
    std::vector<Media::FilePtr> m_files;
    std::unordered_map<const Media::File *, bool> m_done; // file -> processed
    int m_processed = 0;
};

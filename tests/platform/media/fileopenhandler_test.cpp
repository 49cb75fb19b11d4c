#include "media/fileopenhandler.h"

#include "dialogs/dialog.h"
#include "eventwait.h"
#include "fakedialogs.h"
#include "mediasamples.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Media::FilePtr;

// Keeps what the handler told it: every processing step and the product of each batch.
class Handler : public FileOpenHandler
{
public:
    void processing() override
    {
        steps.push_back({processedFilesCount(), totalFilesCount()});
        FileOpenHandler::processing();
    }
    void postProcessing(AnalyzedProduct product) override
    {
        products.push_back(product);
        if (tellUser)
            FileOpenHandler::postProcessing(std::move(product));
    }
    bool allowToDeleteClips(const AnalyzedProduct &) override { return allowDelete; }
    bool failedDialog(const AnalyzedProduct &p) { return showFailedFilesDialog(p); }

    std::vector<std::pair<int, int>> steps;
    std::vector<AnalyzedProduct> products;
    bool tellUser = false;
    bool allowDelete = false;
};

class FileOpenHandlerTest : public ::testing::Test
{
protected:
    void SetUp() override { Dialog::setDialogs(dialogs); }
    void TearDown() override { Dialog::setDialogs(nullptr); }

    FilePtr sample(const char *name)
    {
        return std::make_shared<Media::File>(TestSupport::sharedSamples().path(QLatin1String(name)));
    }
    FilePtr missing(const char *name) { return std::make_shared<Media::File>(dir.filePath(QLatin1String(name))); }

    QTemporaryDir dir;
    std::shared_ptr<TestSupport::FakeDialogs> dialogs = std::make_shared<TestSupport::FakeDialogs>();
};

TEST_F(FileOpenHandlerTest, counts_every_file_and_sorts_the_product_once_the_batch_is_done)
{
    Handler handler;
    const FilePtr video = sample("h264_aac.mp4");
    const FilePtr hdr = sample("pq10.mkv");
    const FilePtr gone = missing("gone.mov");
    handler.addFiles({video, hdr, gone, video});
    EXPECT_EQ(handler.totalFilesCount(), 3) << "a file is in a batch once";
    EXPECT_EQ(handler.processedFilesCount(), 0);

    ASSERT_TRUE(TestSupport::waitUntil([&] { return !handler.products.empty(); }));
    ASSERT_EQ(handler.steps.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(handler.steps[i], std::make_pair(static_cast<int>(i) + 1, 3));
    ASSERT_EQ(handler.products.size(), 1u);
    const auto &product = handler.products.front();
    EXPECT_EQ(product.failedFiles.size(), 1u);
    EXPECT_EQ(product.failedFiles.count(gone), 1u);
    EXPECT_EQ(product.hdrFiles.size(), 1u);
    EXPECT_EQ(product.hdrFiles.count(hdr), 1u);
    EXPECT_TRUE(product.unsupportedCodecFiles.empty());
    EXPECT_TRUE(product.hasProblems());
    EXPECT_TRUE(product.hasHDRFiles());
    EXPECT_EQ(handler.totalFilesCount(), 0) << "the next batch starts empty";
}

TEST_F(FileOpenHandlerTest, removed_files_no_longer_count)
{
    Handler handler;
    const FilePtr kept = sample("tone.wav");
    const FilePtr removed = sample("tone.flac");
    handler.addFiles({kept, removed});
    handler.removeFiles({removed});
    EXPECT_EQ(handler.totalFilesCount(), 1);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !handler.products.empty(); }));
    EXPECT_TRUE(handler.products.front().failedFiles.empty());
    EXPECT_EQ(handler.addedFiles().size(), 0u);
}

TEST_F(FileOpenHandlerTest, tells_the_user_about_failed_and_hdr_files)
{
    Handler handler;
    handler.tellUser = true;
    handler.addFiles({missing("lost clip.mp4"), sample("hlg.mp4")});
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !handler.products.empty(); }));
    ASSERT_EQ(dialogs->shown.size(), 2u);
    EXPECT_FALSE(dialogs->shown[0].isQuestion) << "without clips to remove there is nothing to ask";
    EXPECT_TRUE(dialogs->shown[0].details.contains(QLatin1String("lost clip.mp4")));
    EXPECT_TRUE(dialogs->shown[0].details.contains(QLatin1String("does not exist")));
    EXPECT_TRUE(dialogs->shown[1].title.contains(QLatin1String("HDR")));
}

TEST_F(FileOpenHandlerTest, the_failed_files_dialog_asks_only_when_clips_may_go)
{
    Handler handler;
    FileOpenHandler::AnalyzedProduct product;
    const FilePtr failed = missing("x.mp4");
    failed->state = Media::File::State::Failed;
    product.failedFiles.insert(failed);

    struct Row
    {
        bool allow;
        bool answer;
        bool expected;
        int questions;
    };
    for (const Row &r : {Row{false, true, false, 0}, Row{true, true, true, 1}, Row{true, false, false, 1}}) {
        dialogs->shown.clear();
        dialogs->answers = {r.answer};
        handler.allowDelete = r.allow;
        EXPECT_EQ(handler.failedDialog(product), r.expected);
        EXPECT_EQ(dialogs->questionCount(), r.questions);
    }
}

} // namespace

#include "media/fileopenhandler.h"

#include "eventwait.h"
#include "mediasamples.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Media::FilePtr;

// Keeps every processing step and the product of each batch, and tells the user nothing. How
// the product is told (dialogs, clip removal) is the file analyzer's, and tested there.
class Handler : public FileOpenHandler {
public:
    void processing() override
    {
        steps.push_back({ processedFilesCount(), totalFilesCount() });
        FileOpenHandler::processing();
    }
    void postProcessing(AnalyzedProduct product) override { products.push_back(product); }

    std::vector<std::pair<int, int>> steps;
    std::vector<AnalyzedProduct> products;
};

FilePtr sample(const char *name)
{
    return std::make_shared<Media::File>(TestSupport::samplePath(name));
}

TEST(FileOpenHandler, counts_every_file_once_and_sorts_the_product_when_the_batch_is_done)
{
    QTemporaryDir dir;
    Handler handler;
    const FilePtr video = sample("h264_aac.mp4");
    const FilePtr hdr = sample("pq10.mkv");
    const FilePtr gone = std::make_shared<Media::File>(dir.filePath("gone.mov"));
    const FilePtr removed = sample("tone.flac");
    handler.addFiles({ video, hdr, gone, video, removed });
    handler.removeFiles({ removed });
    EXPECT_EQ(handler.totalFilesCount(), 3)
        << "a file is in a batch once, and a removed one not at all";
    EXPECT_EQ(handler.processedFilesCount(), 0);

    ASSERT_TRUE(TestSupport::waitUntil([&] { return !handler.products.empty(); }));
    EXPECT_EQ(handler.steps, (std::vector<std::pair<int, int>> { { 1, 3 }, { 2, 3 }, { 3, 3 } }));
    ASSERT_EQ(handler.products.size(), 1u);
    const auto &product = handler.products.front();
    EXPECT_EQ(product.failedFiles, (decltype(product.failedFiles) { gone }));
    EXPECT_EQ(product.hdrFiles, (decltype(product.hdrFiles) { hdr }));
    EXPECT_TRUE(product.unsupportedCodecFiles.empty());
    EXPECT_TRUE(product.hasProblems());
    EXPECT_TRUE(product.hasHDRFiles());
    EXPECT_EQ(handler.totalFilesCount(), 0) << "the next batch starts empty";
}

} // namespace

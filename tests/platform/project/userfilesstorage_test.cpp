#include "mediamodel/mediafile.h"
#include "project/userfilesstorage.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

namespace {

TEST(UserFilesStorage, holds_each_path_once_in_arrival_order)
{
    Project::UserFilesStorage storage;
    const auto a = std::make_shared<Media::File>("/m/a.mp4");
    const auto b = std::make_shared<Media::File>("/m/b.mp4");
    const auto aAgain = std::make_shared<Media::File>("/m/a.mp4");
    const std::deque<std::shared_ptr<Media::File>> request { b, a, nullptr, aAgain };

    EXPECT_EQ(storage.add(request), 2u);
    ASSERT_EQ(storage.count(), 2u);
    EXPECT_EQ(storage.files()[0], b);
    EXPECT_EQ(storage.find("/m/a.mp4"), a);

    EXPECT_TRUE(storage.remove("/m/b.mp4"));
    EXPECT_FALSE(storage.remove("/m/b.mp4"));
    EXPECT_FALSE(storage.contains("/m/b.mp4"));
    EXPECT_EQ(storage.count(), 1u);
}

} // namespace

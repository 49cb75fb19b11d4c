#include "playback/player.h"

#include "eventwait.h"
#include "mediasamples.h"

#include "media/mediaprobe.h"
#include "timeline/timeline.h"

#include <QColor>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

// Pixels of a clear colour: the test pattern has them, black and grey have none.
int colouredPixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); y += 4) {
        for (int x = 0; x < image.width(); x += 4)
            count += image.pixelColor(x, y).hsvSaturation() > 128 ? 1 : 0;
    }
    return count;
}

class PlayerOfTheTimeline : public ::testing::Test {
protected:
    PlayerOfTheTimeline()
    {
        QFile::copy(TestSupport::samplePath("h264_aac.mp4"), clipPath);
        timeline.addTrack(Timeline::TrackType::Video);
        timeline.insertClip(0, MTime(), std::make_shared<Media::File>(Media::probe(clipPath)));
        player.setTimeline(&timeline);
        player.setPreviewSize({ 320, 180 });
        player.setSound(Playback::Player::Sound::NullOutput);
        QObject::connect(&player, &Playback::Player::pictureChanged, [this] {
            coloured = std::max(coloured, colouredPixels(player.picture()));
        });
    }

    QTemporaryDir folder;
    const QString clipPath = folder.filePath("clip.mp4");
    Timeline::Model timeline;
    Playback::Player player;
    int coloured = 0;
};

TEST_F(PlayerOfTheTimeline, shows_its_pictures_in_time_and_stops_at_its_end)
{
    player.play();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return player.isPlaying(); }));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !player.isPlaying(); }));

    EXPECT_EQ(player.picture().size(), QSize(320, 180));
    EXPECT_GT(coloured, 100) << "the test pattern, not black";
    // One second at 30 pictures a second: none shown or dropped twice (a loaded machine may
    // not have made the last ones in time).
    EXPECT_GE(player.shownFrames(), 1);
    EXPECT_LE(player.shownFrames() + player.droppedFrames(), 30);
    EXPECT_GE(player.position(), timeline.duration());
    EXPECT_TRUE(player.playbackError().isEmpty()) << player.playbackError().toStdString();
}

TEST_F(PlayerOfTheTimeline, standing_still_it_shows_the_picture_at_the_playhead)
{
    player.seek(MTime::fromMSec(500));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !player.picture().isNull(); }));
    EXPECT_EQ(player.picture().size(), QSize(320, 180));
    EXPECT_GT(coloured, 100);
    EXPECT_FALSE(player.isPlaying());
}

TEST_F(PlayerOfTheTimeline, a_file_gone_is_told_and_the_clock_still_runs_to_the_end)
{
    QFile::remove(clipPath);
    player.play();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return player.isPlaying(); }));
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !player.isPlaying(); }));

    EXPECT_TRUE(player.playbackError().contains("missing")) << player.playbackError().toStdString();
    EXPECT_EQ(coloured, 0);
    EXPECT_GE(player.position(), timeline.duration());
}

} // namespace

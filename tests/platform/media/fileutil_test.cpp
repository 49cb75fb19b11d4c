#include "media/fileutil.h"

#include "media/filekinds.h"
#include "util/settingspaths.h"

#include <gtest/gtest.h>

namespace {

TEST(FileUtil, offers_what_the_decoder_library_reads)
{
    const QSet<QString> &media = FileUtil::supportedMediaExtensions();
    for (const char *ext :
         { "mp4", "mov",  "m4a", "mkv",  "webm", "avi", "mpg",  "ts",  "mts",  "wmv", "flv", "mp3",
           "wav", "flac", "ogg", "aiff", "png",  "jpg", "jpeg", "bmp", "tiff", "gif", "webp" }) {
        EXPECT_TRUE(media.contains(QLatin1String(ext))) << ext;
    }
}

TEST(FileUtil, leaves_out_text_playlists_and_non_media)
{
    const QSet<QString> &all = FileUtil::supportedFileExtensions();
    for (const char *ext :
         { "txt", "srt", "vtt", "ass", "m3u8", "mpd", "xml", "json", "doc", "", "exe" })
        EXPECT_FALSE(all.contains(QLatin1String(ext))) << ext;
}

TEST(FileUtil, stills_are_media)
{
    for (const QString &ext : FileUtil::stillImageExtensions())
        EXPECT_TRUE(FileUtil::supportedMediaExtensions().contains(ext)) << ext.toStdString();
}

TEST(FileUtil, project_and_package_files_are_accepted_but_are_not_media)
{
    const QString project = Settings::projectFileExtension();
    const QString package = Settings::packageFileExtension();
    EXPECT_TRUE(FileUtil::supportedFileExtensions().contains(project));
    EXPECT_TRUE(FileUtil::supportedFileExtensions().contains(package));
    EXPECT_FALSE(FileUtil::supportedMediaExtensions().contains(project));
    EXPECT_FALSE(FileUtil::supportedMediaExtensions().contains(package));
    EXPECT_TRUE(Settings::isPackageFilePath("/x/Titles Pack.EDPACK"));
    EXPECT_FALSE(Settings::isPackageFilePath("/x/edpack.mp4"));
    EXPECT_TRUE(Settings::isProjectFilePath("/a/b/holiday.edproj"));
    EXPECT_TRUE(Settings::isProjectFilePath("HOLIDAY.EDPROJ"));
    EXPECT_FALSE(Settings::isProjectFilePath("holiday.edproj.mp4"));
    EXPECT_FALSE(Settings::isProjectFilePath("edproj"));
}

} // namespace

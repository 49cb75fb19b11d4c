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

TEST(FileUtil, extensions_are_lower_case_without_dots)
{
    for (const QString &ext : FileUtil::supportedFileExtensions()) {
        EXPECT_EQ(ext, ext.toLower());
        EXPECT_FALSE(ext.contains(QLatin1Char('.'))) << ext.toStdString();
        EXPECT_FALSE(ext.isEmpty());
    }
}

TEST(FileUtil, stills_are_media_and_containers_are_not_stills)
{
    const QSet<QString> &stills = FileUtil::stillImageExtensions();
    EXPECT_TRUE(stills.contains(QStringLiteral("png")));
    EXPECT_TRUE(stills.contains(QStringLiteral("jpg")));
    EXPECT_FALSE(stills.contains(QStringLiteral("mp4")));
    for (const QString &ext : stills)
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
    EXPECT_TRUE(Settings::isPackageFilePath(QStringLiteral("/x/Titles Pack.EDPACK")));
    EXPECT_FALSE(Settings::isPackageFilePath(QStringLiteral("/x/edpack.mp4")));
    EXPECT_TRUE(Settings::isProjectFilePath(QStringLiteral("/a/b/holiday.edproj")));
    EXPECT_TRUE(Settings::isProjectFilePath(QStringLiteral("HOLIDAY.EDPROJ")));
    EXPECT_FALSE(Settings::isProjectFilePath(QStringLiteral("holiday.edproj.mp4")));
    EXPECT_FALSE(Settings::isProjectFilePath(QStringLiteral("edproj")));
}

} // namespace

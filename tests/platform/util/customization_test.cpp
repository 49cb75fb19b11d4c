#include "util/customization.h"
#include "util/settingspaths.h"

#include "tempdatafolder.h"
#include "testfiles.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using TestSupport::writeFile;

class Customization_ : public ::testing::Test {
protected:
    ~Customization_() override { Customization::setProductConfigPath({}); }
    TestSupport::TempDataFolder data;
};

TEST_F(Customization_, first_call_in_a_fresh_folder_is_the_first_launch_and_stays_so)
{
    EXPECT_EQ(Customization::applicationLaunchType(), Vantel::App::LaunchType::FirstLaunch);
    EXPECT_EQ(Customization::applicationLaunchType(), Vantel::App::LaunchType::FirstLaunch);
    EXPECT_TRUE(QFile::exists(data.filePath(QStringLiteral("installation"))));
}

TEST_F(Customization_, folder_with_a_marker_is_a_regular_launch)
{
    writeFile(data.filePath(QStringLiteral("installation")), {});
    EXPECT_EQ(Customization::applicationLaunchType(), Vantel::App::LaunchType::Regular);
}

TEST_F(Customization_, user_configuration_in_the_data_folder_wins_and_resolves_relative_files)
{
    writeFile(data.filePath(QStringLiteral("product.json")),
              R"({"links": {"COLLECTIONS_EXTERNAL_AUDIO_URL": "lists/audio.json",
                            "HOMEPAGE_URL": "https://example.org/"}})");
    EXPECT_EQ(Customization::appUrl(QStringLiteral("COLLECTIONS_EXTERNAL_AUDIO_URL")),
              QUrl::fromLocalFile(data.filePath(QStringLiteral("lists/audio.json"))));
    EXPECT_EQ(Customization::appUrl(QStringLiteral("HOMEPAGE_URL")),
              QUrl(QStringLiteral("https://example.org/")));
    EXPECT_TRUE(Customization::appUrl(QStringLiteral("NO_SUCH_KEY")).isEmpty());
}

TEST_F(Customization_, damaged_configuration_gives_empty_addresses_not_a_crash)
{
    writeFile(data.filePath(QStringLiteral("product.json")), "{\"links\": [1, 2");
    EXPECT_TRUE(Customization::appUrl(QStringLiteral("HOMEPAGE_URL")).isEmpty());
    writeFile(data.filePath(QStringLiteral("other.json")), "\xff\xfe\x00garbage");
    Customization::setProductConfigPath(data.filePath(QStringLiteral("other.json")));
    EXPECT_TRUE(Customization::appUrl(QStringLiteral("HOMEPAGE_URL")).isEmpty());
}

TEST_F(Customization_, bundled_configuration_names_the_collection_lists)
{
    EXPECT_FALSE(Customization::appUrl(QStringLiteral("COLLECTIONS_EXTERNAL_AUDIO_URL")).isEmpty());
}

TEST(SettingsPaths, unwritable_data_folder_is_refused_with_a_reason)
{
    EXPECT_THROW(Settings::setDataFolder(QStringLiteral("/proc/self/no-such-folder")),
                 std::runtime_error);
}

} // namespace

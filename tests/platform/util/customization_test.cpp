#include "customization/customization.h"
#include "util/settingspaths.h"

#include "tempdatafolder.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

#include <functional>
#include <ostream>

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

// What may stand at product.json in the data folder instead of a file: each is refused at once
// (no wait on a pipe, no endless read of a device) and the bundled configuration serves instead.
struct HostileConfig {
    const char *name;
    std::function<void(const QString &path)> plant;
};

std::ostream &operator<<(std::ostream &os, const HostileConfig &c)
{
    return os << c.name;
}

class HostileProductConfig
    : public Customization_
    , public ::testing::WithParamInterface<HostileConfig> { };

TEST_P(HostileProductConfig, is_refused_and_the_bundled_one_used)
{
    const QString path = data.filePath(QStringLiteral("product.json"));
    GetParam().plant(path);
    EXPECT_EQ(Customization::appUrl(QStringLiteral("COLLECTIONS_EXTERNAL_AUDIO_URL")),
              QUrl::fromLocalFile(QDir(Settings::bundledResourcesPath())
                                      .filePath(QStringLiteral("lists/external_audio.json"))));
}

INSTANTIATE_TEST_SUITE_P(
    Customization,
    HostileProductConfig,
    ::testing::Values(
        HostileConfig { "fifo",
                        [](const QString &path) {
                            ASSERT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
                        } },
        HostileConfig { "link_to_dev_zero",
                        [](const QString &path) {
                            ASSERT_TRUE(QFile::link(QStringLiteral("/dev/zero"), path));
                        } },
        HostileConfig { "link_to_a_good_file",
                        [](const QString &path) {
                            const QString elsewhere = path + QStringLiteral(".elsewhere");
                            writeFile(elsewhere, R"({"links": {"COLLECTIONS_EXTERNAL_AUDIO_URL":
                                                    "https://example.org/planted.json"}})");
                            ASSERT_TRUE(QFile::link(elsewhere, path));
                        } }),
    [](const auto &info) { return std::string(info.param.name); });

TEST(SettingsPaths, unwritable_data_folder_is_refused_with_a_reason)
{
    EXPECT_THROW(Settings::setDataFolder(QStringLiteral("/proc/self/no-such-folder")),
                 std::runtime_error);
}

} // namespace

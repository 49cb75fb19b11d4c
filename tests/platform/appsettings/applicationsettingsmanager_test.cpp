#include "appsettings/applicationsettingsmanager.h"

#include "smalltmpfs.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace Vantel::App;

// Writes down every callback as "key=value (was previous)".
class RecordingObserver : public AbstractSettingsManagerObserver {
public:
    void SettingChangedBool(const std::string &key,
                            bool value,
                            const std::optional<bool> &previous) override
    {
        calls.push_back(key + "=" + (value ? "true" : "false") + " (was "
                        + (previous ? (*previous ? "true" : "false") : "nothing") + ")");
    }
    void SettingChangedString(const std::string &key,
                              const std::string &value,
                              const std::optional<std::string> &previous) override
    {
        calls.push_back(key + "=" + value + " (was " + previous.value_or("nothing") + ")");
    }
    std::vector<std::string> calls;
};

class ApplicationSettings : public ::testing::Test {
protected:
    QString file() const { return folder.filePath("settings.ini"); }
    QTemporaryDir folder;
};

TEST_F(ApplicationSettings, fresh_preferences_have_the_editors_defaults)
{
    ApplicationSettingsManager settings(file());
    EXPECT_EQ(settings.language(), "en_US");
    EXPECT_TRUE(settings.boolValue(SettingKeys::autoUpdate));
    EXPECT_FALSE(settings.boolValue(SettingKeys::dontShowNewProjectDialog));
    EXPECT_TRUE(settings.boolValue(SettingKeys::fastTrackEnabled));
    EXPECT_FALSE(settings.boolValue("somethingElse"));
    EXPECT_EQ(settings.intValue("somethingElse"), 0);
    EXPECT_TRUE(settings.storedKeys().empty());
}

TEST_F(ApplicationSettings, changes_survive_a_restart)
{
    {
        ApplicationSettingsManager settings(file());
        settings.setBool(SettingKeys::autoUpdate, false);
        settings.setString(SettingKeys::language, "de_DE");
        settings.setInt("recentCount", 7);
    }
    ApplicationSettingsManager again(file());
    EXPECT_FALSE(again.boolValue(SettingKeys::autoUpdate));
    EXPECT_EQ(again.language(), "de_DE");
    EXPECT_EQ(again.intValue("recentCount"), 7);
    EXPECT_EQ(again.storedKeys(),
              (std::vector<std::string> { "autoUpdate", "language", "recentCount" }));
}

TEST_F(ApplicationSettings, observers_hear_real_changes_only_with_the_previous_value)
{
    ApplicationSettingsManager settings(file());
    RecordingObserver observer;
    settings.addObserver(&observer);
    settings.setBool(SettingKeys::autoUpdate, false);
    settings.setBool(SettingKeys::autoUpdate, false);
    settings.setBool(SettingKeys::autoUpdate, true);
    settings.setString(SettingKeys::language, "fr_FR");
    settings.removeObserver(&observer);
    settings.setBool(SettingKeys::autoUpdate, false);
    EXPECT_EQ(
        observer.calls,
        (std::vector<std::string> { "autoUpdate=false (was nothing)", "autoUpdate=true (was false)",
                                    "language=fr_FR (was nothing)" }));
}

TEST_F(ApplicationSettings, a_hand_edited_value_that_does_not_parse_reads_as_the_default)
{
    TestSupport::writeFile(file(), "[General]\nautoUpdate=perhaps\nfastTrackEnabled=false\n");
    ApplicationSettingsManager settings(file());
    EXPECT_TRUE(settings.boolValue(SettingKeys::autoUpdate));
    EXPECT_FALSE(settings.boolValue(SettingKeys::fastTrackEnabled));
}

TEST_F(ApplicationSettings, two_editors_on_one_file_keep_each_others_changes)
{
    ApplicationSettingsManager first(file());
    ApplicationSettingsManager second(file());
    first.setString(SettingKeys::language, "de_DE");
    second.setBool(SettingKeys::autoUpdate, false);
    ApplicationSettingsManager again(file());
    EXPECT_EQ(again.language(), "de_DE");
    EXPECT_FALSE(again.boolValue(SettingKeys::autoUpdate));
}

TEST_F(ApplicationSettings, any_key_and_text_survive_the_file)
{
    const std::map<QString, QString> values {
        { "odd key=[x]", " padded \"quoted\" back\\slash\nline " },
        { "section/key", "a,b;c" },
    };
    EXPECT_EQ(readSettingsText(writeSettingsText(values)), values);
}

// What stands at settings.ini instead of the file: the change is refused with its reason, nothing
// is written anywhere, and the editor still starts on its defaults.
struct BadSettingsPath : TestSupport::TableRow {
    std::function<void(const QString &path, const QString &victim)> plant;
};

class BadSettingsFile : public testing::TestWithParam<BadSettingsPath> { };

TEST_P(BadSettingsFile, gives_the_defaults_and_refuses_the_change)
{
    QTemporaryDir dir;
    const QString victim
        = TestSupport::writeFile(dir.filePath("passwd"), "[General]\nlanguage=fr_FR\n");
    const QString path = dir.filePath("settings.ini");
    GetParam().plant(path, victim);

    ApplicationSettingsManager settings(path);
    EXPECT_EQ(settings.language(), "en_US");
    EXPECT_THROW(settings.setString(SettingKeys::language, "de_DE"), std::runtime_error);
    EXPECT_EQ(settings.language(), "en_US");
    EXPECT_EQ(TestSupport::readFile(victim), "[General]\nlanguage=fr_FR\n");
}

const BadSettingsPath badSettingsPaths[] = {
    { "symlink", [](const QString &path, const QString &victim) { QFile::link(victim, path); } },
    { "fifo",
      [](const QString &path, const QString &) {
          ::mkfifo(QFile::encodeName(path).constData(), 0600);
      } },
    { "folder", [](const QString &path, const QString &) { QDir().mkpath(path); } },
};

INSTANTIATE_TEST_SUITE_P(ApplicationSettings,
                         BadSettingsFile,
                         testing::ValuesIn(badSettingsPaths),
                         TestSupport::tableRowName);

TEST_F(ApplicationSettings, a_full_disk_refuses_the_change_and_keeps_the_saved_ones)
{
    TestSupport::SmallTmpfs disk(32 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    ApplicationSettingsManager settings(disk.filePath("settings.ini"));
    settings.setString(SettingKeys::language, "de_DE");
    disk.fill();
    EXPECT_THROW(settings.setString(SettingKeys::language, std::string(8192, 'x')),
                 std::runtime_error);
    EXPECT_EQ(ApplicationSettingsManager(settings.path()).language(), "de_DE");
}

} // namespace

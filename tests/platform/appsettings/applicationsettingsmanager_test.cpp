#include "appsettings/applicationsettingsmanager.h"

#include "testfiles.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

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
    QString file() const { return folder.filePath(QStringLiteral("settings.ini")); }
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

} // namespace

#include "Collection/externallist.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace EditorCollection;

namespace {

QJsonObject audioEntry(const QString &uniqueId, const QString &tag, const QString &format)
{
    return QJsonObject {
        { "collectionId", "Music" }, { "uniqueId", uniqueId }, { "tag", tag },
        { "fileFormat", format },    { "status", "free" },     { "remoteSize", 1234 }
    };
}

ExternalList parseItems(const QJsonArray &items, const QJsonObject &translations = {})
{
    return parseExternalList(
        QJsonDocument(QJsonObject { { "translations", translations }, { "items", items } })
            .toJson());
}

} // namespace

// One hostile member per row: the entry is left out with exactly one warning.
struct Hostile {
    const char *name;
    QJsonObject entry;
};

class HostileEntry : public ::testing::TestWithParam<Hostile> { };

TEST_P(HostileEntry, is_skipped_with_one_warning)
{
    const ExternalList list = parseItems({ GetParam().entry, audioEntry("ok", "Fine", "mp3") });
    ASSERT_TRUE(list.valid);
    ASSERT_EQ(list.items.size(), 1u);
    EXPECT_EQ(list.items[0].uniqueId, "ok");
    ASSERT_EQ(list.warnings.size(), 1) << list.warnings.join('\n').toStdString();
    EXPECT_TRUE(list.warnings[0].startsWith("External list item 0 "))
        << list.warnings[0].toStdString();
}

QJsonObject with(QJsonObject o, const char *key, const QJsonValue &value)
{
    o.insert(QLatin1String(key), value);
    return o;
}

const QJsonObject shader { { "collectionId", "Transitions" },
                           { "uniqueId", "t1" },
                           { "tag", "Wipe" },
                           { "status", "free" } };

INSTANTIATE_TEST_SUITE_P(
    Collection,
    HostileEntry,
    ::testing::Values(
        Hostile { "dotdot_id", audioEntry("..", "A", "mp3") },
        Hostile { "dotdot_inside_id", audioEntry("a..b", "A", "mp3") },
        Hostile { "separator_id", audioEntry("a/b", "A", "mp3") },
        Hostile { "backslash_id", audioEntry("a\\b", "A", "mp3") },
        Hostile { "absolute_id", audioEntry("/etc", "A", "mp3") },
        Hostile { "drive_id", audioEntry("C:x", "A", "mp3") },
        Hostile { "nul_id", audioEntry(QString::fromUtf8("a\0b", 3), "A", "mp3") },
        Hostile { "empty_id", audioEntry("", "A", "mp3") },
        Hostile { "long_id", audioEntry(QString(300, 'x'), "A", "mp3") },
        Hostile { "control_tag", audioEntry("id", "A\nB", "mp3") },
        Hostile { "format_escape", audioEntry("id", "A", "../../x") },
        Hostile { "long_file_name", audioEntry("id", QString(300, 'y'), "mp3") },
        Hostile { "shader_tag_separator", with(shader, "tag", "../../evil") },
        Hostile { "shader_tag_absolute", with(shader, "tag", "/tmp/x") },
        Hostile { "hostile_collection", with(shader, "collectionId", "../Music") },
        Hostile { "huge_description",
                  with(audioEntry("id", "A", "mp3"), "description", QString(100000, 'd')) }),
    [](const auto &info) { return std::string(info.param.name); });

TEST(ExternalList, reads_every_member_of_an_entry)
{
    QJsonObject entry = audioEntry("m1", "Rain & Wind (Live)!", "ogg");
    entry.insert("author", "Ann");
    entry.insert("licenseName", "CC0");
    entry.insert("commercialUse", true);
    entry.insert("status", "paid");
    entry.insert("categories", QJsonArray { "Calm", "Calm", 7, "Nature" });
    entry.insert("previewUrls", QJsonObject { { "audio", "a.mp3" } });
    const ExternalList list = parseItems({ entry });
    ASSERT_EQ(list.items.size(), 1u);
    const ExternalListEntry &e = list.items[0];
    EXPECT_EQ(e.remoteSize, 1234);
    EXPECT_EQ(e.info->author, "Ann");
    EXPECT_EQ(e.info->tag, "Rain & Wind (Live)!");
    EXPECT_TRUE(e.info->commercialUse);
    EXPECT_EQ(e.info->status, ExternalResourceStatus::Paid);
    EXPECT_EQ(e.categories, (QStringList { "Calm", "Nature" }));
    ASSERT_EQ(e.previewUrls.size(), 1u);
    EXPECT_EQ(e.previewUrls[0].second, "a.mp3");
    // The ampersand, brackets and exclamation mark go; both blanks around the ampersand stay.
    EXPECT_EQ(cleanedAudioFileName(e.tag, e.fileFormat), "Rain  Wind Live.ogg");
    EXPECT_TRUE(list.warnings.isEmpty());
}

TEST(ExternalList, wrong_types_read_as_defaults_and_unknown_collections_are_silent)
{
    const QJsonObject odd { { "collectionId", "Sounds" }, { "uniqueId", "s1" },
                            { "remoteSize", "12" },       { "tag", 5 },
                            { "commercialUse", "yes" },   { "categories", "Calm" },
                            { "fileFormat", "wav" },      { "status", "free" } };
    const ExternalList list = parseItems({ odd, with(shader, "collectionId", "Videos"), 3 });
    ASSERT_EQ(list.items.size(), 1u);
    EXPECT_EQ(list.items[0].remoteSize, 0);
    EXPECT_TRUE(list.items[0].tag.isEmpty());
    EXPECT_FALSE(list.items[0].info->commercialUse);
    EXPECT_TRUE(list.items[0].categories.isEmpty());
    EXPECT_TRUE(list.warnings.isEmpty()) << list.warnings.join('\n').toStdString();
}

TEST(ExternalList, a_status_other_than_free_or_paid_is_paid_with_a_warning)
{
    const ExternalList list = parseItems({ with(shader, "status", "Free") });
    ASSERT_EQ(list.items.size(), 1u);
    EXPECT_EQ(list.items[0].info->status, ExternalResourceStatus::Paid);
    EXPECT_EQ(list.warnings, QStringList { "Invalid external audio status: Free" });
}

TEST(ExternalList, translations_fall_back_to_en_US_and_need_it)
{
    const QJsonObject translations {
        { "Only German", QJsonObject { { "de_DE", "Nur Deutsch" } } },
        { "Song", QJsonObject { { "en_US", "Song" }, { "de_DE", "Lied" }, { "xx_XX", "?" } } },
    };
    const ExternalList list = parseItems({}, translations);
    const Translator::TranslationTable &table = list.translations;
    ASSERT_EQ(table.keys, std::vector<QString> { "Song" });
    EXPECT_EQ(table.text(0, 0), "Song"); // en_US
    EXPECT_EQ(table.text(0, 1), "Song"); // ru_RU: not given
    EXPECT_EQ(table.text(0, 2), "Lied"); // de_DE
    EXPECT_EQ(list.warnings,
              QStringList { "Missing en_US locale for external audio translations!" });
}

struct Broken {
    const char *name;
    QByteArray bytes;
};

class BrokenList : public ::testing::TestWithParam<Broken> { };

TEST_P(BrokenList, adds_nothing_and_says_so)
{
    const ExternalList list = parseExternalList(GetParam().bytes);
    EXPECT_FALSE(list.valid);
    EXPECT_TRUE(list.items.empty());
    EXPECT_TRUE(list.translations.keys.empty());
    ASSERT_EQ(list.warnings.size(), 1);
    EXPECT_TRUE(list.warnings[0].startsWith("External list is not valid JSON"));
}

INSTANTIATE_TEST_SUITE_P(
    Collection,
    BrokenList,
    ::testing::Values(
        Broken { "empty", "" },
        Broken { "array", "[1,2]" },
        // Broken after a good entry: nothing of what came first is kept.
        Broken { "cut",
                 R"({"items":[{"collectionId":"Music","uniqueId":"a","status":"free"},{"col)" },
        Broken { "trailing", R"({"items":[]} {"items":[]})" },
        Broken { "bad_utf8", "{\"items\":[{\"uniqueId\":\"\xff\xfe\"}]}" },
        Broken { "deep", QByteArray(5000, '[') }),
    [](const auto &info) { return std::string(info.param.name); });

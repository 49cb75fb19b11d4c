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

TEST(ExternalList, a_warning_quotes_the_lists_text_as_it_stands)
{
    const QJsonObject translations {
        { "50%2Foff", QJsonObject { { "en_US", "Half off" }, { "de_DE", QString(70000, 'x') } } },
    };
    const ExternalList list = parseItems({}, translations);
    ASSERT_EQ(list.warnings.size(), 1);
    EXPECT_TRUE(list.warnings[0].startsWith("Translation \"50%2Foff\" skipped"))
        << list.warnings[0].toStdString();
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

// A size that is no size would read as 0 and turn the install's size check off.
class OddSize : public ::testing::TestWithParam<const char *> { };

TEST_P(OddSize, leaves_the_entry_out_with_a_warning)
{
    const QByteArray bytes = QByteArray(R"({"items": [{"collectionId": "Music", "uniqueId": "odd",
        "tag": "A", "status": "free", "remoteSize": )")
        + GetParam() + R"(}, {"collectionId": "Music", "uniqueId": "ok", "tag": "B",
        "status": "free", "remoteSize": 7}]})";
    const ExternalList list = parseExternalList(bytes);
    ASSERT_EQ(list.items.size(), 1u);
    EXPECT_EQ(list.items[0].uniqueId, "ok");
    EXPECT_EQ(list.items[0].remoteSize, 7);
    ASSERT_EQ(list.warnings.size(), 1) << list.warnings.join('\n').toStdString();
    EXPECT_TRUE(list.warnings[0].endsWith("its remoteSize is not a size in bytes"));
}

INSTANTIATE_TEST_SUITE_P(
    Collection,
    OddSize,
    ::testing::Values("1e999", "1e18", "-5", "2.5", "NaN", "18446744073709551616"),
    [](const auto &info) { return "row" + std::to_string(info.index); });

TEST(ExternalList, the_first_of_two_entries_alike_stays)
{
    const ExternalList list
        = parseItems({ audioEntry("same", "First", "mp3"), audioEntry("same", "Second", "mp3"),
                       with(shader, "uniqueId", "same") });
    ASSERT_EQ(list.items.size(), 2u); // the transition of that id is another collection's
    EXPECT_EQ(list.items[0].tag, "First");
    ASSERT_EQ(list.warnings.size(), 1);
    EXPECT_TRUE(list.warnings[0].startsWith("External list item 1 (\"same\") skipped: an earlier"));
}

TEST(ExternalList, a_tag_without_latin_letters_or_digits_names_no_hidden_file)
{
    EXPECT_EQ(cleanedAudioFileName(QString::fromUtf8("日本の歌"), "mp3", "song-42"), "song42.mp3");
    EXPECT_EQ(cleanedAudioFileName("  !!  ", "mp3", QString::fromUtf8("歌")), "audio.mp3");
    const ExternalList list = parseItems({ audioEntry("s1", QString::fromUtf8("Песня"), "ogg") });
    ASSERT_EQ(list.items.size(), 1u);
    EXPECT_EQ(list.items[0].fileName, "s1.ogg");
}

TEST(ExternalList, a_warning_repeated_over_many_entries_is_told_once_with_its_count)
{
    QJsonArray items;
    for (int i = 0; i < 1000; ++i)
        items.append(with(with(shader, "uniqueId", QString::number(i)), "status", "Free"));
    const ExternalList list = parseItems(items);
    EXPECT_EQ(list.items.size(), 1000u);
    EXPECT_EQ(
        list.warnings,
        (QStringList { "Invalid external audio status: Free", "Invalid external audio status: Free",
                       "Invalid external audio status: Free",
                       "997 more like \"Invalid external audio status\" (1000 in all)" }));
}

TEST(ExternalList, entries_beyond_the_limit_are_left_out_with_one_warning)
{
    QByteArray bytes = R"({"items": [)";
    const std::size_t count = maxExternalListItems + 5;
    bytes.reserve(static_cast<int>(count * 60));
    for (std::size_t i = 0; i < count; ++i)
        bytes += (i ? "," : "") + QByteArray(R"({"collectionId":"Sounds","uniqueId":"i)")
            + QByteArray::number(static_cast<qulonglong>(i)) + R"(","status":"free"})";
    bytes += "]}";
    const ExternalList list = parseExternalList(bytes);
    EXPECT_EQ(list.items.size(), maxExternalListItems);
    EXPECT_EQ(list.warnings,
              QStringList { QString::fromLatin1("5 entries beyond the limit of %1 skipped")
                                .arg(maxExternalListItems) });
}

TEST(ExternalList, only_a_json_object_with_items_may_replace_a_cached_list)
{
    EXPECT_EQ(externalListRefusal(R"({"items": []})"), "");
    EXPECT_EQ(externalListRefusal(R"({"items": {}})"), "no \"items\" array");
    EXPECT_EQ(externalListRefusal("[]"), "not a JSON object");
    for (const char *bad : { "", "<html></html>", R"({"items": [)", R"({"items": [NaN]})" })
        EXPECT_TRUE(externalListRefusal(bad).startsWith("not JSON")) << bad;
}

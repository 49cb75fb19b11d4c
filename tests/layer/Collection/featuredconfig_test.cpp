#include "Collection/featuredconfig.h"
#include "tablerow.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

using namespace EditorCollection;

struct ConfigCase : TestSupport::TableRow {
    QByteArray json;
    FeaturedConfig expected;
    int warnings;
};

QSet<QString> ids(std::initializer_list<const char *> list)
{
    QSet<QString> set;
    for (const char *id : list)
        set.insert(QString::fromUtf8(id));
    return set;
}

const QByteArray longName = '"' + QByteArray(maxFeaturedNameLength + 1, 'x') + '"';

const ConfigCase configCases[] = {
    { "packs_and_stock_with_duplicates_collapsed",
      R"({"collections": [{"name": "Music", "packs": [
            {"name": "stock", "assets": ["a", "b", "a"]}, {"name": "Summer", "assets": ["c"]}]},
          {"name": "Transitions", "packs": [{"name": "Glow", "assets": []}]}]})",
      { { QStringLiteral("Music"),
          { { QStringLiteral("stock"), ids({ "a", "b" }) },
            { QStringLiteral("Summer"), ids({ "c" }) } } },
        { QStringLiteral("Transitions"), { { QStringLiteral("Glow"), {} } } } },
      0 },
    { "a_collection_named_twice_keeps_both_entries",
      R"({"collections": [{"name": "Music", "packs": [{"name": "stock", "assets": ["a"]}]},
                          {"name": "Music", "packs": [{"name": "stock", "assets": ["b"]}]}]})",
      { { QStringLiteral("Music"), { { QStringLiteral("stock"), ids({ "a", "b" }) } } } },
      0 },
    { "wrong_types_and_empty_names_are_skipped_the_rest_kept",
      R"({"collections": [{"name": 7, "packs": []}, {"name": "Sounds", "packs": {}},
          {"name": "Music", "packs": [{"name": "", "assets": ["x"]}, {"name": "p", "assets": "x"},
                                      {"name": "q", "assets": [1, null, "", "ok"]}, 5]}]})",
      { { QStringLiteral("Music"), { { QStringLiteral("q"), ids({ "ok" }) } } } },
      8 },
    { "an_absurdly_long_name_is_skipped",
      R"({"collections": [{"name": "Music", "packs": [{"name": "p", "assets": [)" + longName
          + R"(, "ok"]}]}]})",
      { { QStringLiteral("Music"), { { QStringLiteral("p"), ids({ "ok" }) } } } },
      1 },
    { "not_json", "{\"collections\": [", {}, 1 },
    { "not_an_object", "[1, 2]", {}, 1 },
    { "no_collections_array", R"({"collections": {"name": "Music"}})", {}, 1 },
    { "empty_file", "", {}, 1 },
};

class FeaturedConfigRead : public ::testing::TestWithParam<ConfigCase> { };

TEST_P(FeaturedConfigRead, keeps_what_it_can_trust_and_warns_for_the_rest)
{
    const ConfigCase &c = GetParam();
    const FeaturedConfigParse result = parseFeaturedConfig(c.json);
    EXPECT_EQ(result.collections, c.expected);
    EXPECT_EQ(result.warnings.size(), c.warnings)
        << result.warnings.join(QLatin1Char('\n')).toStdString();
    int count = 0;
    for (const FeaturedCollection &packs : c.expected) {
        for (const QSet<QString> &set : packs)
            count += set.size();
    }
    EXPECT_EQ(result.assetCount, count);
}

INSTANTIATE_TEST_SUITE_P(Featured,
                         FeaturedConfigRead,
                         ::testing::ValuesIn(configCases),
                         TestSupport::tableRowName);

TEST(FeaturedConfigRead, a_flood_of_bad_entries_gives_a_bounded_log)
{
    QByteArray json = R"({"collections": [{"name": "Music", "packs": [{"name": "p", "assets": [)";
    for (int i = 0; i < 100000; ++i)
        json += "1,";
    json += R"("ok"]}]}]})";
    const FeaturedConfigParse result = parseFeaturedConfig(json);
    EXPECT_EQ(result.assetCount, 1);
    ASSERT_EQ(result.warnings.size(), 21);
    EXPECT_EQ(result.warnings.last(), QStringLiteral("99980 more entries skipped"));
}

} // namespace

#include "Collection/featuredcontroller.h"

#include "collectionfixture.h"
#include "tablerow.h"

#include "collection/categories.h"
#include "collection/collection.h"
#include "downloader/transferpolicy.h"

#include <optional>

namespace {

using namespace CollectionTest;
using namespace EditorCollection;

const QByteArray cachedConfig = R"({"collections": [
    {"name": "Music", "packs": [{"name": "stock", "assets": ["loose"]},
                                {"name": "Summer", "assets": ["in-pack", "grouped"]}]},
    {"name": "No such collection", "packs": [{"name": "stock", "assets": ["x"]}]}]})";
const QByteArray freshConfig
    = R"({"collections": [{"name": "Sounds", "packs": [{"name": "stock", "assets": ["a", "b", "c"]}]}]})";

ItemPtr addItem(const QString &collection,
                const QString &id,
                const QString &pack = {},
                const QString &group = {},
                bool featured = false)
{
    Payload payload;
    payload.import = std::make_shared<Import::Object>();
    ItemPtr item = ItemFactory::createItem(id, payload);
    item->setCollectionId(collection);
    item->setPackName(pack);
    item->setSecondaryGroupName(group);
    if (featured)
        item->addCategory(CategoryID::FEATURED);
    CollectionProvider::collection(collection)->addItem(item);
    return item;
}

class Featured : public CollectionFixture {
protected:
    // Waits for the controller's download to be reported.
    std::map<std::string, std::string> trendingReport()
    {
        EXPECT_TRUE(TestSupport::waitUntil(
            [&] { return !eventsNamed("TRENDING_CONTENT_LIST_REQUESTED").empty(); }));
        const auto reports = eventsNamed("TRENDING_CONTENT_LIST_REQUESTED");
        EXPECT_EQ(reports.size(), 1u);
        return reports.empty() ? std::map<std::string, std::string>() : reports.front();
    }

    QString cache() const { return Settings::collectionsTrendingConfigCachePath(); }
};

struct RuleCase : TestSupport::TableRow {
    const char *collection;
    const char *id;
    const char *pack;
    const char *group;
    bool hadFeatured;
    bool featured;
};

class FeaturedRule
    : public Featured
    , public ::testing::WithParamInterface<RuleCase> { };

TEST_P(FeaturedRule, marks_what_the_cached_configuration_names)
{
    const RuleCase &c = GetParam();
    writeFile(cache(), cachedConfig);
    server.setBody(QStringLiteral("trending"), freshConfig);
    std::optional<FeaturedController> controller;
    controller.emplace();
    const ItemPtr item
        = addItem(QString::fromUtf8(c.collection), QString::fromUtf8(c.id),
                  QString::fromUtf8(c.pack), QString::fromUtf8(c.group), c.hadFeatured);
    EXPECT_EQ(item->hasCategory(CategoryID::FEATURED), c.featured);
    EXPECT_EQ(CollectionProvider::collection(QString::fromUtf8(c.collection))
                  ->hasCategory(CategoryID::FEATURED),
              c.featured && !c.hadFeatured);
    // The fresh copy is for the next run.
    trendingReport();
    const ItemPtr later = addItem(QStringLiteral("Sounds"), QStringLiteral("a"));
    EXPECT_FALSE(later->hasCategory(CategoryID::FEATURED));
    // Gone, it marks nothing more.
    controller.reset();
    EXPECT_FALSE(addItem(QStringLiteral("Music"), QStringLiteral("loose"))
                     ->hasCategory(CategoryID::FEATURED));
}

INSTANTIATE_TEST_SUITE_P(
    Featured,
    FeaturedRule,
    ::testing::Values(
        RuleCase { "an_item_in_no_pack_is_matched_against_stock", "Music", "loose", "", "", false,
                   true },
        RuleCase { "an_item_in_a_listed_pack", "Music", "in-pack", "Summer", "", false, true },
        RuleCase { "the_secondary_group_stands_for_the_pack", "Music", "grouped", "", "Summer",
                   false, true },
        RuleCase { "an_unlisted_identifier_loses_the_mark", "Music", "stale", "Summer", "", true,
                   false },
        RuleCase { "a_listed_identifier_in_another_pack_is_not_featured", "Music", "loose",
                   "Winter", "", false, false },
        RuleCase { "a_collection_not_named_is_left_as_it_is", "Sounds", "a", "", "", true, true },
        RuleCase { "a_collection_the_editor_does_not_have_is_ignored", "No such collection", "x",
                   "", "", false, false }),
    TestSupport::tableRowName);

struct DownloadCase : TestSupport::TableRow {
    const char *serverPath;
    bool cached;
    const char *result;
    const char *count;
    bool warned;
};

class FeaturedDownload
    : public Featured
    , public ::testing::WithParamInterface<DownloadCase> { };

// The cache after the download is the fresh copy, or byte for byte the old one; the count
// reported is that of whatever is on disk then.
TEST_P(FeaturedDownload, reports_the_outcome_with_the_asset_count_on_disk)
{
    const DownloadCase &c = GetParam();
    const QByteArray validators = R"({"etag":"\"v1\"","lastModified":"","size":1})";
    if (c.cached) {
        writeFile(cache(), cachedConfig);
        writeFile(Downloader::validatorsPath(cache()), validators);
    }
    server.setBody(QStringLiteral("trending"), freshConfig);
    server.setBody(QStringLiteral("html"), "<html><body>502 Bad Gateway</body></html>");
    server.setBody(QStringLiteral("empty"), "");
    server.setBody(QStringLiteral("rawgzip"), qCompress(freshConfig));
    server.setBody(QStringLiteral("other"), R"({"items": []})");
    linkTrendingTo(QString::fromLatin1(c.serverPath));
    TestSupport::LogCapture log;
    FeaturedController controller;
    const auto report = trendingReport();
    EXPECT_EQ(report,
              (std::map<std::string, std::string> { { "RESULT", c.result },
                                                    { "ITEMS_COUNT", c.count } }));
    const bool succeeded = std::string(c.result) == "SUCCESS";
    EXPECT_EQ(readFile(cache()),
              succeeded ? freshConfig : (c.cached ? cachedConfig : QByteArray("<missing>")));
    if (c.cached && !succeeded) {
        EXPECT_EQ(readFile(Downloader::validatorsPath(cache())), validators);
    }
    EXPECT_EQ(log.matching({ "Download for url `", "` failed with errorCode `2`" }).size(),
              c.warned ? 1u : 0u);
    // Nothing of the fresh copy applies in this run.
    EXPECT_FALSE(
        addItem(QStringLiteral("Sounds"), QStringLiteral("b"))->hasCategory(CategoryID::FEATURED));
}

INSTANTIATE_TEST_SUITE_P(
    Featured,
    FeaturedDownload,
    ::testing::Values(
        DownloadCase { "first_start_without_a_cache", "/file/trending", false, "SUCCESS", "3",
                       false },
        DownloadCase { "a_cache_replaced_for_the_next_run", "/file/trending", true, "SUCCESS", "3",
                       false },
        // The count is of every collection the configuration names, the editor's or not.
        DownloadCase { "not_found_keeps_the_old_cache", "/status/404", true, "FAILED", "4", true },
        DownloadCase { "a_server_error_without_a_cache", "/status/500", false, "FAILED", "0",
                       true },
        DownloadCase { "a_cut_body_keeps_the_old_cache", "/cut", true, "FAILED", "4", true },
        // A 200 that is no configuration is refused before it reaches the cache.
        DownloadCase { "an_html_page_keeps_the_old_cache", "/file/html", true, "FAILED", "4",
                       true },
        DownloadCase { "an_empty_body_keeps_the_old_cache", "/file/empty", true, "FAILED", "4",
                       true },
        DownloadCase { "raw_compressed_bytes_keep_the_old_cache", "/file/rawgzip", true, "FAILED",
                       "4", true },
        DownloadCase { "another_document_keeps_the_old_cache", "/file/other", true, "FAILED", "4",
                       true },
        DownloadCase { "a_gzip_body_is_kept_decompressed", "/gzip/trending", true, "SUCCESS", "3",
                       false }),
    TestSupport::tableRowName);

} // namespace

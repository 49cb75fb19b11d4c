#include "collection/collection.h"
#include "translator/translator.h"

#include <gtest/gtest.h>

using namespace EditorCollection;

namespace {

// Leaves every collection it may have joined when it goes.
struct Recorder : ICollectionObserver {
    ~Recorder() override
    {
        for (const QString &name : CollectionProvider::itemStorage().collectionNames())
            CollectionProvider::collection(name)->unregisterObserver(this);
        CollectionProvider::itemStorage().unregisterObserver(this);
    }
    std::vector<std::string> heard;
    void itemAdded(Collection &, const ItemPtr &item) override { log("+", item); }
    void itemRemoved(Collection &, const ItemPtr &item) override { log("-", item); }
    void itemChanged(Collection &, const ItemPtr &item) override { log("~", item); }
    void collectionChanged(Collection &c) override
    {
        heard.push_back("!" + c.name().toStdString());
    }
    void log(const char *what, const ItemPtr &item)
    {
        heard.push_back(what + item->uniqueId().toStdString());
    }
};

ItemPtr item(const QString &id)
{
    auto import = std::make_shared<Import::Object>();
    import->filePath = "/r/" + id;
    return ItemFactory::createItem(id, Payload { import, nullptr, nullptr });
}

class CollectionTest : public ::testing::Test {
protected:
    void TearDown() override { CollectionProvider::itemStorage().reset(); }
    ItemStorage &storage = CollectionProvider::itemStorage();
};

} // namespace

TEST_F(CollectionTest, a_batch_is_heard_once_it_ends_with_one_collection_change)
{
    Recorder local, everywhere;
    auto music = storage.collection("Music");
    music->registerObserver(&local);
    storage.registerObserver(&everywhere);
    storage.setBatchUpdateMode("Music", true);
    storage.setBatchUpdateMode("Music", true); // nested
    music->addItem(item("a"));
    music->addItem(item("b"));
    music->item("a")->setFavorite(true);
    storage.setBatchUpdateMode("Music", false);
    EXPECT_TRUE(local.heard.empty());
    storage.setBatchUpdateMode("Music", false);
    const std::vector<std::string> expected { "+a", "+b", "~a", "!Music" };
    EXPECT_EQ(local.heard, expected);
    EXPECT_EQ(everywhere.heard, expected);
}

TEST_F(CollectionTest, a_replaced_item_keeps_its_place_and_the_users_marks)
{
    auto sounds = storage.collection("Sounds");
    sounds->addItem(item("a"));
    sounds->addItem(item("b"));
    sounds->item("a")->setInstalled(true);
    Recorder r;
    sounds->registerObserver(&r);
    const ItemPtr fresh = item("a");
    sounds->addItem(fresh);
    EXPECT_EQ(sounds->items().front(), fresh);
    EXPECT_TRUE(fresh->isInstalled());
    EXPECT_EQ(fresh->owner(), sounds.get());
    EXPECT_EQ(r.heard, (std::vector<std::string> { "-a", "!Sounds", "+a", "!Sounds" }));
    EXPECT_TRUE(sounds->removeItem("a"));
    EXPECT_EQ(sounds->item("b"), sounds->items().front());
    EXPECT_FALSE(sounds->removeItem("a"));
}

TEST_F(CollectionTest, an_observer_leaving_during_a_delivery_hears_no_more)
{
    struct Leaver : Recorder {
        void itemAdded(Collection &col, const ItemPtr &i) override
        {
            Recorder::itemAdded(col, i);
            col.unregisterObserver(this);
        }
    } leaver;
    Recorder stays;
    auto c = storage.collection("Music");
    c->registerObserver(&leaver);
    c->registerObserver(&stays);
    c->addItem(item("a"));
    c->addItem(item("b"));
    EXPECT_EQ(leaver.heard, std::vector<std::string> { "+a" });
    EXPECT_EQ(stays.heard.size(), 4u);
    EXPECT_FALSE(c->isObserverRegistered(&leaver));
}

struct Conversion {
    const char *name;
    const char *collection;
    const char *expected;
};

class CollectionIdConversion : public ::testing::TestWithParam<Conversion> { };

TEST_P(CollectionIdConversion, gives_the_statistics_word)
{
    EXPECT_EQ(Statistics::convertCollectionId(GetParam().collection), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Collection,
                         CollectionIdConversion,
                         ::testing::Values(Conversion { "single", "Music", "MUSIC" },
                                           Conversion { "blank", "Shader effects",
                                                        "SHADER_EFFECTS" },
                                           Conversion { "camel", "PanAndZoom", "PAN_AND_ZOOM" },
                                           Conversion { "empty", "", "" }),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(Translator, a_key_falls_back_to_en_US_then_to_nothing)
{
    Translator::registerTranslation("k", "Song", "en_US");
    Translator::registerTranslation("k", "Lied", "de_DE");
    Translator::registerTranslation("k", "", "fr_FR");
    EXPECT_EQ(Translator::translation("k", "de_DE"), "Lied");
    EXPECT_EQ(Translator::translation("k", "fr_FR"), "");
    EXPECT_EQ(Translator::translation("k", "ja_JP"), "Song");
    EXPECT_EQ(Translator::translation("other", "de_DE"), QString());
    Translator::clearTranslations();
    EXPECT_FALSE(Translator::hasTranslation("k"));
}

TEST(Translator, a_table_replaces_a_keys_texts_and_a_later_text_overrides_its_locale)
{
    auto table = std::make_shared<Translator::TranslationTable>();
    table->locales = { "en_US", "de_DE" };
    table->keys = { "k", "j" };
    table->utf8 = "SongLiedJazz";
    table->spans = { { 0, 4 }, { 4, 4 }, { 8, 4 }, { 8, 0 } };
    Translator::registerTranslation("k", "Old German", "de_DE");
    Translator::registerTranslation("k", "Vieux", "fr_FR");
    Translator::registerTranslations(table);
    EXPECT_EQ(Translator::translation("k", "de_DE"), "Lied");
    EXPECT_EQ(Translator::translation("k", "fr_FR"), "Song") << "the table replaced every locale";
    EXPECT_EQ(Translator::translation("j", "de_DE"), "");
    Translator::registerTranslation("k", "Neu", "de_DE");
    EXPECT_EQ(Translator::translation("k", "de_DE"), "Neu");
    EXPECT_EQ(Translator::translation("k", "en_US"), "Song");
    Translator::clearTranslations();
}

#include "Constants/locales.h"
#include "Constants/resourcecategories.h"
#include "Constants/urlkeys.h"
#include "tablerow.h"

#include <gtest/gtest.h>

namespace {

struct LinkRow : TestSupport::TableRow {
    int value;
};

class LinkKey : public testing::TestWithParam<LinkRow> { };

TEST_P(LinkKey, reads_both_ways)
{
    const auto key = static_cast<Vantel::URLKeys>(GetParam().value);
    EXPECT_EQ(Vantel::urlKeyName(key), QLatin1String(GetParam().name));
    EXPECT_EQ(Vantel::urlKeyFromName(QLatin1String(GetParam().name)), key);
}

INSTANTIATE_TEST_SUITE_P(Constants,
                         LinkKey,
                         testing::Values(LinkRow { "INTELMEDIA_ENCODING_MORE_URL_settings", 95 },
                                         LinkRow { "WEB_CONFIG_URL", 120 },
                                         LinkRow { "COLLECTIONS_EXTERNAL_AUDIO_URL", 153 },
                                         LinkRow { "COLLECTIONS_EXTERNAL_EFFECTS_URL", 154 },
                                         LinkRow { "COLLECTIONS_TRENDING_REQUEST_URL", 158 },
                                         LinkRow { "INTEL_RSSDK_ABOUT_URL_rssdk", 204 }),
                         TestSupport::tableRowName);

TEST(Constants, unknown_keys_and_codes_have_no_entry)
{
    EXPECT_TRUE(Vantel::urlKeyName(static_cast<Vantel::URLKeys>(94)).isEmpty());
    EXPECT_TRUE(Vantel::urlKeyName(static_cast<Vantel::URLKeys>(205)).isEmpty());
    EXPECT_FALSE(Vantel::urlKeyFromName("web_config_url"));
    EXPECT_TRUE(Locales::languageName("xxx").isEmpty());
    EXPECT_TRUE(Locales::nativeName("en_GB").isEmpty());
}

TEST(Constants, locales_keep_their_order_and_native_names)
{
    QStringList names;
    for (const Locales::Locale &locale : Locales::supportedLocales())
        names << locale.name;
    EXPECT_EQ(names.join(' '),
              QStringLiteral("en_US ru_RU de_DE fr_FR es_ES it_IT ja_JP nl_NL pl_PL pt_BR tr_TR "
                             "zh_CN ko_KR zh_TW"));
    EXPECT_EQ(Locales::nativeName("pt_BR"), "Português Brasileiro");
    EXPECT_EQ(Locales::nativeName("zh_TW"), QString::fromUtf8("繁體中文"));
    EXPECT_EQ(Locales::languageName("nob"), QString::fromUtf8("Norwegian Bokmål"));
    EXPECT_TRUE(Locales::languageNames().at("und").isEmpty());
}

TEST(Constants, collection_names_keep_their_forms)
{
    EXPECT_EQ(ResourceCategories::mediaKindForCollection("Music"), 1);
    EXPECT_EQ(ResourceCategories::mediaKindForCollection("Sounds"), 0);
    EXPECT_EQ(ResourceCategories::mediaKindForCollection("music"), 7);
}

} // namespace

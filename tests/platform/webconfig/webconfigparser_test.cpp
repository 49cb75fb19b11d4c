#include "webconfig/webconfigparser.h"

#include "damagedconfigs.h"
#include "tablerow.h"

#include <gtest/gtest.h>

namespace {

using namespace Vantel::App::WebConfig;

TEST(WebConfigParser, reads_sections_of_typed_values)
{
    const ParseResult result = parseWebConfig(R"({
        "CollectionSettings": {"LoadExternalEffects": true},
        "Limits": {"MaxTracks": -12, "Zero": 0},
        "AIModelSettings": {"Url": "https://a/\u00e9\ud83d\ude00\"x\""},
        "Empty": {}
    })");
    ASSERT_TRUE(result.ok()) << result.error.toStdString();
    EXPECT_EQ(result.config.at("CollectionSettings").at("LoadExternalEffects"), ConfigValue(true));
    EXPECT_EQ(result.config.at("Limits").at("MaxTracks"), ConfigValue(-12));
    EXPECT_EQ(result.config.at("AIModelSettings").at("Url"),
              ConfigValue(std::string("https://a/\xC3\xA9\xF0\x9F\x98\x80\"x\"")));
    EXPECT_TRUE(result.config.at("Empty").empty());
}

class DamagedConfigParse : public testing::TestWithParam<DamagedConfig> { };

TEST_P(DamagedConfigParse, is_refused_whole_with_its_problem_named)
{
    const ParseResult result = parseWebConfig(GetParam().bytes);
    EXPECT_FALSE(result.ok());
    EXPECT_TRUE(result.config.empty());
    EXPECT_TRUE(result.error.contains(QLatin1String(GetParam().problem)))
        << result.error.toStdString();
}

INSTANTIATE_TEST_SUITE_P(WebConfig,
                         DamagedConfigParse,
                         testing::ValuesIn(damagedConfigs()),
                         TestSupport::tableRowName);

} // namespace

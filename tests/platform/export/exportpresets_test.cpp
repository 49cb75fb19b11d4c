#include "export/exportpresets.h"
#include "media/codecconfig.h"
#include "tablerow.h"

#include <gtest/gtest.h>

namespace {

using Export::parsePresets;

struct DamagedCase : TestSupport::TableRow {
    const char *json;
    const char *warning; // what the one warning says
    std::size_t kept; // presets still read
};

class DamagedPresets : public ::testing::TestWithParam<DamagedCase> { };

TEST_P(DamagedPresets, skip_what_is_bad_with_one_warning_naming_it)
{
    const Export::PresetList list = parsePresets(GetParam().json);
    ASSERT_EQ(list.warnings.size(), 1) << list.warnings.join('|').toStdString();
    EXPECT_TRUE(list.warnings.first().contains(QLatin1String(GetParam().warning)))
        << list.warnings.first().toStdString();
    EXPECT_EQ(list.presets.size(), GetParam().kept);
}

INSTANTIATE_TEST_SUITE_P(
    Export,
    DamagedPresets,
    ::testing::Values(
        DamagedCase { "not_json", "{\"presets\": [", "not a preset list", 0 },
        DamagedCase { "no_list", "{\"presets\": {}}", "not a list", 0 },
        DamagedCase { "no_id", R"({"presets": [{"tag": "x"}, {"id": "a"}]})", "presets[0]: id", 1 },
        DamagedCase { "twice", R"({"presets": [{"id": "a"}, {"id": "a"}]})", "listed twice", 1 },
        DamagedCase { "huge_width", R"({"presets": [{"id": "a", "width": 1e300}, {"id": "b"}]})",
                      "width", 1 },
        DamagedCase { "fractional_speed", R"({"presets": [{"id": "a", "speed": 1.5}]})", "speed",
                      0 },
        DamagedCase { "two_pass_text", R"({"presets": [{"id": "a", "twoPass": "yes"}]})", "twoPass",
                      0 },
        DamagedCase { "zero_frame_rate_base", R"({"presets": [{"id": "a", "frameRateDen": 0}]})",
                      "frameRateDen", 0 }),
    TestSupport::tableRowName);

TEST(ExportPresets, the_bundled_file_reads_whole_with_every_sharing_service)
{
    const auto &presets = Export::bundledPresets();
    QStringList tags;
    for (const auto &p : presets) {
        tags << p.currentTag;
        if (p.hasAudio()) {
            EXPECT_NE(Media::CodecConfig::LayoutRecord::Find(p.channelLayout), nullptr)
                << p.id.toStdString();
        }
    }
    for (const char *service : { "format_online_youtube", "format_online_vimeo",
                                 "format_online_tiktok", "format_online_googledrive" })
        EXPECT_TRUE(tags.contains(QLatin1String(service))) << service;
    ASSERT_NE(Export::findPreset("mp3_audio"), nullptr);
    EXPECT_FALSE(Export::findPreset("mp3_audio")->hasVideo());
    EXPECT_EQ(Media::CodecConfig::LayoutRecord::Find(3)->name, "stereo");
    EXPECT_EQ(Media::CodecConfig::LayoutRecord::Find(0), nullptr);
}

} // namespace

#include "Statistics/vocabularies.h"

#include "tablerow.h"
#include "timeline/videoeffects.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Statistics;

using Tool = Effect::ManualEnhance::Tool;

struct ToolsCase : TestSupport::TableRow {
    std::vector<std::pair<Tool, double>> changes;
    const char *used;
};

class ToolsUsed : public ::testing::TestWithParam<ToolsCase> { };

TEST_P(ToolsUsed, lists_only_changed_tools_in_table_order)
{
    Effect::ManualEnhance colour;
    for (const auto &[tool, value] : GetParam().changes)
        colour.setValue(tool, value);
    EXPECT_EQ(toolsUsed(colour), GetParam().used);
}

INSTANTIATE_TEST_SUITE_P(
    Statistics,
    ToolsUsed,
    ::testing::Values(
        ToolsCase { "none", {}, "" },
        ToolsCase { "changed_back", { { Tool::Hue, 5 }, { Tool::Hue, 0 } }, "" },
        ToolsCase { "out_of_order",
                    { { Tool::Tint, 1 }, { Tool::Brightness, -1 }, { Tool::Gamma, 1.2 } },
                    "Brightness,Gamma,Tint" },
        ToolsCase { "gamma_at_one_is_untouched",
                    { { Tool::Gamma, 1.0 }, { Tool::Shadows, 0.5 } },
                    "Shadows" },
        ToolsCase { "gamma_at_zero_is_changed", { { Tool::Gamma, 0.0 } }, "Gamma" },
        ToolsCase {
            "all",
            { { Tool::Brightness, 1 },
              { Tool::Contrast, 1 },
              { Tool::Saturation, 1 },
              { Tool::Highlights, 1 },
              { Tool::Gamma, 2 },
              { Tool::Shadows, 1 },
              { Tool::Hue, 1 },
              { Tool::Temperature, 1 },
              { Tool::Tint, 1 } },
            "Brightness,Contrast,Saturation,Highlights,Gamma,Shadows,Hue,Temperature,Tint" }),
    TestSupport::tableRowName);

} // namespace

#pragma once

#include "tablerow.h"

#include "webconfig/webconfigparser.h"

#include <QByteArray>

#include <vector>

// Configurations that must be refused whole, with the word the refusal names.
struct DamagedConfig : TestSupport::TableRow {
    QByteArray bytes;
    const char *problem;
};

inline std::vector<DamagedConfig> damagedConfigs()
{
    const QByteArray good = R"({"CollectionSettings": {"LoadExternalEffects": true}})";
    QByteArray deep = "{\"CoreSettings\": {\"FullGpuDecoders\": ";
    deep += QByteArray(10000, '[') + QByteArray(10000, ']') + "}}";
    return {
        { "empty", "", "empty" },
        { "blank", " \n\t ", "empty" },
        { "truncated", good.left(good.size() - 1), "ends early" },
        { "not_an_object", "[1, 2]", "not a JSON object" },
        { "section_is_an_array", R"({"CoreSettings": [true]})",
          "\"CoreSettings\" is not an object" },
        { "value_is_null", R"({"CoreSettings": {"FullGpuDecoders": null}})",
          "CoreSettings.FullGpuDecoders" },
        { "value_is_a_fraction", R"({"CoreSettings": {"FullGpuDecoders": 1.5}})",
          "not an integer" },
        { "integer_out_of_range", R"({"A": {"B": 2147483648}})", "out of the integer range" },
        { "deep_nesting", deep, "is not a bool, an integer or a string" },
        { "one_byte_over_the_limit",
          QByteArray(Vantel::App::WebConfig::maxConfigBytes + 1 - good.size(), ' ') + good,
          "larger than" },
        { "invalid_utf8", "{\"A\": {\"B\": \"\xC3\x28\"}}", "invalid UTF-8" },
        { "overlong_utf8", "{\"A\": {\"B\": \"\xC0\xAF\"}}", "invalid UTF-8" },
        { "duplicate_key", R"({"A": {"B": true, "B": false}})", "\"B\" appears twice" },
        { "duplicate_section", R"({"A": {}, "A": {}})", "\"A\" appears twice" },
        { "nul_byte", QByteArray("{\"A\": {\"B\": \"x\0y\"}}", 19), "NUL" },
        { "escaped_nul", R"({"A": {"B": "x\u0000y"}})", "NUL" },
        { "unpaired_surrogate", R"({"A": {"B": "\ud800"}})", "unpaired surrogate" },
        { "trailing_content", good + "{}", "after the end" },
    };
}

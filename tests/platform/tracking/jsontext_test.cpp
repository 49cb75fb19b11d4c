#include "tablerow.h"
#include "tracking/jsontext.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <gtest/gtest.h>

using namespace Vantel::Tracking;

namespace {

std::string jsonString(std::string_view text)
{
    std::string out;
    appendJsonString(out, text);
    return out;
}

// What a JSON reader makes of the string we wrote.
QString readBack(const std::string &json)
{
    const QJsonDocument document
        = QJsonDocument::fromJson(QByteArray::fromStdString("{\"v\":" + json + "}"));
    return document.object().value("v").toString("<unreadable>");
}

struct Escape : TestSupport::TableRow {
    std::string text;
    std::string json;
};

class JsonStringEscapes : public ::testing::TestWithParam<Escape> { };

const Escape escapes[] = {
    { "plain", "PROJECT_SAVED", R"("PROJECT_SAVED")" },
    { "empty", "", R"("")" },
    { "quote_and_backslash", R"(say "hi" \o/)", R"("say \"hi\" \\o/")" },
    { "named_controls", "a\nb\rc\td\be\ff", R"("a\nb\rc\td\be\ff")" },
    { "other_controls", std::string("\x01\x1f", 2) + std::string(1, '\0'),
      R"("\u0001\u001f\u0000")" },
    { "slash_and_delete_stay", "a/b\x7f", "\"a/b\x7f\"" },
    { "multibyte_text_stays", "Grüße 東京 🎬", "\"Grüße 東京 🎬\"" },
    { "stray_continuation_byte", "a\x80z", "\"a\xEF\xBF\xBDz\"" },
    { "cut_sequence_at_end", "a\xE6\x9D", "\"a\xEF\xBF\xBD\xEF\xBF\xBD\"" },
    { "overlong_slash", "\xC0\xAF", "\"\xEF\xBF\xBD\xEF\xBF\xBD\"" },
    { "utf16_surrogate", "\xED\xA0\x80", "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"" },
    { "beyond_unicode", "\xF4\x90\x80\x80",
      "\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\"" },
};

} // namespace

TEST_P(JsonStringEscapes, writes_the_expected_text)
{
    EXPECT_EQ(jsonString(GetParam().text), GetParam().json);
}

TEST_P(JsonStringEscapes, a_json_reader_gets_the_text_back_as_a_qt_string_would_hold_it)
{
    EXPECT_EQ(readBack(jsonString(GetParam().text)),
              QString::fromUtf8(GetParam().text.data(), int(GetParam().text.size())));
}

INSTANTIATE_TEST_SUITE_P(JsonText,
                         JsonStringEscapes,
                         ::testing::ValuesIn(escapes),
                         TestSupport::tableRowName);

TEST(JsonText, an_object_lists_its_keys_in_map_order)
{
    std::string out;
    appendJsonObject(out, {});
    appendJsonObject(out, { { "B", "2" }, { "A", "1" } });
    EXPECT_EQ(out, R"({}{"A":"1","B":"2"})");
}

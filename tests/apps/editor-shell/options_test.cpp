// The option layer as a function: each row is a command line, parsed against a command's own
// table, and what it must give (a value, or the one-line usage error).

#include "shellcontext.h"
#include "tablerow.h"

#include <gtest/gtest.h>

namespace {

const Shell::Command &command(const char *name)
{
    for (const Shell::Command &c : Shell::commands()) {
        if (qstrcmp(c.name, name) == 0)
            return c;
    }
    throw std::invalid_argument(name);
}

struct Line : TestSupport::TableRow {
    const char *command;
    QStringList arguments;
    const char *error; // the whole message, or null when the line is good
    const char *option = nullptr; // when good: this option's value...
    double number = 0; // ...read as a number (seconds, percent, integer)
};

class OptionLine : public ::testing::TestWithParam<Line> { };

TEST_P(OptionLine, parses_or_says_why_not_in_one_line)
{
    const Line &row = GetParam();
    const Shell::ParsedLine parsed = Shell::parseLine(command(row.command).options, row.arguments);
    if (row.error) {
        EXPECT_EQ(parsed.error.toStdString(), row.error);
        return;
    }
    ASSERT_TRUE(parsed.error.isEmpty()) << parsed.error.toStdString();
    if (row.option) {
        EXPECT_DOUBLE_EQ(parsed.options.number(row.option), row.number);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shell,
    OptionLine,
    ::testing::Values(
        Line { "seconds", "cut", { "p.edproj", "--at", "4.063" }, nullptr, "at", 4.063 },
        Line { "equals_form", "cut", { "p.edproj", "--at=4.5" }, nullptr, "at", 4.5 },
        Line { "clock_form", "cut", { "p.edproj", "--at", "1:02.5" }, nullptr, "at", 62.5 },
        Line { "not_a_number",
               "cut",
               { "p.edproj", "--at", "abc" },
               "--at \"abc\" is not a number of seconds from 0 to 100000000" },
        Line { "nan",
               "cut",
               { "p.edproj", "--at", "nan" },
               "--at \"nan\" is not a number of seconds from 0 to 100000000" },
        Line { "past_the_timeline",
               "cut",
               { "p.edproj", "--at", "1e999" },
               "--at \"1e999\" is not a number of seconds from 0 to 100000000" },
        Line { "minutes_past_59",
               "cut",
               { "p.edproj", "--at", "1:60" },
               "--at \"1:60\" is not a number of seconds from 0 to 100000000" },
        Line { "required_missing", "cut", { "p.edproj" }, "--at is required" },
        Line { "unknown_option",
               "cut",
               { "p.edproj", "--at", "1", "--atx" },
               "unknown option --atx" },
        Line { "short_unknown", "cut", { "-x" }, "unknown option -x" },
        Line { "value_missing",
               "cut",
               { "p.edproj", "--at" },
               "--at needs a value: a number of seconds from 0 to 100000000" },
        Line { "flag_with_value",
               "cut",
               { "p.edproj", "--at", "1", "--wide=yes" },
               "--wide takes no value" },
        Line { "after_double_dash_an_argument",
               "cut",
               { "--at", "1", "--", "--wide" },
               nullptr,
               "at",
               1 },
        Line { "last_value_wins", "cut", { "p", "--at", "1", "--at", "2" }, nullptr, "at", 2 },
        Line { "help_skips_required", "cut", { "--help" }, nullptr }),
    TestSupport::tableRowName);

TEST(OptionLayer, time_is_rounded_to_the_millisecond_not_cut)
{
    // 4.063 s is 4062.9999... ms as a double: cut, it named the millisecond before.
    for (const char *text : { "4.063", "0:04.063", "4.0629999" }) {
        const auto parsed = Shell::parseLine(command("cut").options, { "p", "--at", text });
        EXPECT_EQ(parsed.options.time("at").toMSec(), 4063) << text;
    }
}

TEST(OptionLayer, help_names_every_option_with_its_values_and_default)
{
    for (const Shell::Command &c : Shell::commands()) {
        if (!c.tabled)
            continue;
        // Compared with its lines joined: help wraps at 80 columns.
        const QString help = Shell::helpText(c.help(), Shell::globalOptions()).simplified();
        EXPECT_TRUE(help.startsWith(QStringLiteral("Usage: editor-shell ") + c.name)) << c.name;
        for (const Shell::Option &option : c.options) {
            EXPECT_TRUE(help.contains(QStringLiteral("--") + option.name)) << c.name;
            EXPECT_TRUE(help.contains(option.help.simplified())) << c.name;
            if (option.type == Shell::ValueType::Choice
                || option.type == Shell::ValueType::Seconds) {
                EXPECT_TRUE(help.contains(option.expected().simplified())) << c.name;
            }
            if (!option.defaultValue.isEmpty()) {
                EXPECT_TRUE(help.contains("Default: " + option.defaultValue)) << c.name;
            }
        }
    }
}

} // namespace

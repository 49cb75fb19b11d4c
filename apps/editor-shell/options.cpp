#include "options.h"

#include "timeline/clip.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace Shell {

namespace {

QString numberText(double value)
{
    return QString::number(value, 'f', value == std::floor(value) ? 0 : 3);
}

// Seconds as a decimal number, or as the clock form the shell prints ("1:02.500", "0:01:02.5").
std::optional<double> secondsFrom(const QString &text)
{
    const QStringList parts = text.trimmed().split(QLatin1Char(':'));
    if (parts.size() > 3 || text.trimmed().isEmpty())
        return std::nullopt;
    double total = 0;
    for (int i = 0; i < parts.size(); ++i) {
        const bool last = i == parts.size() - 1;
        bool ok = false;
        // Only the seconds may have a fraction; the minutes and hours are whole.
        const double value = last ? parts[i].toDouble(&ok) : parts[i].toUInt(&ok);
        if (!ok || !std::isfinite(value) || value < 0 || (i > 0 && value >= 60))
            return std::nullopt;
        total = total * 60 + value;
    }
    return total;
}

std::optional<qlonglong> wholeFrom(const QString &text, bool percentSign)
{
    QString trimmed = text.trimmed();
    if (percentSign && trimmed.endsWith(QLatin1Char('%')))
        trimmed.chop(1);
    bool ok = false;
    const qlonglong value = trimmed.toLongLong(&ok);
    return ok ? std::optional<qlonglong>(value) : std::nullopt;
}

bool inRange(double value, const Option &option)
{
    return value >= option.min && value <= option.max;
}

std::optional<std::pair<double, double>> rangeFrom(const QString &text)
{
    // The separator is the last '-' that is not the first character; a negative FROM is refused
    // by the range check, not misread.
    const int dash = text.lastIndexOf(QLatin1Char('-'));
    if (dash <= 0)
        return std::nullopt;
    const auto from = secondsFrom(text.left(dash));
    const auto to = secondsFrom(text.mid(dash + 1));
    if (!from || !to)
        return std::nullopt;
    return std::make_pair(*from, *to);
}

bool valueFits(const Option &option, const QString &value)
{
    switch (option.type) {
    case ValueType::Flag:
        return value.isEmpty();
    case ValueType::Seconds: {
        const auto s = secondsFrom(value);
        return s && inRange(*s, option);
    }
    case ValueType::Percent:
    case ValueType::Integer: {
        const auto n = wholeFrom(value, option.type == ValueType::Percent);
        return n && inRange(static_cast<double>(*n), option);
    }
    case ValueType::Range: {
        const auto r = rangeFrom(value);
        return r && inRange(r->first, option) && inRange(r->second, option) && r->first < r->second;
    }
    case ValueType::Choice:
        return option.choices.contains(value, Qt::CaseInsensitive);
    case ValueType::Path: // an empty name is the command's to refuse, with its own reason
    case ValueType::Text:
        return true;
    }
    return false;
}

const Option *find(const OptionTable &table, const QString &name)
{
    for (const Option &option : table) {
        if (option.name == name)
            return &option;
    }
    return nullptr;
}

QString markdownCell(QString text)
{
    return text.replace(QLatin1Char('|'), QLatin1String("\\|"));
}

} // namespace

QString Option::shownValueName() const
{
    if (!valueName.isEmpty())
        return valueName;
    switch (type) {
    case ValueType::Flag:
        return {};
    case ValueType::Seconds:
        return QStringLiteral("SECONDS");
    case ValueType::Percent:
        return QStringLiteral("PERCENT");
    case ValueType::Integer:
        return QStringLiteral("N");
    case ValueType::Range:
        return QStringLiteral("FROM-TO");
    case ValueType::Choice:
        return choices.join(QLatin1Char('|'));
    case ValueType::Path:
        return QStringLiteral("FILE");
    case ValueType::Text:
        return QStringLiteral("TEXT");
    }
    return {};
}

QString Option::expected() const
{
    const QString bounds = QStringLiteral("from %1 to %2").arg(numberText(min), numberText(max));
    switch (type) {
    case ValueType::Flag:
        return QStringLiteral("no value");
    case ValueType::Seconds:
        return QStringLiteral("a number of seconds ") + bounds;
    case ValueType::Percent:
        return QStringLiteral("a whole percent ") + bounds;
    case ValueType::Integer:
        return QStringLiteral("a whole number ") + bounds;
    case ValueType::Range:
        return QStringLiteral("FROM-TO in seconds %1, FROM before TO").arg(bounds);
    case ValueType::Choice:
        return QStringLiteral("one of ") + choices.join(QStringLiteral(", "));
    case ValueType::Path:
        return QStringLiteral("a file name");
    case ValueType::Text:
        return QStringLiteral("text");
    }
    return {};
}

Option &Option::withDefault(const QString &value)
{
    defaultValue = value;
    return *this;
}

Option &Option::withValueName(const QString &name)
{
    valueName = name;
    return *this;
}

Option &Option::many()
{
    repeatable = true;
    return *this;
}

Option &Option::needed()
{
    required = true;
    return *this;
}

Option flag(const QString &name, const QString &help)
{
    Option option;
    option.name = name;
    option.help = help;
    return option;
}

namespace {

// A number option that takes values from `min` to `max`.
Option bounded(const QString &name, const QString &help, ValueType type, double min, double max)
{
    Option option = flag(name, help);
    option.type = type;
    option.min = min;
    option.max = max;
    return option;
}

} // namespace

Option seconds(const QString &name, const QString &help, double min, double max)
{
    return bounded(name, help, ValueType::Seconds, min, max);
}

double maxPositionSeconds()
{
    return Timeline::maxTime.toSecF();
}

Option position(const QString &name, const QString &help)
{
    return seconds(name, help, 0, maxPositionSeconds());
}

Option duration(const QString &name, const QString &help)
{
    return seconds(name, help, 0, 86400);
}

Option percent(const QString &name, const QString &help, int min, int max)
{
    return bounded(name, help, ValueType::Percent, min, max);
}

Option integer(const QString &name, const QString &help, int min, int max)
{
    return bounded(name, help, ValueType::Integer, min, max);
}

Option range(const QString &name, const QString &help)
{
    Option option = position(name, help);
    option.type = ValueType::Range;
    return option;
}

Option choice(const QString &name, const QString &help, const QStringList &choices)
{
    Option option = flag(name, help);
    option.type = ValueType::Choice;
    option.choices = choices;
    return option;
}

Option path(const QString &name, const QString &help, const QString &valueName)
{
    Option option = flag(name, help);
    option.type = ValueType::Path;
    option.valueName = valueName;
    return option;
}

Option text(const QString &name, const QString &help, const QString &valueName)
{
    Option option = path(name, help, valueName);
    option.type = ValueType::Text;
    return option;
}

MTime timeFromSeconds(double seconds)
{
    return MTime::fromMSec(std::llround(seconds * 1000.0));
}

bool OptionValues::isSet(const QString &name) const
{
    return given.count(name) != 0;
}

QString OptionValues::text(const QString &name) const
{
    const auto it = given.find(name);
    if (it != given.end())
        return it->second.last();
    const auto d = defaults.find(name);
    return d == defaults.end() ? QString() : d->second;
}

QStringList OptionValues::texts(const QString &name) const
{
    const auto it = given.find(name);
    return it == given.end() ? QStringList() : it->second;
}

double OptionValues::number(const QString &name) const
{
    QString value = text(name).trimmed();
    if (value.endsWith(QLatin1Char('%')))
        value.chop(1);
    if (value.contains(QLatin1Char(':')))
        return secondsFrom(value).value_or(0);
    return value.toDouble();
}

int OptionValues::integer(const QString &name) const
{
    return static_cast<int>(std::llround(number(name)));
}

MTime OptionValues::time(const QString &name) const
{
    return timeFromSeconds(number(name));
}

TimeRange OptionValues::range(const QString &name) const
{
    const auto r = rangeFrom(text(name));
    return r ? TimeRange { timeFromSeconds(r->first), timeFromSeconds(r->second) } : TimeRange {};
}

QString valueError(const Option &option, const QString &value)
{
    if (option.type == ValueType::Flag)
        return QStringLiteral("--%1 takes no value").arg(option.name);
    return QStringLiteral("--%1 \"%2\" is not %3").arg(option.name, value, option.expected());
}

ParsedLine parseLine(const OptionTable &table, const QStringList &arguments, bool stopAtArgument)
{
    ParsedLine line;
    for (const Option &option : table) {
        if (!option.defaultValue.isEmpty())
            line.options.defaults[option.name] = option.defaultValue;
    }
    bool optionsEnded = false;
    for (int i = 0; i < arguments.size() && line.error.isEmpty(); ++i) {
        const QString &argument = arguments[i];
        if (optionsEnded || !argument.startsWith(QLatin1Char('-'))
            || argument == QLatin1String("-")) {
            if (stopAtArgument) {
                line.arguments = arguments.mid(i);
                break;
            }
            line.arguments << argument;
            continue;
        }
        if (argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            line.help = true;
            continue;
        }
        if (!argument.startsWith(QLatin1String("--"))) {
            line.error = QStringLiteral("unknown option %1").arg(argument);
            break;
        }
        const int eq = argument.indexOf(QLatin1Char('='));
        const QString name = argument.mid(2, eq < 0 ? -1 : eq - 2);
        const Option *option = find(table, name);
        if (!option) {
            line.error = QStringLiteral("unknown option --%1").arg(name);
            break;
        }
        QString value;
        if (eq >= 0) {
            value = argument.mid(eq + 1);
            if (option->type == ValueType::Flag) {
                line.error = valueError(*option, value);
                break;
            }
        } else if (option->type != ValueType::Flag) {
            if (i + 1 >= arguments.size()) {
                line.error = QStringLiteral("--%1 needs a value: %2")
                                 .arg(option->name, option->expected());
                break;
            }
            value = arguments[++i];
        }
        if (!valueFits(*option, value)) {
            line.error = valueError(*option, value);
            break;
        }
        // A choice is kept as the table spells it, however it was typed.
        if (option->type == ValueType::Choice)
            value = option->choices.at(option->choices.indexOf(QRegularExpression(
                QRegularExpression::escape(value), QRegularExpression::CaseInsensitiveOption)));
        QStringList &values = line.options.given[name];
        if (!option->repeatable)
            values.clear();
        values << value;
    }
    if (line.error.isEmpty() && !line.help) {
        for (const Option &option : table) {
            if (option.required && !line.options.isSet(option.name)) {
                line.error = QStringLiteral("--%1 is required").arg(option.name);
                break;
            }
        }
    }
    return line;
}

QString synopsis(const CommandHelp &command)
{
    QString text = command.name;
    if (!command.arguments.isEmpty())
        text += QLatin1Char(' ') + command.arguments;
    if (!command.options)
        return text;
    for (const Option &option : *command.options) {
        QString part = QStringLiteral("--") + option.name;
        if (option.type != ValueType::Flag)
            part += QLatin1Char(' ') + option.shownValueName();
        if (option.repeatable)
            part += QStringLiteral("...");
        text += QLatin1Char(' ')
            + (option.required ? part : QLatin1Char('[') + part + QLatin1Char(']'));
    }
    return text;
}

namespace {

QString optionLine(const Option &option)
{
    QString text = option.help;
    if (option.type != ValueType::Flag && option.type != ValueType::Path
        && option.type != ValueType::Text)
        text += QStringLiteral(" Takes ") + option.expected() + QLatin1Char('.');
    if (!option.defaultValue.isEmpty())
        text += QStringLiteral(" Default: %1.").arg(option.defaultValue);
    return text;
}

// Words in lines of at most 80 columns, each line indented.
QString wrapped(const QString &text, const QString &indent)
{
    QString result;
    QString line = indent;
    for (const QString &word : text.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (line.size() > indent.size() && line.size() + 1 + word.size() > 80) {
            result += line + QLatin1Char('\n');
            line = indent;
        }
        line += (line.size() > indent.size() ? QStringLiteral(" ") : QString()) + word;
    }
    return result + line + QLatin1Char('\n');
}

QString optionsBlock(const QString &title, const OptionTable &table)
{
    if (table.empty())
        return {};
    QString text = title + QStringLiteral(":\n");
    for (const Option &option : table) {
        QString head = QStringLiteral("  --") + option.name;
        if (option.type != ValueType::Flag)
            head += QLatin1Char(' ') + option.shownValueName();
        text += head + QLatin1Char('\n') + wrapped(optionLine(option), QStringLiteral("      "));
    }
    return text;
}

} // namespace

QString helpText(const CommandHelp &command, const OptionTable &globalOptions)
{
    QString text = wrapped(QStringLiteral("Usage: editor-shell ") + synopsis(command), QString())
        + wrapped(command.summary, QString());
    if (!command.details.isEmpty())
        text += QLatin1Char('\n') + wrapped(command.details, QString());
    if (command.options && !command.options->empty())
        text += QLatin1Char('\n') + optionsBlock(QStringLiteral("Options"), *command.options);
    text += QLatin1Char('\n') + optionsBlock(QStringLiteral("Global options"), globalOptions);
    return text;
}

QString markdownRow(const CommandHelp &command)
{
    QStringList options;
    if (command.options) {
        for (const Option &option : *command.options) {
            QString head = QStringLiteral("`--") + option.name;
            if (option.type != ValueType::Flag)
                head += QLatin1Char(' ') + option.shownValueName();
            options << head + QStringLiteral("`: ") + optionLine(option);
        }
    }
    return QStringLiteral("| `%1` | %2 | %3 |")
        .arg(markdownCell(synopsis(command)), markdownCell(command.summary),
             markdownCell(options.join(QStringLiteral("<br>"))));
}

} // namespace Shell

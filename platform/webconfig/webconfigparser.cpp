#include "webconfig/webconfigparser.h"

#include <simdjson.h>

#include <limits>
#include <set>
#include <string_view>

namespace Vantel::App::WebConfig {

namespace {

namespace od = simdjson::ondemand;

// The first problem, with the byte it was met at when the reader can tell.
struct Refusal {
    std::string what;
    const char *at = nullptr;
};

std::string inQuotes(std::string_view name)
{
    return "\"" + std::string(name) + "\"";
}

// simdjson checks UTF-8, nesting and the document's end; walking the members in order lets a
// repeated key be seen, which a lookup by key would silently resolve to one of them.
class Reader {
public:
    Reader(od::document &document, const simdjson::padded_string &bytes)
        : m_document(document)
        , m_begin(bytes.data())
        , m_end(bytes.data() + bytes.size())
    {
    }

    Config read()
    {
        Config config;
        od::object top;
        if (const auto error = m_document.get_object().get(top))
            throw refusal(error == simdjson::INCORRECT_TYPE ? "the document is not a JSON object"
                                                            : describe(error));
        std::set<std::string, std::less<>> names;
        for (auto field : top) {
            const std::string name(checked(field.unescaped_key()));
            claim(names, name);
            Section &section = config[name];
            od::object members;
            if (field.value().get_object().get(members))
                throw refusal(inQuotes(name) + " is not an object");
            std::set<std::string, std::less<>> keys;
            for (auto member : members) {
                const std::string key(checked(member.unescaped_key()));
                claim(keys, key);
                section.emplace(key, valueOf(checked(member.value()), name + "." + key));
            }
        }
        const char *rest = nullptr;
        if (m_document.current_location().get(rest) != simdjson::OUT_OF_BOUNDS)
            throw Refusal { "content after the end of the document", rest };
        return config;
    }

    // What the error says about a configuration; the rest keep simdjson's words.
    std::string describe(simdjson::error_code error)
    {
        switch (error) {
        case simdjson::UTF8_ERROR:
            return "invalid UTF-8";
        case simdjson::UNCLOSED_STRING:
            return "the document ends early";
        case simdjson::INCOMPLETE_ARRAY_OR_OBJECT:
            // The first and the last bracket do not match: cut short, or more after the end.
            return "the document ends early or goes on after its end";
        case simdjson::TAPE_ERROR:
            return location() ? "a missing or superfluous comma, brace or key"
                              : "the document ends early";
        case simdjson::STRING_ERROR:
            return "a bad escape or an unpaired surrogate";
        case simdjson::UNESCAPED_CHARS:
            return "a control character in a string";
        default:
            return simdjson::error_message(error);
        }
    }

    Refusal refusal(std::string what) { return Refusal { std::move(what), location() }; }

    std::size_t offset(const char *at) const { return static_cast<std::size_t>(at - m_begin); }

private:
    // Where the reader stands; null at or past the end.
    const char *location()
    {
        const char *at = nullptr;
        return m_document.current_location().get(at) || at >= m_end ? nullptr : at;
    }

    template<class T> T checked(simdjson::simdjson_result<T> result)
    {
        T value;
        if (const auto error = std::move(result).get(value))
            throw refusal(describe(error));
        return value;
    }

    void claim(std::set<std::string, std::less<>> &seen, const std::string &key)
    {
        if (!seen.insert(key).second)
            throw refusal(inQuotes(key) + " appears twice");
    }

    ConfigValue valueOf(od::value value, const std::string &where)
    {
        const auto refuse = [&](const char *problem) { return refusal(inQuotes(where) + problem); };
        od::json_type type;
        if (value.type().get(type))
            throw refuse(" is not a bool, an integer or a string");
        switch (type) {
        case od::json_type::boolean: {
            bool flag = false;
            if (value.get_bool().get(flag))
                throw refuse(" is not a bool, an integer or a string");
            return flag;
        }
        case od::json_type::string: {
            const std::string_view text = checked(value.get_string());
            // An escaped NUL reads as one; no text of the configuration holds it.
            if (text.find('\0') != std::string_view::npos)
                throw refusal("a NUL byte");
            return std::string(text);
        }
        case od::json_type::number: {
            od::number_type kind;
            if (value.get_number_type().get(kind))
                throw refuse(" is not a valid number");
            if (kind == od::number_type::floating_point_number)
                throw refuse(" is not an integer");
            std::int64_t number = 0;
            const auto error = value.get_int64().get(number);
            if (error && error != simdjson::NUMBER_OUT_OF_RANGE
                && error != simdjson::INCORRECT_TYPE)
                throw refuse(" is not a valid number");
            if (error || number < std::numeric_limits<int>::min()
                || number > std::numeric_limits<int>::max())
                throw refuse(" is out of the integer range");
            return static_cast<int>(number);
        }
        default:
            throw refuse(" is not a bool, an integer or a string");
        }
    }

    od::document &m_document;
    const char *m_begin;
    const char *m_end;
};

} // namespace

ParseResult parseWebConfig(const QByteArray &bytes)
{
    if (bytes.size() > maxConfigBytes)
        return ParseResult { {},
                             QStringLiteral("larger than ") + QString::number(maxConfigBytes)
                                 + QStringLiteral(" bytes") };
    if (bytes.trimmed().isEmpty())
        return ParseResult { {}, QStringLiteral("empty") };
    if (bytes.contains('\0'))
        return ParseResult { {},
                             QStringLiteral("a NUL byte (at byte ")
                                 + QString::number(bytes.indexOf('\0')) + QStringLiteral(")") };
    const simdjson::padded_string padded(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    od::parser parser;
    od::document document;
    Reader reader(document, padded);
    try {
        if (const auto error = parser.iterate(padded).get(document))
            throw Refusal { reader.describe(error) };
        return ParseResult { reader.read(), {} };
    } catch (const Refusal &refusal) {
        QString error = QString::fromStdString(refusal.what);
        if (refusal.at)
            error += QStringLiteral(" (at byte %1)").arg(reader.offset(refusal.at));
        return ParseResult { {}, error };
    }
}

std::string formatValue(const ConfigValue &value)
{
    if (const bool *b = std::get_if<bool>(&value))
        return *b ? "true" : "false";
    if (const int *i = std::get_if<int>(&value))
        return std::to_string(*i);
    const std::string &text = std::get<std::string>(value);
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted.push_back('\\');
            quoted.push_back(c);
        } else if (static_cast<unsigned char>(c) < 0x20) {
            static const char hex[] = "0123456789abcdef";
            quoted += "\\u00";
            quoted.push_back(hex[(c >> 4) & 0xF]);
            quoted.push_back(hex[c & 0xF]);
        } else {
            quoted.push_back(c);
        }
    }
    return quoted + "\"";
}

QByteArray serializeWebConfig(const Config &config)
{
    std::string text = "{";
    for (const auto &[name, section] : config) {
        if (text.size() > 1)
            text += ", ";
        text += formatValue(name) + ": {";
        bool first = true;
        for (const auto &[key, value] : section) {
            text += (first ? "" : ", ") + formatValue(key) + ": " + formatValue(value);
            first = false;
        }
        text += "}";
    }
    text += "}";
    return QByteArray::fromStdString(text);
}

} // namespace Vantel::App::WebConfig

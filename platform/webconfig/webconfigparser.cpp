#include "webconfig/webconfigparser.h"

#include <cstdint>
#include <limits>

namespace Vantel::App::WebConfig {

namespace {

// A reader for exactly this two-level shape. JSON readers at hand keep the last of two equal keys
// without a word; here a repeated key is an error, as is anything the format does not allow.
class Reader {
public:
    explicit Reader(const QByteArray &bytes)
        : m_data(bytes.constData())
        , m_size(bytes.size())
    {
    }

    ParseResult read()
    {
        ParseResult result;
        skipSpace();
        if (!expect('{', "the document is not a JSON object"))
            return failed();
        if (!readMembers([&](const std::string &name) {
                auto &section = result.config[name];
                if (!expect('{', "is not an object", name))
                    return false;
                return readMembers([&](const std::string &key) {
                    ConfigValue value;
                    if (!readValue(&value, name + "." + key))
                        return false;
                    section.emplace(key, std::move(value));
                    return true;
                });
            }))
            return failed();
        skipSpace();
        if (m_pos != m_size)
            return fail("content after the end of the document"), failed();
        return result;
    }

private:
    ParseResult failed() const { return ParseResult { {}, m_error }; }

    bool fail(const std::string &what)
    {
        if (m_error.isEmpty())
            m_error = QString::fromStdString(what) + QStringLiteral(" (at byte ")
                + QString::number(m_pos) + QStringLiteral(")");
        return false;
    }

    void skipSpace()
    {
        while (m_pos < m_size
               && (m_data[m_pos] == ' ' || m_data[m_pos] == '\t' || m_data[m_pos] == '\n'
                   || m_data[m_pos] == '\r'))
            ++m_pos;
    }

    bool expect(char c, const char *what, const std::string &where = {})
    {
        skipSpace();
        if (m_pos < m_size && m_data[m_pos] == c) {
            ++m_pos;
            return true;
        }
        if (m_pos >= m_size)
            return fail("the document ends early");
        return fail(where.empty() ? std::string(what) : "\"" + where + "\" " + what);
    }

    // `{` already read: reads "name": <member> pairs up to `}`, each name once.
    template<class Member> bool readMembers(Member member)
    {
        std::map<std::string, bool> seen;
        skipSpace();
        if (m_pos < m_size && m_data[m_pos] == '}') {
            ++m_pos;
            return true;
        }
        for (;;) {
            std::string name;
            skipSpace();
            if (!readString(&name))
                return false;
            if (!seen.emplace(name, true).second)
                return fail("\"" + name + "\" appears twice");
            if (!expect(':', "expected ':'") || !member(name))
                return false;
            skipSpace();
            if (m_pos >= m_size)
                return fail("the document ends early");
            const char c = m_data[m_pos++];
            if (c == '}')
                return true;
            if (c != ',')
                return fail("expected ',' or '}'");
        }
    }

    bool readValue(ConfigValue *value, const std::string &where)
    {
        skipSpace();
        if (m_pos >= m_size)
            return fail("the document ends early");
        const char c = m_data[m_pos];
        if (c == '"') {
            std::string text;
            if (!readString(&text))
                return false;
            *value = std::move(text);
            return true;
        }
        if (literal("true")) {
            *value = true;
            return true;
        }
        if (literal("false")) {
            *value = false;
            return true;
        }
        if (c == '-' || (c >= '0' && c <= '9'))
            return readInteger(value, where);
        return fail("\"" + where + "\" is not a bool, an integer or a string");
    }

    bool literal(const char *word)
    {
        const int length = static_cast<int>(std::char_traits<char>::length(word));
        if (m_size - m_pos < length
            || std::char_traits<char>::compare(m_data + m_pos, word, length))
            return false;
        m_pos += length;
        return true;
    }

    bool readInteger(ConfigValue *value, const std::string &where)
    {
        const int start = m_pos;
        bool negative = false;
        if (m_data[m_pos] == '-') {
            negative = true;
            ++m_pos;
        }
        std::int64_t magnitude = 0;
        int digits = 0;
        while (m_pos < m_size && m_data[m_pos] >= '0' && m_data[m_pos] <= '9') {
            magnitude = magnitude * 10 + (m_data[m_pos] - '0');
            ++m_pos;
            if (++digits > 11)
                return fail("\"" + where + "\" is out of the integer range");
        }
        if (digits == 0 || (digits > 1 && m_data[start + (negative ? 1 : 0)] == '0'))
            return fail("\"" + where + "\" is not a valid number");
        if (m_pos < m_size
            && (m_data[m_pos] == '.' || m_data[m_pos] == 'e' || m_data[m_pos] == 'E'))
            return fail("\"" + where + "\" is not an integer");
        const std::int64_t number = negative ? -magnitude : magnitude;
        if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max())
            return fail("\"" + where + "\" is out of the integer range");
        *value = static_cast<int>(number);
        return true;
    }

    static void appendUtf8(std::string *out, std::uint32_t cp)
    {
        if (cp < 0x80) {
            out->push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }

    bool readHex4(std::uint32_t *cp)
    {
        if (m_size - m_pos < 4)
            return fail("the document ends early");
        *cp = 0;
        for (int i = 0; i < 4; ++i) {
            const char h = m_data[m_pos++];
            *cp <<= 4;
            if (h >= '0' && h <= '9')
                *cp |= h - '0';
            else if (h >= 'a' && h <= 'f')
                *cp |= h - 'a' + 10;
            else if (h >= 'A' && h <= 'F')
                *cp |= h - 'A' + 10;
            else
                return fail("a bad \\u escape");
        }
        return true;
    }

    // One UTF-8 sequence starting at m_pos, validated (no overlongs, surrogates or values past
    // U+10FFFF), copied to `out`.
    bool copyUtf8(std::string *out)
    {
        const auto lead = static_cast<unsigned char>(m_data[m_pos]);
        int length = 0;
        std::uint32_t cp = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            cp = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            cp = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            cp = lead & 0x07;
        } else {
            return fail("invalid UTF-8");
        }
        if (m_size - m_pos < length)
            return fail("invalid UTF-8");
        for (int i = 1; i < length; ++i) {
            const auto next = static_cast<unsigned char>(m_data[m_pos + i]);
            if ((next & 0xC0) != 0x80)
                return fail("invalid UTF-8");
            cp = (cp << 6) | (next & 0x3F);
        }
        if ((length == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF)))
            || (length == 4 && (cp < 0x10000 || cp > 0x10FFFF)))
            return fail("invalid UTF-8");
        out->append(m_data + m_pos, static_cast<size_t>(length));
        m_pos += length;
        return true;
    }

    bool readString(std::string *out)
    {
        if (m_pos >= m_size)
            return fail("the document ends early");
        if (m_data[m_pos] != '"')
            return fail("expected a string");
        ++m_pos;
        for (;;) {
            if (m_pos >= m_size)
                return fail("the document ends early");
            const auto c = static_cast<unsigned char>(m_data[m_pos]);
            if (c == '"') {
                ++m_pos;
                return true;
            }
            if (c < 0x20)
                return fail(c == 0 ? "a NUL byte" : "a control character in a string");
            if (c >= 0x80) {
                if (!copyUtf8(out))
                    return false;
                continue;
            }
            ++m_pos;
            if (c != '\\') {
                out->push_back(static_cast<char>(c));
                continue;
            }
            if (m_pos >= m_size)
                return fail("the document ends early");
            const char e = m_data[m_pos++];
            switch (e) {
            case '"':
            case '\\':
            case '/':
                out->push_back(e);
                break;
            case 'b':
                out->push_back('\b');
                break;
            case 'f':
                out->push_back('\f');
                break;
            case 'n':
                out->push_back('\n');
                break;
            case 'r':
                out->push_back('\r');
                break;
            case 't':
                out->push_back('\t');
                break;
            case 'u': {
                std::uint32_t cp = 0;
                if (!readHex4(&cp))
                    return false;
                if (cp >= 0xD800 && cp <= 0xDBFF) {
                    std::uint32_t low = 0;
                    if (m_size - m_pos < 2 || m_data[m_pos] != '\\' || m_data[m_pos + 1] != 'u')
                        return fail("an unpaired surrogate");
                    m_pos += 2;
                    if (!readHex4(&low))
                        return false;
                    if (low < 0xDC00 || low > 0xDFFF)
                        return fail("an unpaired surrogate");
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                    return fail("an unpaired surrogate");
                }
                if (cp == 0)
                    return fail("a NUL byte");
                appendUtf8(out, cp);
                break;
            }
            default:
                return fail("a bad escape");
            }
        }
    }

    const char *m_data;
    int m_size;
    int m_pos = 0;
    QString m_error;
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
    return Reader(bytes).read();
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

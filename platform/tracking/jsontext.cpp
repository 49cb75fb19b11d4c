#include "tracking/jsontext.h"

namespace Vantel::Tracking {

namespace {

constexpr char Replacement[] = "\xEF\xBF\xBD";

// The length of the well-formed UTF-8 sequence starting at `s[i]` (Unicode's table of
// well-formed byte sequences), or 0 when there is none.
std::size_t utf8SequenceLength(std::string_view s, std::size_t i)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char lead = byte(i);
    const std::size_t left = s.size() - i;
    const auto continuation
        = [&](std::size_t k, unsigned char low = 0x80, unsigned char high = 0xBF) {
              return k < left && byte(i + k) >= low && byte(i + k) <= high;
          };
    if (lead >= 0xC2 && lead <= 0xDF)
        return continuation(1) ? 2 : 0;
    if (lead == 0xE0)
        return continuation(1, 0xA0) && continuation(2) ? 3 : 0;
    if ((lead >= 0xE1 && lead <= 0xEC) || lead == 0xEE || lead == 0xEF)
        return continuation(1) && continuation(2) ? 3 : 0;
    if (lead == 0xED) // no UTF-16 surrogates
        return continuation(1, 0x80, 0x9F) && continuation(2) ? 3 : 0;
    if (lead == 0xF0)
        return continuation(1, 0x90) && continuation(2) && continuation(3) ? 4 : 0;
    if (lead >= 0xF1 && lead <= 0xF3)
        return continuation(1) && continuation(2) && continuation(3) ? 4 : 0;
    if (lead == 0xF4)
        return continuation(1, 0x80, 0x8F) && continuation(2) && continuation(3) ? 4 : 0;
    return 0;
}

} // namespace

void appendJsonString(std::string &out, std::string_view text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    std::size_t i = 0;
    while (i < text.size()) {
        // Runs of plain ASCII go in one piece.
        std::size_t run = i;
        while (run < text.size()) {
            const auto c = static_cast<unsigned char>(text[run]);
            if (c < 0x20 || c == '"' || c == '\\' || c >= 0x80)
                break;
            ++run;
        }
        out.append(text.data() + i, run - i);
        i = run;
        if (i == text.size())
            break;

        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80) {
            const std::size_t length = utf8SequenceLength(text, i);
            if (length == 0) {
                out += Replacement;
                ++i;
            } else {
                out.append(text.data() + i, length);
                i += length;
            }
            continue;
        }
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        default:
            out += "\\u00";
            out += hex[c >> 4];
            out += hex[c & 0xF];
        }
        ++i;
    }
    out += '"';
}

void appendJsonObject(std::string &out, const std::map<std::string, std::string> &object)
{
    out += '{';
    bool first = true;
    for (const auto &[key, value] : object) {
        if (!first)
            out += ',';
        first = false;
        appendJsonString(out, key);
        out += ':';
        appendJsonString(out, value);
    }
    out += '}';
}

} // namespace Vantel::Tracking

#include "Statistics/eventparams.h"

#include "tracking/statisticsutil.h"

#include <charconv>

namespace Statistics {

std::string decimal(std::int64_t value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string decimal(std::uint64_t value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

std::string real(double value)
{
    // to_chars with general format and precision 6 is printf's %g, the same text as
    // QString::number(value, 'g', 6), without a locale or an allocation on the way.
    char buffer[32];
    const auto result
        = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
    return std::string(buffer, result.ptr);
}

std::string utf8(const QString &text)
{
    const QChar *chars = text.constData();
    const int size = text.size();
    std::string ascii(static_cast<std::size_t>(size), '\0');
    for (int i = 0; i < size; ++i) {
        const ushort c = chars[i].unicode();
        if (c >= 0x80)
            return text.toStdString();
        ascii[static_cast<std::size_t>(i)] = static_cast<char>(c);
    }
    return ascii;
}

std::string flag(bool value)
{
    return Vantel::App::Util::Statistics::boolToString(value);
}

} // namespace Statistics

#pragma once

#include "applogicexport.h"

#include "util/mtime.h"

#include <QString>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <utility>

// The value formatting every usage event follows. Pure functions, so reporters stay one-liners
// and tests can feed them directly.
namespace Statistics {

using Params = std::map<std::string, std::string>;

APPLOGIC_EXPORT std::string decimal(std::int64_t value);
APPLOGIC_EXPORT std::string decimal(std::uint64_t value);
inline std::string decimal(int value)
{
    return decimal(static_cast<std::int64_t>(value));
}
inline std::string decimal(unsigned value)
{
    return decimal(static_cast<std::uint64_t>(value));
}
// Six significant digits, trailing zeros dropped: 0.5 gives "0.5", 1234567 gives "1.23457e+06".
APPLOGIC_EXPORT std::string real(double value);
APPLOGIC_EXPORT std::string flag(bool value);
// For keys ending "_S": whole seconds, the fraction dropped.
inline std::string seconds(MTime t)
{
    return decimal(t.toSec());
}
// For keys ending "_MS".
inline std::string millis(MTime t)
{
    return decimal(t.toMSec());
}
// UTF-8 text. Keys and most values are short ASCII, which skips Qt's codec and its temporary
// byte array.
APPLOGIC_EXPORT std::string utf8(const QString &text);

inline constexpr const char *unknownWord = "UNKNOWN";

// The word for an enumeration value from its table; "UNKNOWN" (or `fallback`) for anything the
// table does not hold, so a newer enumerator never breaks an event.
template<std::size_t N>
const char *
wordOf(const char *const (&table)[N], long long value, const char *fallback = unknownWord)
{
    return value >= 0 && static_cast<unsigned long long>(value) < N && table[value] ? table[value]
                                                                                    : fallback;
}

template<class Enum>
const char *wordOf(std::initializer_list<std::pair<Enum, const char *>> table,
                   Enum value,
                   const char *fallback = unknownWord)
{
    for (const auto &[key, word] : table) {
        if (key == value)
            return word;
    }
    return fallback;
}

} // namespace Statistics

#pragma once

#include <array>
#include <cstddef>
#include <string_view>

// The stored names of an identifier enumeration (effects, transitions): a table indexed by the
// enumerator, read both ways. Project files keep the names, so a renumbered enumeration never
// changes what a saved file means.
namespace Timeline::Detail {

template<class Id, std::size_t N>
std::string_view idText(const std::array<std::string_view, N> &texts, Id id) noexcept
{
    const auto index = static_cast<std::size_t>(id);
    return index < N ? texts[index] : std::string_view();
}

template<class Id, std::size_t N>
bool idFromText(const std::array<std::string_view, N> &texts,
                std::string_view text,
                Id *id) noexcept
{
    for (std::size_t i = 0; i < N; ++i) {
        if (texts[i] == text) {
            *id = static_cast<Id>(i);
            return true;
        }
    }
    return false;
}

} // namespace Timeline::Detail

#pragma once

#include "tracking/trackedevent.h"

#include <QtGlobal>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Vantel::Tracking {

// Events waiting for the writer, already in their stored form: every text of every event in one
// buffer. The sending thread encodes its event and appends it; the writer takes the whole
// buffer. So the hand-off costs no allocation per event, and nothing allocated on one thread is
// freed on the other (which glibc makes the allocating thread pay for).
struct PendingEvents {
    struct Row {
        std::size_t begin;
        std::uint32_t nameSize;
        std::uint32_t paramsSize;
        std::uint32_t sessionSize;
        qint64 timeMs;

        std::string_view name(const std::string &text) const
        {
            return { text.data() + begin, nameSize };
        }
        std::string_view params(const std::string &text) const
        {
            return { text.data() + begin + nameSize, paramsSize };
        }
        std::string_view session(const std::string &text) const
        {
            return { text.data() + begin + nameSize + paramsSize, sessionSize };
        }
    };

    std::string text;
    std::vector<Row> rows;

    std::size_t size() const noexcept { return rows.size(); }
    bool empty() const noexcept { return rows.empty(); }
    void clear() noexcept
    {
        text.clear();
        rows.clear();
    }
    void swap(PendingEvents &other) noexcept
    {
        text.swap(other.text);
        rows.swap(other.rows);
    }
    void append(const TrackedEvent &event, std::string_view params)
    {
        rows.push_back(Row { text.size(), static_cast<std::uint32_t>(event.name.size()),
                             static_cast<std::uint32_t>(params.size()),
                             static_cast<std::uint32_t>(event.session.size()), event.timeMs });
        text.append(event.name).append(params).append(event.session);
    }
};

} // namespace Vantel::Tracking

#include "trackedevents.h"

namespace StatisticsTest {

// Every event file instantiates this with its table; the controller sends nothing of its own
// until it goes, so the recorder holds exactly what the row's notification gave.
TEST_P(StatisticsEvents, reach_the_tracker_as_expected)
{
    GetParam().send();
    std::vector<Event> received;
    for (const auto &event : sink->events)
        received.push_back({ event.name, event.params });
    EXPECT_EQ(received, GetParam().expected);
}

} // namespace StatisticsTest

#include "tracking/jsonlinessink.h"

#include "tempdatafolder.h"
#include "testfiles.h"

#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace Vantel::Tracking;
using ::testing::ElementsAre;

namespace {

TrackedEvent makeEvent(const std::string &name, std::map<std::string, std::string> params)
{
    TrackedEvent event;
    event.name = name;
    event.params = std::move(params);
    event.timeMs = 1;
    event.session = "s";
    return event;
}

QList<QByteArray> linesOf(const QString &path)
{
    QList<QByteArray> lines = TestSupport::readFile(path).split('\n');
    if (!lines.isEmpty() && lines.back().isEmpty())
        lines.removeLast();
    return lines;
}

class JsonLinesSinkTest : public ::testing::Test {
protected:
    QString path() const { return m_dir.filePath("events.jsonl"); }
    QTemporaryDir m_dir;
};

} // namespace

TEST_F(JsonLinesSinkTest,
       each_event_is_on_disk_as_soon_as_it_is_consumed_as_its_name_and_params_only)
{
    JsonLinesSink sink(path());
    sink.consume(makeEvent("FIRST", {}));
    EXPECT_EQ(linesOf(path()).size(), 1);
    sink.consume(makeEvent("PROJECT_SAVED", { { "CLIPS", "3" }, { "AUDIO", "true" } }));
    // Every line ends in a newline, the last one too: line tools drop an unended last line.
    EXPECT_EQ(TestSupport::readFile(path()),
              QByteArray("{\"event\":\"FIRST\",\"params\":{}}\n"
                         R"({"event":"PROJECT_SAVED","params":{"AUDIO":"true","CLIPS":"3"}})"
                         "\n"));
}

TEST_F(JsonLinesSinkTest, an_existing_file_is_started_afresh)
{
    TestSupport::writeFile(path(), "left over from another run\n");
    JsonLinesSink sink(path());
    sink.consume(makeEvent("E", {}));
    EXPECT_THAT(linesOf(path()), ElementsAre(QByteArray(R"({"event":"E","params":{}})")));
}

TEST_F(JsonLinesSinkTest, a_file_that_cannot_be_opened_is_refused)
{
    EXPECT_THROW(JsonLinesSink sink(m_dir.filePath("missing/folder/events.jsonl")),
                 std::runtime_error);
}

TEST_F(JsonLinesSinkTest, a_file_of_the_data_folder_is_refused_and_left_whole)
{
    TestSupport::TempDataFolder data;
    const QString store
        = TestSupport::writeFile(data.filePath("usage/events.sqlite"), "the event store");
    EXPECT_THROW(JsonLinesSink sink(store), std::runtime_error);
    EXPECT_EQ(TestSupport::readFile(store), "the event store");
}

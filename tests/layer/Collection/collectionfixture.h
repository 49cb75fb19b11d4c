#pragma once

#include "Statistics/controller.h"

#include "eventwait.h"
#include "logcapture.h"
#include "loopbackhttpserver.h"
#include "recordingeventsink.h"
#include "tempdatafolder.h"

#include "collection/collection.h"
#include "tracking/generalvanteltracker.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <boost/intrusive_ptr.hpp>

namespace CollectionTest {

inline void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// A fresh data folder whose product configuration points the featured list at a loopback server,
// an empty item storage, and the statistics controller on a tracker whose events are recorded.
class CollectionFixture : public ::testing::Test {
protected:
    CollectionFixture()
    {
        EditorCollection::CollectionProvider::itemStorage().reset();
        tracker->addSink(sink);
        linkTrendingTo(QStringLiteral("/file/trending"));
    }
    ~CollectionFixture() override { EditorCollection::CollectionProvider::itemStorage().reset(); }

    void linkTrendingTo(const QString &serverPath)
    {
        const QJsonObject links { { QStringLiteral("COLLECTIONS_TRENDING_REQUEST_URL"),
                                    server.url(serverPath).toString() } };
        writeFile(data.filePath(QStringLiteral("product.json")),
                  QJsonDocument(QJsonObject { { QStringLiteral("links"), links } }).toJson());
    }

    // The parameters of every event of that name, in order.
    std::vector<std::map<std::string, std::string>> eventsNamed(const std::string &name) const
    {
        std::vector<std::map<std::string, std::string>> result;
        for (const auto &event : sink->events) {
            if (event.name == name)
                result.push_back(event.params);
        }
        return result;
    }

    TestSupport::TempDataFolder data;
    TestSupport::LoopbackHttpServer server;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker {
        new Vantel::Tracking::GeneralVantelTracker("sid")
    };
    std::shared_ptr<TestSupport::RecordingEventSink> sink
        = std::make_shared<TestSupport::RecordingEventSink>();
    Statistics::Controller statistics { tracker };
};

} // namespace CollectionTest

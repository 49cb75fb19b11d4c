#include "tracking/acceleratorspropertiesfiller.h"

#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using Vantel::Tracking::Fillers::AcceleratorsPropertiesFiller;

namespace {

// A /sys of our own: class/drm/<node>/device/{vendor,device} and the driver link.
class FakeSysfs {
public:
    std::string root() const { return m_dir.path().toStdString(); }

    void addNode(const QString &node,
                 const QByteArray &vendor,
                 const QByteArray &device,
                 const QString &driver = {})
    {
        const QString deviceDir = m_dir.filePath("devices/" + node);
        TestSupport::writeFile(deviceDir + "/vendor", vendor + '\n');
        TestSupport::writeFile(deviceDir + "/device", device + '\n');
        if (!driver.isEmpty()) {
            const QString driverDir = m_dir.filePath("bus/pci/drivers/" + driver);
            QDir().mkpath(driverDir);
            QFile::link(driverDir, deviceDir + "/driver");
        }
        const QString nodeDir = m_dir.filePath("class/drm/" + node);
        QDir().mkpath(nodeDir);
        QFile::link(deviceDir, nodeDir + "/device");
    }

private:
    QTemporaryDir m_dir;
};

std::map<std::string, std::string> fill(const FakeSysfs &sys)
{
    AcceleratorsPropertiesFiller filler(sys.root());
    std::map<std::string, std::string> params;
    filler.appendParams(params);
    return params;
}

} // namespace

TEST(AcceleratorsPropertiesFiller,
     a_machine_without_render_nodes_says_none_beside_the_senders_params)
{
    FakeSysfs sys;
    AcceleratorsPropertiesFiller filler(sys.root());
    std::map<std::string, std::string> params { { "SID", "abc" } };
    filler.appendParams(params);
    EXPECT_EQ(params,
              (std::map<std::string, std::string> { { "SID", "abc" },
                                                    { "HW_ACCELERATORS", "none" },
                                                    { "HW_ACCELERATORS_COUNT", "0" } }));
}

TEST(AcceleratorsPropertiesFiller, each_render_node_gives_vendor_device_and_driver_in_node_order)
{
    FakeSysfs sys;
    sys.addNode("renderD129", "0x1002", "0x73bf", "amdgpu");
    sys.addNode("card0", "0x10de", "0x2204",
                "nvidia"); // not a render node
    sys.addNode("renderD128", "0x8086", "0x9a49", "i915");
    // A vendor without a name is given by its number, a node without a driver link as unknown.
    sys.addNode("renderD130", "0x1af4", "0x1050");
    EXPECT_EQ(fill(sys),
              (std::map<std::string, std::string> { { "HW_ACCELERATORS", "INTEL,AMD,0x1af4" },
                                                    { "HW_ACCELERATORS_COUNT", "3" },
                                                    { "HW_ACCELERATOR_0_VENDOR", "INTEL" },
                                                    { "HW_ACCELERATOR_0_DEVICE", "0x9a49" },
                                                    { "HW_ACCELERATOR_0_DRIVER", "i915" },
                                                    { "HW_ACCELERATOR_1_VENDOR", "AMD" },
                                                    { "HW_ACCELERATOR_1_DEVICE", "0x73bf" },
                                                    { "HW_ACCELERATOR_1_DRIVER", "amdgpu" },
                                                    { "HW_ACCELERATOR_2_VENDOR", "0x1af4" },
                                                    { "HW_ACCELERATOR_2_DEVICE", "0x1050" },
                                                    { "HW_ACCELERATOR_2_DRIVER", "UNKNOWN" } }));
}

TEST(AcceleratorsPropertiesFiller, the_machine_is_read_once_at_construction)
{
    FakeSysfs sys;
    AcceleratorsPropertiesFiller filler(sys.root());
    sys.addNode("renderD128", "0x8086", "0x9a49", "i915");
    std::map<std::string, std::string> params;
    filler.appendParams(params);
    EXPECT_EQ(params.at("HW_ACCELERATORS"), "none");
    EXPECT_EQ(params.count("HW_ACCELERATOR_0_VENDOR"), 0u);
}

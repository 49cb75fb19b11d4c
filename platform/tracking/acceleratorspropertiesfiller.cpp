#include "tracking/acceleratorspropertiesfiller.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;

namespace Vantel::Tracking::Fillers {

namespace {

std::string readTrimmed(const fs::path &file)
{
    // read-check: the kernel's /sys attributes, neither the data folder nor the install.
    std::ifstream in(file);
    std::string text;
    std::getline(in, text);
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ' || text.back() == '\r'))
        text.pop_back();
    return text;
}

std::string vendorName(const std::string &id)
{
    if (id == "0x8086")
        return "INTEL";
    if (id == "0x10de")
        return "NVIDIA";
    if (id == "0x1002")
        return "AMD";
    if (id.empty())
        return "UNKNOWN";
    return id;
}

} // namespace

AcceleratorsPropertiesFiller::AcceleratorsPropertiesFiller()
    : AcceleratorsPropertiesFiller("/sys")
{
}

AcceleratorsPropertiesFiller::AcceleratorsPropertiesFiller(const std::string &sysfsRoot)
{
    std::vector<fs::path> nodes;
    std::error_code ec;
    for (const auto &entry : fs::directory_iterator(fs::path(sysfsRoot) / "class/drm", ec)) {
        if (entry.path().filename().string().rfind("renderD", 0) == 0)
            nodes.push_back(entry.path());
    }
    std::sort(nodes.begin(), nodes.end());

    std::string vendors;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const fs::path device = nodes[i] / "device";
        const std::string prefix = "HW_ACCELERATOR_" + std::to_string(i) + "_";
        const std::string vendor = vendorName(readTrimmed(device / "vendor"));
        m_properties[prefix + "VENDOR"] = vendor;
        m_properties[prefix + "DEVICE"] = readTrimmed(device / "device");
        std::error_code linkError;
        const fs::path driver = fs::read_symlink(device / "driver", linkError);
        m_properties[prefix + "DRIVER"]
            = linkError ? std::string("UNKNOWN") : driver.filename().string();
        vendors += (vendors.empty() ? "" : ",") + vendor;
    }
    m_properties["HW_ACCELERATORS"] = vendors.empty() ? "none" : vendors;
    m_properties["HW_ACCELERATORS_COUNT"] = std::to_string(nodes.size());
}

void AcceleratorsPropertiesFiller::appendParams(std::map<std::string, std::string> &params)
{
    for (const auto &[key, value] : m_properties)
        params[key] = value;
}

} // namespace Vantel::Tracking::Fillers

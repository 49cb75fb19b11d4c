#pragma once

#include "tracking_export.h"

#include "tracking/idatafiller.h"

#include <map>
#include <string>

namespace Vantel::Tracking::Fillers {

// The machine's hardware video acceleration, as the kernel's DRM render nodes show it: one set of
// keys per render node (vendor, device, driver), read once at construction. A machine without a
// render node reports "HW_ACCELERATORS" = "none" and a count of 0, never nothing.
class TRACKING_EXPORT AcceleratorsPropertiesFiller : public IDataFiller {
public:
    AcceleratorsPropertiesFiller();
    // Reads the device tree under `sysfsRoot` (a test's fake /sys) instead of the real one.
    explicit AcceleratorsPropertiesFiller(const std::string &sysfsRoot);

    void appendParams(std::map<std::string, std::string> &params) override;

private:
    std::map<std::string, std::string> m_properties;
};

} // namespace Vantel::Tracking::Fillers

// The parameters of a stored event come back from a file anyone can edit: whatever the bytes,
// reading them must not crash, and what it reads must survive a round trip.
#include "tracking/eventstore.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    std::map<std::string, std::string> params;
    if (!Vantel::Tracking::paramsFromJson(bytes, params))
        return 0;
    std::map<std::string, std::string> again;
    if (!Vantel::Tracking::paramsFromJson(Vantel::Tracking::paramsToJson(params), again)
        || again != params)
        std::abort();
    return 0;
}

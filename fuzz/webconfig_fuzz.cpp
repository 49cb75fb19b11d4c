// The remote configuration comes from a server and from files in the data folder: whatever the
// bytes, reading them must not crash or hang, and what it accepts must read back the same after
// being written out again.
#include "webconfig/webconfigparser.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace Vantel::App::WebConfig;
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const ParseResult result = parseWebConfig(bytes);
    if (!result.ok()) {
        if (!result.config.empty())
            std::abort();
        return 0;
    }
    const ParseResult again = parseWebConfig(serializeWebConfig(result.config));
    if (!again.ok() || again.config != result.config)
        std::abort();
    return 0;
}

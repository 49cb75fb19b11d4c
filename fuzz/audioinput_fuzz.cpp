// A sound file given as the virtual input's source: any bytes either decode into the take's
// format or throw, with the length and layout checks before any allocation they size.

#include "audio/virtualinput.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    try {
        const auto samples = AudIO::Virtual::decodeSamples(reinterpret_cast<const char *>(data),
                                                           size, AudIO::AudioFormat { 48000, 2 });
        if (samples.size() % 2 != 0)
            __builtin_trap();
    } catch (const std::runtime_error &) {
    }
    return 0;
}

// What the upload reads from outside: the stored parameters of an event (a file anyone can edit)
// and a collector's answers. Whatever the bytes, nothing may crash, the attributes must be JSON
// whatever they were made from, and the answer's counts are never negative.
#include "tracking/otlplogs.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace Vantel::Tracking::Otlp;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    std::string attributes = "[";
    if (appendParamsAsAttributes(attributes, text, true)) {
        attributes += ']';
        if (QJsonDocument::fromJson(QByteArray::fromStdString(attributes)).isNull())
            std::abort();
    } else if (attributes != "[") {
        std::abort();
    }
    const QByteArray bytes(text.data(), static_cast<int>(size));
    if (parseExportResponse(bytes).rejectedLogRecords < 0)
        std::abort();
    failureMessage(bytes);
    parseRetryAfter(bytes, QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC));
    return 0;
}

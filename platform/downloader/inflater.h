#pragma once

#include "downloader_export.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// Undoes the content coding of a response body as it streams in, one piece of input at a time,
// handing out what it produces in bounded pieces: the caller can stop a body that inflates past
// its limit after that limit, whatever the body's own size.
namespace Downloader {

enum class ContentCoding { Identity, Gzip, Deflate };

// The coding a Content-Encoding header names; nothing for one this downloader cannot undo
// (br, compress, or a chain of codings).
DOWNLOADER_EXPORT std::optional<ContentCoding> contentCodingOf(const QByteArray &header);

class DOWNLOADER_EXPORT Inflater {
public:
    // Gets each piece of output; false stops the stream (the caller has said why).
    using Sink = std::function<bool(const char *data, std::int64_t size)>;

    explicit Inflater(ContentCoding coding);
    ~Inflater();
    Inflater(const Inflater &) = delete;
    Inflater &operator=(const Inflater &) = delete;

    // False on a broken stream (with `error` set) or when the sink said stop.
    bool feed(const char *data, std::int64_t size, const Sink &sink, QString *error);
    // The stream ended where its format says it ends; anything short of that is a cut body.
    bool finished() const;

private:
    struct State;
    std::unique_ptr<State> d;
};

} // namespace Downloader

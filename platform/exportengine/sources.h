#pragma once

// The files a graph reads, each decoded on a thread of its own from shortly before its piece's
// time and closed once the piece has what it needs: a timeline of hundreds of clips holds a
// decoder for the few clips around the moment being made, not for all of them. Internal to the
// engine's library.

#include "exportengine/filtergraph.h"
#include "exportengine/libav.h"

#include <memory>
#include <vector>

namespace Export::Detail {

class GraphOutput;
class Source;

class FedSources {
public:
    // Tells each source's buffer in `graph` (parsed, not yet configured) the format its frames
    // come in, from the file's header; the decoders start later. Throws Failure naming a file
    // that cannot be read. With `under`, the buffer "buffer@" + stageSource takes that graph's
    // output, pulled on a thread of its own.
    FedSources(std::vector<FedSource> uses, AVFilterGraph *graph, GraphOutput *under = nullptr);
    // Stops the decoders still running.
    ~FedSources();
    FedSources(const FedSources &) = delete;
    FedSources &operator=(const FedSources &) = delete;

    // Gives the graph a frame (or the end) of the source it has waited for most; false when it
    // waits for none. Throws what that source's decoder met.
    bool feed();
    // The output has reached `seconds`: the sources wanted within the next moments start
    // decoding, so the next clip is ready when the cut comes.
    void reached(double seconds);

private:
    std::vector<std::unique_ptr<Source>> m_sources;
};

} // namespace Export::Detail

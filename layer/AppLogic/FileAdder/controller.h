#pragma once

#include "applogicexport.h"

#include "Messages/fileadder.h"

#include "pubsub/subscriber.h"

#include <memory>

// The single entry point through which files reach the editor. Sorts each AddMediaFiles request
// into media, project and package paths, asks the user where a request mixes them, opens a lone
// project, hands media to the file analysis with one task handler per destination, reports the
// added files to the statistics, and ends every request with one AddMediaFilesResult.
// The application makes one; main thread.
namespace FileAnalyzer {
class Model;
}

namespace FileAdder {

class APPLOGIC_EXPORT Controller final : public PubSub::Subscriber<AddMediaFiles> {
public:
    // Hands media to `analysis`, which outlives the controller.
    explicit Controller(FileAnalyzer::Model &analysis);
    ~Controller() override;
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    void notify(const AddMediaFiles &request) override;

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

} // namespace FileAdder

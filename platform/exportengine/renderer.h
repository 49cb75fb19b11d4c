#pragma once

#include "export/exportstate.h"
#include "exportengine/renderplan.h"

#include <QString>

#include <atomic>
#include <cstdint>
#include <stdexcept>

// The engine's worker: turns a plan into a file with the decoder library. Internal to the
// engine's library; it runs on the engine's thread and shares only the control block below.
namespace Export::Detail {

// Why a render stopped, in words a user can act on.
class Failure : public std::runtime_error {
public:
    Failure(QString reason, QString info)
        : std::runtime_error(info.toStdString())
        , desc { std::move(reason), std::move(info) }
    {
    }
    ExportErrorDesc desc;
};

// Thrown out of the render when the control block's cancel flag is seen.
struct Cancelled { };

// Read by the owner while the worker writes it.
struct Control {
    std::atomic<bool> cancel { false };
    std::atomic<int> pass { 0 };
    std::atomic<int> passes { 1 };
    std::atomic<std::int64_t> doneMs { 0 }; // output time made in this pass
};

// Renders `plan` with `preset` to a temporary file beside `outputPath`, renamed over it once
// complete. Returns the size of the file written. Throws Failure or Cancelled, having removed
// the temporary file.
std::int64_t render(const RenderPlan &plan,
                    const ExportPreset &preset,
                    const QString &outputPath,
                    Control &control);

} // namespace Export::Detail

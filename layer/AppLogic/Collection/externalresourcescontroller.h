#pragma once

#include "applogicexport.h"

#include <memory>

// Fills the content collection with what does not ship with the editor: the external audio list
// (music and sounds) and, when the remote settings allow it, the external effects list (shader
// effects and transitions). On every start signal of the catalogue it applies the cached copy of
// each list, then downloads a fresh one for the next start. Main thread.
namespace EditorCollection {

class CatalogueProtocol;

class APPLOGIC_EXPORT ExternalResourcesController {
public:
    explicit ExternalResourcesController(CatalogueProtocol &catalogue);
    ~ExternalResourcesController();
    ExternalResourcesController(const ExternalResourcesController &) = delete;
    ExternalResourcesController &operator=(const ExternalResourcesController &) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

} // namespace EditorCollection

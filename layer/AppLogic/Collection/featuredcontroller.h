#pragma once

#include "applogicexport.h"

#include <memory>

// Marks the collection items that the featured configuration names with the FEATURED category,
// which the collection views show as a featured shelf. The configuration applied is the cache on
// disk at construction; a fresh copy is downloaded for the next run, and each download's outcome
// is reported to the collection statistics. Main thread.
namespace EditorCollection {

class APPLOGIC_EXPORT FeaturedController {
public:
    FeaturedController();
    ~FeaturedController();
    FeaturedController(const FeaturedController &) = delete;
    FeaturedController &operator=(const FeaturedController &) = delete;

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

} // namespace EditorCollection

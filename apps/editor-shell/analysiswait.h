#pragma once

#include "FileAnalyzer/model.h"
#include "FileAnalyzer/view.h"

#include <QEventLoop>

#include <vector>

namespace Shell {

// Keeps each analysis object an add request makes until the layer lets it go: by then its files
// are placed and reported. A command runs `loop` until `finished()`.
class AnalysisWait : public FileAnalyzer::View {
public:
    explicit AnalysisWait(FileAnalyzer::Model &analysis)
        : View(analysis)
    {
    }

    void fileAnalyzerAddRequested(FileAnalyzer::Object *object) override
    {
        if (FileAnalyzer::ObjectPtr added = model().find(object))
            objects.push_back(std::move(added));
    }
    void fileAnalyzerRemoveRequested(FileAnalyzer::Object *) override
    {
        ++removed;
        if (loop && finished())
            loop->quit();
    }

    bool allRemoved() const { return removed >= static_cast<int>(objects.size()); }
    virtual bool finished() const { return allRemoved(); }

    std::vector<FileAnalyzer::ObjectPtr> objects;
    int removed = 0;
    QEventLoop *loop = nullptr;
};

} // namespace Shell

#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"
#include "util/mtime.h"

#include <QStringList>

#include <cstdint>
#include <optional>

namespace Timeline {
class Model;
}
namespace Transition {
class Object;
}

// The one way files enter the editor: whoever wants files added publishes AddMediaFiles, and the
// file adding controller ends every request with one AddMediaFilesResult.
namespace FileAdder {

class Object;

// Where a request comes from. The numbers are fixed: each selects how the files are reported
// to the usage statistics.
enum class Asrc : std::int32_t {
    ImportButton = 0,
    CollectionButton = 1,
    CollectionContextMenu = 2,
    PlusButtonFiles = 3,
    PlusButtonMusic = 4,
    MainImportButton = 5,
    MainMenu = 6,
    TimelineImportButton = 7,
    ImportFolders = 8,
    DragAndDrop = 9,
    CollectionToTimeline = 10,
    DragAndDropFromExplorer = 11,
    IntroClip = 12,
    IntroClipReplace = 13,
    AudioRecording = 14,
    Logo = 15,
    External = 16,
    LogoDragAndDrop = 17,
    TransitionSettings = 18,
};

enum class AddedResult : int { Done = 0, Declined = 1 };

// Where on the timeline the clips go: one after another from `position` on `track`.
struct TimelineContext {
    Timeline::Model *timeline = nullptr;
    int track = 0;
    MTime position;
};

// The files go to the project's collection; it takes them in through Project::FileAddRequest.
struct CollectionContext { };

// The transition whose media the files replace.
struct TransitionContext {
    Transition::Object *transition = nullptr;
};

// Where the files of a request are to go; any combination, or none. The timeline and the
// transition need only live while the request is delivered: whatever keeps them longer watches
// them.
struct Contexts {
    std::optional<TimelineContext> timeline;
    std::optional<CollectionContext> collection;
    std::optional<TransitionContext> transition;
};

class APPLOGIC_EXPORT AddMediaFiles : public Message::Types::Request<FileAdder::Object> {
public:
    AddMediaFiles(QStringList files,
                  Asrc source,
                  Contexts contexts,
                  const PubSub::Object *sender = nullptr)
        : Request(sender)
        , files(std::move(files))
        , source(source)
        , contexts(std::move(contexts))
    {
    }
    QStringList files;
    Asrc source;
    Contexts contexts;
};

class APPLOGIC_EXPORT AddMediaFilesResult : public Message::Types::Notification<FileAdder::Object> {
public:
    AddMediaFilesResult(AddedResult result, QStringList files)
        : Notification(globalObject())
        , result(result)
        , files(std::move(files))
    {
    }
    AddedResult result;
    QStringList files; // the media passed on for adding; empty when none were
};

} // namespace FileAdder

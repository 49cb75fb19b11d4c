#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"
#include "util/mtime.h"

#include <QString>

namespace Timeline {
class ITimeline;
}

// The quick-video wizard: files, a theme and music in, a finished edit out. Published by the
// wizard's pages; a timeline pointer is the wizard's own edit, valid for the delivery only.
namespace Statistics {

class APPLOGIC_EXPORT FileAddedInFilmMakerNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    enum class Way : int { FilesDropped, MusicDropped, MusicWindowOpened, SampleMusicChosen };

    explicit FileAddedInFilmMakerNotification(Way way, QString category = {}, QString music = {})
        : Notification(globalObject())
        , way(way)
        , category(std::move(category))
        , music(std::move(music))
    {
    }
    Way way;
    QString category; // of a sample music
    QString music; // name of a sample music
};

class APPLOGIC_EXPORT FilmMakerThemeStatusChanged
    : public Message::Types::Notification<Statistics::Object> {
public:
    enum class Status : int { Clicked, Downloading, DownloadStopped, DownloadFailed };

    FilmMakerThemeStatusChanged(QString theme, Status status)
        : Notification(globalObject())
        , theme(std::move(theme))
        , status(status)
    {
    }
    QString theme;
    Status status;
};

class APPLOGIC_EXPORT FilmMakerImportPageDone
    : public Message::Types::Notification<Statistics::Object> {
public:
    enum class SortOrder : int { None, Name, Date, Shuffle };

    FilmMakerImportPageDone(const Timeline::ITimeline *timeline, SortOrder sortedBy)
        : Notification(globalObject())
        , timeline(timeline)
        , sortedBy(sortedBy)
    {
    }
    const Timeline::ITimeline *timeline;
    SortOrder sortedBy;
};

class APPLOGIC_EXPORT FilmMakerThemePageDone
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit FilmMakerThemePageDone(QString theme)
        : Notification(globalObject())
        , theme(std::move(theme))
    {
    }
    QString theme;
};

class APPLOGIC_EXPORT FilmMakerAudioPageDone
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit FilmMakerAudioPageDone(int musicCount)
        : Notification(globalObject())
        , musicCount(musicCount)
    {
    }
    int musicCount;
};

class APPLOGIC_EXPORT FilmMakerFinished : public Message::Types::Notification<Statistics::Object> {
public:
    // What the user chose on the last page; the numbers are the wizard's own, 0 and 1 are its
    // ways out without a result.
    enum class Action : int { AdvancedEdit = 2, ExportVideo = 3, ShareVideo = 4 };
    enum class Background : int { Crop, FillBlackBars, None };

    FilmMakerFinished(Action action, const Timeline::ITimeline *timeline)
        : Notification(globalObject())
        , action(action)
        , timeline(timeline)
    {
    }
    Action action;
    const Timeline::ITimeline *timeline;
    MTime photoDuration; // how long each photo shows; zero when the edit has no photos
    bool fitToMusic = false;
    Background background = Background::None;
    QString backgroundName;
    QString theme;
    bool titleIntroChanged = false;
    bool titleOutroChanged = false;
};

} // namespace Statistics

// Quick-video wizard events.

#include "Statistics/statisticsevents.h"
#include "Statistics/timelinepicker.h"
#include "Statistics/vocabularies.h"

#include "timeline/timeline.h"

namespace Statistics {

namespace {

// The wizard's edit counted once.
std::shared_ptr<FileCountPicker> countFiles(const Timeline::ITimeline &timeline)
{
    auto files = std::make_shared<FileCountPicker>();
    walkTimeline(timeline, { files });
    return files;
}

} // namespace

Events eventsOf(const FileAddedInFilmMakerNotification &n)
{
    const char *name = filmMakerFileEvent(n.way);
    if (!name)
        return {};
    Params params;
    if (n.way == FileAddedInFilmMakerNotification::Way::SampleMusicChosen) {
        params["CATEGORY_NAME"] = utf8(n.category);
        params["MUSIC_NAME"] = utf8(n.music);
    }
    return { { name, std::move(params) } };
}

Events eventsOf(const FilmMakerThemeStatusChanged &n)
{
    // The status names the event; a status the wizard does not know has no event to go under.
    const char *name = themeStatusEvent(n.status);
    if (!name)
        return {};
    return { { name, { { "THEME_NAME", utf8(n.theme) } } } };
}

// Without the wizard's edit its counts and lengths are unknown, not zero: their keys are left
// out and the rest of the event is sent.
Events eventsOf(const FilmMakerImportPageDone &n)
{
    Params params;
    if (n.timeline) {
        const auto files = countFiles(*n.timeline);
        params["VIDEO_ADDED"] = decimal(static_cast<std::uint64_t>(files->videoCount()));
        params["PHOTO_ADDED"] = decimal(static_cast<std::uint64_t>(files->photoCount()));
    }
    params["SORTED_BY"] = sortOrderName(n.sortedBy);
    return { { "WU_IMPORT_DONE", std::move(params) } };
}

Events eventsOf(const FilmMakerThemePageDone &n)
{
    return { { "WU_THEME_DONE", { { "THEME_NAME", utf8(n.theme) } } } };
}

Events eventsOf(const FilmMakerAudioPageDone &n)
{
    return { { "WU_MUSIC_DONE", { { "MUSIC_COUNT", decimal(n.musicCount) } } } };
}

Events eventsOf(const FilmMakerFinished &n)
{
    const char *name = wizardResultEvent(n.action);
    if (!name)
        return {};
    Params params;
    if (n.timeline) {
        const auto files = countFiles(*n.timeline);
        params["VIDEOFILES_COUNT"] = decimal(static_cast<std::uint64_t>(files->videoCount()));
        params["AUDIOFILES_COUNT"] = decimal(static_cast<std::uint64_t>(files->audioCount()));
        params["PHOTOFILES_COUNT"] = decimal(static_cast<std::uint64_t>(files->photoCount()));
        params["PROJECT_DURATION"] = real(n.timeline->duration().toSecF() / 60.0);
        params["PHOTO_DURATION"]
            = files->photoCount() ? seconds(n.photoDuration) : std::string("NONE");
    }
    params["FIT_TO_MUSIC_CHECKED"] = flag(n.fitToMusic);
    params["BACKGROUND"] = backgroundName(n.background);
    params["BACKGROUND_NAME"] = utf8(n.backgroundName);
    params["THEME_NAME"] = utf8(n.theme);
    params["TITLE_INTRO_CHANGE"] = flag(n.titleIntroChanged);
    params["TITLE_OUTRO_CHANGE"] = flag(n.titleOutroChanged);
    return { { name, std::move(params) } };
}

} // namespace Statistics

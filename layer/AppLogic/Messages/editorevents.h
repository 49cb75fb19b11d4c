#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"
#include "util/mtime.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

// Editor actions reported for usage statistics that have no other listener: presets, player
// navigation, failed files, long-running effects, codecs, input methods.
namespace Statistics {

// Hardware video acceleration was switched off for this run after a failure.
class APPLOGIC_EXPORT IntelMediaTemporaryDisabled
    : public Message::Types::Notification<Statistics::Object> {
public:
    IntelMediaTemporaryDisabled()
        : Notification(globalObject())
    {
    }
};

class APPLOGIC_EXPORT AnimationPresetApplied
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit AnimationPresetApplied(QString presetId)
        : Notification(globalObject())
        , presetId(std::move(presetId))
    {
    }
    QString presetId;
};

class APPLOGIC_EXPORT PanZoomPresetApplied
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit PanZoomPresetApplied(QString presetId)
        : Notification(globalObject())
        , presetId(std::move(presetId))
    {
    }
    QString presetId;
};

class APPLOGIC_EXPORT PipPresetApplied : public Message::Types::Notification<Statistics::Object> {
public:
    explicit PipPresetApplied(QString mode)
        : Notification(globalObject())
        , mode(std::move(mode))
    {
    }
    QString mode;
};

// An operation on the selected clips (split, delete, copy...); `event` names it.
class APPLOGIC_EXPORT ClipsChangedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    ClipsChangedNotification(QString event, std::uint64_t clipsCount)
        : Notification(globalObject())
        , event(std::move(event))
        , clipsCount(clipsCount)
    {
    }
    QString event;
    std::uint64_t clipsCount;
};

class APPLOGIC_EXPORT PlayerEventNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    enum class Kind : int { FrameBack, FrameForward, ClipBack, ClipForward };

    explicit PlayerEventNotification(Kind kind)
        : Notification(globalObject())
        , kind(kind)
    {
    }
    Kind kind;
};

// The dialog about files that failed to open was answered.
class APPLOGIC_EXPORT DeleteFailedFilesEventNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    DeleteFailedFilesEventNotification(bool deletionAllowed, bool clipsDeleted)
        : Notification(globalObject())
        , deletionAllowed(deletionAllowed)
        , clipsDeleted(clipsDeleted)
    {
    }
    bool deletionAllowed; // the dialog offered to delete the clips of those files
    bool clipsDeleted;
};

// A long-running effect (denoising, background removal...) finished processing a clip.
class APPLOGIC_EXPORT ProcessingEffectNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    ProcessingEffectNotification(QString event, QString method)
        : Notification(globalObject())
        , event(std::move(event))
        , method(std::move(method))
    {
    }
    QString event;
    QString method;
    MTime sourceDuration;
    MTime segmentDuration;
    bool reuse = false; // an earlier result was used again
    std::optional<MTime> processingTime;
};

class APPLOGIC_EXPORT AiDenoiseCancellingDelayNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit AiDenoiseCancellingDelayNotification(MTime delay)
        : Notification(globalObject())
        , delay(delay)
    {
    }
    MTime delay;
};

class APPLOGIC_EXPORT AudioNoiseSuppressAppliedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    AudioNoiseSuppressAppliedNotification(QString method, MTime sourceDuration)
        : Notification(globalObject())
        , method(std::move(method))
        , sourceDuration(sourceDuration)
    {
    }
    QString method;
    MTime sourceDuration;
};

// A file could not be opened because none of its codecs is available.
class APPLOGIC_EXPORT CodecsFailed : public Message::Types::Notification<Statistics::Object> {
public:
    CodecsFailed(QString extension, QStringList codecs)
        : Notification(globalObject())
        , extension(std::move(extension))
        , codecs(std::move(codecs))
    {
    }
    QString extension;
    QStringList codecs;
};

class APPLOGIC_EXPORT InputMethodChanged : public Message::Types::Notification<Statistics::Object> {
public:
    explicit InputMethodChanged(QString method)
        : Notification(globalObject())
        , method(std::move(method))
    {
    }
    QString method;
};

} // namespace Statistics

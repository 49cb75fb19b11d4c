#include "timeline/clip.h"

#include "mediamodel/mediafile.h"

#include <stdexcept>
#include <string>

namespace Timeline {

IClip::~IClip() = default;

Clip::Clip(ClipKind kind, std::shared_ptr<Media::File> file)
    : m_kind(static_cast<std::uint8_t>(kind))
    // Whether a clip shows a still picture is settled when it is made from its file: the editor
    // treats image clips differently from then on (their length is free, they have no sound).
    , m_image(file && file->isStillImage())
    , m_file(std::move(file))
{
}

Clip::~Clip() = default;

std::unique_ptr<Clip> Clip::copy() const
{
    auto clip = std::make_unique<Clip>(kind(), m_file);
    clip->m_position = m_position;
    clip->m_duration = m_duration;
    clip->m_sourceIn = m_sourceIn;
    for (const auto &effect : m_effects)
        clip->m_effects.emplace_back(effect->clone());
    clip->m_speed = m_speed;
    clip->m_speedCompensated = m_speedCompensated;
    clip->m_stabilized = m_stabilized;
    clip->m_animation = m_animation;
    clip->m_title = m_title;
    clip->m_resourceId = m_resourceId;
    clip->m_contentId = m_contentId;
    clip->m_marks = m_marks;
    clip->m_opacity = m_opacity;
    clip->m_volume = m_volume;
    clip->m_fadeIn = m_fadeIn;
    clip->m_fadeOut = m_fadeOut;
    clip->m_blending = m_blending;
    return clip;
}

Effect::Object &Clip::addEffect(std::unique_ptr<Effect::Object> effect)
{
    if (!effect)
        throw std::invalid_argument("a clip cannot carry a null effect");
    m_effects.emplace_back(std::move(effect));
    return *m_effects.back();
}

void Clip::removeEffect(std::size_t index)
{
    if (index >= m_effects.size())
        throw std::out_of_range("no effect at that index");
    m_effects.erase(m_effects.begin() + static_cast<std::ptrdiff_t>(index));
}

namespace {

MTime checkedTime(MTime t, const char *what)
{
    if (t < MTime() || t > maxTime)
        throw std::invalid_argument(std::string("a clip's ") + what + " must be from 0 to "
                                    + maxTime.toClockString().toStdString());
    return t;
}

} // namespace

namespace {

void checkUnplaced(const Track *track)
{
    // The timeline keeps its tracks sorted and free of overlaps, and answers questions about
    // them (gaps) from what it saw of its edits; a clip moved behind its back would undo both.
    if (track)
        throw std::logic_error("a clip on a timeline is moved through its timeline");
}

} // namespace

void Clip::setPosition(MTime position)
{
    checkUnplaced(m_track);
    m_position = checkedTime(position, "position");
}

void Clip::setDuration(MTime duration)
{
    checkUnplaced(m_track);
    m_duration = checkedTime(duration, "length");
}

void Clip::setSourceIn(MTime in)
{
    m_sourceIn = checkedTime(in, "start in its file");
}

void Clip::replaceEffect(std::size_t index, std::unique_ptr<Effect::Object> effect)
{
    if (!effect)
        throw std::invalid_argument("a clip cannot carry a null effect");
    if (index >= m_effects.size())
        throw std::out_of_range("no effect at that index");
    m_effects[index] = Effect::Handle(std::move(effect));
}

void Clip::setSpeed(double speed, bool compensated)
{
    // A speed of zero or less would make the clip endless or run backwards; the editor has no
    // such clips.
    if (!(speed > 0.0 && speed <= maxSpeed))
        throw std::invalid_argument("a clip's speed must be above 0 and at most 100");
    m_speed = speed;
    m_speedCompensated = compensated;
    mark(SpeedChanged, speed != 1.0);
}

} // namespace Timeline

namespace Timeline {

void Clip::setAnimation(AnimationItem animation)
{
    for (MTime key : animation.keyframes)
        checkedTime(key, "key frame");
    m_animation = std::move(animation);
    mark(Animated, !m_animation.isEmpty());
}

void Clip::setTitleItem(std::optional<TitleItem> title)
{
    // 0 is the designer's "invalid" title, which the statistics name; anything else is damage.
    if (title && (title->subtype < TitleItem::Invalid || title->subtype > TitleItem::Subtitle))
        throw std::invalid_argument("a title's subtype must be from 0 to 4, not "
                                    + std::to_string(title->subtype));
    m_title = std::move(title);
    mark(Titled, m_title.has_value());
}

void Clip::setResourceId(QString id)
{
    m_resourceId = std::move(id);
    mark(FromResource, !m_resourceId.isEmpty());
}

void Clip::setContentId(QString id)
{
    m_contentId = std::move(id);
    mark(Generated, !m_contentId.isEmpty());
}

void Clip::setOpacity(int percent)
{
    if (percent < 0 || percent > maxOpacity)
        throw std::invalid_argument("opacity must be 0 to 100 percent");
    m_opacity = percent;
}

void Clip::setVolume(int percent)
{
    if (percent < 0 || percent > maxVolume)
        throw std::invalid_argument("volume must be 0 to 400 percent");
    m_volume = percent;
}

void Clip::setFadeIn(MTime fade)
{
    if (fade < MTime() || fade > m_duration)
        throw std::invalid_argument("a fade must be 0 to the clip's length");
    m_fadeIn = fade;
}

void Clip::setFadeOut(MTime fade)
{
    if (fade < MTime() || fade > m_duration)
        throw std::invalid_argument("a fade must be 0 to the clip's length");
    m_fadeOut = fade;
}

void Clip::setBlendingMode(BlendingMode mode)
{
    const int value = static_cast<int>(mode);
    if (value < 0 || value >= blendingModeCount)
        throw std::invalid_argument("no such blending mode");
    m_blending = mode;
}

} // namespace Timeline

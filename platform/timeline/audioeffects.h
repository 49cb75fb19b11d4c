#pragma once

#include "timeline_export.h"

#include "timeline/effect.h"
#include "util/mtime.h"

#include <array>
#include <tuple>

// The audio effects a clip can carry. Parameters are public values in the units the effect panel
// shows; the defaults are what the panel starts with, so an effect equal to a default-constructed
// one is an effect the user applied without touching it.
namespace Effect {

class TIMELINE_EXPORT AudioEqualizer final : public Kind<AudioEqualizer, Id::AudioEqualizer> {
public:
    // The panel's preset list, in its order. "Saved" is the user's own stored curve.
    enum Preset : int {
        Custom,
        Flat,
        VoiceEnhance,
        MusicEnhance,
        Loudness,
        HumReduction,
        BassBoost,
        BassReduce,
        TrebleBoost,
        TrebleReduce,
        Acoustic,
        Classical,
        Dance,
        Deep,
        Electronic,
        HipHop,
        Jazz,
        Latin,
        Lounge,
        Piano,
        Pop,
        RNB,
        Rock,
        SmallSpeakers,
        Saved,
    };
    static constexpr int bandCount = 10;

    int preset = Flat;
    std::array<double, bandCount> gains {}; // dB per band, 31 Hz to 16 kHz

    auto parameters() const { return std::tie(preset, gains); }
};

class TIMELINE_EXPORT AudioReverb final : public Kind<AudioReverb, Id::AudioReverb> {
public:
    MTime duration = MTime::fromMSec(1500);
    MTime delay = MTime::fromMSec(20);
    double dryWetBalance = 0.3; // 0 dry only, 1 wet only
    int frequency = 5000; // Hz, damping cut-off

    auto parameters() const { return std::tie(duration, delay, dryWetBalance, frequency); }
};

class TIMELINE_EXPORT AudioCompressor final : public Kind<AudioCompressor, Id::AudioCompressor> {
public:
    double threshold = -20.0; // dB
    double ratio = 4.0;
    MTime attack = MTime::fromMSec(20);
    MTime release = MTime::fromMSec(250);
    double gainOut = 0.0; // dB
    double blend = 1.0; // 0 dry only, 1 compressed only

    auto parameters() const { return std::tie(threshold, ratio, attack, release, gainOut, blend); }
};

class TIMELINE_EXPORT AudioNoiseGate final : public Kind<AudioNoiseGate, Id::AudioNoiseGate> {
public:
    double threshold = -40.0; // dB
    double range = -60.0; // dB of attenuation while closed
    MTime attack = MTime::fromMSec(10);
    MTime release = MTime::fromMSec(100);

    auto parameters() const { return std::tie(threshold, range, attack, release); }
};

class TIMELINE_EXPORT AudioMonoChannel final : public Kind<AudioMonoChannel, Id::AudioMonoChannel> {
public:
    enum Source : int { Mix, Left, Right };

    int source = Mix;

    auto parameters() const { return std::tie(source); }
};

} // namespace Effect

#pragma once

#include "timeline_export.h"

#include "timeline/effect.h"
#include "util/mtime.h"

#include <array>

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

    template<class V> static void fields(V &v)
    {
        v.integer("preset", &AudioEqualizer::preset, Custom, Saved);
        v.reals("gains", &AudioEqualizer::gains, -24.0, 24.0);
    }
};

class TIMELINE_EXPORT AudioReverb final : public Kind<AudioReverb, Id::AudioReverb> {
public:
    MTime duration = MTime::fromMSec(1500);
    MTime delay = MTime::fromMSec(20);
    double dryWetBalance = 0.3; // 0 dry only, 1 wet only
    int frequency = 5000; // Hz, damping cut-off

    template<class V> static void fields(V &v)
    {
        v.time("durationMs", &AudioReverb::duration, MTime(), MTime::fromMSec(60'000));
        v.time("delayMs", &AudioReverb::delay, MTime(), MTime::fromMSec(10'000));
        v.real("dryWetBalance", &AudioReverb::dryWetBalance, 0.0, 1.0);
        v.integer("frequency", &AudioReverb::frequency, 1, 100'000);
    }
};

class TIMELINE_EXPORT AudioCompressor final : public Kind<AudioCompressor, Id::AudioCompressor> {
public:
    double threshold = -20.0; // dB
    double ratio = 4.0;
    MTime attack = MTime::fromMSec(20);
    MTime release = MTime::fromMSec(250);
    double gainOut = 0.0; // dB
    double blend = 1.0; // 0 dry only, 1 compressed only

    template<class V> static void fields(V &v)
    {
        v.real("threshold", &AudioCompressor::threshold, -100.0, 0.0);
        v.real("ratio", &AudioCompressor::ratio, 1.0, 100.0);
        v.time("attackMs", &AudioCompressor::attack, MTime(), MTime::fromMSec(10'000));
        v.time("releaseMs", &AudioCompressor::release, MTime(), MTime::fromMSec(10'000));
        v.real("gainOut", &AudioCompressor::gainOut, -60.0, 60.0);
        v.real("blend", &AudioCompressor::blend, 0.0, 1.0);
    }
};

class TIMELINE_EXPORT AudioNoiseGate final : public Kind<AudioNoiseGate, Id::AudioNoiseGate> {
public:
    double threshold = -40.0; // dB
    double range = -60.0; // dB of attenuation while closed
    MTime attack = MTime::fromMSec(10);
    MTime release = MTime::fromMSec(100);

    template<class V> static void fields(V &v)
    {
        v.real("threshold", &AudioNoiseGate::threshold, -100.0, 0.0);
        v.real("range", &AudioNoiseGate::range, -100.0, 0.0);
        v.time("attackMs", &AudioNoiseGate::attack, MTime(), MTime::fromMSec(10'000));
        v.time("releaseMs", &AudioNoiseGate::release, MTime(), MTime::fromMSec(10'000));
    }
};

class TIMELINE_EXPORT AudioMonoChannel final : public Kind<AudioMonoChannel, Id::AudioMonoChannel> {
public:
    enum Source : int { Mix, Left, Right };

    int source = Mix;

    template<class V> static void fields(V &v)
    {
        v.integer("source", &AudioMonoChannel::source, Mix, Right);
    }
};

} // namespace Effect

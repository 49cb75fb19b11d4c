#pragma once

#include "timeline_export.h"

#include "timeline/effect.h"

#include <QRectF>
#include <QString>

#include <array>
#include <cstdint>
#include <vector>

// The picture effects a clip can carry. As with the audio effects, parameters are public values
// with the panel's starting values as defaults.
namespace Effect {

class TIMELINE_EXPORT ChromaKey final : public Kind<ChromaKey, Id::ChromaKey> {
public:
    std::uint32_t keyColor = 0xff00ff00; // ARGB, as QRgb
    int tolerance = 30; // percent
    int noise = 10;
    int edges = 10;
    int opacity = 100; // percent

    template<class V> static void fields(V &v)
    {
        v.integer("keyColor", &ChromaKey::keyColor, 0, 0xFFFFFFFFLL);
        v.integer("tolerance", &ChromaKey::tolerance, 0, 100);
        v.integer("noise", &ChromaKey::noise, 0, 100);
        v.integer("edges", &ChromaKey::edges, 0, 100);
        v.integer("opacity", &ChromaKey::opacity, 0, 100);
    }
};

// One shape of a mask effect. Shapes either highlight what lies inside them or conceal it.
struct MaskShape {
    enum Shape : int { Rectangle = 0, Circle = 1 };

    int shape = Rectangle;
    QRectF area { 0.25, 0.25, 0.5, 0.5 }; // in frame fractions
    double opacity = 1.0;
    double smoothBorder = 0.0;
    double pixelationPercent = 0.0; // conceal shapes only
    bool outline = false;

    template<class V> static void fields(V &v)
    {
        v.integer("shape", &MaskShape::shape, Rectangle, Circle);
        // Shapes may reach past the frame's edges, but not by more than a frame's size.
        v.rect("area", &MaskShape::area, -1.0, 2.0);
        v.real("opacity", &MaskShape::opacity, 0.0, 1.0);
        v.real("smoothBorder", &MaskShape::smoothBorder, 0.0, 1.0);
        v.real("pixelationPercent", &MaskShape::pixelationPercent, 0.0, 100.0);
        v.flag("outline", &MaskShape::outline);
    }
    bool operator==(const MaskShape &o) const
    {
        Detail::SameFields<MaskShape> visitor(*this, o);
        fields(visitor);
        return visitor.same;
    }
    bool operator!=(const MaskShape &o) const { return !(*this == o); }
};

class TIMELINE_EXPORT Mask final : public Kind<Mask, Id::Mask> {
public:
    enum EdgeMode : int { Fade = 0, Blur = 1 };

    int edgeMode = Fade;
    std::vector<MaskShape> highlights;
    std::vector<MaskShape> conceals;

    template<class V> static void fields(V &v)
    {
        v.integer("edgeMode", &Mask::edgeMode, Fade, Blur);
        v.shapes("highlights", &Mask::highlights);
        v.shapes("conceals", &Mask::conceals);
    }
};

class TIMELINE_EXPORT Crop final : public Kind<Crop, Id::Crop> {
public:
    // What is cut away from each side, in frame fractions.
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;

    template<class V> static void fields(V &v)
    {
        v.real("left", &Crop::left, 0.0, 1.0);
        v.real("top", &Crop::top, 0.0, 1.0);
        v.real("right", &Crop::right, 0.0, 1.0);
        v.real("bottom", &Crop::bottom, 0.0, 1.0);
    }
};

// Manual colour correction: nine independent tools. A colour preset is a ManualEnhance with the
// preset's name and identifier.
class TIMELINE_EXPORT ManualEnhance final : public Kind<ManualEnhance, Id::ManualEnhance> {
public:
    enum Tool : int {
        Brightness,
        Contrast,
        Saturation,
        Highlights,
        Gamma,
        Shadows,
        Hue,
        Temperature,
        Tint,
    };
    static constexpr int toolCount = Tint + 1;
    // Gamma is a factor, the rest are offsets.
    static constexpr std::array<double, toolCount> defaults = { 0, 0, 0, 0, 1.0, 0, 0, 0, 0 };

    std::array<double, toolCount> values = defaults;

    double value(Tool tool) const { return values[tool]; }
    void setValue(Tool tool, double value) { values[tool] = value; }
    bool isChanged(Tool tool) const { return values[tool] != defaults[tool]; }

    QString name() const override;
    void setName(QString name) { m_name = std::move(name); }
    // The preset's name as set; empty for an effect made by hand.
    const QString &ownName() const noexcept { return m_name; }

    // The tools' names as the project file writes them, in Tool order.
    static constexpr const char *toolNames[toolCount] = {
        "Brightness", "Contrast", "Saturation",  "Highlights", "Gamma",
        "Shadows",    "Hue",      "Temperature", "Tint",
    };

    template<class V> static void fields(V &v)
    {
        v.name("name", &ManualEnhance::ownName, &ManualEnhance::setName);
        v.namedReals("values", &ManualEnhance::values, toolNames, defaults, -100.0, 100.0);
    }

private:
    QString m_name;
};

class TIMELINE_EXPORT BackgroundRemove final : public Kind<BackgroundRemove, Id::BackgroundRemove> {
public:
    // The segmentation model's quality steps; the numbers are the model's own.
    enum QualityMode : int { Draft = 64, Quick = 128, Precise = 256 };

    int qualityMode = Quick;

    template<class V> static void fields(V &v)
    {
        v.integer("qualityMode", &BackgroundRemove::qualityMode, Draft, Precise);
    }
};

// A colour lookup table: one of the shipped tables or one the user loaded from a file.
class TIMELINE_EXPORT Lut final : public Kind<Lut, Id::Lut> {
public:
    QString path; // the table file; empty for a shipped table
    double intensity = 1.0; // 0 none, 1 full

    QString name() const override;
    void setName(QString name) { m_name = std::move(name); }
    // The table's name as set; empty when it has none of its own.
    const QString &ownName() const noexcept { return m_name; }

    template<class V> static void fields(V &v)
    {
        v.name("name", &Lut::ownName, &Lut::setName);
        v.text("path", &Lut::path);
        v.real("intensity", &Lut::intensity, 0.0, 1.0);
    }

private:
    QString m_name;
};

} // namespace Effect

#include "exportengine/filtergraph.h"

#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Export {

namespace {

QString num(double value)
{
    QString text = QString::number(value, 'f', 6);
    // Trailing zeros only lengthen a graph people read in logs.
    while (text.contains(QLatin1Char('.')) && text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text == QLatin1String("-0") ? QStringLiteral("0") : text;
}

QString seconds(MTime time)
{
    return num(time.toSecF());
}

QString backslashed(const QString &text, const char *special)
{
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c.unicode() < 128 && std::strchr(special, static_cast<char>(c.unicode())))
            out += QLatin1Char('\\');
        out += c;
    }
    return out;
}

// The graph's text, built chain by chain with fresh labels.
class GraphText {
public:
    explicit GraphText(std::vector<FedSource> *fed)
        : m_fed(fed)
    {
    }

    QString label() { return QStringLiteral("s%1").arg(m_next++); }

    // "[a][b]f1,f2[out]": returns the output's label.
    QString chain(const QStringList &inputs, const QStringList &filters, QString out = {})
    {
        if (out.isEmpty())
            out = label();
        QString text;
        for (const QString &in : inputs)
            text += QLatin1Char('[') + in + QLatin1Char(']');
        m_parts << text + filters.join(QLatin1Char(',')) + QLatin1Char('[') + out
                + QLatin1Char(']');
        return out;
    }

    // `count` copies of a stream.
    QStringList split(const QString &in, int count, bool audio = false)
    {
        QStringList outs;
        QString text = QLatin1Char('[') + in + QLatin1Char(']')
            + (audio ? QStringLiteral("asplit=%1") : QStringLiteral("split=%1")).arg(count);
        for (int i = 0; i < count; ++i) {
            outs << label();
            text += QLatin1Char('[') + outs.back() + QLatin1Char(']');
        }
        m_parts << text;
        return outs;
    }

    QString text() const { return m_parts.join(QLatin1Char(';')); }

    // The filter that reads `use.path` from `use.seek`: a movie source, or a buffer the caller
    // feeds (its parameters are placeholders the caller sets before the graph is configured).
    QString source(FedSource use)
    {
        if (!m_fed) {
            QString text = QStringLiteral("%1=filename=%2")
                               .arg(use.audio ? QStringLiteral("amovie") : QStringLiteral("movie"),
                                    graphValue(use.path));
            if (use.seek > 0)
                text += QStringLiteral(":seek_point=%1").arg(num(use.seek));
            return text;
        }
        use.name = QStringLiteral("src%1").arg(m_fed->size());
        m_fed->push_back(use);
        return use.audio ? QStringLiteral("abuffer@%1=sample_rate=48000:sample_fmt=fltp:"
                                          "channel_layout=stereo:time_base=1/48000")
                               .arg(use.name)
                         : QStringLiteral("buffer@%1=video_size=2x2:pix_fmt=yuv420p:"
                                          "time_base=1/90000")
                               .arg(use.name);
    }

private:
    std::vector<FedSource> *m_fed;
    QStringList m_parts;
    int m_next = 0;
};

// Filters added one after another, cut into a labelled chain where a branch must start.
class Flow {
public:
    explicit Flow(GraphText &graph)
        : m_graph(graph)
    {
    }

    void add(const QString &filter) { m_pending << filter; }
    QString label()
    {
        if (!m_pending.isEmpty()) {
            m_label = m_graph.chain(m_label.isEmpty() ? QStringList() : QStringList { m_label },
                                    m_pending);
            m_pending.clear();
        }
        return m_label;
    }
    void setLabel(const QString &label)
    {
        m_label = label;
        m_pending.clear();
    }
    GraphText &graph() { return m_graph; }

private:
    GraphText &m_graph;
    QString m_label;
    QStringList m_pending;
};

QString rateText(const VideoFormat &f)
{
    return QStringLiteral("%1/%2").arg(f.rate.numerator()).arg(f.rate.denominator());
}

std::int64_t frames(MTime at, const VideoFormat &f)
{
    return frameAt(std::max(at, MTime()), f.rate);
}

// --- effects on the picture --------------------------------------------------------------------

QString hexColor(std::uint32_t argb)
{
    return QStringLiteral("0x%1").arg(argb & 0xffffff, 6, 16, QLatin1Char('0'));
}

void crop(Flow &flow, const Effect::Crop &c)
{
    const double w = std::max(0.01, 1.0 - c.left - c.right);
    const double h = std::max(0.01, 1.0 - c.top - c.bottom);
    flow.add(QStringLiteral("crop=w=trunc(iw*%1/2)*2:h=trunc(ih*%2/2)*2:x=iw*%3:y=ih*%4")
                 .arg(num(w), num(h), num(std::min(c.left, 0.99)), num(std::min(c.top, 0.99))));
}

void enhance(Flow &flow, const Effect::ManualEnhance &e)
{
    using E = Effect::ManualEnhance;
    // The panel's -100..100 onto each filter's own scale.
    if (e.isChanged(E::Brightness) || e.isChanged(E::Contrast) || e.isChanged(E::Saturation)
        || e.isChanged(E::Gamma))
        flow.add(QStringLiteral("eq=brightness=%1:contrast=%2:saturation=%3:gamma=%4")
                     .arg(num(e.value(E::Brightness) / 200.0),
                          num(1.0 + e.value(E::Contrast) / 100.0),
                          num(1.0 + e.value(E::Saturation) / 100.0),
                          num(std::clamp(e.value(E::Gamma), 0.1, 10.0))));
    if (e.isChanged(E::Highlights) || e.isChanged(E::Shadows))
        flow.add(QStringLiteral("curves=master=0/0 0.25/%1 0.75/%2 1/1")
                     .arg(num(0.25 + e.value(E::Shadows) / 100.0 * 0.15),
                          num(0.75 + e.value(E::Highlights) / 100.0 * 0.15)));
    if (e.isChanged(E::Hue))
        flow.add(QStringLiteral("hue=h=%1").arg(num(e.value(E::Hue) * 1.8)));
    if (e.isChanged(E::Temperature))
        // Warmer is a lower colour temperature of the light the picture is corrected for.
        flow.add(QStringLiteral("colortemperature=temperature=%1")
                     .arg(num(6500.0 - e.value(E::Temperature) * 35.0)));
    if (e.isChanged(E::Tint)) {
        const QString g = num(-e.value(E::Tint) / 250.0);
        flow.add(QStringLiteral("colorbalance=gs=%1:gm=%1:gh=%1").arg(g));
    }
}

void chromaKey(Flow &flow, const Effect::ChromaKey &k)
{
    flow.add(QStringLiteral("format=yuva420p"));
    flow.add(QStringLiteral("chromakey=color=%1:similarity=%2:blend=%3")
                 .arg(hexColor(k.keyColor),
                      num(std::max(0.01, k.tolerance / 200.0 + k.noise / 1000.0)),
                      num(k.edges / 300.0)));
    if (k.opacity < 100)
        // Less than full strength leaves the keyed colour partly seen.
        flow.add(QStringLiteral("lutyuv=a=255-(255-val)*%1").arg(num(k.opacity / 100.0)));
}

void lut(Flow &flow, const Effect::Lut &l)
{
    const QString table
        = QStringLiteral("lut3d=file=%1:interp=tetrahedral").arg(graphValue(l.path));
    if (l.intensity >= 1.0) {
        flow.add(table);
        return;
    }
    GraphText &g = flow.graph();
    const QStringList copies = g.split(flow.label(), 2);
    const QString graded = g.chain({ copies[1] }, { table, QStringLiteral("format=yuv420p") });
    flow.setLabel(
        g.chain({ graded, copies[0] },
                { QStringLiteral("blend=all_mode=normal:all_opacity=%1").arg(num(l.intensity)) }));
}

// The part of the frame a shape covers, clipped to the frame; false when nothing is left.
bool clipped(const QRectF &area, QRectF *out)
{
    *out = area.intersected(QRectF(0, 0, 1, 1));
    return out->width() > 0.005 && out->height() > 0.005;
}

void mask(Flow &flow, const Effect::Mask &m)
{
    GraphText &g = flow.graph();
    auto cutOut = [](const QRectF &r) {
        return QStringLiteral("crop=w=max(2\\,trunc(iw*%1/2)*2):h=max(2\\,trunc(ih*%2/2)*2):"
                              "x=iw*%3:y=ih*%4")
            .arg(num(r.width()), num(r.height()), num(r.x()), num(r.y()));
    };
    auto roundOff = [](const Effect::MaskShape &s, QStringList &f) {
        if (s.shape == Effect::MaskShape::Circle)
            f << QStringLiteral("format=yuva420p")
              << QStringLiteral("geq=lum=lum(X\\,Y):cb=cb(X\\,Y):cr=cr(X\\,Y):"
                                "a=255*lte(hypot((X-W/2)/(W/2)\\,(Y-H/2)/(H/2))\\,1)");
    };
    auto place = [&](const QString &under, const QString &part, const QRectF &r) {
        return g.chain(
            { under, part },
            { QStringLiteral("overlay=x=main_w*%1:y=main_h*%2").arg(num(r.x()), num(r.y())) });
    };
    // Concealed areas are pixelated, or blurred, and shown at the shape's opacity.
    for (const Effect::MaskShape &s : m.conceals) {
        QRectF r;
        if (!clipped(s.area, &r) || s.opacity <= 0)
            continue;
        const QStringList copies = g.split(flow.label(), 2);
        QStringList f { cutOut(r) };
        if (s.pixelationPercent > 0)
            f << QStringLiteral("pixelize=w=%1:h=%1")
                     .arg(std::max(2, static_cast<int>(s.pixelationPercent / 2)));
        else
            f << QStringLiteral("boxblur=10");
        roundOff(s, f);
        if (s.opacity < 1.0)
            f << QStringLiteral("format=yuva420p")
              << QStringLiteral("lutyuv=a=val*%1").arg(num(s.opacity));
        flow.setLabel(place(copies[0], g.chain({ copies[1] }, f), r));
    }
    // Highlighted areas keep their picture; the rest is darkened.
    std::vector<std::pair<const Effect::MaskShape *, QRectF>> shown;
    double dim = 0;
    for (const Effect::MaskShape &s : m.highlights) {
        QRectF r;
        if (clipped(s.area, &r)) {
            shown.push_back({ &s, r });
            dim = std::max(dim, s.opacity);
        }
    }
    if (shown.empty())
        return;
    const QStringList copies = g.split(flow.label(), static_cast<int>(shown.size()) + 1);
    QString out
        = g.chain({ copies[0] }, { QStringLiteral("eq=brightness=%1").arg(num(-0.35 * dim)) });
    for (std::size_t i = 0; i < shown.size(); ++i) {
        QStringList f { cutOut(shown[i].second) };
        roundOff(*shown[i].first, f);
        out = place(out, g.chain({ copies[i + 1] }, f), shown[i].second);
    }
    flow.setLabel(out);
}

// Whether the piece has filters that need the picture as the file has it.
bool needsOriginal(const RenderPiece &piece)
{
    return piece.stabilized
        || std::any_of(piece.effects.begin(), piece.effects.end(), [](const auto &e) {
               return Effect::as<Effect::Crop>(*e) || Effect::as<Effect::ManualEnhance>(*e)
                   || Effect::as<Effect::ChromaKey>(*e) || Effect::as<Effect::Lut>(*e)
                   || Effect::as<Effect::Mask>(*e);
           });
}

// Filters that need the picture as the file has it (before scaling) and may make it
// see-through. Returns whether it did.
bool pictureEffects(Flow &flow, const RenderPiece &piece)
{
    bool alpha = false;
    if (piece.stabilized)
        flow.add(QStringLiteral("deshake"));
    for (const auto &effect : piece.effects) {
        if (const auto *c = Effect::as<Effect::Crop>(*effect))
            crop(flow, *c);
        else if (const auto *e = Effect::as<Effect::ManualEnhance>(*effect))
            enhance(flow, *e);
        else if (const auto *k = Effect::as<Effect::ChromaKey>(*effect))
            chromaKey(flow, *k), alpha = true;
        else if (const auto *l = Effect::as<Effect::Lut>(*effect))
            lut(flow, *l);
        else if (const auto *m = Effect::as<Effect::Mask>(*effect))
            mask(flow, *m);
    }
    return alpha;
}

// --- the picture -------------------------------------------------------------------------------

// One piece's frames at the output's size and rate, from its first frame under a transition to
// its last; in yuva420p with a see-through surround for a layer, yuv420p over black otherwise.
QString videoPiece(GraphText &g, const RenderPiece &p, const VideoFormat &f, bool layer)
{
    const std::int64_t first = frames(p.at - p.lead, f);
    const std::int64_t count
        = std::max<std::int64_t>(1, frames(p.at + p.length + p.tail, f) - first);
    const double rate = boost::rational_cast<double>(f.rate);
    FedSource use;
    use.path = p.path;
    use.still = p.stillImage;
    use.from = (p.at - p.lead).toSecF();
    use.until = (p.at + p.length + p.tail).toSecF();
    if (!needsOriginal(p)) {
        use.fit = f.size;
        use.alpha = layer;
    }
    Flow flow(g);
    // The clip's own time runs through the fades; the first frame shown is `clipStart`.
    MTime held; // time before the file's first picture, shown as that picture
    MTime clipStart = p.skip - p.lead;
    if (p.stillImage) {
        flow.add(g.source(use));
    } else {
        const double wanted = p.sourceStart() - p.lead.toSecF() * p.speed;
        const double start = std::max(0.0, wanted);
        held = MTime::fromSec((start - wanted) / p.speed);
        clipStart = clipStart + held;
        use.seek = start;
        use.end = p.sourceEnd() + (p.tail.toSecF() + 2 / rate) * p.speed;
        flow.add(g.source(use));
        flow.add(QStringLiteral("trim=start=%1:end=%2").arg(num(start), num(use.end)));
        flow.add(QStringLiteral("setpts=((T-%1)/%2+%3)/TB")
                     .arg(num(start), num(p.speed), seconds(clipStart)));
        flow.add(QStringLiteral("fps=fps=%1:start_time=%2").arg(rateText(f), seconds(clipStart)));
    }
    bool alpha = pictureEffects(flow, p) || layer;
    const QString pixels = alpha ? QStringLiteral("yuva420p") : QStringLiteral("yuv420p");
    flow.add(QStringLiteral("scale=w=%1:h=%2:force_original_aspect_ratio=decrease:"
                            "force_divisible_by=2")
                 .arg(f.size.width())
                 .arg(f.size.height()));
    flow.add(QStringLiteral("format=%1").arg(pixels));
    flow.add(QStringLiteral("pad=w=%1:h=%2:x=(ow-iw)/2:y=(oh-ih)/2:color=%3")
                 .arg(f.size.width())
                 .arg(f.size.height())
                 .arg(alpha ? QStringLiteral("black@0") : QStringLiteral("black")));
    flow.add(QStringLiteral("setsar=1"));
    if (p.stillImage) {
        // Scaled once, then shown as often as the piece lasts.
        flow.add(QStringLiteral("loop=loop=-1:size=1"));
        flow.add(QStringLiteral("setpts=N/(%1)/TB+%2/TB").arg(rateText(f), seconds(clipStart)));
        flow.add(QStringLiteral("fps=fps=%1").arg(rateText(f)));
    }
    if (p.panZoom) {
        const double from = p.panZoomFrom.toSecF();
        const double span = std::max(0.04, (p.panZoomTo - p.panZoomFrom).toSecF());
        const QString progress = QStringLiteral("min(1\\,max(0\\,(%1+on/(%2)-%3)/%4))")
                                     .arg(seconds(clipStart), rateText(f), num(from), num(span));
        const QString zoom = p.zoomOut ? QStringLiteral("1.25-0.25*%1").arg(progress)
                                       : QStringLiteral("1+0.25*%1").arg(progress);
        flow.add(QStringLiteral("zoompan=z=%1:x=iw/2-iw/zoom/2:y=ih/2-ih/zoom/2:d=1:s=%2x%3:"
                                "fps=%4")
                     .arg(zoom)
                     .arg(f.size.width())
                     .arg(f.size.height())
                     .arg(rateText(f)));
        flow.add(QStringLiteral("setpts=N/(%1)/TB+%2/TB").arg(rateText(f), seconds(clipStart)));
    }
    const QString fadeAlpha = alpha ? QStringLiteral(":alpha=1") : QString();
    const MTime in = std::max(p.fadeIn, p.openIn);
    if (in > MTime())
        flow.add(QStringLiteral("fade=t=in:st=0:d=%1%2").arg(seconds(in), fadeAlpha));
    const MTime out = std::max(p.fadeOut, p.openOut);
    if (out > MTime())
        flow.add(QStringLiteral("fade=t=out:st=%1:d=%2%3")
                     .arg(seconds(p.clipLength - out), seconds(out), fadeAlpha));
    if (p.opacity < 100) {
        const QString a = num(p.opacity / 100.0);
        if (alpha)
            flow.add(QStringLiteral("lutyuv=a=val*%1").arg(a));
        else
            // Over the black beneath it, a see-through picture is a darker one.
            flow.add(QStringLiteral("lutyuv=y=16+(val-16)*%1:u=128+(val-128)*%1:v=128+(val-128)*%1")
                         .arg(a));
    }
    const std::int64_t missing = std::llround(held.toSecF() * rate);
    if (missing > 0)
        flow.add(QStringLiteral("tpad=start=%1:start_mode=clone").arg(missing));
    // Exactly as many frames as the piece lasts: a file that ends early holds its last picture.
    flow.add(QStringLiteral("tpad=stop=-1:stop_mode=clone"));
    flow.add(QStringLiteral("trim=end_frame=%1").arg(count));
    flow.add(QStringLiteral("setpts=PTS-STARTPTS"));
    if (alpha && !layer) {
        // A keyed picture on the main track shows the black beneath it.
        const QString black = g.chain({},
                                      { QStringLiteral("color=c=black:s=%1x%2:r=%3")
                                            .arg(f.size.width())
                                            .arg(f.size.height())
                                            .arg(rateText(f)) });
        return g.chain({ black, flow.label() },
                       { QStringLiteral("overlay=shortest=1:format=yuv420"),
                         QStringLiteral("format=yuv420p") });
    }
    return flow.label();
}

QString blank(GraphText &g, std::int64_t count, const VideoFormat &f, bool layer)
{
    return g.chain({},
                   { QStringLiteral("color=c=%1:s=%2x%3:r=%4")
                         .arg(layer ? QStringLiteral("black@0") : QStringLiteral("black"))
                         .arg(f.size.width())
                         .arg(f.size.height())
                         .arg(rateText(f)),
                     QStringLiteral("format=%1")
                         .arg(layer ? QStringLiteral("yuva420p") : QStringLiteral("yuv420p")),
                     QStringLiteral("trim=end_frame=%1").arg(count) });
}

// A track as one stream of `total` frames: pieces with blanks between, pieces joined by a
// transition crossed with xfade.
QString videoTrack(GraphText &g,
                   const RenderTrack &track,
                   const VideoFormat &f,
                   std::int64_t total,
                   bool layer)
{
    QStringList segments;
    std::int64_t cursor = 0;
    std::size_t i = 0;
    while (i < track.size() && cursor < total) {
        const std::int64_t runStart = frames(track[i].at - track[i].lead, f);
        QString run = videoPiece(g, track[i], f, layer);
        std::int64_t runEnd = frames(track[i].at + track[i].length + track[i].tail, f);
        ++i;
        for (; i < track.size() && track[i].join; ++i) {
            const RenderPiece &p = track[i];
            const std::int64_t start = frames(p.at - p.lead, f);
            const std::int64_t overlap = runEnd - start;
            const QString next = videoPiece(g, p, f, layer);
            if (overlap <= 0) {
                run = g.chain({ run, next }, { QStringLiteral("concat=n=2:v=1:a=0") });
            } else {
                // Half a frame early, so the first frame of the overlap is the first mixed one
                // whatever the rounding of the offset. The mixer's time stamps after the mix
                // are not the frames' places (a row of dissolves drifted a second by the third):
                // counted afresh, the next mix and the layers above meet each frame in place.
                const double rate = boost::rational_cast<double>(f.rate);
                run = g.chain({ run, next },
                              { QStringLiteral("xfade=transition=%1:duration=%2:offset=%3")
                                    .arg(p.join->picture, num(overlap / rate),
                                         num((start - runStart - 0.5) / rate)),
                                QStringLiteral("setpts=N/(%1)/TB").arg(rateText(f)) });
            }
            runEnd = frames(p.at + p.length + p.tail, f);
        }
        QStringList fit;
        if (runStart < cursor)
            fit << QStringLiteral("trim=start_frame=%1").arg(cursor - runStart)
                << QStringLiteral("setpts=PTS-STARTPTS");
        else if (runStart > cursor)
            segments << blank(g, runStart - cursor, f, layer);
        const std::int64_t end = std::min(runEnd, total);
        fit << QStringLiteral("tpad=stop=-1:stop_mode=clone")
            << QStringLiteral("trim=end_frame=%1").arg(end - std::max(runStart, cursor))
            << QStringLiteral("setpts=PTS-STARTPTS");
        segments << g.chain({ run }, fit);
        cursor = end;
    }
    if (cursor < total)
        segments << blank(g, total - cursor, f, layer);
    if (segments.size() == 1)
        return segments.front();
    return g.chain(segments, { QStringLiteral("concat=n=%1:v=1:a=0").arg(segments.size()) });
}

// The library's blend mode for the editor's; empty for plain source-over.
QString blendMode(Timeline::BlendingMode mode)
{
    using B = Timeline::BlendingMode;
    // The first input of `blend` is the layer, the second the picture beneath; the library's
    // overlay takes its choice from the first, which makes it the usual hard light, and the
    // reverse.
    switch (mode) {
    case B::Overlay:
        return QStringLiteral("hardlight");
    case B::HardLight:
        return QStringLiteral("overlay");
    case B::Lighten:
        return QStringLiteral("lighten");
    case B::Darken:
        return QStringLiteral("darken");
    case B::ColorDodge:
        return QStringLiteral("dodge");
    case B::ColorBurn:
        return QStringLiteral("burn");
    case B::LinearDodge:
        return QStringLiteral("addition");
    case B::Screen:
        return QStringLiteral("screen");
    case B::Difference:
        return QStringLiteral("difference");
    case B::Multiply:
        return QStringLiteral("multiply");
    case B::SoftLight:
        return QStringLiteral("softlight");
    case B::Exclusion:
        return QStringLiteral("exclusion");
    case B::Color:
        return QStringLiteral("color");
    case B::SourceOver:
        break;
    }
    return {};
}

QString pictureLayer(GraphText &g,
                     const QString &base,
                     const RenderTrack &track,
                     const VideoFormat &f,
                     std::int64_t total)
{
    const QString layer = videoTrack(g, track, f, total, true);
    std::vector<const RenderPiece *> blended;
    for (const RenderPiece &p : track)
        if (!blendMode(p.blending).isEmpty())
            blended.push_back(&p);
    if (blended.empty())
        return g.chain({ base, layer },
                       { QStringLiteral("overlay=format=yuv420:eof_action=pass") });
    // The layer laid over the picture as it is; where a clip blends, the mode then mixes that
    // with the picture beneath, in RGB as the modes are defined.
    const QStringList under = g.split(base, static_cast<int>(blended.size()) + 1);
    QString out
        = g.chain({ under[0], layer }, { QStringLiteral("overlay=format=yuv420:eof_action=pass") });
    for (std::size_t i = 0; i < blended.size(); ++i) {
        const RenderPiece &p = *blended[i];
        const QString enable = graphValue(
            QStringLiteral("between(t,%1,%2)").arg(seconds(p.at), seconds(p.at + p.length)));
        const QString mode = blendMode(p.blending);
        if (mode == QLatin1String("color")) {
            // The colour of the layer on the brightness beneath.
            out = g.chain({ out, under[i + 1] },
                          { QStringLiteral("blend=c0_mode=normal:c0_opacity=0:c1_mode=normal:"
                                           "c2_mode=normal:enable=%1")
                                .arg(enable) });
            continue;
        }
        const QString top = g.chain({ out }, { QStringLiteral("format=gbrp") });
        const QString bottom = g.chain({ under[i + 1] }, { QStringLiteral("format=gbrp") });
        out = g.chain({ top, bottom },
                      { QStringLiteral("blend=all_mode=%1:enable=%2").arg(mode, enable),
                        QStringLiteral("format=yuv420p") });
    }
    return out;
}

QString titleFilter(const RenderPiece &p, const VideoFormat &f)
{
    const Timeline::TitleItem &title = *p.title;
    const int h = f.size.height();
    const QString style = title.styleId.toLower();
    QString font = QStringLiteral("Sans");
    if (style.contains(QLatin1String("bold")))
        font += QStringLiteral(":bold");
    if (style.contains(QLatin1String("italic")))
        font += QStringLiteral(":italic");
    int size = h / 10;
    QString x = QStringLiteral("(w-text_w)/2");
    QString y = QStringLiteral("(h-text_h)/2");
    QString look = QStringLiteral("fontcolor=white:borderw=%1:bordercolor=black@0.6")
                       .arg(std::max(1, h / 240));
    switch (title.subtype) {
    case Timeline::TitleItem::Callout:
        size = h / 16;
        y = QStringLiteral("h/6");
        look = QStringLiteral("fontcolor=black:box=1:boxcolor=white@0.85:boxborderw=%1")
                   .arg(std::max(2, h / 60));
        break;
    case Timeline::TitleItem::Sticker:
        size = h / 7;
        x = QStringLiteral("w-text_w-w/20");
        y = QStringLiteral("h/20");
        break;
    case Timeline::TitleItem::Subtitle:
        size = h / 18;
        y = QStringLiteral("h-text_h-h/12");
        look = QStringLiteral("fontcolor=white:box=1:boxcolor=black@0.5:boxborderw=%1")
                   .arg(std::max(2, h / 90));
        break;
    default:
        break;
    }
    const MTime start = p.at - p.skip; // the clip's start, in the output
    const MTime end = start + p.clipLength;
    const double opacity = p.opacity / 100.0;
    QString alpha = num(opacity);
    if (p.fadeIn > MTime() || p.fadeOut > MTime()) {
        const double in = std::max(0.001, p.fadeIn.toSecF());
        const double out = std::max(0.001, p.fadeOut.toSecF());
        alpha = QStringLiteral("%1*min(1,min((t-%2)/%3,(%4-t)/%5))")
                    .arg(num(opacity), seconds(start), num(in), seconds(end), num(out));
    }
    // One pass over the pattern: a later pass would take a "%1" in the title for its own.
    return QStringLiteral("drawtext=font=%1:text=%2:expansion=none:fontsize=%3:x=%4:y=%5:%6:"
                          "alpha=%7:enable=%8")
        .arg(graphValue(font), graphValue(title.text), QString::number(std::max(8, size)), x, y,
             look, graphValue(alpha),
             graphValue(
                 QStringLiteral("between(t,%1,%2)").arg(seconds(p.at), seconds(p.at + p.length))));
}

// --- the sound ---------------------------------------------------------------------------------

QString tempo(double speed)
{
    // One tempo step reaches from half to a hundred times; slower needs several.
    QStringList steps;
    while (speed < 0.5) {
        steps << QStringLiteral("atempo=0.5");
        speed /= 0.5;
    }
    steps << QStringLiteral("atempo=%1").arg(num(speed));
    return steps.join(QLatin1Char(','));
}

QString decibels(double db)
{
    return num(std::pow(10.0, db / 20.0));
}

double clampMs(MTime t, double low, double high)
{
    return std::clamp(static_cast<double>(t.toMSec()), low, high);
}

void soundEffects(Flow &flow, const RenderPiece &p, const AudioFormat &a)
{
    static const int bands[Effect::AudioEqualizer::bandCount]
        = { 31, 62, 125, 250, 500, 1000, 2000, 4000, 8000, 16000 };
    for (const auto &effect : p.effects) {
        if (const auto *eq = Effect::as<Effect::AudioEqualizer>(*effect)) {
            for (int b = 0; b < Effect::AudioEqualizer::bandCount; ++b)
                if (eq->gains[b] != 0 && bands[b] < a.sampleRate / 2)
                    flow.add(QStringLiteral("equalizer=f=%1:t=o:w=1:g=%2")
                                 .arg(bands[b])
                                 .arg(num(eq->gains[b])));
        } else if (const auto *c = Effect::as<Effect::AudioCompressor>(*effect)) {
            flow.add(
                QStringLiteral("acompressor=threshold=%1:ratio=%2:attack=%3:release=%4:mix=%5")
                    .arg(num(std::clamp(std::pow(10.0, c->threshold / 20.0), 0.000976563, 1.0)),
                         num(std::clamp(c->ratio, 1.0, 20.0)), num(clampMs(c->attack, 0.01, 2000)),
                         num(clampMs(c->release, 0.01, 9000)), num(c->blend)));
            if (c->gainOut != 0)
                flow.add(QStringLiteral("volume=%1dB").arg(num(c->gainOut)));
        } else if (const auto *n = Effect::as<Effect::AudioNoiseGate>(*effect)) {
            flow.add(QStringLiteral("agate=threshold=%1:range=%2:attack=%3:release=%4")
                         .arg(decibels(n->threshold), decibels(n->range),
                              num(clampMs(n->attack, 0.01, 9000)),
                              num(clampMs(n->release, 0.01, 9000))));
        } else if (const auto *r = Effect::as<Effect::AudioReverb>(*effect)) {
            // Four reflections dying away over the reverberation time, the damping a low pass
            // on the reflections only.
            GraphText &g = flow.graph();
            const QStringList sides = g.split(flow.label(), 2, true);
            const double rt = std::max(0.05, r->duration.toSecF());
            const double pre = std::max(1.0, static_cast<double>(r->delay.toMSec()));
            QStringList delays;
            QStringList decays;
            for (const double step : { 0.0, 0.11, 0.23, 0.37 }) {
                const double at = std::min(90000.0, pre + step * rt * 1000);
                delays << num(at);
                decays << num(std::clamp(std::pow(10.0, -3.0 * (at / 1000.0) / rt), 0.001, 1.0));
            }
            const QString wet = g.chain(
                { sides[1] },
                { QStringLiteral("lowpass=f=%1").arg(std::min(r->frequency, a.sampleRate / 2 - 1)),
                  QStringLiteral("aecho=in_gain=1:out_gain=1:delays=%1:decays=%2")
                      .arg(delays.join(QLatin1Char('|')), decays.join(QLatin1Char('|'))) });
            flow.setLabel(
                g.chain({ sides[0], wet },
                        { QStringLiteral("amix=inputs=2:normalize=0:weights=%1 %2")
                              .arg(num(1.0 - r->dryWetBalance), num(r->dryWetBalance)) }));
        } else if (const auto *m = Effect::as<Effect::AudioMonoChannel>(*effect)) {
            if (a.channels < 2)
                continue;
            const QString from = m->source == Effect::AudioMonoChannel::Left ? QStringLiteral("c0")
                : m->source == Effect::AudioMonoChannel::Right               ? QStringLiteral("c1")
                                                               : QStringLiteral("0.5*c0+0.5*c1");
            QStringList outs;
            for (int c = 0; c < a.channels; ++c)
                outs << QStringLiteral("c%1=%2").arg(c).arg(from);
            flow.add(QStringLiteral("pan=%1|%2").arg(a.layout, outs.join(QLatin1Char('|'))));
        }
    }
}

QString audioPiece(GraphText &g, const RenderPiece &p, const AudioFormat &a)
{
    const std::int64_t first = sampleAt(std::max(MTime(), p.at - p.lead), a.sampleRate);
    const std::int64_t count
        = std::max<std::int64_t>(1, sampleAt(p.at + p.length + p.tail, a.sampleRate) - first);
    const double wanted = p.sourceStart() - p.lead.toSecF() * p.speed;
    const double start = std::max(0.0, wanted);
    const MTime held = MTime::fromSec((start - wanted) / p.speed);
    const MTime clipStart = p.skip - p.lead + held;
    FedSource use;
    use.path = p.path;
    use.audio = true;
    use.seek = start;
    use.end = p.sourceEnd() + p.tail.toSecF() * p.speed + 0.05;
    use.from = (p.at - p.lead).toSecF();
    use.until = (p.at + p.length + p.tail).toSecF();
    Flow flow(g);
    flow.add(g.source(use));
    flow.add(QStringLiteral("atrim=start=%1:end=%2").arg(num(start), num(use.end)));
    flow.add(QStringLiteral("asetpts=PTS-STARTPTS"));
    flow.add(QStringLiteral("aresample=%1").arg(a.sampleRate));
    if (std::abs(p.speed - 1.0) > 1e-9) {
        if (p.pitchKept)
            flow.add(tempo(p.speed));
        else
            flow.add(QStringLiteral("asetrate=%1,aresample=%2")
                         .arg(std::llround(a.sampleRate * p.speed))
                         .arg(a.sampleRate));
    }
    flow.add(QStringLiteral("aformat=sample_fmts=fltp:sample_rates=%1:channel_layouts=%2")
                 .arg(a.sampleRate)
                 .arg(a.layout));
    soundEffects(flow, p, a);
    flow.add(QStringLiteral("asetpts=N/SR/TB+%1/TB").arg(seconds(clipStart)));
    const MTime in = std::max(p.fadeIn, p.openIn);
    if (in > MTime())
        flow.add(QStringLiteral("afade=t=in:st=0:d=%1").arg(seconds(in)));
    const MTime out = std::max(p.fadeOut, p.openOut);
    if (out > MTime())
        flow.add(QStringLiteral("afade=t=out:st=%1:d=%2")
                     .arg(seconds(p.clipLength - out), seconds(out)));
    if (p.volume != 100)
        flow.add(QStringLiteral("volume=%1").arg(num(p.volume / 100.0)));
    if (held > MTime())
        flow.add(QStringLiteral("adelay=delays=%1:all=1").arg(held.toMSec()));
    flow.add(QStringLiteral("apad=whole_len=%1").arg(count));
    flow.add(QStringLiteral("atrim=end_sample=%1").arg(count));
    flow.add(QStringLiteral("asetpts=N/SR/TB"));
    return flow.label();
}

QString silence(GraphText &g, std::int64_t count, const AudioFormat &a)
{
    return g.chain({},
                   { QStringLiteral("anullsrc=r=%1:cl=%2").arg(a.sampleRate).arg(a.layout),
                     QStringLiteral("aformat=sample_fmts=fltp"),
                     QStringLiteral("atrim=end_sample=%1").arg(count) });
}

QString audioTrack(GraphText &g, const RenderTrack &track, const AudioFormat &a, std::int64_t total)
{
    QStringList segments;
    std::int64_t cursor = 0;
    std::size_t i = 0;
    auto at = [&](MTime t) { return sampleAt(std::max(MTime(), t), a.sampleRate); };
    while (i < track.size() && cursor < total) {
        const std::int64_t runStart = at(track[i].at - track[i].lead);
        QString run = audioPiece(g, track[i], a);
        std::int64_t runEnd = at(track[i].at + track[i].length + track[i].tail);
        ++i;
        for (; i < track.size() && track[i].join; ++i) {
            const RenderPiece &p = track[i];
            const std::int64_t overlap = runEnd - at(p.at - p.lead);
            const QString next = audioPiece(g, p, a);
            run = overlap > 0
                ? g.chain({ run, next },
                          { QStringLiteral("acrossfade=ns=%1:c1=tri:c2=tri").arg(overlap) })
                : g.chain({ run, next }, { QStringLiteral("concat=n=2:v=0:a=1") });
            runEnd = at(p.at + p.length + p.tail);
        }
        QStringList fit;
        if (runStart < cursor)
            fit << QStringLiteral("atrim=start_sample=%1").arg(cursor - runStart)
                << QStringLiteral("asetpts=N/SR/TB");
        else if (runStart > cursor)
            segments << silence(g, runStart - cursor, a);
        const std::int64_t end = std::min(runEnd, total);
        const std::int64_t length = end - std::max(runStart, cursor);
        fit << QStringLiteral("apad=whole_len=%1").arg(length)
            << QStringLiteral("atrim=end_sample=%1").arg(length)
            << QStringLiteral("asetpts=N/SR/TB");
        segments << g.chain({ run }, fit);
        cursor = end;
    }
    if (cursor < total)
        segments << silence(g, total - cursor, a);
    if (segments.size() == 1)
        return segments.front();
    return g.chain(segments, { QStringLiteral("concat=n=%1:v=0:a=1").arg(segments.size()) });
}

} // namespace

QString graphValue(const QString &value)
{
    // Blanks too: the parsers drop them at either end of a value unless escaped.
    return backslashed(backslashed(value, "\\': \t\n\r"), "\\'[],; \t\n\r");
}

QString videoGraph(const RenderPlan &plan, const VideoFormat &format)
{
    return videoGraph(plan, format, nullptr);
}

QString audioGraph(const RenderPlan &plan, const AudioFormat &format)
{
    return audioGraph(plan, format, nullptr);
}

namespace {

// The layers and titles over `picture`, and the graph's output.
void layersOver(GraphText &g,
                QString picture,
                const RenderPlan &plan,
                const VideoFormat &format,
                std::int64_t total)
{
    for (const RenderLayer &layer : plan.layers) {
        if (layer.pieces.empty())
            continue;
        if (layer.kind == RenderLayer::Pictures) {
            picture = pictureLayer(g, picture, layer.pieces, format, total);
            continue;
        }
        QStringList titles;
        for (const RenderPiece &p : layer.pieces)
            titles << titleFilter(p, format);
        picture = g.chain({ picture }, titles);
    }
    g.chain({ picture }, { QStringLiteral("format=yuv420p") }, QStringLiteral("out"));
}

} // namespace

QString videoGraph(const RenderPlan &plan, const VideoFormat &format, std::vector<FedSource> *fed)
{
    GraphText g(fed);
    const std::int64_t total = std::max<std::int64_t>(1, frames(plan.duration, format));
    layersOver(g, videoTrack(g, plan.video, format, total, false), plan, format, total);
    return g.text();
}

VideoStages videoStages(const RenderPlan &plan,
                        const VideoFormat &format,
                        std::vector<FedSource> *trackFed,
                        std::vector<FedSource> *layersFed)
{
    const std::int64_t total = std::max<std::int64_t>(1, frames(plan.duration, format));
    GraphText track(trackFed);
    track.chain({ videoTrack(track, plan.video, format, total, false) },
                { QStringLiteral("format=yuv420p") }, QStringLiteral("out"));
    GraphText layers(layersFed);
    const QString base = layers.chain(
        {},
        { QStringLiteral("buffer@%1=video_size=%2x%3:pix_fmt=yuv420p:time_base=%4/%5")
              .arg(QLatin1String(stageSource))
              .arg(format.size.width())
              .arg(format.size.height())
              .arg(format.rate.denominator())
              .arg(format.rate.numerator()) });
    layersOver(layers, base, plan, format, total);
    return { track.text(), layers.text() };
}

QString audioGraph(const RenderPlan &plan, const AudioFormat &format, std::vector<FedSource> *fed)
{
    GraphText g(fed);
    const std::int64_t total
        = std::max<std::int64_t>(1, sampleAt(plan.duration, format.sampleRate));
    QStringList tracks;
    for (const RenderTrack &track : plan.audio)
        tracks << audioTrack(g, track, format, total);
    if (tracks.isEmpty())
        tracks << silence(g, total, format);
    QStringList last;
    if (tracks.size() > 1)
        last << QStringLiteral("amix=inputs=%1:normalize=0:duration=longest").arg(tracks.size());
    last << QStringLiteral("aformat=sample_fmts=fltp:sample_rates=%1:channel_layouts=%2")
                .arg(format.sampleRate)
                .arg(format.layout);
    g.chain(tracks, last, QStringLiteral("out"));
    return g.text();
}

} // namespace Export

#include "project/internal/effectfields.h"

#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"

#include <QJsonArray>

namespace Project::FileFormat {

namespace {

// Reads an effect's parameters through its kind's field table (Effect::Kind). A parameter that
// is missing keeps the effect's default; one outside the table's range is an error.
template<class T> class FieldReader {
public:
    FieldReader(T &target, const Node &node)
        : m_target(target)
        , m_node(node)
    {
    }

    template<class I> void integer(const char *key, I T::*m, std::int64_t min, std::int64_t max)
    {
        m_target.*m = static_cast<I>(m_node.integer(key, m_target.*m, min, max));
    }
    void real(const char *key, double T::*m, double min, double max)
    {
        const double v = m_node.real(key, m_target.*m);
        if (!within(v, min, max))
            fail(at(m_node.where(), key), rangeText(min, max));
        m_target.*m = v;
    }
    void time(const char *key, MTime T::*m, MTime min, MTime max)
    {
        m_target.*m = MTime::fromMSec(
            m_node.integer(key, (m_target.*m).toMSec(), min.toMSec(), max.toMSec()));
    }
    void flag(const char *key, bool T::*m) { m_target.*m = m_node.flag(key, m_target.*m); }
    void text(const char *key, QString T::*m) { m_target.*m = m_node.text(key, m_target.*m); }
    template<class Get, class Set> void name(const char *key, Get, Set set)
    {
        (m_target.*set)(m_node.text(key));
    }
    void rect(const char *key, QRectF T::*m, double min, double max)
    {
        if (!m_node.has(key))
            return;
        std::array<double, 4> v {};
        readList(key, v, min, max, "must hold four numbers: x, y, width, height");
        if (v[2] < 0 || v[3] < 0)
            fail(at(m_node.where(), key), QStringLiteral("must not have a negative size"));
        m_target.*m = QRectF(v[0], v[1], v[2], v[3]);
    }
    template<std::size_t N>
    void reals(const char *key, std::array<double, N> T::*m, double min, double max)
    {
        if (m_node.has(key))
            readList(key, m_target.*m, min, max, nullptr);
    }
    template<std::size_t N>
    void namedReals(const char *key,
                    std::array<double, N> T::*m,
                    const char *const (&names)[N],
                    const std::array<double, N> &defaults,
                    double min,
                    double max)
    {
        const auto values = m_node.child(key);
        if (!values)
            return;
        for (std::size_t i = 0; i < N; ++i) {
            const double v = values->real(names[i], defaults[i]);
            if (!within(v, min, max))
                fail(at(values->where(), names[i]), rangeText(min, max));
            (m_target.*m)[i] = v;
        }
    }
    template<class Shape> void shapes(const char *key, std::vector<Shape> T::*m)
    {
        const QJsonArray list = m_node.array(key);
        const QString where = at(m_node.where(), key);
        auto &shapes = m_target.*m;
        shapes.clear();
        for (int i = 0; i < list.size(); ++i) {
            Shape shape;
            FieldReader<Shape> reader(shape, elementNode(list, i, where));
            Shape::fields(reader);
            shapes.push_back(shape);
        }
    }

private:
    template<std::size_t N>
    void readList(const char *key,
                  std::array<double, N> &out,
                  double min,
                  double max,
                  const char *sizeMessage)
    {
        const QJsonArray list = m_node.array(key);
        const QString where = at(m_node.where(), key);
        if (list.size() != static_cast<int>(N))
            fail(where,
                 sizeMessage ? QString::fromLatin1(sizeMessage)
                             : QStringLiteral("must hold %1 numbers").arg(N));
        for (std::size_t i = 0; i < N; ++i) {
            const double v = elementReal(list, static_cast<int>(i), where);
            if (!within(v, min, max))
                fail(at(where, static_cast<int>(i)), rangeText(min, max));
            out[i] = v;
        }
    }

    T &m_target;
    const Node m_node;
};

// Writes an effect's parameters through the same table, refusing a value the reader would
// refuse: a file that cannot be opened again is worse than a save that says why it failed.
template<class T> class FieldWriter {
public:
    FieldWriter(const T &source, QJsonObject &out, const QString &where)
        : m_source(source)
        , m_out(out)
        , m_where(where)
    {
    }

    template<class I> void integer(const char *key, I T::*m, std::int64_t min, std::int64_t max)
    {
        const auto v = static_cast<std::int64_t>(m_source.*m);
        if (v < min || v > max)
            fail(at(m_where, key), wholeRangeText(min, max));
        m_out[QLatin1String(key)] = static_cast<qint64>(v);
    }
    void real(const char *key, double T::*m, double min, double max)
    {
        m_out[QLatin1String(key)] = checked(key, m_source.*m, min, max);
    }
    void time(const char *key, MTime T::*m, MTime min, MTime max)
    {
        const MTime v = m_source.*m;
        if (v < min || v > max)
            fail(at(m_where, key), wholeRangeText(min.toMSec(), max.toMSec()));
        m_out[QLatin1String(key)] = ms(v);
    }
    void flag(const char *key, bool T::*m) { m_out[QLatin1String(key)] = m_source.*m; }
    void text(const char *key, QString T::*m) { m_out[QLatin1String(key)] = m_source.*m; }
    template<class Get, class Set> void name(const char *key, Get get, Set)
    {
        m_out[QLatin1String(key)] = (m_source.*get)();
    }
    void rect(const char *key, QRectF T::*m, double min, double max)
    {
        const QRectF &r = m_source.*m;
        if (r.width() < 0 || r.height() < 0)
            fail(at(m_where, key), QStringLiteral("must not have a negative size"));
        m_out[QLatin1String(key)]
            = QJsonArray { checked(key, r.x(), min, max), checked(key, r.y(), min, max),
                           checked(key, r.width(), min, max), checked(key, r.height(), min, max) };
    }
    template<std::size_t N>
    void reals(const char *key, std::array<double, N> T::*m, double min, double max)
    {
        QJsonArray list;
        for (double v : m_source.*m)
            list.append(checked(key, v, min, max));
        m_out[QLatin1String(key)] = list;
    }
    template<std::size_t N>
    void namedReals(const char *key,
                    std::array<double, N> T::*m,
                    const char *const (&names)[N],
                    const std::array<double, N> &,
                    double min,
                    double max)
    {
        QJsonObject values;
        for (std::size_t i = 0; i < N; ++i)
            values[QLatin1String(names[i])] = checked(key, (m_source.*m)[i], min, max);
        m_out[QLatin1String(key)] = values;
    }
    template<class Shape> void shapes(const char *key, std::vector<Shape> T::*m)
    {
        QJsonArray list;
        const QString where = at(m_where, key);
        for (const Shape &shape : m_source.*m) {
            QJsonObject o;
            FieldWriter<Shape> writer(shape, o, at(where, list.size()));
            Shape::fields(writer);
            list.append(o);
        }
        m_out[QLatin1String(key)] = list;
    }

private:
    double checked(const char *key, double v, double min, double max) const
    {
        if (!within(v, min, max))
            fail(at(m_where, key), rangeText(min, max));
        return v;
    }

    const T &m_source;
    QJsonObject &m_out;
    const QString m_where;
};

template<class T> struct KindTag {
    using type = T;
};

// The one list of effect kinds the file knows; `f` is called with a tag of the kind's class.
template<class F> decltype(auto) withKind(Effect::Id id, F &&f)
{
    using namespace Effect;
    switch (id) {
    case Id::AudioEqualizer:
        return f(KindTag<AudioEqualizer> {});
    case Id::AudioReverb:
        return f(KindTag<AudioReverb> {});
    case Id::AudioCompressor:
        return f(KindTag<AudioCompressor> {});
    case Id::AudioNoiseGate:
        return f(KindTag<AudioNoiseGate> {});
    case Id::AudioMonoChannel:
        return f(KindTag<AudioMonoChannel> {});
    case Id::ChromaKey:
        return f(KindTag<ChromaKey> {});
    case Id::Mask:
        return f(KindTag<Mask> {});
    case Id::Crop:
        return f(KindTag<Crop> {});
    case Id::ManualEnhance:
        return f(KindTag<ManualEnhance> {});
    case Id::BackgroundRemove:
        return f(KindTag<BackgroundRemove> {});
    case Id::Lut:
        break;
    }
    return f(KindTag<Lut> {});
}

} // namespace

QJsonObject writeEffect(const Effect::Object &effect, const QString &where)
{
    const std::string_view idText = Effect::idText(effect.id());
    if (idText.empty())
        fail(at(where, "type"), QStringLiteral("is not an effect this editor knows"));
    QJsonObject o { { QStringLiteral("type"),
                      QString::fromLatin1(idText.data(), static_cast<int>(idText.size())) } };
    if (!effect.uniqueId().isEmpty())
        o[QStringLiteral("uniqueId")] = effect.uniqueId();
    if (!effect.isEnabled())
        o[QStringLiteral("enabled")] = false;
    withKind(effect.id(), [&](auto tag) {
        using E = typename decltype(tag)::type;
        FieldWriter<E> writer(static_cast<const E &>(effect), o, where);
        E::fields(writer);
    });
    return o;
}

std::unique_ptr<Effect::Object> readEffect(const Node &n)
{
    Effect::Id id;
    const QString type = n.text("type");
    if (!Effect::idFromText(type.toStdString(), &id))
        fail(at(n.where(), "type"),
             QStringLiteral("\"%1\" is not an effect this editor knows").arg(type));
    std::unique_ptr<Effect::Object> effect
        = withKind(id, [&](auto tag) -> std::unique_ptr<Effect::Object> {
              using E = typename decltype(tag)::type;
              auto e = std::make_unique<E>();
              FieldReader<E> reader(*e, n);
              E::fields(reader);
              return e;
          });
    effect->setUniqueId(n.text("uniqueId"));
    effect->setEnabled(n.flag("enabled", true));
    return effect;
}

} // namespace Project::FileFormat

#pragma once

#include "timeline_export.h"

#include <QString>

#include <memory>
#include <string_view>

// The base of every effect a clip carries. Effects are values: each kind compares by its
// parameters, so "is this the default?" is a comparison with a default-constructed one. Owned by
// their clip (unique_ptr); copied with clone(). Main thread only, like the rest of the model.
namespace Effect {

// The kinds of effect the model knows. The identifier text is what the usage statistics and the
// project file write, so it never changes once released.
enum class Id : int {
    AudioEqualizer,
    ChromaKey,
    Mask,
    Crop,
    ManualEnhance,
    AudioReverb,
    AudioCompressor,
    AudioNoiseGate,
    AudioMonoChannel,
    BackgroundRemove,
    Lut,
};
inline constexpr int idCount = static_cast<int>(Id::Lut) + 1;

// "AudioEqualizer", "ChromaKey", ...; the empty view for a value outside the enumeration.
TIMELINE_EXPORT std::string_view idText(Id id) noexcept;
// The inverse of idText; false when the text names no kind.
TIMELINE_EXPORT bool idFromText(std::string_view text, Id *id) noexcept;

class TIMELINE_EXPORT Object {
public:
    virtual ~Object();

    virtual Id id() const noexcept = 0;
    virtual std::unique_ptr<Object> clone() const = 0;

    // What the user sees in the effect list. Kinds without a name of their own show their
    // identifier text; colour tables and colour presets carry the name of their table or preset.
    virtual QString name() const;
    // The identity of the table or preset an effect was made from; empty for plain effects.
    const QString &uniqueId() const noexcept { return m_uniqueId; }
    void setUniqueId(QString id) { m_uniqueId = std::move(id); }
    // A disabled effect stays on its clip with its settings but does not apply.
    bool isEnabled() const noexcept { return m_enabled; }
    void setEnabled(bool enabled) noexcept { m_enabled = enabled; }

    bool operator==(const Object &other) const
    {
        return id() == other.id() && m_uniqueId == other.m_uniqueId && m_enabled == other.m_enabled
            && equalParameters(other);
    }
    bool operator!=(const Object &other) const { return !(*this == other); }

protected:
    Object() = default;
    Object(const Object &) = default;
    Object &operator=(const Object &) = default;

    // Called only with an object of the same kind.
    virtual bool equalParameters(const Object &other) const = 0;

private:
    QString m_uniqueId;
    bool m_enabled = true;
};

namespace Detail {

// Walks a kind's field table comparing two effects. Every entry of the table takes part, so a
// parameter cannot be written to project files and forgotten by the comparison, or the reverse.
template<class T> class SameFields {
public:
    SameFields(const T &a, const T &b)
        : m_a(a)
        , m_b(b)
    {
    }

    template<class M, class... Rest> void real(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void integer(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void time(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void flag(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void text(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void rect(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void reals(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class M, class... Rest> void namedReals(const char *, M T::*m, Rest &&...)
    {
        compare(m);
    }
    template<class M, class... Rest> void shapes(const char *, M T::*m, Rest &&...) { compare(m); }
    template<class Get, class Set> void name(const char *, Get get, Set)
    {
        same = same && (m_a.*get)() == (m_b.*get)();
    }

    bool same = true;

private:
    template<class M> void compare(M T::*m) { same = same && m_a.*m == m_b.*m; }

    const T &m_a;
    const T &m_b;
};

} // namespace Detail

// The shared plumbing of the concrete kinds: identity, cloning and parameter comparison. Each
// kind lists its parameters once, in `fields(visitor)`: key in the project file, member, and the
// range the editor's panels allow. The project file reads, writes and checks through that table
// and the comparison walks it too.
template<class Derived, Id kind> class Kind : public Object {
public:
    static constexpr Id staticId = kind;

    Id id() const noexcept final { return kind; }
    std::unique_ptr<Object> clone() const final
    {
        return std::make_unique<Derived>(static_cast<const Derived &>(*this));
    }

protected:
    bool equalParameters(const Object &other) const final
    {
        Detail::SameFields<Derived> visitor(static_cast<const Derived &>(*this),
                                            static_cast<const Derived &>(other));
        Derived::fields(visitor);
        return visitor.same;
    }
};

// An effect as a clip holds it: the object with its kind beside it. A census over a long
// timeline sorts effects by kind without reaching into each object, which would cost a cache
// miss apiece.
class Handle {
public:
    explicit Handle(std::unique_ptr<Object> effect)
        : m_id(effect->id())
        , m_effect(std::move(effect))
    {
    }

    Id id() const noexcept { return m_id; }
    Object *get() const noexcept { return m_effect.get(); }
    Object &operator*() const noexcept { return *m_effect; }
    Object *operator->() const noexcept { return m_effect.get(); }

private:
    Id m_id;
    std::unique_ptr<Object> m_effect;
};

// The concrete type behind an effect when it is of kind E; null otherwise.
template<class E> const E *as(const Object &effect) noexcept
{
    return effect.id() == E::staticId ? static_cast<const E *>(&effect) : nullptr;
}

} // namespace Effect

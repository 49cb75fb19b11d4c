#include "timeline/videoeffects.h"

namespace Effect {

QString ManualEnhance::name() const
{
    return m_name.isEmpty() ? Object::name() : m_name;
}

QString Lut::name() const
{
    return m_name.isEmpty() ? Object::name() : m_name;
}

} // namespace Effect

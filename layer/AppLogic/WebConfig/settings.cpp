#include "WebConfig/settings.h"

#include "webconfig/iconfigcontroller.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace EditorWebConfig {

using Vantel::App::ISettingsManagerObserver;

SectionBinding::SectionBinding(ConfigControllerPtr controller, const char *section)
    : m_controller(std::move(controller))
    , m_manager(m_controller ? m_controller->settingsManager(section) : nullptr)
{
}

void SectionBinding::attach(ISettingsManagerObserver *observer) const
{
    if (m_manager)
        m_manager->addObserver(observer);
}

void SectionBinding::detach(ISettingsManagerObserver *observer) const
{
    if (m_manager)
        m_manager->removeObserver(observer);
}

// ---- CollectionSettings

CollectionSettings::CollectionSettings(ConfigControllerPtr controller)
    : BoundSettings(std::move(controller))
{
    if (const auto &manager = m_binding.manager()) {
        m_binding.attach(this);
        m_value = manager->getBool(key, false);
    }
}

void CollectionSettings::SettingChangedBool(const std::string &changed,
                                            bool value,
                                            const std::optional<bool> &)
{
    if (changed == key)
        m_value = value;
}

// ---- CoreSettings

CoreSettings::CoreSettings(ConfigControllerPtr controller)
    : BoundSettings(std::move(controller))
{
    if (const auto &manager = m_binding.manager()) {
        m_binding.attach(this);
        m_value = manager->getBool(key, false);
    }
}

void CoreSettings::SettingChangedBool(const std::string &changed,
                                      bool value,
                                      const std::optional<bool> &)
{
    if (changed == key)
        m_value = value;
}

// ---- FastTrackSettings

namespace {

constexpr std::uint32_t fnv1a(std::string_view text)
{
    std::uint32_t hash = 0x811C9DC5u;
    for (const char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 16777619u;
    }
    return hash;
}

struct Slot {
    std::string_view name;
    FastTrackImplementation value;
};

// Two slots for one name: the hash picks a slot, the exact comparison confirms it.
constexpr std::array<Slot, 2> fastTrackTable = [] {
    std::array<Slot, 2> table {};
    constexpr std::string_view util = "Util";
    table[fnv1a(util) % 2] = { util, FastTrackImplementation::Util };
    return table;
}();

} // namespace

FastTrackImplementation fastTrackImplementationFromString(const std::string &text)
{
    const Slot &slot = fastTrackTable[fnv1a(text) % fastTrackTable.size()];
    return !slot.name.empty() && slot.name == text ? slot.value : FastTrackImplementation::Default;
}

FastTrackSettings::FastTrackSettings(ConfigControllerPtr controller)
    : BoundSettings(std::move(controller))
{
    if (const auto &manager = m_binding.manager()) {
        m_binding.attach(this);
        m_value = fastTrackImplementationFromString(manager->getString(key, std::string()));
    }
}

void FastTrackSettings::SettingChangedString(const std::string &changed,
                                             const std::string &value,
                                             const std::optional<std::string> &)
{
    if (changed == key)
        m_value = fastTrackImplementationFromString(value);
}

// ---- AIModelSettings

AIModelSettings::AIModelSettings(ConfigControllerPtr controller)
    : BoundSettings(std::move(controller))
{
    m_binding.attach(this);
}

QString AIModelSettings::getUrlFromKey(const std::string &key)
{
    const auto &manager = m_binding.manager();
    return manager ? QString::fromStdString(manager->getString(key, std::string())) : QString();
}

void AIModelSettings::SettingChangedString(const std::string &key,
                                           const std::string &value,
                                           const std::optional<std::string> &)
{
    const auto &manager = m_binding.manager();
    if (manager && manager->accept(key, value))
        manager->update(key, value);
}

} // namespace EditorWebConfig

#include "tempdatafolder.h"

#include "util/settingspaths.h"

#include <stdexcept>

namespace TestSupport {

TempDataFolder::TempDataFolder()
{
    if (!m_dir.isValid())
        throw std::runtime_error("cannot create a temporary data folder");
    Settings::setDataFolder(m_dir.path());
}

} // namespace TestSupport

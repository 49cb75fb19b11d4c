#include "shellcontext.h"

namespace Shell {

Command eventsCommand();
Command importCommand();
Command prefsCommand();
Command projectCommand();
Command recordCommand();
Command statisticsCommand();
Command statusCommand();

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        statusCommand(), eventsCommand(), statisticsCommand(), projectCommand(),
        importCommand(), prefsCommand(),  recordCommand(),
    };
    return all;
}

} // namespace Shell

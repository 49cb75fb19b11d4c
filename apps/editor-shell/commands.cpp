#include "shellcontext.h"

namespace Shell {

Command configCommand();
Command eventsCommand();
Command importCommand();
Command linksCommand();
Command prefsCommand();
Command projectCommand();
Command statisticsCommand();
Command statusCommand();

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        statusCommand(), eventsCommand(), statisticsCommand(), projectCommand(),
        importCommand(), prefsCommand(),  configCommand(),     linksCommand(),
    };
    return all;
}

} // namespace Shell

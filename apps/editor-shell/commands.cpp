#include "shellcontext.h"

namespace Shell {

Command eventsCommand();
Command statisticsCommand();
Command statusCommand();

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        statusCommand(),
        eventsCommand(),
        statisticsCommand(),
    };
    return all;
}

} // namespace Shell

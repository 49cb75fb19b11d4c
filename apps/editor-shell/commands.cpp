#include "shellcontext.h"

namespace Shell {

Command censusCommand();
Command clipCommand();
Command collectionCommand();
Command cutCommand();
Command configCommand();
Command eventsCommand();
Command exportCommand();
Command frameCommand();
Command importCommand();
Command linksCommand();
Command prefsCommand();
Command projectCommand();
Command recordCommand();
Command statisticsCommand();
Command statusCommand();
Command transitionsCommand();

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        statusCommand(), eventsCommand(),      statisticsCommand(), projectCommand(),
        importCommand(), prefsCommand(),       censusCommand(),     clipCommand(),
        cutCommand(),    transitionsCommand(), configCommand(),     linksCommand(),
        recordCommand(), collectionCommand(),  exportCommand(),     frameCommand(),
    };
    return all;
}

} // namespace Shell

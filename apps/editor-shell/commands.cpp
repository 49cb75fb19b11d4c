#include "shellcontext.h"

namespace Shell {

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
    };
    return all;
}

} // namespace Shell

#pragma once

// Only the lower library may include this.
inline int lowerDetail()
{
    return 2;
}

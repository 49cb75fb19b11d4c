#include "upper/upper.h"
#include "lower/lower.h"

int upper()
{
    return lower() + 1;
}

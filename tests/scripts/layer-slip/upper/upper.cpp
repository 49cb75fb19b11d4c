#include "upper/upper.h"

#include "lower/internal/detail.h"
#include "lower/lower.h"

int upper()
{
    return lower() + lowerDetail();
}

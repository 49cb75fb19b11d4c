#include "lower/lower.h"
#include "upper/upper.h"

int main()
{
    return upper() + lower();
}

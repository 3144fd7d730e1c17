/* The smallest host: one run in the working directory. */
#include <tarnel.h>

#include <stdio.h>

int main(void)
{
    const int value = main_tarnel_n1();
    printf("returned %d\n", value);
    return value;
}

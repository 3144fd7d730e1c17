/* A host that changes what a run must neither follow nor change: rounding mode, decimal comma. Twenty runs in the
 * working directory; says what it found changed. */
#include <tarnel.h>

#include <fenv.h>
#include <locale.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>
#include <xmmintrin.h>

static int faults = 0;

static void expect(int holds, const char* what)
{
    if (holds) return;
    ++faults;
    printf("changed: %s\n", what);
}

static unsigned long open_handles(void)
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

int main(void)
{
    char number[16];
    const int comma = setlocale(LC_ALL, "German") != NULL;
    if (!comma) puts("this system has no German locale");
    fesetround(FE_UPWARD);
    const unsigned int control = _mm_getcsr() & ~(unsigned int)_MM_EXCEPT_MASK;
    unsigned long handles = 0;
    for (int run = 0; run < 20; ++run) {
        if (main_tarnel_n1() != 0) return 1;
        expect(fegetround() == FE_UPWARD, "rounding mode");
        expect((_mm_getcsr() & ~(unsigned int)_MM_EXCEPT_MASK) == control, "control word");
        if (run == 1) handles = open_handles();
    }
    expect(open_handles() <= handles, "open handles");
    snprintf(number, sizeof number, "%.1f", 1.5);
    if (comma) expect(strcmp(number, "1,5") == 0, "locale");
    return faults == 0 ? 0 : 1;
}

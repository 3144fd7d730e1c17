// TARNEL_LANES, which the build defines: the most doubles side by side that it admits (8, 4 or 1).
#pragma once

#if !defined(__x86_64__)
#undef TARNEL_LANES
#define TARNEL_LANES 1
#endif

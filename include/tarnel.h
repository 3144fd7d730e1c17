/* tarnel: two-dimensional low-frequency magnetic fields by finite elements. */
#ifndef TARNEL_H
#define TARNEL_H

#if defined(_WIN32)
#ifdef TARNEL_BUILD
#define TARNEL_API __declspec(dllexport)
#else
#define TARNEL_API __declspec(dllimport)
#endif
#else
#define TARNEL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Runs one complete analysis in the current working directory: reads the model files, solves, writes the result
 * files and the log "tarnel.log".
 *   returns  0 after a complete run; the log then ends with "    === The end. ===\n"
 *   errors   every failure writes its lines to the log and ends the process with exit status 0; nothing is returned.
 *            A log that cannot be opened or written is reported on standard output.
 * Two runs must not overlap in one directory. The host's locale and rounding mode are neither used nor changed. */
TARNEL_API int main_tarnel_n1(void);

#ifdef __cplusplus
}
#endif

#endif

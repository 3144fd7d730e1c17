// What a user sees of a run: on a terminal one line that is written over again and again, elsewhere plain lines.
#pragma once

#include "solve/log_reader.h"
#include "solve/solver_settings.h"

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct progress_display {
    std::FILE* stream = nullptr; // nullptr: nothing is shown
    bool live = false;           // the stream is a terminal that can write over a line
    std::string shown;           // the live line as it stands on the terminal
};

// Shows progress on stream: live on a terminal, plain lines elsewhere; nothing with quiet.
progress_display open_progress(std::FILE* stream, bool quiet);

// Shows the news from the log, and on a terminal the state of the run after them.
void show_progress(progress_display& display, const std::vector<log_record>& news, const run_log& log,
                   const std::optional<solver_settings>& settings, double elapsed_seconds);

// Takes the live line off the terminal, before anything else is written there.
void erase_live_line(progress_display& display);

// What a function of the library does, in a user's words; an unknown name stands for itself.
std::string stage_label(std::string_view function);

// The names of the result files that the stages of this log have written.
std::vector<std::string> result_files(const run_log& log);

// Writes text from the log or from the child; on a terminal, control characters are shown as '?', since the text may
// hold pieces of any input file.
void write_foreign_text(std::FILE* stream, std::string_view text);

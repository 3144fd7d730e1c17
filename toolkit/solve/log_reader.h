// What a run tells through its log, understood line by line while the log still grows. No files and no terminal here:
// text goes in, plain records come out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class log_line {
    other,
    stage,       // text: the function, or "reading FILE"
    unknowns,    // count: unknowns of the system
    edge,        // count: circuit edge whose system comes next, from 1
    solve_start, // a linear system is about to be solved
    solve_end,   // count, residual: of the last iteration, as far as there was one
    iteration,   // text: the solver's name; count: iterations done so far; residual
    zero_right,  // the right-hand side is zero, so is the solution; text: the line
    warning,     // text: the line without indentation
    note,        // text: the line without indentation
    error,       // text: the whole line
    the_end      // the line that ends the log of a complete run
};

struct log_record {
    log_line kind = log_line::other;
    std::string text;
    std::int64_t count = 0;
    double residual = 0;
};

struct linear_solve {
    std::int64_t edge_no = 0; // circuit edge from 1; 0 for the main system
    std::string solver;       // "ICCG", "CG", "SCG" or "GS"; empty while no iteration has been reported
    std::int64_t iterations = 0;
    double residual = 0; // of the last iteration, relative
    bool zero_right = false;
};

constexpr std::size_t max_kept_line = 1000;       // bytes of one line; the library's own lines stay below 200
constexpr std::size_t max_kept_error_lines = 100; // the first error ends a run, so more can only be a damaged log

struct run_log {
    std::string partial;                  // the last line as far as it has been written
    std::string last_line;                // the last complete line
    std::vector<std::string> stages;      // in the order entered, each function once in a row
    std::vector<linear_solve> solves;     // one per system
    std::vector<std::string> error_lines; // the first error line and everything after it
    std::int64_t unknowns = 0;            // 0: not known
    std::int64_t edge_no = 0;             // edge of the next system
    bool ended = false;                   // nothing stands behind the end line
};

// One line of the log without its newline.
log_record classify_line(std::string_view line);

// Takes the next piece of the log, of any length, cut anywhere, and appends what it tells to news.
void add_log_text(run_log& log, std::string_view text, std::vector<log_record>& news);

// The log will not grow any more: an unfinished last line counts as a line, but never as the end line.
void finish_log(run_log& log);

// A run is complete when its log ends with the end line and no error stands before it.
bool run_is_complete(const run_log& log);

// The lines of "tarnel.log", one test per kind, in the order of classify_line. Every failure of the library is fatal
// and its lines are the last of the log; so whatever follows a first error line belongs to the error.
#include "solve/log_reader.h"

#include <charconv>
#include <optional>
#include <utility>

static std::string_view without_indentation(std::string_view line)
{
    const std::size_t first = line.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view{} : line.substr(first);
}

// The text between the two marks when the line has exactly that shape.
static std::optional<std::string_view> between(std::string_view line, std::string_view before, std::string_view after)
{
    if (line.size() < before.size() + after.size() || !line.starts_with(before) || !line.ends_with(after)) return {};
    return line.substr(before.size(), line.size() - before.size() - after.size());
}

// The number after the first occurrence of name, as in "iter = 12"; blanks may stand before it.
template <class T> static std::optional<T> number_after(std::string_view line, std::string_view name)
{
    const std::size_t at = line.find(name);
    if (at == std::string_view::npos) return {};
    const std::string_view digits = without_indentation(line.substr(at + name.size()));
    T value{};
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (fault != std::errc{}) return {};
    return value;
}

static log_record stage_record(std::string_view name)
{
    log_record record;
    record.kind = log_line::stage;
    record.text = name;
    return record;
}

static log_record text_record(log_line kind, std::string_view text)
{
    log_record record;
    record.kind = kind;
    record.text = text;
    return record;
}

static log_record count_record(log_line kind, std::int64_t count)
{
    log_record record;
    record.kind = kind;
    record.count = count;
    return record;
}

// "      ICCG solver convergence iter = 11 deps = 1.0e-09  rnorm = ..." and "  GS solver convergence iter = 11  eps =
// ..."; the log counts iterations from 0.
static std::optional<log_record> iteration_record(std::string_view words)
{
    const std::string_view mark = " solver convergence iter = ";
    const std::size_t at = words.find(mark);
    if (at == std::string_view::npos) return {};
    const std::optional<std::int64_t> iteration = number_after<std::int64_t>(words, mark);
    const std::optional<double> residual = number_after<double>(words, "eps = ");
    if (!iteration || !residual) return {};
    log_record record = text_record(log_line::iteration, words.substr(0, at));
    record.count = *iteration + 1;
    record.residual = *residual;
    return record;
}

log_record classify_line(std::string_view line)
{
    if (line == "    === The end. ===") return text_record(log_line::the_end, line);
    if (const auto name = between(line, "    === func. ", " ===")) return stage_record(*name);
    if (const auto name = between(line, "    === in func. ", " ===")) return stage_record(*name);
    if (const auto file = between(line, "    === Now, reading ", " ===")) {
        return stage_record("reading " + std::string(*file));
    }
    if (line.starts_with("    ### matrix solver START")) return text_record(log_line::solve_start, line);
    if (line.starts_with("    ### matrix solver END")) return text_record(log_line::solve_end, line);

    const std::string_view words = without_indentation(line);
    if (words.starts_with("Error.")) return text_record(log_line::error, line);
    if (words.starts_with("Warning. norm of right-side vector is zero.")) {
        return text_record(log_line::zero_right, words);
    }
    if (words.starts_with("Warning.")) return text_record(log_line::warning, words);
    if (words.starts_with("Note.") || words.starts_with("Note:")) return text_record(log_line::note, words);
    if (const std::optional<log_record> iteration = iteration_record(words)) return *iteration;
    for (const std::string_view name : {"ndim(total no. of unknown) = ", "ndim = "}) {
        const std::optional<std::int64_t> count = number_after<std::int64_t>(words, name);
        if (words.starts_with(name) && count) return count_record(log_line::unknowns, *count);
    }
    const std::string_view edge = "edge no. i === ";
    const std::optional<std::int64_t> edge_no = number_after<std::int64_t>(words, edge);
    if (words.starts_with(edge) && edge_no) return count_record(log_line::edge, *edge_no);
    return text_record(log_line::other, line);
}

static linear_solve& current_solve(run_log& log)
{
    if (log.solves.empty()) log.solves.emplace_back();
    return log.solves.back();
}

// Brings the log's state up to date and completes the record from it; returns whether the record is news.
static bool note_record(run_log& log, log_record& record)
{
    switch (record.kind) {
    case log_line::stage:
        if (!log.stages.empty() && log.stages.back() == record.text) return false;
        log.stages.push_back(record.text);
        return true;
    case log_line::unknowns: // several stages log the same number
        return std::exchange(log.unknowns, record.count) != record.count;
    case log_line::edge:
        log.edge_no = record.count;
        return true;
    case log_line::solve_start:
        log.solves.emplace_back();
        log.solves.back().edge_no = log.edge_no;
        return true;
    case log_line::iteration:
        current_solve(log).solver = record.text;
        current_solve(log).iterations = record.count;
        current_solve(log).residual = record.residual;
        return true;
    case log_line::zero_right:
        current_solve(log).zero_right = true;
        return true;
    case log_line::solve_end:
        record.count = current_solve(log).iterations;
        record.residual = current_solve(log).residual;
        return true;
    case log_line::warning:
    case log_line::note:
        return true;
    case log_line::error:
    case log_line::the_end:
    case log_line::other:
        return false;
    }
    return false;
}

static void add_line(run_log& log, std::vector<log_record>& news)
{
    log.last_line = std::exchange(log.partial, {});
    log_record record = classify_line(log.last_line);
    log.ended = record.kind == log_line::the_end;
    if (record.kind == log_line::error || !log.error_lines.empty()) {
        if (log.error_lines.size() < max_kept_error_lines) log.error_lines.push_back(log.last_line);
        return;
    }
    if (note_record(log, record)) news.push_back(std::move(record));
}

void add_log_text(run_log& log, std::string_view text, std::vector<log_record>& news)
{
    while (!text.empty()) {
        const std::size_t newline = text.find('\n');
        const std::string_view piece = text.substr(0, newline);
        log.partial += piece.substr(0, max_kept_line - log.partial.size());
        log.ended = false;
        if (newline == std::string_view::npos) return;
        add_line(log, news);
        text.remove_prefix(newline + 1);
    }
}

void finish_log(run_log& log)
{
    if (log.partial.empty()) return;
    std::vector<log_record> unused;
    add_line(log, unused);
    log.ended = false;
}

bool run_is_complete(const run_log& log)
{
    return log.ended && log.error_lines.empty();
}

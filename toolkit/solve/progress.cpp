#include "solve/progress.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

struct stage_row {
    std::string_view function;
    std::string_view label;
    std::array<std::string_view, 2> results; // files a user looks at
};

constexpr stage_row stage_rows[] = {
    {"t_rd_lcs_data", "reading coordinate systems", {}},
    {"t_rd_node_data", "reading nodes", {}},
    {"t_rd_felm_data", "reading elements", {}},
    {"at_rd_prop_data", "reading properties", {}},
    {"at_rd_fixc_data", "reading fixed conditions", {}},
    {"eat_check_node_data", "checking nodes", {}},
    {"eat_set_node_struct", "numbering unknowns", {}},
    {"eat_set_matrix_index", "building the matrix index", {}},
    {"t_set_felm_cntr", "finding element centres", {}},
    {"eat_set_felm_struct", "joining elements and properties", {}},
    {"eat_calc_fem_matrix", "assembling the matrix", {}},
    {"t_real_mtsolv_****", "solving the main system", {}},
    {"t_real_mtsolv_**** for edge part", "solving for the circuit edges", {}},
    {"t_real_mtsolv_iccg", "conjugate gradients", {}},
    {"t_real_mtsolv_seidel", "Gauss-Seidel", {}},
    {"t_real_mtsolv_skylin1", "skyline factorisation", {}},
    {"t_real_mtsolv_skylin2", "skyline substitution", {}},
    {"t_solve_voltr", "solving the circuits", {"t-voltr-result.txt"}},
    {"at_ch_felm_struct_voltr", "setting circuit currents", {}},
    {"eat_calc_node_resl", "writing nodal results", {"at-node-resl.txt", "at-nresl-struct.tmp"}},
    {"eat_calc_felm_resl", "writing element results", {"at-felm-resl.txt", "at-eresl-struct.tmp"}},
};

static const stage_row* find_stage(std::string_view function)
{
    const auto row = std::ranges::find(stage_rows, function, &stage_row::function);
    return row == std::end(stage_rows) ? nullptr : row;
}

std::string stage_label(std::string_view function)
{
    const stage_row* row = find_stage(function);
    return std::string(row != nullptr ? row->label : function);
}

std::vector<std::string> result_files(const run_log& log)
{
    std::vector<std::string> files;
    for (const std::string& function : log.stages) {
        const stage_row* row = find_stage(function);
        if (row == nullptr) continue;
        for (const std::string_view name : row->results) {
            const bool listed = std::ranges::find(files, name) != files.end();
            if (!name.empty() && !listed) files.emplace_back(name);
        }
    }
    return files;
}

static std::string without_controls(std::string_view text)
{
    std::string clean(text);
    std::ranges::replace_if(
        clean, [](char c) { return (static_cast<unsigned char>(c) < 32 && c != '\n') || c == 127; }, '?');
    return clean;
}

void write_foreign_text(std::FILE* stream, std::string_view text)
{
    const std::string shown = isatty(fileno(stream)) != 0 ? without_controls(text) : std::string(text);
    std::fwrite(shown.data(), 1, shown.size(), stream);
}

progress_display open_progress(std::FILE* stream, bool quiet)
{
    progress_display display;
    if (quiet) return display;
    const char* terminal = std::getenv("TERM");
    const bool can_erase = terminal != nullptr && *terminal != '\0' && std::string_view(terminal) != "dumb";
    display.stream = stream;
    display.live = can_erase && isatty(fileno(stream)) != 0;
    return display;
}

static std::string residual_text(double residual)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2e", residual);
    return text.data();
}

static std::string iteration_text(std::int64_t iterations, double residual)
{
    return "iteration " + std::to_string(iterations) + ", residual " + residual_text(residual);
}

// 1, 2, 5, 10, 20, 50, ...: a slow solution gives signs of life without filling a file.
static bool is_told_plainly(std::int64_t iteration)
{
    while (iteration >= 10 && iteration % 10 == 0) iteration /= 10;
    return iteration == 1 || iteration == 2 || iteration == 5;
}

static std::string plain_line(const log_record& record)
{
    switch (record.kind) {
    case log_line::stage:
        return stage_label(record.text);
    case log_line::unknowns:
        return "  " + std::to_string(record.count) + " unknowns";
    case log_line::edge:
        return "circuit edge " + std::to_string(record.count);
    case log_line::iteration:
        return is_told_plainly(record.count) ? "  " + iteration_text(record.count, record.residual) : std::string();
    case log_line::solve_end: // its last iteration, unless that has just been told
        return record.count > 0 && !is_told_plainly(record.count) ? "  " + iteration_text(record.count, record.residual)
                                                                  : std::string();
    case log_line::zero_right:
    case log_line::warning:
    case log_line::note:
        return record.text;
    default:
        return {};
    }
}

static std::string live_text(const run_log& log, const std::optional<solver_settings>& settings, double elapsed_seconds)
{
    std::string text = std::to_string(static_cast<long long>(elapsed_seconds)) + " s  ";
    if (log.stages.empty()) return text + "starting";
    text += stage_label(log.stages.back());
    if (!log.stages.back().starts_with("t_real_mtsolv_") || log.solves.empty()) return text;
    const linear_solve& solve = log.solves.back();
    if (solve.edge_no > 0) text += ", circuit edge " + std::to_string(solve.edge_no);
    if (solve.iterations == 0) return text;
    text += ": iteration " + std::to_string(solve.iterations);
    if (settings) text += " of at most " + std::to_string(settings->iteration_limit);
    text += ", residual " + residual_text(solve.residual);
    if (settings) text += " (goal " + residual_text(settings->tolerance) + ")";
    return text;
}

// A line that reaches the last column would wrap and could not be taken back.
static std::size_t room_on_line(std::FILE* stream)
{
    winsize size{};
    const bool known = ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
    return known ? size.ws_col - 1U : 79U;
}

static void draw_live_line(progress_display& display, std::string_view text)
{
    // Names from a damaged log may hold anything; one byte must be one column here.
    std::string line(text.substr(0, room_on_line(display.stream)));
    std::ranges::replace_if(
        line, [](char c) { return c < 32 || c > 126; }, '?');
    if (line == display.shown) return;
    std::fprintf(display.stream, "\r\033[K%s", line.c_str());
    std::fflush(display.stream);
    display.shown = line;
}

void erase_live_line(progress_display& display)
{
    if (display.shown.empty()) return;
    std::fputs("\r\033[K", display.stream);
    std::fflush(display.stream);
    display.shown.clear();
}

static void show_line(progress_display& display, std::string_view line)
{
    erase_live_line(display);
    write_foreign_text(display.stream, line);
    std::fputc('\n', display.stream);
}

void show_progress(progress_display& display, const std::vector<log_record>& news, const run_log& log,
                   const std::optional<solver_settings>& settings, double elapsed_seconds)
{
    if (display.stream == nullptr) return;
    for (const log_record& record : news) {
        const bool is_message =
            record.kind == log_line::note || record.kind == log_line::warning || record.kind == log_line::zero_right;
        const std::string line = !display.live || is_message ? plain_line(record) : std::string();
        if (!line.empty()) show_line(display, line);
    }
    if (display.live) {
        draw_live_line(display, live_text(log, settings, elapsed_seconds));
    } else {
        std::fflush(display.stream);
    }
}

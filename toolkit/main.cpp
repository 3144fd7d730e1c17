// The command line of tarnel: each subcommand is parsed here and done elsewhere.
#include "solve/solve.h"

#include <tarnel.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

int main(int argument_count, char** arguments)
try {
    CLI::App app("Two-dimensional low-frequency magnetic fields by finite elements", "tarnel");
    app.set_version_flag("--version", std::string("tarnel ") + TARNEL_VERSION);
    app.require_subcommand(1);
    const std::string statuses = "Exit status:\n"
                                 "  0      the run is complete\n"
                                 "  1      the run failed; its error lines are on standard error\n"
                                 "  2      the command was misused\n"
                                 "  128+N  the run was broken off by signal N (130 after Ctrl-C)";
    app.footer(statuses);

    solve_options solve;
    CLI::App* const solve_command = app.add_subcommand("solve", "Run the analysis in a directory of model files");
    solve_command->add_option("DIR", solve.directory, "The directory with the model files; results go there too")
        ->required();
    solve_command->add_flag("-q,--quiet", solve.quiet, "Print nothing unless the run fails");
    solve_command->footer(statuses);

    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& outcome) { // a request for help or the version comes this way too
        return app.exit(outcome) == 0 ? exit_complete : exit_misuse;
    }
    return solve_directory(solve, main_tarnel_n1);
} catch (const std::exception& fault) {
    std::fprintf(stderr, "error: %s\n", fault.what());
    return exit_failed;
} catch (...) {
    std::fputs("error: an unknown fault\n", stderr);
    return exit_failed;
}

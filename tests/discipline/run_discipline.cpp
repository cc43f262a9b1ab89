// SPDX-License-Identifier: GPL-2.0-or-later
//
// Runs the frequency discipline line by line.
//
//   discipline_run          commands on standard input, what they print on output
//   discipline_run --live   the same, each answered at once; no "reset"
//   discipline_run FILE     a recorded file: commands, and what they printed as
//                           lines that begin with "> "; checks that they still do
//
// The commands, numbers of type double in hexadecimal so that nothing is lost:
//
//   add TIME OFFSET ERROR_BAR FREQUENCY    a sample; prints "= RESULT" at last
//   debug 0|1                              the flag
//   reset                                  a new process, prints "reset"
//
// "-nan" is printed as "nan": the sign of a NaN is the processor's business.
#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

#include "horad/discipline.h"
#include "ntp_state.h"

namespace {

using lines = std::vector<std::string>;

void without_nan_signs(std::string &text) {
    for (std::size_t at = 0; (at = text.find("-nan", at)) != std::string::npos;)
        text.erase(at, 1);
}

/// False when the command is none.
bool perform(const std::string &command) {
    std::uint32_t time = 0;
    double offset = 0;
    double error_bar = 0;
    std::int32_t frequency = 0;
    if (std::sscanf(command.c_str(), "add %" SCNu32 " %lf %lf %" SCNd32, &time, &offset, &error_bar,
                    &frequency) == 4) {
        const std::int32_t result = contemplate_data(time, offset, error_bar, frequency);
        std::printf("= %" PRId32 "\n", result);
    } else if (std::sscanf(command.c_str(), "debug %" SCNd32, &frequency) == 1) {
        debug = frequency;
    } else {
        return false;
    }
    return true;
}

/// What a new process prints for the commands.
std::string printed_by(const lines &commands) {
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("pipe");
        std::exit(2);
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == -1) {
        std::perror("fork");
        std::exit(2);
    }
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        alarm(20);
        for (const std::string &command : commands)
            if (!perform(command))
                std::printf("no command: %s\n", command.c_str());
        std::fflush(nullptr);
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    char buffer[65536];
    for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(got));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        text += "ended by signal " + std::to_string(WTERMSIG(status)) + "\n";
    else if (WEXITSTATUS(status) != 0)
        text += "ended with status " + std::to_string(WEXITSTATUS(status)) + "\n";
    without_nan_signs(text);
    return text;
}

int answer(std::istream &input) {
    lines commands;
    for (std::string line; std::getline(input, line);) {
        if (line != "reset") {
            commands.push_back(line);
            continue;
        }
        std::fputs(printed_by(commands).c_str(), stdout);
        std::puts("reset");
        commands.clear();
    }
    std::fputs(printed_by(commands).c_str(), stdout);
    return 0;
}

/// In this process, for a caller that needs an answer before its next command.
int answer_live(std::istream &input) {
    for (std::string line; std::getline(input, line);) {
        if (!perform(line)) {
            std::fprintf(stderr, "no command: %s\n", line.c_str());
            return 2;
        }
        std::fflush(stdout);
    }
    return 0;
}

/// The first line in which two texts differ, each.
std::string difference(const std::string &recorded, const std::string &printed) {
    std::size_t start = 0;
    for (std::size_t i = 0; i < recorded.size() && i < printed.size(); i++) {
        if (recorded[i] != printed[i])
            break;
        if (recorded[i] == '\n')
            start = i + 1;
    }
    const auto line = [start](const std::string &text) {
        return text.substr(start, text.find('\n', start) - start);
    };
    return "recorded \"" + line(recorded) + "\", printed \"" + line(printed) + "\"";
}

int check(std::istream &input) {
    lines commands;
    std::string recorded;
    std::string name;
    int sequences = 0;
    int failures = 0;
    const auto finish = [&] {
        const std::string printed = printed_by(commands);
        sequences++;
        if (printed != recorded) {
            failures++;
            std::printf("FAILED: %s: %s\n", name.c_str(), difference(recorded, printed).c_str());
        }
        commands.clear();
        recorded.clear();
    };
    for (std::string line; std::getline(input, line);) {
        if (line == "reset")
            finish();
        else if (line.compare(0, 2, "> ") == 0)
            recorded += line.substr(2) + "\n";
        else if (line.compare(0, 2, "# ") == 0)
            name = line.substr(2);
        else
            commands.push_back(line);
    }
    if (!commands.empty() || !recorded.empty() || sequences == 0) {
        std::puts("FAILED: the file ends within a sequence");
        failures++;
    }
    std::printf("%d sequences, %d failures\n", sequences, failures);
    return failures == 0 ? 0 : 1;
}

} // namespace

int main(int count, char **arguments) {
    if (count < 2)
        return answer(std::cin);
    if (std::string(arguments[1]) == "--live")
        return answer_live(std::cin);
    std::ifstream file(arguments[1]);
    return check(file);
}

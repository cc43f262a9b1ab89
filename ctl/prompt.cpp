// SPDX-License-Identifier: GPL-2.0-or-later
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <editline/readline.h>
#include <iterator>
#include <memory>

#include "commands.h"
#include "completion.h"
#include "lines.h"
#include "output.h"
#include "vty_session.h"

namespace {

// The library's callback has no argument of ours.
const completion *offered = nullptr;

struct free_line {
    void operator()(char *line) const noexcept { std::free(line); }
};

/// Whether it is a "?" for a list of what can follow.
bool asks_for_help(const std::string &line) { return line.ends_with('?'); }

void show_candidates(const std::string &line) {
    std::string list;
    for (const std::string &word : offered->candidates(line))
        list += "  " + word + "\n";
    print(list.empty() ? "  (a word of yours, or nothing)\n" : list);
}

std::string trim(const char *text) {
    const std::string line = text;
    const std::size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string::npos)
        return {};
    return line.substr(begin, line.find_last_not_of(" \t") - begin + 1);
}

/// Hands out the candidates one by one.
char *next_candidate(const char *, int index) {
    static std::vector<std::string> candidates; // between the calls for one completion
    if (index == 0)
        candidates =
            offered->candidates(std::string(rl_line_buffer, static_cast<std::size_t>(rl_point)));
    const auto place = static_cast<std::size_t>(index);
    return place < candidates.size() ? strdup(candidates[place].c_str()) : nullptr;
}

char **complete_word(const char *text, int, int) {
    rl_attempted_completion_over = 1; // no names of files
    return rl_completion_matches(text, next_candidate);
}

void set_up_editing() {
    // The editor drops letters that the locale does not know.  There is one thread only.
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe)
    static char name[] = "horadctl";
    rl_readline_name = name;
    rl_attempted_completion_function = complete_word;
    rl_catch_signals = 0; // our handler ends the reading of a line
    // Not kept in a file: passwords are typed here, too.
    using_history();
}

/// Null at the end of the input.
std::unique_ptr<char, free_line> read_line() {
    for (;;) {
        std::unique_ptr<char, free_line> typed(readline("horad# "));
        if (typed != nullptr)
            return typed;
        std::putchar('\n');
        if (!interrupt_guard::take())
            return nullptr;
    }
}

} // namespace

exit_status run_prompt(const arguments &given) {
    // The line editor has no place for a context: it asks until the end of this program.
    static const completion commands(run_line(given.socket, "find .").text);
    offered = &commands;
    set_up_editing();
    const interrupt_guard guard;

    exit_status status = all_well;
    while (const auto typed = read_line()) {
        const std::string line = trim(typed.get());
        if (line == "exit" || line == "quit")
            break;
        if (line.empty())
            continue;
        add_history(line.c_str());
        try {
            if (asks_for_help(line)) {
                // The blank before it tells a next word from the rest of this one.
                const std::string as_typed = typed.get();
                show_candidates(as_typed.substr(0, as_typed.rfind('?')));
            } else {
                status = worse(status, run_and_print(given.socket, line));
            }
        } catch (const interrupted &trouble) {
            std::fputc('\n', stderr);
            complain(trouble.what());
        } catch (const failure &trouble) {
            // The next line finds the daemon again when it is back.
            complain(trouble.what());
            status = worse(status, trouble.status);
        }
    }
    return status;
}

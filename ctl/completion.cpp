// SPDX-License-Identifier: GPL-2.0-or-later
#include "completion.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <set>

namespace {

using words = std::vector<std::string>;
using forms = std::vector<words>;

/// Reads the notation: words, <a|b> for a choice and [a] for what may be left out, in
/// one another.  The library has more of it, which no command of the daemon's uses.
class notation_parser {
  public:
    explicit notation_parser(std::string_view text) : rest_(text) {}

    /// Nothing when some of it is not understood.
    forms parse() {
        forms result = parse_choice();
        return is_understood_ && rest_.empty() ? result : forms{};
    }

  private:
    void skip_blanks() {
        while (!rest_.empty() && rest_.front() == ' ')
            rest_.remove_prefix(1);
    }

    bool take(char wanted) {
        skip_blanks();
        if (rest_.empty() || rest_.front() != wanted)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    forms parse_choice() {
        forms result = parse_sequence();
        while (take('|'))
            std::ranges::move(parse_sequence(), std::back_inserter(result));
        return result;
    }

    forms parse_sequence() {
        forms result{{}};
        for (;;) {
            const forms next = parse_item();
            if (next.empty())
                return result;
            forms longer;
            for (const words &head : result)
                for (const words &tail : next) {
                    words one = head;
                    one.insert(one.end(), tail.begin(), tail.end());
                    longer.push_back(std::move(one));
                }
            result = std::move(longer);
        }
    }

    /// Empty where no item begins.
    forms parse_item() {
        if (take('<')) {
            forms result = parse_choice();
            is_understood_ = is_understood_ && take('>');
            return result;
        }
        if (take('[')) {
            forms result = parse_choice();
            result.emplace_back();
            is_understood_ = is_understood_ && take(']');
            return result;
        }
        skip_blanks();
        const std::size_t length = std::min(rest_.find_first_of(" <>[]{}|"), rest_.size());
        if (length == 0)
            return {};
        forms result{{std::string(rest_.substr(0, length))}};
        rest_.remove_prefix(length);
        return result;
    }

    std::string_view rest_;
    bool is_understood_ = true;
};

/// HOST, WORD and (0-512) stand for what the operator makes up.
bool is_placeholder(const std::string &word) {
    return std::ranges::none_of(word, [](unsigned char c) { return std::islower(c) != 0; }) ||
           word.front() == '(';
}

/// The library takes the beginning of a word for the word.
bool fits(const std::string &typed, const std::string &word) {
    return is_placeholder(word) || word.starts_with(typed);
}

} // namespace

forms forms_of(std::string_view notation) { return notation_parser(notation).parse(); }

words split_words(std::string_view line) {
    words result;
    for (;;) {
        const std::size_t begin = line.find_first_not_of(" \t");
        if (begin == std::string_view::npos)
            return result;
        line.remove_prefix(begin);
        const std::size_t length = std::min(line.find_first_of(" \t"), line.size());
        result.emplace_back(line.substr(0, length));
        line.remove_prefix(length);
    }
}

completion::completion(std::string_view found) {
    // Of the commands of the levels above, an operator of the daemon needs these; all
    // of them would bury the daemon's own.
    for (const std::string_view notation :
         {"show running-config", "do write file", "debug ntp <on|off>"})
        std::ranges::move(forms_of(notation), std::back_inserter(commands_));

    constexpr std::string_view node = "  (ntp)  ";
    while (!found.empty()) {
        const std::size_t length = std::min(found.find('\n'), found.size());
        const std::string_view line = found.substr(0, length);
        if (line.starts_with(node))
            std::ranges::move(forms_of(line.substr(node.size())), std::back_inserter(commands_));
        found.remove_prefix(std::min(length + 1, found.size()));
    }
}

words completion::candidates(std::string_view line) const {
    words typed = split_words(line);
    if (typed.empty() || line.back() == ' ' || line.back() == '\t')
        typed.emplace_back();
    const std::size_t last = typed.size() - 1;

    std::set<std::string> found;
    for (const words &command : commands_) {
        if (command.size() < typed.size() || is_placeholder(command[last]))
            continue;
        if (std::equal(typed.begin(), typed.end(), command.begin(), fits))
            found.insert(command[last]);
    }
    return {found.begin(), found.end()};
}

// SPDX-License-Identifier: GPL-2.0-or-later
//
// What can be typed next at the prompt.  The daemon itself says which commands it has,
// those of its modules too.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class completion {
  public:
    /// `found` is the daemon's answer to "find .": lines such as
    /// "  (ntp)  show ntp [json]".
    explicit completion(std::string_view found);

    /// The words that can follow `line`, sorted; its last word, unless a blank ends it,
    /// is one to be completed.
    [[nodiscard]] std::vector<std::string> candidates(std::string_view line) const;

  private:
    using words = std::vector<std::string>;
    std::vector<words> commands_;
};

/// Every form of a command in the library's notation, e.g. "show ntp" and
/// "show ntp json" of "show ntp [json]".  Empty when it is not understood.
[[nodiscard]] std::vector<std::vector<std::string>> forms_of(std::string_view notation);

/// The words of a line.
[[nodiscard]] std::vector<std::string> split_words(std::string_view line);

// SPDX-License-Identifier: GPL-2.0-or-later
#include "udp_port.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

#include "completion.h"

namespace {

constexpr unsigned ntp_port = 123;

template <typename Number> bool parse(std::string_view text, int base, Number &number) {
    const auto [end, error] = std::from_chars(text.begin(), text.end(), number, base);
    return error == std::errc{} && end == text.end();
}

} // namespace

const char *name_of(port_holder holder) noexcept {
    switch (holder) {
    case port_holder::nobody:
        return "nobody";
    case port_holder::daemon:
        return "the daemon";
    case port_holder::another:
        return "another program";
    case port_holder::unknown:
        break;
    }
    return "unknown";
}

std::vector<unsigned long> sockets_at(std::string_view table, unsigned port) {
    std::vector<unsigned long> found;
    while (!table.empty()) {
        const std::size_t length = std::min(table.find('\n'), table.size());
        // "0: 00000000:007B 00000000:0000 07 00000000:00000000 00:00000000 00000000 0 0 18265 2
        // ..."
        const std::vector<std::string> columns = split_words(table.substr(0, length));
        table.remove_prefix(std::min(length + 1, table.size()));
        if (columns.size() < 10)
            continue;
        const std::string_view local = columns[1];
        const std::size_t colon = local.find(':');
        unsigned local_port = 0;
        unsigned long inode = 0;
        if (colon != std::string_view::npos && parse(local.substr(colon + 1), 16, local_port) &&
            local_port == port && parse(std::string_view(columns[9]), 10, inode))
            found.push_back(inode);
    }
    return found;
}

port_holder find_port_holder(pid_t daemon) {
    // In a container /proc may be that of other processes.
    std::error_code unreadable;
    if (daemon <= 0 ||
        std::filesystem::read_symlink("/proc/self", unreadable) != std::to_string(getpid()))
        return port_holder::unknown;
    const std::string process = "/proc/" + std::to_string(daemon);
    std::vector<unsigned long> sockets;
    for (const char *table : {"/net/udp", "/net/udp6"}) {
        std::ifstream file(process + table);
        // A kernel without IPv6 has only the first.
        if (!file && std::string_view(table) == "/net/udp")
            return port_holder::unknown;
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        std::ranges::copy(sockets_at(text, ntp_port), std::back_inserter(sockets));
    }
    if (sockets.empty())
        return port_holder::nobody;

    std::error_code error;
    for (std::filesystem::directory_iterator entry(process + "/fd", error), end;
         !error && entry != end; entry.increment(error)) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(entry->path(), gone);
        for (const unsigned long inode : sockets)
            if (target == "socket:[" + std::to_string(inode) + "]")
                return port_holder::daemon;
    }
    return error ? port_holder::unknown : port_holder::another;
}

// SPDX-License-Identifier: GPL-2.0-or-later
//
// Runs a fuzz target over given files, and over those in given folders, in a
// build without a fuzzer.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

int replayed = 0;

void replay(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
    // A copy in another type and of the exact size, for the sanitizers.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++replayed;
}

} // namespace

int main(int argc, char **argv) {
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(argv[i]))
            replay(entry.path());
    }
    std::printf("%d inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}

// SPDX-License-Identifier: GPL-2.0-or-later
//
// For builds for another processor, whose tests run in an emulator: a test that
// starts its own program anew has to start it in the emulator, too.
#include <vector>

#include <unistd.h>

extern "C" int execv(const char *path, char *const arguments[]) noexcept {
    static constexpr const char *emulator[] = {HORAD_EMULATOR};
    std::vector<char *> command;
    for (const char *word : emulator)
        command.push_back(const_cast<char *>(word));
    command.push_back(const_cast<char *>(path));
    for (char *const *argument = arguments + 1; *argument != nullptr; ++argument)
        command.push_back(*argument);
    command.push_back(nullptr);
    return execvp(command[0], command.data());
}

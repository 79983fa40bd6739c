#pragma once

#include <string>
#include <vector>

namespace Keelhaven::Front {

/// Prints the sentence as the command's error, and gives its exit status.
int complain(const std::string &sentence);

/// Becomes the program that the first word names. Comes back only with the exit status of a failure, which
/// has been printed.
int become(std::vector<std::string> words);

/// Becomes the program `name` that was installed beside this one.
int become(const char *name, std::vector<std::string> arguments);

/// Whether there is a screen to show a window on.
[[nodiscard]] bool hasDisplay();

/// Whether the program with the window was installed beside this one.
[[nodiscard]] bool hasWindow();

} // namespace Keelhaven::Front

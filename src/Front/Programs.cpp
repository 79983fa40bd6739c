#include "Front/Programs.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace Keelhaven::Front {

namespace {

/// The program `name` that was installed beside this one.
std::string besideThis(const char *name)
{
    char path[PATH_MAX];
    const ssize_t size = ::readlink("/proc/self/exe", path, sizeof path);
    const std::string own(path, size > 0 ? static_cast<std::size_t>(size) : 0);
    return own.substr(0, own.rfind('/') + 1) + name;
}

} // namespace

int complain(const std::string &sentence)
{
    std::fprintf(stderr, "keelhaven: %s\n", sentence.c_str());
    return 1;
}

int become(std::vector<std::string> words)
{
    std::vector<char *> argv;
    for (auto &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    ::execv(argv[0], argv.data());
    return complain("cannot start " + words[0] + ": " + std::strerror(errno));
}

int become(const char *name, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), besideThis(name));
    return become(std::move(arguments));
}

bool hasDisplay()
{
    for (const char *name : {"WAYLAND_DISPLAY", "DISPLAY"}) {
        const char *value = std::getenv(name);
        if (value && *value)
            return true;
    }
    return false;
}

bool hasWindow()
{
    return ::access(besideThis("keelhaven-window").c_str(), X_OK) == 0;
}

} // namespace Keelhaven::Front

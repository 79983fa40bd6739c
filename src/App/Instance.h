#pragma once

#include <QObject>
#include <functional>
#include <memory>

namespace Keelhaven {

class AppModel;
struct Machine;

/// Builds what a program shows of its instance. It is gone before the services end. Null when it could not be
/// built; the program then ends. The services start when the front calls `begin`, from the main loop and
/// once, as soon as something can be seen: they start child processes, which would hold the first picture up.
using FrontBuilder =
    std::function<std::unique_ptr<QObject>(AppModel &, Machine &, const std::function<void()> &begin)>;

/// Is the instance until a signal or a quit ends it. `link` is what it was started with, or empty; where
/// another process is the instance already, that one gets the link.
[[nodiscard]] int runInstance(const QString &link, const FrontBuilder &buildFront = {});

/// What a program of this application does with the words it was started with: it is the instance, or
/// answers a command that needs none. Gives the exit status. Needs the application object.
[[nodiscard]] int runProgram(const FrontBuilder &buildFront = {});

} // namespace Keelhaven

#pragma once

#include "Platform/SystemClock.h"
#include "SessionHost/HostMethods.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <gtest/gtest.h>

namespace Keelhaven {

/// A host without its socket, on a tmux server of its own below a throw-away home with fake agents on the
/// login shell's PATH. Methods are called as a client calls them: a request line in, a response line out.
class HostFixture : public ::testing::Test
{
protected:
    HostFixture();
    ~HostFixture() override;

    /// A new host on the same terminals, as after a restart of the program.
    void restartHost();

    /// The `result` of the call; a null value and a failed test when it answered with an error.
    JSONValue call(const QString &method, const JSONObject &params = {});
    /// The error code of the call, empty when it succeeded.
    QString errorOf(const QString &method, const JSONObject &params = {});

    /// Makes a workspace with `env` in the home folder; gives the pane's id.
    QString makePane(const JSONObject &env = {});
    /// Starts an agent as soon as the shell is ready, and waits until its launch is over.
    void startAgent(const QString &kind, const QString &name, const QString &pane,
                    const QStringList &arguments = {});
    void startOnly(const QString &kind, const QString &name, const QString &pane,
                   const QStringList &arguments = {});
    /// The agent's entry in agent.list; null when it has none.
    JSONValue agentIn(const QString &pane);
    [[nodiscard]] QString statusIn(const QString &pane);
    [[nodiscard]] QString screen(const QString &pane);
    /// What the fake agents of this kind wrote down, one object a line.
    [[nodiscard]] QList<JSONValue> notes(const QString &kind) const;
    /// The text of each `typed` note.
    [[nodiscard]] QList<QByteArray> typedInto(const QString &kind) const;

    /// Runs a shell line in the pane and waits until its effect, `condition`, shows.
    void runInPane(const QString &pane, const QString &line, const std::function<bool()> &condition);

    struct Parts
    {
        explicit Parts(const HostPaths &paths);
        SystemClock clock;
        TmuxControl tmux;
        ProcessReaper reaper;
        Terminals terminals;
        PaneInput input;
        AgentRegistry agents;
        HostMethods methods;
    };

    TestHome home;
    HostPaths paths;
    std::unique_ptr<Parts> host;

private:
    JSONValue response(const QString &method, const JSONObject &params);
};

/// Text member of an object, empty when absent.
[[nodiscard]] QString text(const JSONValue &value, QStringView key);
/// Object member, null when absent.
[[nodiscard]] JSONValue member(const JSONValue &value, QStringView key);
[[nodiscard]] JSONObject object(std::initializer_list<std::pair<QString, JSONValue>> members);

} // namespace Keelhaven

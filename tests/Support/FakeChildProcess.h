#pragma once

#include "Platform/ChildProcess.h"

#include <QList>

namespace Keelhaven {

/// One child as a test sees it: it stays after its owner has gone. The test plays the program.
struct FakeChild
{
    ChildSpec spec;
    class FakeChildProcess *live = nullptr; ///< null once the owner has destroyed it
    QByteArray written;
    bool isStarted = false;
    bool isRunning = false;
    bool isTerminated = false; ///< asked to end, or destroyed by its owner
    bool isInputClosed = false;
    /// What the next writes fail with.
    std::optional<ChildWriteError> writeError;

    void say(const QByteArray &line) const;
    void sayError(const QByteArray &line) const;
    void closeOutput() const;
    void failWriting(const ChildWriteError &error) const;
    void exit(const ChildExit &exit = {ChildExit::Kind::Exited, 0, {}});
    /// The lines written so far, without their LF.
    [[nodiscard]] QList<QByteArray> lines() const
    {
        auto lines = written.split('\n');
        lines.removeLast();
        return lines;
    }
};

class FakeChildProcess : public ChildProcess
{
public:
    explicit FakeChildProcess(std::shared_ptr<FakeChild> state)
        : m_state(std::move(state))
    {
        m_state->live = this;
    }
    ~FakeChildProcess() override
    {
        m_state->live = nullptr;
        m_state->isTerminated = true;
        m_state->isRunning = false;
    }
    void start() override { m_state->isStarted = m_state->isRunning = true; }
    [[nodiscard]] Result<void, ChildWriteError> write(const QByteArray &bytes) override
    {
        if (m_state->writeError)
            return failure(*m_state->writeError);
        m_state->written += bytes;
        return {};
    }
    void closeInput() override { m_state->isInputClosed = true; }
    void terminate() override { m_state->isTerminated = true; }
    [[nodiscard]] bool isRunning() const override { return m_state->isRunning; }

private:
    std::shared_ptr<FakeChild> m_state;
};

/// Copies the callback, which may destroy the child.
inline void FakeChild::say(const QByteArray &line) const
{
    if (const auto call = live ? live->onOutputLine : nullptr)
        call(line);
}
inline void FakeChild::sayError(const QByteArray &line) const
{
    if (const auto call = live ? live->onErrorLine : nullptr)
        call(line);
}
inline void FakeChild::closeOutput() const
{
    if (const auto call = live ? live->onOutputClosed : nullptr)
        call();
}
inline void FakeChild::failWriting(const ChildWriteError &error) const
{
    if (const auto call = live ? live->onWriteFailed : nullptr)
        call(error);
}
inline void FakeChild::exit(const ChildExit &exit)
{
    isRunning = false;
    if (const auto call = live ? live->onExit : nullptr)
        call(exit);
}

/// Makes children whose program is the test.
class FakeChildProcessFactory : public ChildProcessFactory
{
public:
    QList<std::shared_ptr<FakeChild>> children;

    [[nodiscard]] std::unique_ptr<ChildProcess> create(const ChildSpec &spec) override
    {
        children.append(std::make_shared<FakeChild>());
        children.last()->spec = spec;
        return std::make_unique<FakeChildProcess>(children.last());
    }
};

} // namespace Keelhaven

#include "Platform/Tasks.h"

#include "Platform/SystemLog.h"

namespace Keelhaven {

namespace {

QCoro::Task<> watch(QCoro::Task<> task, const char *name, std::shared_ptr<int> running)
{
    ++*running;
    QString failed;
    try {
        co_await task;
    } catch (const std::exception &error) {
        failed = QString::fromUtf8(error.what());
    } catch (...) {
        failed = QStringLiteral("unknown exception");
    }
    --*running;
    if (!failed.isNull())
        systemLog(QStringLiteral("Keelhaven: task %1 failed: %2").arg(QLatin1StringView(name), failed));
}

} // namespace

Tasks::Tasks()
    : m_running(std::make_shared<int>(0))
{}

void Tasks::spawn(QCoro::Task<> task, const char *name)
{
    [[maybe_unused]] const auto detached = watch(std::move(task), name, m_running);
}

} // namespace Keelhaven

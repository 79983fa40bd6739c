#pragma once

#include "Platform/Files.h"
#include "Platform/Uuid.h"
#include "Scheduler/Model/RunRecord.h"
#include "Scheduler/Model/SchedulerSlot.h"
#include "Store/SQLite/KeelhavenDatabase.h"
#include "Support/TestHome.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Keelhaven {

/// A database in a home of its own.
class DatabaseTest : public ::testing::Test
{
protected:
    [[nodiscard]] static std::unique_ptr<KeelhavenDatabase> openOrFail(const QString &path)
    {
        auto opened = KeelhavenDatabase::open(path);
        if (!opened)
            throw std::runtime_error(opened.error().message().toStdString());
        return *std::move(opened);
    }

    /// One statement; its rows.
    QList<SQLiteRow> rows(const QString &sql, const SQLiteParameters &parameters = {})
    {
        const auto result =
            database->sync([&](SQLiteConnection &connection) { return connection.query(sql, parameters); });
        EXPECT_TRUE(result) << (result ? "" : result.error().message().toStdString());
        return result.value_or(QList<SQLiteRow>());
    }

    qint64 count(const QString &table)
    {
        return rows(QStringLiteral("SELECT count(*) AS n FROM ") + table).first().int_(u"n").value();
    }

    TestHome home;
    KeelhavenPaths paths = home.paths();
    std::unique_ptr<KeelhavenDatabase> database = openOrFail(paths.databaseFile());
};

/// Takes from this thread what lets root write every file.
class WithoutRootsPower
{
public:
    WithoutRootsPower()
    {
        ::syscall(SYS_capget, &m_header, m_before);
        __user_cap_data_struct less[2] = {m_before[0], m_before[1]};
        less[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
        ::syscall(SYS_capset, &m_header, less);
    }
    WithoutRootsPower(const WithoutRootsPower &) = delete;
    WithoutRootsPower &operator=(const WithoutRootsPower &) = delete;
    ~WithoutRootsPower() { ::syscall(SYS_capset, &m_header, m_before); }

private:
    __user_cap_header_struct m_header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_before[2] = {};
};

inline SchedulerSlot makeSlot(const QString &name)
{
    SchedulerSlot slot;
    slot.name = name;
    slot.command = QStringLiteral("work");
    return slot;
}

inline RunRecord makeRun(Date startedAt)
{
    RunRecord run;
    run.slotID = QUuid::createUuid();
    run.slotName = QStringLiteral("agent");
    run.cwd = QStringLiteral("/work/project");
    run.command = QStringLiteral("work");
    run.trigger = RunTrigger::Scheduled;
    run.startedAt = startedAt;
    return run;
}

inline QStringList names(const QList<SchedulerSlot> &agents)
{
    QStringList list;
    for (const auto &slot : agents)
        list.append(slot.name);
    return list;
}

} // namespace Keelhaven

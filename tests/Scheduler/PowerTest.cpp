#include "Scheduler/PowerAssertionController.h"

#include "Support/MemorySettings.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

/// Knows which holds exist; refuses them while `broken`.
class FakePower : public PowerBackend
{
public:
    QMap<std::uint32_t, QString> held;
    bool broken = false;
    bool refuses = false; ///< later than it is asked
    QStringList renewed;

    std::uint32_t take(Hold hold, const QString &reason) override
    {
        if (broken)
            return 0;
        held.insert(++m_last, (hold == Hold::System ? u"system: "_s : u"display: "_s) + reason);
        return m_last;
    }
    void drop(std::uint32_t id) override { EXPECT_EQ(held.remove(id), 1); }
    void renew(std::uint32_t id) override { renewed.append(held.value(id)); }
    [[nodiscard]] bool isTaken(std::uint32_t id) const override { return !refuses && held.contains(id); }

private:
    std::uint32_t m_last = 0;
};

const QString systemHold = u"system: Keelhaven: Keep My Mac Awake"_s;
const QString displayHold = u"display: Keelhaven: Prevent Mac lock screen"_s;

TEST(PowerAssertionController, OneHoldServesAllHolders)
{
    FakePower power;
    MemorySettings settings;
    PowerAssertionController controller(power, settings);
    controller.release(u"run-0"_s);
    EXPECT_TRUE(power.held.isEmpty());
    controller.hold(u"run-1"_s);
    controller.hold(u"run-1"_s);
    controller.hold(u"run-2"_s);
    EXPECT_EQ(power.held.values(), QStringList{systemHold});
    controller.release(u"run-1"_s);
    EXPECT_TRUE(controller.isHeld());
    controller.release(u"run-2"_s);
    EXPECT_FALSE(controller.isHeld());
    EXPECT_TRUE(power.held.isEmpty());
}

TEST(PowerAssertionController, TheUsersSwitchesAreKeptAndOutliveRuns)
{
    FakePower power;
    MemorySettings settings;
    {
        PowerAssertionController controller(power, settings);
        controller.setKeepAwake(true);
        controller.setPreventLockScreen(true);
        controller.setPreventLockScreen(true);
        EXPECT_EQ(power.held.size(), 2);
    }
    EXPECT_TRUE(power.held.isEmpty());
    PowerAssertionController controller(power, settings);
    EXPECT_TRUE(controller.keepAwake() && controller.preventLockScreen());
    EXPECT_EQ(power.held.values(), (QStringList{systemHold, displayHold}));
    controller.hold(u"run-1"_s);
    controller.release(u"run-1"_s);
    EXPECT_TRUE(controller.isHeld());
    controller.setKeepAwake(false);
    EXPECT_EQ(power.held.values(), QStringList{displayHold});
    controller.setPreventLockScreen(false);
    EXPECT_TRUE(power.held.isEmpty());
    EXPECT_FALSE(settings.flag(u"keepMacAwake"_s) || settings.flag(u"preventMacLockScreen"_s));
    settings.set(u"keepMacAwake"_s, true); // behind its back, as the command line does
    settings.set(u"preventMacLockScreen"_s, true);
    controller.readSettings();
    EXPECT_EQ(power.held.size(), 2);
    settings.remove(u"keepMacAwake"_s);
    controller.readSettings();
    EXPECT_EQ(power.held.values(), QStringList{displayHold});
}

TEST(PowerAssertionController, AFailedHoldIsTriedAgainByTheNextHolder)
{
    FakePower power;
    MemorySettings settings;
    PowerAssertionController controller(power, settings);
    power.broken = true;
    controller.hold(u"run-1"_s);
    EXPECT_FALSE(controller.isHeld());
    power.broken = false;
    controller.hold(u"run-1"_s);
    EXPECT_TRUE(controller.isHeld());
    controller.release(u"run-1"_s);
    EXPECT_TRUE(power.held.isEmpty());
}

TEST(PowerAssertionController, WhatIsRefusedLaterIsNotCalledHeld)
{
    FakePower power;
    MemorySettings settings;
    PowerAssertionController controller(power, settings);
    int changes = 0;
    QObject::connect(&controller, &PowerAssertionController::changed, &controller, [&] { ++changes; });
    controller.hold(u"run-1"_s);
    controller.setPreventLockScreen(true);
    EXPECT_TRUE(controller.isHeld() && controller.isDisplayHeld());
    power.refuses = true;
    changes = 0;
    power.onChanged();
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(controller.isHeld() || controller.isDisplayHeld());
    EXPECT_EQ(power.renewed, QStringList());
    controller.hold(u"run-2"_s);
    controller.setPreventLockScreen(true);
    EXPECT_EQ(power.renewed, (QStringList{systemHold, displayHold})) << "the next holder has it tried again";
    controller.release(u"run-2"_s);
    power.refuses = false;
    EXPECT_TRUE(controller.isHeld()) << "it was taken again when the service came back";
    controller.release(u"run-1"_s);
    controller.setPreventLockScreen(false);
    EXPECT_TRUE(power.held.isEmpty());
}

} // namespace
} // namespace Keelhaven

#include "Support/TestHome.h"
#include "UI/Appearance.h"

#include <QGuiApplication>
#include <gtest/gtest.h>

/// As TestMain, for tests that draw.
int main(int argc, char **argv)
{
    const Keelhaven::TestHome processHome;
    processHome.enter();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    Keelhaven::Appearance::applyFont();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

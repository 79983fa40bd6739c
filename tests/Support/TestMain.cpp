#include "Support/TestHome.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    // Nothing may ever reach the real home folder, whatever a test forgets.
    const Keelhaven::TestHome processHome;
    processHome.enter();
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

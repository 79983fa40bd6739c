#include <QCoreApplication>

// What a command would cost at the least if it were a Qt program: from start to exit with nothing done.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return 0;
}

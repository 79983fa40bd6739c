#include <QCoreApplication>

// What a command would cost at the least if it were a Qt program: from start to exit with nothing done. With
// an argument it stays, for its memory to be looked at.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return argc > 1 ? QCoreApplication::exec() : 0;
}

#include "App/ControlAddress.h"
#include "App/Instance.h"

#include <QCoreApplication>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    ::umask(077);
    Keelhaven::ControlAddress::ensureHome();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"keelhaven"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(KEELHAVEN_VERSION));
    return Keelhaven::runProgram();
}

#include "App/AppModel.h"
#include "App/Instance.h"
#include "App/Machine.h"
#include "Notifications/DeepLink.h"
#include "Platform/SystemLog.h"
#include "UI/Icons.h"
#include "UI/WindowFront.h"

#include <QGuiApplication>
#include <QIcon>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<QObject> buildWindow(Keelhaven::AppModel &model, Keelhaven::Machine &machine,
                                     const std::function<void()> &begin)
{
    // Whoever is only woken to look what is due comes up in the background.
    const auto link = Keelhaven::DeepLink::parse(QCoreApplication::arguments().value(1));
    const auto sight = link && !link->wantsWindow() ? Keelhaven::WindowFront::Sight::WhenWanted
                                                    : Keelhaven::WindowFront::Sight::AtOnce;
    auto front = std::make_unique<Keelhaven::WindowFront>(model, machine.sessionBus, begin, sight);
    if (!front->isValid()) {
        Keelhaven::systemLog(u"Keelhaven: the window could not be made"_s);
        return nullptr;
    }
    return front;
}

} // namespace

int main(int argc, char **argv)
{
    ::umask(077);
    QGuiApplication application(argc, argv);
    QGuiApplication::setApplicationName(u"keelhaven"_s);
    QGuiApplication::setApplicationDisplayName(u"Keelhaven"_s);
    QGuiApplication::setDesktopFileName(u"keelhaven"_s);
    QGuiApplication::setApplicationVersion(QStringLiteral(KEELHAVEN_VERSION));
    // Closing the window ends neither the schedule nor the runs.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    Keelhaven::Appearance::applyFont();
    QGuiApplication::setWindowIcon(
        QIcon(Keelhaven::Icons().requestPixmap(u"ship/2b83ad"_s, nullptr, QSize(64, 64))));
    return Keelhaven::runProgram(buildWindow);
}

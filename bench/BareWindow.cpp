#include <QGuiApplication>
#include <QQmlApplicationEngine>

// The peer of bench/window_bench: the least that a Qt Quick program with one window and one line of text is.
int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    QQmlApplicationEngine engine;
    engine.loadData(R"(
        import QtQuick
        import QtQuick.Window
        Window { width: 1280; height: 800; visible: true; Text { anchors.centerIn: parent; text: "Nothing" } })");
    return QGuiApplication::exec();
}

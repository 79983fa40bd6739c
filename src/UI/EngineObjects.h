#pragma once

#include <QQmlEngine>
#include <QVariant>

/// The objects that stand behind the QML singletons of one engine. A window gives its engine the objects; QML
/// finds them by their type. So several engines, as in tests, never share one.
namespace Keelhaven::EngineObjects {

template <typename T>
void give(QQmlEngine &engine, T *object)
{
    engine.setProperty(T::staticMetaObject.className(), QVariant::fromValue<QObject *>(object));
}

/// Owned by whoever gave it, and outliving the engine.
template <typename T>
T *of(QQmlEngine *engine)
{
    const QVariant value = engine->property(T::staticMetaObject.className());
    auto *object = qobject_cast<T *>(value.value<QObject *>());
    if (object)
        QJSEngine::setObjectOwnership(object, QJSEngine::CppOwnership);
    return object;
}

} // namespace Keelhaven::EngineObjects

#pragma once

#include "UI/AppView.h"
#include "UI/DemoProfile.h"
#include "UI/WindowFront.h"

#include <QQuickItem>
#include <QQuickView>
#include <QTest>

namespace Keelhaven {

/// The window's inside on a demo profile, drawn to memory.
class Screen
{
public:
    explicit Screen(const DemoProfile::Options &options = {}, QSize size = {1280, 800})
        : profile(options)
        , app(profile.model())
    {
        equip(*m_view.engine(), app, m_appearance);
        m_appearance.setReducedMotion(true);
        m_view.setResizeMode(QQuickView::SizeRootObjectToView);
        m_view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Keelhaven/qml/parts/Shell.qml")));
        m_view.resize(size);
        m_view.show();
        m_view.requestActivate();
        static_cast<void>(QTest::qWaitForWindowActive(&m_view));
        settle();
    }

    [[nodiscard]] QQuickView &view() { return m_view; }

    /// The item with this object name, in sight or not; null when there is none.
    [[nodiscard]] QQuickItem *item(const QString &name) const { return find(m_view.rootObject(), name); }

    /// All plain texts in sight below an item.
    [[nodiscard]] QStringList texts(QQuickItem *root = nullptr) const
    {
        QStringList list;
        gather(root ? root : m_view.rootObject(), list);
        return list;
    }
    [[nodiscard]] bool shows(const QString &text) const { return texts().contains(text); }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(&m_view, key, modifiers);
        update();
    }
    void type(const QString &text)
    {
        for (const QChar letter : text)
            QTest::keyClick(&m_view, letter.toLatin1());
        update();
    }
    void click(QQuickItem *target, Qt::MouseButton button = Qt::LeftButton)
    {
        const QPointF center = target->mapToScene({target->width() / 2, target->height() / 2});
        QTest::mouseClick(&m_view, button, Qt::NoModifier, center.toPoint());
        update();
    }
    /// Lets what changed reach the screen: the view models gather changes for a frame.
    bool update()
    {
        return QTest::qWaitFor([rounds = 0]() mutable { return ++rounds > 4; });
    }

    DemoProfile profile;
    AppView app;

private:
    static QQuickItem *find(QQuickItem *root, const QString &name)
    {
        if (!root || root->objectName() == name)
            return root;
        const auto children = root->childItems();
        for (QQuickItem *child : children) {
            if (QQuickItem *found = find(child, name))
                return found;
        }
        return nullptr;
    }
    static void gather(QQuickItem *root, QStringList &list)
    {
        if (!root || !root->isVisible())
            return;
        const QVariant text = root->property("text");
        if (text.isValid() && !text.toString().isEmpty())
            list.append(text.toString());
        const auto children = root->childItems();
        for (QQuickItem *child : children)
            gather(child, list);
    }

    Appearance m_appearance{nullptr};
    QQuickView m_view;
};

} // namespace Keelhaven

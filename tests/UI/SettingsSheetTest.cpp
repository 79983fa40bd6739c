#include "Contract/SettingsSheet.h"
#include "App/AppSelection.h"
#include "UI/ScreenFixture.h"
#include "UI/WindowViews.h"

#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

/// The window with its settings open.
class Sheet : public Screen
{
public:
    explicit Sheet(SettingsPage page, const DemoProfile::Options &options = {.hasLiveRuns = false, .runs = 5})
        : Screen(options)
        , views(WindowViews::of(*view().engine()))
    {
        profile.model().selection().showSettingsPage(page);
        update();
    }

    /// Also in what lies over the window.
    [[nodiscard]] QQuickItem *any(const QString &name) { return find(view().contentItem(), name); }
    [[nodiscard]] bool says(const QString &text) { return texts(view().contentItem()).contains(text); }
    /// The first item below `root` that has the property.
    static QQuickItem *withProperty(QQuickItem *root, const char *name)
    {
        if (root->metaObject()->indexOfProperty(name) >= 0)
            return root;
        const auto children = root->childItems();
        for (QQuickItem *child : children) {
            if (QQuickItem *found = withProperty(child, name))
                return found;
        }
        return nullptr;
    }
    [[nodiscard]] QQuickItem *control(const QString &key, const char *property)
    {
        QQuickItem *row = any(u"setting-"_s + key);
        return row ? withProperty(row, property) : nullptr;
    }
    void enter(QQuickItem *field, const QString &text)
    {
        QMetaObject::invokeMethod(field, "forceActiveFocus");
        QMetaObject::invokeMethod(field, "selectAll");
        press(Qt::Key_Backspace);
        type(text);
        press(Qt::Key_Return);
    }
    [[nodiscard]] std::optional<SettingValue> stored(const QString &key)
    {
        return profile.settings().value(key);
    }

    WindowViews &views;

private:
    static QQuickItem *find(QQuickItem *root, const QString &name)
    {
        if (root->objectName() == name)
            return root;
        const auto children = root->childItems();
        for (QQuickItem *child : children) {
            if (QQuickItem *found = find(child, name))
                return found;
        }
        return nullptr;
    }
};

TEST(SettingsSheetTest, ShowsEveryRowOfThePageThatIsNamed)
{
    Sheet sheet(SettingsPage::General);
    for (const SettingsPage page : SettingsSheet::pages()) {
        sheet.profile.model().selection().showSettingsPage(page);
        sheet.update();
        for (const SettingsSheetRow &row : SettingsSheet::rows(page))
            EXPECT_NE(sheet.any(u"setting-"_s + row.key.toString()), nullptr)
                << qPrintable(row.key.toString());
    }
    EXPECT_TRUE(sheet.says(u"Quiet hours (10 pm – 8 am)"_s));
    EXPECT_TRUE(sheet.says(u"slack +10 points"_s));
    EXPECT_TRUE(sheet.says(u"below 50%"_s));
    sheet.press(Qt::Key_Escape);
    EXPECT_FALSE(sheet.profile.model().selection().showSettings());
    sheet.press(Qt::Key_Comma, Qt::ControlModifier);
    EXPECT_TRUE(sheet.profile.model().selection().showSettings());
}

TEST(SettingsSheetTest, AChangeIsStoredAndToldAtOnce)
{
    Sheet sheet(SettingsPage::Misc);
    QStringList told;
    QObject::connect(&sheet.profile.model(), &AppModel::settingWritten,
                     [&](const QString &key) { told.append(key); });

    sheet.click(sheet.control(u"sweepKeelhavenOnOpen"_s, "checked"));
    EXPECT_EQ(sheet.stored(u"sweepKeelhavenOnOpen"_s), SettingValue(true));

    QQuickItem *cap = sheet.control(u"schedulerConcurrencyCap"_s, "least");
    cap->forceActiveFocus(Qt::TabFocusReason);
    sheet.press(Qt::Key_Up);
    sheet.press(Qt::Key_Up);
    sheet.press(Qt::Key_Down);
    EXPECT_EQ(sheet.stored(u"schedulerConcurrencyCap"_s), SettingValue(qint64(6)));
    sheet.press(Qt::Key_End);
    sheet.press(Qt::Key_Up);
    EXPECT_EQ(sheet.stored(u"schedulerConcurrencyCap"_s), SettingValue(qint64(20)));

    // A value between two steps goes to the next one, as a command may have set it.
    sheet.profile.settings().set(u"schedulerSessionCapPercent"_s, qint64(52));
    sheet.profile.model().settingChanged(u"schedulerSessionCapPercent"_s);
    sheet.update();
    EXPECT_TRUE(sheet.says(u"below 52%"_s));
    sheet.control(u"schedulerSessionCapPercent"_s, "least")->forceActiveFocus(Qt::TabFocusReason);
    sheet.press(Qt::Key_Down);
    EXPECT_EQ(sheet.stored(u"schedulerSessionCapPercent"_s), SettingValue(qint64(50)));

    EXPECT_TRUE(told.contains(u"sweepKeelhavenOnOpen"_s));
    EXPECT_TRUE(told.contains(u"schedulerConcurrencyCap"_s));
}

TEST(SettingsSheetTest, TheSlackMattersOnlyWithTheGuard)
{
    Sheet sheet(SettingsPage::Misc);
    QQuickItem *slack = sheet.control(u"schedulerPaceSlack"_s, "least");
    EXPECT_TRUE(slack->isEnabled());
    sheet.views.settings.set(u"schedulerPaceGuardEnabled"_s, false);
    sheet.update();
    EXPECT_FALSE(slack->isEnabled());
}

TEST(SettingsSheetTest, AFieldKeepsWhatIsNoValueAndSaysWhy)
{
    Sheet sheet(SettingsPage::Misc);
    const QString key = u"keelhavenRunDirectory"_s;
    QQuickItem *folder = sheet.any(u"field-"_s + key);
    sheet.enter(folder, u"projects"_s);
    EXPECT_TRUE(sheet.says(u"Give a whole path, from “/” or “~” on."_s));
    EXPECT_EQ(sheet.stored(key), std::nullopt);
    EXPECT_EQ(folder->property("text"), u"projects"_s);
    sheet.enter(folder, u"~/my code"_s);
    EXPECT_EQ(sheet.stored(key), SettingValue(sheet.profile.home() + u"/my code"_s));
    EXPECT_EQ(sheet.views.settings.setPath(key, u"file:///tmp/a%20b"_s), QString());
    EXPECT_EQ(sheet.stored(key), SettingValue(u"/tmp/a b"_s));
    sheet.enter(folder, QString());
    EXPECT_EQ(sheet.stored(key), std::nullopt);

    sheet.views.settings.set(u"dispatcherEnabled"_s, true);
    sheet.views.settings.setPage(u"integrations"_s);
    sheet.update();
    QQuickItem *chat = sheet.any(u"field-dispatcherChatID"_s);
    sheet.enter(chat, u"me"_s);
    EXPECT_EQ(sheet.stored(u"dispatcherChatID"_s), std::nullopt);
    sheet.enter(chat, u"-1001234"_s);
    EXPECT_EQ(sheet.stored(u"dispatcherChatID"_s), SettingValue(u"-1001234"_s));
    sheet.enter(chat, u"xoxb-1-2-3"_s);
    EXPECT_EQ(sheet.stored(u"dispatcherChatID"_s), SettingValue(u"-1001234"_s)) << "no token lands here";
    EXPECT_NE(sheet.views.settings.set(u"setupDone"_s, true), QString()) << "the program's own";
}

TEST(SettingsSheetTest, AFolderIsPickedInADialog)
{
    Sheet sheet(SettingsPage::Misc);
    QDir(sheet.profile.home()).mkdir(u"picked"_s);
    QQuickItem *chooser = sheet.any(u"chooser-keelhavenRunDirectory"_s);
    QMetaObject::invokeMethod(chooser, "open");
    sheet.update();
    auto *dialog = chooser->property("dialog").value<QObject *>();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(dialog->property("visible").toBool());
    const QUrl folder = QUrl::fromLocalFile(sheet.profile.home() + u"/picked"_s);
    EXPECT_TRUE(dialog->setProperty("selectedFolder", folder));
    sheet.update();
    QMetaObject::invokeMethod(dialog, "accept");
    sheet.update();
    EXPECT_EQ(sheet.stored(u"keelhavenRunDirectory"_s), SettingValue(folder.toLocalFile()));
}

TEST(SettingsSheetTest, TheModelPicksItsProvider)
{
    Sheet sheet(SettingsPage::General);
    auto &settings = sheet.views.settings;
    const auto models = settings.models();
    qsizetype codex = 0;
    while (models[codex].toMap()[u"text"_s] != u"Codex · default"_s)
        ++codex;
    settings.chooseModel(static_cast<int>(codex));
    EXPECT_EQ(sheet.stored(u"defaultAgentProvider"_s), SettingValue(u"codex"_s));
    EXPECT_EQ(sheet.stored(u"defaultAgentModel"_s), std::nullopt);
    EXPECT_EQ(settings.modelIndex(), codex);
    settings.chooseModel(1);
    EXPECT_EQ(sheet.stored(u"defaultAgentProvider"_s), SettingValue(u"claude"_s));
    EXPECT_TRUE(sheet.stored(u"defaultAgentModel"_s).has_value());

    sheet.profile.settings().set(u"defaultAgentModel"_s, u"of-tomorrow"_s);
    sheet.profile.model().settingChanged(u"defaultAgentModel"_s);
    EXPECT_EQ(settings.models().last().toMap()[u"text"_s], u"of-tomorrow"_s);
    EXPECT_EQ(settings.modelIndex(), settings.models().size() - 1);
}

TEST(SettingsSheetTest, ASecretIsKeptAndNeverShown)
{
    Sheet sheet(SettingsPage::Integrations);
    auto &secrets = sheet.profile.secrets().secrets;
    const QString service = u"com.keelhaven.telegram-bot"_s;
    const QString token = u"8123456:AAH-secret"_s;
    EXPECT_TRUE(sheet.says(u"Not set"_s));
    QQuickItem *field = sheet.any(u"secretField-"_s + service);
    sheet.enter(field, token);
    EXPECT_EQ(secrets.value(service), token);
    EXPECT_TRUE(sheet.says(u"Kept in the secret store"_s));
    EXPECT_FALSE(sheet.texts(sheet.view().contentItem()).join(u'\n').contains(u"AAH"_s));
    EXPECT_FALSE(sheet.profile.settings().keys().contains(service));
    sheet.views.settings.set(u"secretStore"_s, u"file"_s);
    sheet.update();
    EXPECT_FALSE(sheet.says(u"Kept in the secret store"_s)) << "nobody has looked in the other place";
    sheet.views.settings.lookAtSecrets();
    sheet.update();
    EXPECT_TRUE(sheet.says(u"Kept in the secret store"_s));

    sheet.profile.secrets().failing = SecretError{u"the keyring is locked"_s};
    sheet.views.settings.setSecret(service, u"other"_s);
    sheet.update();
    EXPECT_TRUE(sheet.says(u"the keyring is locked"_s));
    sheet.profile.secrets().failing.reset();
    EXPECT_EQ(secrets.value(service), token);
    sheet.views.settings.setSecret(service, u"a\nb"_s);
    sheet.update();
    EXPECT_TRUE(sheet.says(u"A secret is one line of text."_s));
    sheet.views.settings.removeSecret(service);
    sheet.update();
    EXPECT_FALSE(secrets.contains(service));
}

} // namespace
} // namespace Keelhaven

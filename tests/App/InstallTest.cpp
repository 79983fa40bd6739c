#include "App/CommandHelp.h"
#include "App/Commands/CommandTable.h"
#include "App/Commands/InstallCompletions.h"
#include "App/Commands/InstallDesktop.h"
#include "App/Commands/InstallManPage.h"
#include "App/Commands/InstallManifest.h"
#include "Platform/Files.h"
#include "Support/FakeProcessRunner.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <unistd.h>

namespace Keelhaven {

using namespace Qt::StringLiterals;

namespace {

using Piece = InstallManifest::Piece;

class ManifestTest : public ::testing::Test
{
protected:
    [[nodiscard]] QString path(const QString &relative) const { return home.path(relative); }
    /// One call of the program: reads the record, acts, stores it.
    InstallManifest::Outcome write(const QList<Piece> &pieces) const
    {
        InstallManifest manifest(file);
        auto outcome = manifest.write(pieces);
        EXPECT_EQ(manifest.save(), std::nullopt);
        return outcome;
    }
    [[nodiscard]] InstallManifest::Outcome remove() const
    {
        InstallManifest manifest(file);
        auto outcome = manifest.remove();
        EXPECT_EQ(manifest.save(), std::nullopt);
        return outcome;
    }
    [[nodiscard]] QStringList all() const
    {
        QStringList found;
        QDirIterator each(home.path(), QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                          QDirIterator::Subdirectories);
        while (each.hasNext())
            found.append(each.next());
        found.sort();
        return found;
    }

    const TestHome home;
    const QString file = home.path(u"data/keelhaven/installed.json"_s);
    const Piece icon{path(u"data/icons/a.svg"_s), "<svg/>"};
    const Piece entry{path(u"data/applications/k.desktop"_s), "[Desktop Entry]\n"};
    const Piece link{path(u"bin/k"_s), {}, u"/opt/k/bin/k"_s};
};

/// What a program that must be there prints; a failure of the test where it fails.
QString output(const QString &program, const QStringList &words, const QByteArray &input = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, words);
    process.write(input);
    process.closeWriteChannel();
    EXPECT_TRUE(process.waitForFinished(30'000)) << program.toStdString();
    const QString text = QString::fromUtf8(process.readAll());
    EXPECT_EQ(process.exitCode(), 0) << text.toStdString();
    return text;
}

} // namespace

TEST_F(ManifestTest, ASecondCallChangesNothingAndRemovalLeavesNothing)
{
    const auto before = all();
    EXPECT_EQ(write({icon, entry, link}).written, (QStringList{icon.path, entry.path, link.path}));
    const auto between = all();
    const auto again = write({icon, entry, link});
    EXPECT_TRUE(again.written.isEmpty() && again.removed.isEmpty() && again.left.isEmpty());
    EXPECT_EQ(again.unchanged.size(), 3);
    EXPECT_EQ(all(), between);
    EXPECT_EQ(remove().removed.size(), 3);
    EXPECT_EQ(all(), before);
    EXPECT_TRUE(remove().removed.isEmpty());
}

TEST_F(ManifestTest, AnUpdateReplacesWhatItWroteAndDropsWhatIsNoMore)
{
    write({icon, entry, link});
    const Piece newer{icon.path, "<svg>2</svg>"};
    const Piece moved{link.path, {}, u"/opt/k2/bin/k"_s};
    const auto update = write({newer, moved});
    EXPECT_EQ(update.written, (QStringList{newer.path, moved.path}));
    EXPECT_EQ(update.removed, QStringList{entry.path});
    EXPECT_EQ(readFile(icon.path).value(), newer.bytes);
    EXPECT_EQ(QFile::symLinkTarget(link.path), moved.target);
    QFile::remove(icon.path);
    EXPECT_EQ(write({newer, moved}).written, QStringList{newer.path}) << "what is gone comes back";
}

TEST_F(ManifestTest, FilesOfOthersAreNeverTouched)
{
    const QByteArray mine = "mine";
    home.write(u"data/icons/a.svg"_s, mine);
    home.write(u"data/applications/k.desktop"_s, entry.bytes); // from a lost record
    QDir().mkpath(path(u"bin"_s));
    ASSERT_EQ(::symlink("/elsewhere", path(u"bin/k"_s).toUtf8().constData()), 0);
    const auto outcome = write({icon, entry, link});
    EXPECT_EQ(outcome.written, QStringList());
    EXPECT_EQ(outcome.unchanged, QStringList{entry.path});
    EXPECT_EQ(outcome.left, (QList<InstallManifest::Left>{{icon.path, u"is not Keelhaven's"_s, true},
                                                          {link.path, u"is not Keelhaven's"_s, true}}));
    EXPECT_EQ(remove().removed, QStringList{entry.path});
    EXPECT_EQ(home.read(u"data/icons/a.svg"_s), mine);
    EXPECT_EQ(QFile::symLinkTarget(link.path), u"/elsewhere");
}

TEST_F(ManifestTest, WhatTheUserChangedIsTheUsers)
{
    write({icon, entry, link});
    home.write(u"data/applications/k.desktop"_s, "[Desktop Entry]\nName=Mine\n");
    home.write(u"data/icons/other.svg"_s, "x");
    const Piece newer{entry.path, "[Desktop Entry]\nName=New\n"};
    const auto update = write({icon, newer, link});
    EXPECT_EQ(update.left,
              (QList<InstallManifest::Left>{{entry.path, u"was changed since it was installed"_s, false}}));
    const auto removal = remove();
    EXPECT_EQ(removal.removed, (QStringList{icon.path, link.path}));
    EXPECT_EQ(removal.left, update.left);
    EXPECT_TRUE(QFileInfo::exists(entry.path));
    EXPECT_TRUE(QFileInfo::exists(path(u"data/icons/other.svg"_s)));
    EXPECT_FALSE(QFileInfo::exists(path(u"bin"_s)));
    EXPECT_EQ(write({newer}).left.first().reason, u"is not Keelhaven's");
}

TEST(InstallDesktopTest, ExecLinesSurviveStrangePaths)
{
    const QByteArray frame = "TryExec=@PROGRAM@\nExec=@COMMAND@ open %u\n";
    EXPECT_EQ(InstallDesktop::entry(frame, u"/opt/k"_s), "TryExec=/opt/k\nExec=/opt/k open %u\n");
    struct Case
    {
        QString path;
        QByteArray word;
    };
    for (const auto &[path, word] :
         {Case{u"/a b/k"_s, R"("/a b/k")"}, Case{u"/100%/k"_s, "/100%%/k"}, Case{u"/$a/k"_s, R"("/\\$a/k")"},
          Case{u"/\"/k"_s, R"("/\\"/k")"}, Case{u"/\\/k"_s, R"("/\\\\/k")"}})
        EXPECT_EQ(InstallDesktop::execWord(path), QString::fromUtf8(word));
}

TEST(InstallDesktopTest, TheEntryIsValid)
{
    const QByteArray frame =
        readFile(QStringLiteral(KEELHAVEN_SOURCE_DIR "/resources/desktop/keelhaven.desktop")).value();
    const TestHome home;
    const QString program = home.write(u"a b/keelhaven"_s, "x");
    const QString file = home.write(u"keelhaven.desktop"_s, InstallDesktop::entry(frame, program));
    EXPECT_TRUE(home.read(u"keelhaven.desktop"_s).contains("Exec=\"" + program.toUtf8() + "\" open %u\n"));
    EXPECT_EQ(output(u"desktop-file-validate"_s, {file}), QString());
}

TEST(InstallDesktopTest, TakesOnlyItselfOutOfAList)
{
    const auto without = InstallDesktop::withoutEntry;
    const QByteArray list = "# mine\n[Default Applications]\ntext/html=a.desktop;\n"
                            "x-scheme-handler/keelhaven=keelhaven.desktop\n\n[Added Associations]\n"
                            "x-scheme-handler/keelhaven=other.desktop;keelhaven.desktop;\nx-scheme-handler/"
                            "keelhavens=keelhaven.desktop;";
    EXPECT_TRUE(InstallDesktop::isEntered(list));
    const QByteArray left = without(list);
    EXPECT_EQ(left,
              "# mine\n[Default Applications]\ntext/html=a.desktop;\n\n[Added Associations]\n"
              "x-scheme-handler/keelhaven=other.desktop;\nx-scheme-handler/keelhavens=keelhaven.desktop;");
    EXPECT_FALSE(InstallDesktop::isEntered(left));
    EXPECT_EQ(without(left), left);
}

TEST(InstallDesktopTest, EntersOnceAndLeavesTheListsAsTheyWere)
{
    const TestHome home;
    const KeelhavenPaths paths = home.paths();
    const QString associations = home.path(u".config/mimeapps.list"_s);
    FakeProcessRunner processes;
    processes.answer = [&](const ProcessSpec &spec) -> std::optional<ProcessResult> {
        if (spec.program != u"xdg-mime")
            return ProcessResult(); // no update-desktop-database here
        EXPECT_EQ(spec.arguments,
                  (QStringList{u"default"_s, u"keelhaven.desktop"_s, u"x-scheme-handler/keelhaven"_s}));
        const auto before = readFile(associations).value_or(QByteArray("[Default Applications]\n"));
        home.write(u".config/mimeapps.list"_s, before + "x-scheme-handler/keelhaven=keelhaven.desktop\n");
        return FakeProcessRunner::exited(0);
    };
    InstallRecord record;
    const auto enter = [&] { return await(InstallDesktop::enter(&processes, paths, &record)); };
    EXPECT_EQ(enter(), QStringList());
    const auto calls = processes.runs.size();
    EXPECT_EQ(enter(), QStringList());
    EXPECT_EQ(processes.runs.size(), calls + 1) << "only the tool that is not here is tried again";
    await(InstallDesktop::leave(&processes, paths, &record));
    EXPECT_EQ(record, InstallRecord());
    EXPECT_FALSE(QFileInfo::exists(associations)) << "nobody else is in it";

    home.write(u".config/mimeapps.list"_s, "[Default Applications]\ntext/html=a.desktop\n");
    QFile::setPermissions(associations,
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    enter();
    EXPECT_TRUE(InstallDesktop::opensLinks(paths));
    await(InstallDesktop::leave(&processes, paths, &record));
    EXPECT_EQ(home.read(u".config/mimeapps.list"_s), "[Default Applications]\ntext/html=a.desktop\n");
    EXPECT_TRUE(QFile::permissions(associations) & QFile::ReadOther);

    processes.answer = [](const ProcessSpec &) { return ProcessResult(); };
    EXPECT_EQ(enter().size(), 1) << "without the tools the user is told";
    EXPECT_EQ(record, InstallRecord());
}

TEST(InstallCompletionsTest, EachShellReadsThem)
{
    const TestHome home;
    const auto table = commandTable();
    struct Case
    {
        QString shell;
        QByteArray script;
    };
    for (const auto &[shell, script] :
         {Case{u"bash"_s, InstallCompletions::bash(table)}, Case{u"zsh"_s, InstallCompletions::zsh(table)},
          Case{u"fish"_s, InstallCompletions::fish(table)}}) {
        for (const auto &command : table)
            EXPECT_TRUE(script.contains(command.path.toString().section(u' ', -1).toUtf8()))
                << command.path.toString().toStdString();
        EXPECT_EQ(output(shell, {u"-n"_s, home.write(u"script"_s, script)}), QString());
    }
}

TEST(InstallCompletionsTest, BashOffersWhatFits)
{
    const TestHome home;
    const QString script = home.write(u"keelhaven"_s, InstallCompletions::bash(commandTable()));
    const auto offered = [&](const QStringList &words) {
        QStringList quoted;
        for (const QString &word : words)
            quoted.append(u'\'' + word + u'\'');
        const QString program = u"source %1; COMP_WORDS=(keelhaven %2); COMP_CWORD=%3; _keelhaven; "
                                "printf '%s\\n' \"${COMPREPLY[@]}\""_s.arg(script, quoted.join(u' '))
                                    .arg(words.size());
        return output(u"bash"_s, {u"--norc"_s, u"-c"_s, program}).split(u'\n', Qt::SkipEmptyParts);
    };
    EXPECT_TRUE(offered({u""_s}).contains(u"agents"_s));
    EXPECT_EQ(offered({u"doc"_s}), QStringList{u"doctor"_s});
    EXPECT_EQ(offered({u"service"_s, u""_s}),
              (QStringList{u"install"_s, u"remove"_s, u"status"_s, u"--help"_s}));
    EXPECT_EQ(offered({u"runs"_s, u"list"_s, u"--l"_s}), QStringList{u"--limit"_s});
    EXPECT_EQ(offered({u"settings"_s, u"get"_s, u"quiet"_s}), QStringList{u"quietHoursEnabled"_s});
    EXPECT_EQ(offered({u"runs"_s, u"list"_s, u"--limit"_s, u""_s}), QStringList()) << "files, by default";
    EXPECT_EQ(offered({u"settings"_s, u"set"_s, u"keelhavenRunDirectory"_s, u""_s}), QStringList())
        << "the value is no key";
    EXPECT_EQ(offered({u"settings"_s, u"get"_s, u"--json"_s, u"quiet"_s}),
              QStringList{u"quietHoursEnabled"_s});
    EXPECT_EQ(offered({u"agents"_s, u"add"_s, u"--provider"_s, u"co"_s}), QStringList{u"codex"_s});
    EXPECT_EQ(offered({u"agents"_s, u"edit"_s, u"A"_s, u"--workspace-mode"_s, u""_s}).size(), 3);
    EXPECT_TRUE(offered({u"agents"_s, u"add"_s, u"--template"_s, u"sec"_s}).contains(u"security-review"_s));
}

TEST(InstallManPageTest, HasEveryCommandAndIsWellFormed)
{
    EXPECT_TRUE(InstallManPage::escaped(u".a -b\n'c \\d"_s) == u"\\&.a \\-b\n\\&'c \\ed"_s);
    const QByteArray frame =
        readFile(QStringLiteral(KEELHAVEN_SOURCE_DIR "/resources/man/keelhaven.1")).value();
    const QByteArray page = InstallManPage::page(frame, commandTable(), u"1.2"_s);
    EXPECT_FALSE(page.contains("@COMMANDS@") || page.contains("@VERSION@"));
    for (const auto &command : commandTable())
        EXPECT_TRUE(page.contains("\\fBkeelhaven " +
                                  InstallManPage::escaped(CommandHelp::spelled(command)).toUtf8() + "\\fR\n"))
            << command.path.toString().toStdString();
    const TestHome home;
    const QString text = output(u"man"_s, {u"--warnings=all"_s, u"-l"_s, home.write(u"keelhaven.1"_s, page)});
    EXPECT_FALSE(text.contains(u"warning"_s)) << text.left(2000).toStdString();
}

} // namespace Keelhaven

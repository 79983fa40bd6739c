#include "Herdr/HerdrExternalOpen.h"

#include "Herdr/DoubleQuoted.h"
#include "Herdr/HerdrLocator.h"
#include "Platform/Files.h"
#include "Platform/Shell.h"

#include <QFileInfo>
#include <sys/stat.h>

namespace Keelhaven::HerdrExternalOpen {

using namespace Qt::StringLiterals;

bool hasAttachedClient(const QString &processList, const QString &binary)
{
    const QString session = u" --session keelhaven"_s;
    const QString name = QFileInfo(binary).fileName();
    const QStringList commands{binary, binary + session, name, name + session};
    const auto lines = processList.split(u'\n');
    return std::ranges::any_of(
        lines, [&commands](const QString &line) { return commands.contains(line.trimmed()); });
}

QCoro::Task<bool> hasAttachedClient(ProcessRunner *processes, QString binary)
{
    ProcessSpec spec;
    spec.program = u"/bin/ps"_s;
    spec.arguments = QStringList{u"-axo"_s, u"command="_s};
    const ProcessResult result = co_await processes->run(spec);
    co_return result.succeeded() && hasAttachedClient(QString::fromUtf8(result.output), binary);
}

QString attachScript(const QString &binary)
{
    return u"#!/bin/sh\n"
           u"unset HERDR_ENV HERDR_SOCKET_PATH HERDR_CLIENT_SOCKET_PATH HERDR_PANE_ID\n"
           u"exec "_s +
           doubleQuoted(binary) + u" --session keelhaven\n"_s;
}

std::optional<QString> writeAttachScript(const KeelhavenPaths &paths, const QString &binary)
{
    const QString file = paths.appSupportDir + u"/attach-herdr.command"_s;
    if (const auto written = writeFileAtomically(file, attachScript(binary).toUtf8()); !written)
        return std::nullopt;
    if (::chmod(QFile::encodeName(file).constData(), 0755) != 0)
        return std::nullopt;
    return file;
}

QString attachCommand(const QString &binary)
{
    return shellQuoted(binary) + u" --session keelhaven"_s;
}

QCoro::Task<Outcome> open(HerdrLocator *locator, ProcessRunner *processes, KeelhavenPaths paths,
                          Desktop *desktop)
{
    const auto binary = co_await locator->resolveBinaryWithSource();
    if (!binary)
        co_return Outcome::NoBinary;
    const bool attached = co_await hasAttachedClient(processes, binary->path);
    if (attached)
        co_return Outcome::AlreadyAttached;
    const auto script = writeAttachScript(paths, binary->path);
    if (!script)
        co_return Outcome::NoScript;
    const bool opened = desktop->openTerminal(QStringList{*script});
    co_return opened ? Outcome::Opened : Outcome::NoTerminal;
}

} // namespace Keelhaven::HerdrExternalOpen

#include "SessionHost/HostFixture.h"

#include <QProcess>

namespace Keelhaven {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

QString text(const JSONValue &value, QStringView key)
{
    const JSONValue *found = value[key];
    return found ? found->stringValue().value_or(QString()) : QString();
}

JSONValue member(const JSONValue &value, QStringView key)
{
    const JSONValue *found = value[key];
    return found ? *found : JSONValue();
}

JSONObject object(std::initializer_list<std::pair<QString, JSONValue>> members)
{
    return JSONObject(members);
}

HostFixture::Parts::Parts(const HostPaths &paths)
    : tmux({paths.tmuxSocket, 022}, clock)
    , reaper(clock)
    , terminals(tmux, reaper)
    , input(tmux, clock)
    , agents(paths, tmux, terminals, input, clock)
    , methods(terminals, agents, input)
{}

HostFixture::HostFixture()
{
    home.enter();
    qputenv("SHELL", "/bin/bash");
    QFile agent(QStringLiteral(KEELHAVEN_SOURCE_DIR "/tests/SessionHost/fake_agent.py"));
    EXPECT_TRUE(agent.open(QIODevice::ReadOnly));
    const QByteArray script = agent.readAll();
    for (const QString &name : {u"bin/claude"_s, u"bin/codex"_s})
        QFile::setPermissions(home.write(name, script),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    home.write(u".bash_profile"_s, "export PATH=\"$HOME/bin:$PATH\"\nPS1='ready$ '\n");
    paths = HostPaths::fromEnvironment().value();
    QDir().mkpath(paths.launchFolder);
    restartHost();
}

HostFixture::~HostFixture()
{
    static_cast<void>(await(host->terminals.closeEverything()));
}

void HostFixture::restartHost()
{
    host.reset();
    host = std::make_unique<Parts>(paths);
}

JSONValue HostFixture::response(const QString &method, const JSONObject &params)
{
    const JSONObject request{
        {u"id"_s, JSONValue(u"kh-1"_s)}, {u"method"_s, JSONValue(method)}, {u"params"_s, JSONValue(params)}};
    const QByteArray line = await(host->methods.serve(JSONValue(request).encoded()));
    EXPECT_FALSE(line.contains('\n'));
    const auto parsed = JSONValue::parse(QByteArrayView(line));
    EXPECT_TRUE(parsed) << line.constData();
    const JSONValue answer = parsed ? *parsed : JSONValue();
    EXPECT_EQ(text(answer, u"id"), u"kh-1"_s);
    return answer;
}

JSONValue HostFixture::call(const QString &method, const JSONObject &params)
{
    const JSONValue answer = response(method, params);
    EXPECT_TRUE(answer[u"result"]) << method.toStdString() << ": " << answer.encoded().constData();
    return member(answer, u"result");
}

QString HostFixture::errorOf(const QString &method, const JSONObject &params)
{
    return text(member(response(method, params), u"error"), u"code");
}

QString HostFixture::makePane(const JSONObject &env)
{
    const auto created = call(u"workspace.create"_s, object({{u"label"_s, JSONValue(u"Runs"_s)},
                                                             {u"cwd"_s, JSONValue(home.path())},
                                                             {u"env"_s, JSONValue(env)},
                                                             {u"focus"_s, JSONValue(false)}}));
    return text(member(created, u"root_pane"), u"pane_id");
}

void HostFixture::startOnly(const QString &kind, const QString &name, const QString &pane,
                            const QStringList &arguments)
{
    JSONArray list;
    for (const QString &argument : arguments)
        list.emplace_back(argument);
    const auto params = object({{u"name"_s, JSONValue(name)},
                                {u"kind"_s, JSONValue(kind)},
                                {u"pane_id"_s, JSONValue(pane)},
                                {u"args"_s, JSONValue(list)},
                                {u"timeout_ms"_s, JSONValue(60000)}});
    QString error;
    const bool started = waitUntil([&] {
        error = errorOf(u"agent.start"_s, params);
        return error != u"agent_pane_busy";
    });
    EXPECT_TRUE(started);
    EXPECT_EQ(error, QString());
}

void HostFixture::startAgent(const QString &kind, const QString &name, const QString &pane,
                             const QStringList &arguments)
{
    startOnly(kind, name, pane, arguments);
    const bool settled = waitUntil([&] {
        const auto agent = member(call(u"agent.get"_s, object({{u"target"_s, JSONValue(name)}})), u"agent");
        return member(agent, u"launch_pending").boolValue() == false;
    });
    EXPECT_TRUE(settled) << screen(pane).toStdString();
}

JSONValue HostFixture::agentIn(const QString &pane)
{
    const auto agents = member(call(u"agent.list"_s), u"agents");
    if (!agents.arrayValue())
        return {};
    for (const JSONValue &agent : *agents.arrayValue()) {
        if (text(agent, u"pane_id") == pane)
            return agent;
    }
    return {};
}

QString HostFixture::statusIn(const QString &pane)
{
    return text(agentIn(pane), u"agent_status");
}

QString HostFixture::screen(const QString &pane)
{
    const auto read =
        call(u"pane.read"_s, object({{u"pane_id"_s, JSONValue(pane)}, {u"lines"_s, JSONValue(200)}}));
    return text(member(read, u"read"), u"text");
}

QList<JSONValue> HostFixture::notes(const QString &kind) const
{
    QList<JSONValue> found;
    const auto lines = home.read(kind + u".log"_s).split('\n');
    for (const QByteArray &line : lines) {
        if (const auto parsed = JSONValue::parse(QByteArrayView(line)))
            found.append(*parsed);
    }
    return found;
}

QList<QByteArray> HostFixture::typedInto(const QString &kind) const
{
    QList<QByteArray> typed;
    for (const JSONValue &each : notes(kind)) {
        if (each[u"typed"])
            typed.append(text(each, u"typed").toLatin1());
    }
    return typed;
}

void HostFixture::runInPane(const QString &pane, const QString &line, const std::function<bool()> &condition)
{
    call(u"pane.send_text"_s,
         object({{u"pane_id"_s, JSONValue(pane)}, {u"text"_s, JSONValue(line + u'\r')}}));
    EXPECT_TRUE(waitUntil(condition)) << line.toStdString() << '\n' << screen(pane).toStdString();
}

} // namespace Keelhaven

#include "Mirror/MirrorClient.h"
#include "Mirror/MirrorProbe.h"

#include "Platform/QtHttpClient.h"
#include "Support/TestHome.h"
#include "Support/VirtualClock.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace Keelhaven {
namespace {

using namespace Qt::StringLiterals;

/// The plugin's own service on a free port.
class MirrorServiceTest : public testing::Test
{
protected:
    MirrorServiceTest()
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, home.path());
        environment.insert(u"PYTHONPATH"_s, QStringLiteral(KEELHAVEN_SOURCE_DIR "/plugin"));
        environment.insert(u"PYTHONDONTWRITEBYTECODE"_s, u"1"_s);
        service.setProcessEnvironment(environment);
        service.start(u"python3"_s, {u"-c"_s, uR"(
from http.server import ThreadingHTTPServer
from keelhaven import app, store
server = ThreadingHTTPServer(("127.0.0.1", 0), app._make_handler(app.Api(store.load_config())))
print(server.server_address[1], flush=True)
server.serve_forever()
)"_s});
        EXPECT_TRUE(waitUntil([this] { return service.canReadLine(); }));
        url = QUrl(u"http://127.0.0.1:%1"_s.arg(QString::fromLatin1(service.readLine().trimmed())));
    }
    ~MirrorServiceTest() override
    {
        service.kill();
        service.waitForFinished();
    }

    const TestHome home;
    QProcess service;
    QUrl url;
    QtHttpClient http;
};

TEST_F(MirrorServiceTest, IsLiveUntilItEndsAndSaysWhatItDoesNotCarry)
{
    const MirrorProbe probe(http, url);
    EXPECT_EQ(await(probe.probe()), MirrorState::live(false));
    home.write(u".cache/keelhaven/state.json"_s, R"({"projects": {"x": {}}, "project_order": ["x"]})");
    EXPECT_EQ(await(probe.probe()), MirrorState::live(false));

    const MirrorClient client(http, url);
    const auto refused = await(client.pluginAction(u"enable"_s, u"a@m"_s, u"project"_s, u"/w"_s));
    ASSERT_FALSE(refused);
    EXPECT_FALSE(refused.error().message().isEmpty());
    EXPECT_FALSE(refused.error().message().startsWith(u"HTTP "_s)) << "a sentence for the user";

    service.kill();
    ASSERT_TRUE(waitUntil([this] { return service.state() == QProcess::NotRunning; }));
    EXPECT_EQ(await(probe.probe()), MirrorState::down());
    QtHttpClient fresh;
    const MirrorProbe first(fresh, url);
    EXPECT_EQ(await(first.probe()), MirrorState::down());
}

} // namespace
} // namespace Keelhaven

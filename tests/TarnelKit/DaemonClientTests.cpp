#include "TarnelKit/Daemon/DaemonClient.h"
#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedServer.h"

#include "TestSupport.h"
#include "VirtualTime.h"

#include <gtest/gtest.h>

using namespace tarnel;
using namespace tarnel::xpc;
using tarnel::testing::TemporaryDirectory;
using tarnel::testing::VirtualTime;

namespace {

// A stand-in daemon that records what it was asked and answers with what the test sets.
class FakeDaemon {
public:
    FakeDaemon(const ServiceEndpoint& endpoint, quendal::Executor executor) : server(endpoint, executor)
    {
        registerHandler(server, Routes::ping, [this](std::string message, RequestContext) -> asio::awaitable<std::string> {
            pings.push_back(message);
            co_return pingReply;
        });
        registerHandler(server, Routes::deleteFiles,
                        [this](PrivilegedFileDeleteRequest request, RequestContext) -> asio::awaitable<std::vector<bool>> {
                            deletions.push_back(request);
                            std::vector<bool> answers;
                            for (const auto& p : request.paths)
                                answers.push_back(p.find("keep") == std::string::npos);
                            co_return answers;
                        });
        registerHandler(server, Routes::toggleTrim, [this](bool on, RequestContext) -> asio::awaitable<bool> {
            trim = on;
            co_return trim;
        });
        registerHandler(server, Routes::getTrimStatus, [this](RequestContext) -> asio::awaitable<bool> { co_return trim; });
        registerHandler(server, Routes::setLaunchItemEnabled,
                        [this](LaunchItemMutationRequest request, RequestContext) -> asio::awaitable<void> {
                            launchItems.push_back(request);
                            co_return;
                        });
        registerHandler(server, Routes::uninstallLegacyFiles, [this](RequestContext) -> asio::awaitable<void> {
            ++legacyUninstalls;
            co_return;
        });
        server.start();
    }

    XPCServer server;
    std::string pingReply = "v19";
    std::vector<std::string> pings;
    std::vector<PrivilegedFileDeleteRequest> deletions;
    std::vector<LaunchItemMutationRequest> launchItems;
    bool trim = false;
    int legacyUninstalls = 0;
};

} // namespace

TEST(DaemonClient, ParsesTheInterfaceVersionOnlyFromAStrictReply)
{
    EXPECT_EQ(DaemonClient::parseAPIVersion("v19"), 19);
    EXPECT_EQ(DaemonClient::parseAPIVersion("v7"), 7);
    for (const auto* bad : {"19", "v", "v19x", "", "V19", "v 19", "v-", "vv19", "v99999999999"})
        EXPECT_EQ(DaemonClient::parseAPIVersion(bad), std::nullopt) << bad;
}

TEST(DaemonClient, EveryOperationTravelsItsRoute)
{
    VirtualTime time;
    TemporaryDirectory directory;
    auto endpoint = ServiceEndpoint::at("org.quendal.Tarnel.Daemon", directory.path() / "d.sock");
    FakeDaemon daemon(endpoint, time.executor());
    DaemonClient client("org.quendal.Tarnel.Daemon",
                        XPCClient::create(endpoint, ServerRequirement::anyServer(), time.executor()));

    EXPECT_EQ(time.await(client.ping()), "v19");
    EXPECT_EQ(daemon.pings, (std::vector<std::string>{"Ping from app"}));
    EXPECT_EQ(time.await(client.apiVersion()), 19);
    EXPECT_TRUE(time.await(client.isCompatible()));
    daemon.pingReply = "v18";
    EXPECT_FALSE(time.await(client.isCompatible()));
    daemon.pingReply = "v19x";
    EXPECT_EQ(time.await(client.apiVersion()), std::nullopt);

    EXPECT_EQ(time.await(client.deleteFiles({}, DaemonClient::Reason::userConfirmedCleanup)), std::vector<bool>{})
        << "an empty list is still sent and answered";
    EXPECT_EQ(time.await(client.deleteFiles({"/home/u/a", "/home/u/keep"}, DaemonClient::Reason::applicationUninstall)),
              (std::vector<bool>{true, false}));
    ASSERT_EQ(daemon.deletions.size(), 2u);
    EXPECT_EQ(daemon.deletions[1].reason, DaemonClient::Reason::applicationUninstall);

    EXPECT_TRUE(time.await(client.toggleTrim(true)));
    EXPECT_TRUE(time.await(client.getTrimStatus()));

    time.await(client.enableLaunchItem("/home/u/.config/systemd/user/sync me.service"));
    time.await(client.disableLaunchItem("/etc/systemd/user/x.service"));
    ASSERT_EQ(daemon.launchItems.size(), 2u);
    EXPECT_EQ(daemon.launchItems[0].url, "file:///home/u/.config/systemd/user/sync%20me.service");
    EXPECT_TRUE(daemon.launchItems[0].enabled);
    EXPECT_EQ(daemon.launchItems[0].path(), std::filesystem::path("/home/u/.config/systemd/user/sync me.service"));
    EXPECT_FALSE(daemon.launchItems[1].enabled);

    time.await(client.uninstallLegacyFiles());
    EXPECT_EQ(daemon.legacyUninstalls, 1);
}

TEST(DaemonClient, TransportErrorsPassThroughAndCompatibilityNeverThrows)
{
    VirtualTime time;
    TemporaryDirectory directory;
    auto endpoint = ServiceEndpoint::at("org.quendal.Tarnel.Daemon", directory.path() / "absent.sock");
    DaemonClient client("org.quendal.Tarnel.Daemon",
                        XPCClient::create(endpoint, ServerRequirement::anyServer(), time.executor()));
    try {
        time.await(client.getTrimStatus());
        ADD_FAILURE() << "no daemon runs";
    } catch (const XPCError& e) {
        EXPECT_EQ(e.kind(), XPCError::Kind::connectionInvalid);
    }
    EXPECT_FALSE(time.await(client.isCompatible()));

    EXPECT_EQ(pathFromFileURL("file:///a%2Fb%25"), std::filesystem::path("/a/b%"));
    EXPECT_EQ(pathFromFileURL("file://localhost/x"), std::filesystem::path("/x"));
    for (const auto* bad : {"/plain/path", "file://relative", "file:///bad%2", "file:///nul%00", "http://x/y"})
        EXPECT_EQ(pathFromFileURL(bad), std::nullopt) << bad;
    EXPECT_EQ(reasonNamed("legacyMigration"), DaemonClient::Reason::legacyMigration);
    EXPECT_EQ(reasonNamed("other"), std::nullopt);
}

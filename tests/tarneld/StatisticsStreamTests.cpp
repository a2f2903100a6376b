#include "TarnelXPC/Routes.h"
#include "TarnelXPC/TypedClient.h"

#include "ChildProcess.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/io_context.hpp>
#include <asio/use_future.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sys/statvfs.h>

using namespace tarnel;
using namespace tarnel::testing;

namespace {

const std::vector<WidgetStatistic> dashboardStatistics{
    WidgetStatistic::batteryCharge,   WidgetStatistic::batteryHealth,   WidgetStatistic::cpuUsage,
    WidgetStatistic::cpuSystemUsage,  WidgetStatistic::cpuUserUsage,    WidgetStatistic::memoryPressure,
    WidgetStatistic::memorySwapFile,  WidgetStatistic::ramWired,        WidgetStatistic::ramActive,
    WidgetStatistic::ramCompressed,   WidgetStatistic::ramAvailable,    WidgetStatistic::processCPUUsage,
    WidgetStatistic::processRAMUsage, WidgetStatistic::storageUsage,    WidgetStatistic::gpuUsage,
    WidgetStatistic::gpuTemperature,  WidgetStatistic::gpuMemoryUsage,  WidgetStatistic::gpuCoreClock,
    WidgetStatistic::gpuMemoryClock,  WidgetStatistic::gpuGroupTemperatureSensor,
    WidgetStatistic::cpuGroupTemperatureSensor, WidgetStatistic::socGroupTemperatureSensor,
};

std::uint64_t meminfo(const std::string& key)
{
    std::ifstream in("/proc/meminfo");
    std::string name;
    std::uint64_t kib = 0;
    std::string unit;
    while (in >> name >> kib) {
        std::getline(in, unit);
        if (name == key + ":")
            return kib * 1024;
    }
    return 0;
}

struct Received {
    std::vector<StatsUpdateBatch> batches;
    std::vector<std::chrono::steady_clock::time_point> times;
};

// Reads `count` batches of a subscription, then ends it.
asio::awaitable<void> read(xpc::XPCClient& client, StatsSubscriptionRequest request, int count, Received& into)
{
    auto opening = xpc::sendForSequence(client, xpc::Routes::statsSubscribe, request);
    auto stream = co_await std::move(opening);
    while (static_cast<int>(into.batches.size()) < count) {
        auto batch = co_await stream.next();
        if (!batch)
            break;
        into.times.push_back(std::chrono::steady_clock::now());
        into.batches.push_back(std::move(*batch));
    }
    auto key = request.key();
    auto ending = xpc::send(client, xpc::Routes::statsUnsubscribe, key);
    co_await std::move(ending);
}

} // namespace

TEST(StatisticsStream, TheDashboardSubscriptionArrivesAtItsPaceWithThisMachinesFigures)
{
    TemporaryDirectory sockets;
    // 50 ms per tick: `fast` is a batch every 100 ms, `slow` every 300 ms.
    ChildProcess daemon(binaryDirectory() / "daemon" / "tarneld",
                        {"--session", "--socket-dir", sockets.path().string(), "--base-interval", "0.05"});
    const auto socket = sockets.path() / "org.quendal.Tarnel.Daemon.stats.sock";
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(socket); }));

    asio::io_context context;
    auto client = xpc::XPCClient::create(xpc::ServiceEndpoint::at("org.quendal.Tarnel.Daemon.stats", socket),
                                         xpc::ServerRequirement::anyServer(), context.get_executor());
    std::set<WidgetStatistic> wanted(dashboardStatistics.begin(), dashboardStatistics.end());
    StatsSubscriptionRequest fast(StatsClientID{}, StatsSubscriptionID{}, WidgetStatisticsSet(wanted), {},
                                  StatisticUpdateFrequency::fast);
    StatsSubscriptionRequest slow(StatsClientID{}, StatsSubscriptionID{}, WidgetStatisticsSet({WidgetStatistic::cpuUsage}),
                                  {}, StatisticUpdateFrequency::slow);
    Received fastBatches, slowBatches;
    auto a = asio::co_spawn(context, read(*client, fast, 8, fastBatches), asio::use_future);
    auto b = asio::co_spawn(context, read(*client, slow, 3, slowBatches), asio::use_future);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while ((a.wait_for(std::chrono::seconds(0)) != std::future_status::ready ||
            b.wait_for(std::chrono::seconds(0)) != std::future_status::ready) &&
           std::chrono::steady_clock::now() < deadline)
        context.run_one_for(std::chrono::milliseconds(100));
    a.get();
    b.get();
    ASSERT_EQ(fastBatches.batches.size(), 8u);
    ASSERT_EQ(slowBatches.batches.size(), 3u);

    // Pace: fast batches 0.1 s apart, slow ones 0.3 s apart, within scheduling noise.
    auto spacing = [](const Received& r) {
        return std::chrono::duration<double>(r.times.back() - r.times.front()).count() / static_cast<double>(r.times.size() - 1);
    };
    EXPECT_NEAR(spacing(fastBatches), 0.1, 0.05);
    EXPECT_NEAR(spacing(slowBatches), 0.3, 0.1);

    // Figures agree with what the test reads itself.
    const auto& batch = fastBatches.batches.back();
    auto value = [&](WidgetStatistic s) -> std::optional<StatsValueSnapshot> {
        for (const auto& v : batch.values)
            if (v.statistic == s)
                return v;
        return std::nullopt;
    };
    ASSERT_TRUE(value(WidgetStatistic::cpuUsage));
    EXPECT_GE(*value(WidgetStatistic::cpuUsage)->fraction, 0.0);
    EXPECT_LE(*value(WidgetStatistic::cpuUsage)->fraction, 1.0);
    EXPECT_NEAR(*value(WidgetStatistic::cpuUsage)->fraction,
                *value(WidgetStatistic::cpuSystemUsage)->fraction + *value(WidgetStatistic::cpuUserUsage)->fraction, 1e-9);
    ASSERT_TRUE(value(WidgetStatistic::ramAvailable));
    const double available = static_cast<double>(meminfo("MemAvailable"));
    EXPECT_NEAR(*value(WidgetStatistic::ramAvailable)->value, available, available * 0.2);
    EXPECT_NEAR(*value(WidgetStatistic::ramAvailable)->fraction, available / static_cast<double>(meminfo("MemTotal")), 0.2);

    struct statvfs root {};
    ASSERT_EQ(::statvfs("/", &root), 0);
    const double freeBytes = static_cast<double>(root.f_bfree) * static_cast<double>(root.f_frsize);
    bool foundRoot = false;
    for (const auto& v : batch.values)
        if (v.statistic == WidgetStatistic::storageUsage && v.value && std::abs(*v.value - freeBytes) < freeBytes * 0.05 + 1e8)
            foundRoot = true;
    EXPECT_TRUE(foundRoot) << "the root file system's free bytes are among the volumes";

    // What this machine does not have stays absent: no battery, no GPU here.
    EXPECT_FALSE(batch.battery);
    for (const auto& v : batch.values)
        EXPECT_NE(v.statistic, WidgetStatistic::gpuUsage);
    EXPECT_FALSE(slowBatches.batches.back().values.empty());
    for (const auto& v : slowBatches.batches.back().values)
        EXPECT_EQ(v.statistic, WidgetStatistic::cpuUsage);

    daemon.signal(SIGTERM);
    EXPECT_EQ(daemon.wait(), 0);
}

// The whole daemon link on this machine: a real session daemon, the manager's start-up check,
// the catalogue stores, and a daemon that is killed and comes back.
#include "TarnelKit/Catalog/DaemonDataPreloader.h"
#include "TarnelKit/Daemon/DaemonLink.h"

#include "TarnelFoundation/Identity/MonitorAppIdentity.h"

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"
#include "QuendalFoundation/Preferences/Preferences.h"
#include "ChildProcess.h"
#include "ScaledClock.h"
#include "SessionDaemonLink.h"
#include "TestSupport.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iostream>
#include <map>

using namespace tarnel;
using namespace tarnel::testing;

namespace {

std::string firstLine(const std::filesystem::path& file)
{
    std::string line;
    std::ifstream(file) >> line;
    return line;
}

// What the test reads of this machine itself, to hold the daemon's catalogues against.
struct ThisMachine {
    std::size_t displayControllers = 0;
    std::size_t temperatureChannels = 0;
    std::size_t connectedDisplays = 0;
    std::map<std::string, std::uint64_t> wholeDiskBytes;

    static ThisMachine read()
    {
        namespace fs = std::filesystem;
        ThisMachine m;
        std::error_code error;
        for (const auto& device : fs::directory_iterator("/sys/bus/pci/devices", error))
            if (firstLine(device.path() / "class").starts_with("0x03"))
                ++m.displayControllers;
        for (const auto& chip : fs::directory_iterator("/sys/class/hwmon", error))
            for (const auto& file : fs::directory_iterator(chip.path(), error)) {
                const auto name = file.path().filename().string();
                if (name.starts_with("temp") && name.ends_with("_input"))
                    ++m.temperatureChannels;
            }
        for (const auto& connector : fs::directory_iterator("/sys/class/drm", error))
            if (firstLine(connector.path() / "status") == "connected")
                ++m.connectedDisplays;
        for (const auto& disk : fs::directory_iterator("/sys/block", error)) {
            const auto sectors = firstLine(disk.path() / "size");
            if (!sectors.empty() && sectors != "0")
                m.wholeDiskBytes[disk.path().filename().string()] = std::stoull(sectors) * 512;
        }
        return m;
    }
};

} // namespace

TEST(DaemonLinkOnThisMachine, StartBringsUpTheDaemonFillsTheStoresAndSurvivesItsDeath)
{
    TemporaryDirectory folder;
    quendal::AppLogger::setStore(std::make_shared<quendal::JsonLinesLogStore>(folder.path() / "log", "test"));
    asio::io_context context;
    quendal::Runtime::shared().setMainExecutor(context.get_executor());
    // The manager's waits (the 5 s retry, the approval polls) run ten times faster.
    auto clock = std::make_shared<ScaledClock>(10.0);
    const auto program = binaryDirectory() / "daemon" / "tarneld";
    auto registry = std::make_shared<SessionServiceRegistry>(program, folder.path(), false, clock);

    auto link = sessionDaemonLink(registry, folder.path(), context.get_executor(), clock);
    link.installShared();

    auto runUntil = [&](auto condition, double seconds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!condition() && std::chrono::steady_clock::now() < end) {
            context.restart();
            context.run_one_for(std::chrono::milliseconds(50));
        }
        return condition();
    };
    auto status = [&] { return link.manager->status.value(); };

    ASSERT_EQ(registry->status(), ServiceStatus::notRegistered()) << "from nothing";
    asio::co_spawn(context, link.manager->start(), asio::detached);
    ASSERT_TRUE(runUntil([&] { return status() == DaemonStatus::connected; }, 30))
        << "the start-up check registers (starts) the session daemon and connects";
    EXPECT_EQ(registry->status(), ServiceStatus::enabled());

    auto preloader = DaemonDataPreloader::shared();
    preloader->startStaticWarmup();
    auto loaded = [](const auto& store) { return store->snapshot.value().generatedAt != Date::distantPast(); };
    auto settled = [&](const auto& store) { return loaded(store) || store->lastError.value() != nullptr; };
    ASSERT_TRUE(runUntil(
        [&] {
            return settled(HardwareCatalogStore::shared()) && settled(SystemInventoryStore::shared()) &&
                   settled(DisplayCatalogStore::shared()) && !preloader->isWarmingUp();
        },
        30));
    EXPECT_TRUE(loaded(HardwareCatalogStore::shared())) << "the hardware catalogue of this machine";
    EXPECT_TRUE(loaded(SystemInventoryStore::shared())) << "the system inventory of this machine";
    EXPECT_TRUE(loaded(DisplayCatalogStore::shared())) << "the display catalogue of this machine (maybe empty)";
    const auto inventory = SystemInventoryStore::shared()->snapshot.value();
    EXPECT_GT(inventory.cpu.logicalCores, 0) << "this machine's processor is in the inventory";
    const auto hardware = HardwareCatalogStore::shared()->snapshot.value();
    EXPECT_FALSE(hardware.storage.disks.empty()) << "this machine has a disk";
    // Every field the machine has is filled: what the test finds itself, the daemon found too.
    const auto machine = ThisMachine::read();
    EXPECT_EQ(hardware.gpus.size(), machine.displayControllers);
    EXPECT_LE(hardware.temperatureSensors.size(), machine.temperatureChannels);
    EXPECT_EQ(DisplayCatalogStore::shared()->snapshot.value().displays.size(), machine.connectedDisplays);
    for (const auto& [name, bytes] : machine.wholeDiskBytes) {
        const auto* disk = hardware.storage.disk(name);
        ASSERT_TRUE(disk) << name;
        EXPECT_EQ(disk->sizeBytes, bytes) << name;
    }
    for (const auto& gpu : hardware.gpus)
        EXPECT_FALSE(gpu.name.empty());
    EXPECT_TRUE(inventory.cpu.name) << "the processor's name";
    EXPECT_FALSE(inventory.operatingSystem.versionString.empty()) << "the distribution";
    std::cout << "This machine: " << hardware.gpus.size() << " graphics devices, " << hardware.temperatureSensors.size()
              << " sensors, " << hardware.fans.size() << " fans, " << hardware.storage.disks.size() << " disk items, "
              << machine.connectedDisplays << " displays, processor " << inventory.cpu.name.value_or("?") << "\n";

    // Killed without a word: the registry reaps it and starts another, and the manager finds the
    // endpoints answering again, as it would after systemd restarted the unit.
    auto daemonPid = [&] {
        pid_t p = 0;
        std::ifstream(registry->pidFile()) >> p;
        return p;
    };
    const pid_t pid = daemonPid();
    ASSERT_GT(pid, 0);
    ASSERT_EQ(::kill(pid, SIGKILL), 0);
    ASSERT_TRUE(runUntil([&] { return daemonPid() > 0 && daemonPid() != pid && registry->status() == ServiceStatus::enabled(); }, 10))
        << "a new daemon within the restart delay";
    EXPECT_EQ(registry->restarts(), 1);
    EXPECT_TRUE(zombieChildren().empty()) << "the killed daemon was reaped";
    bool updated = false;
    asio::co_spawn(context, link.manager->updateStatus(), [&](std::exception_ptr) { updated = true; });
    EXPECT_TRUE(runUntil([&] { return updated && status() == DaemonStatus::connected; }, 30));

    // Stopped on purpose: it stays down.
    std::string unregisterFailure = "running";
    asio::co_spawn(context, link.manager->unregister(), [&](std::exception_ptr e) {
        unregisterFailure.clear();
        try {
            if (e)
                std::rethrow_exception(e);
        } catch (const std::exception& failure) {
            unregisterFailure = failure.what();
        }
    });
    EXPECT_TRUE(runUntil([&] { return registry->status() == ServiceStatus::notRegistered() && !registry->isSupervising(); }, 10))
        << unregisterFailure;
    runUntil([] { return false; }, 1.0);
    EXPECT_EQ(registry->status(), ServiceStatus::notRegistered()) << "an unregistered daemon is not brought back";
    quendal::Runtime::shared().resetMainExecutor();
}

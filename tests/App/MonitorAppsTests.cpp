#include "App/Monitor/LinuxMonitorApps.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

using namespace tarnel;
using namespace std::chrono_literals;

TEST(LinuxMonitorApps, IdentityDatesPathsAndLaunchFailures)
{
    tarnel::testing::TemporaryDirectory folder("tarnel-monitor-apps");
    LinuxMonitorApps apps;
    const auto executable = folder.path() / "tarnel-monitor";
    {
        std::ofstream file(executable, std::ios::binary);
        file << std::string("\x7f" "ELF\0\0", 6) << "TARNEL-BUNDLE-INFO:org.quendal.TarnelMonitor|1.0.0|12\n" << std::string(64, '\0');
    }
    auto info = apps.bundleInfo(executable);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->description(), "org.quendal.TarnelMonitor 1.0.0 (12)");
    EXPECT_FALSE(apps.bundleInfo(folder.path() / "missing"));

    const auto when = std::filesystem::file_time_type::clock::now() - 1h;
    std::filesystem::last_write_time(executable, when);
    auto modified = apps.modificationDate(executable);
    ASSERT_TRUE(modified);
    EXPECT_LT(std::chrono::abs(*modified - (std::chrono::system_clock::now() - 1h)), 5s);

    std::filesystem::create_symlink(executable, folder.path() / "link");
    EXPECT_EQ(apps.resolved(folder.path() / "sub" / ".." / "link"), std::filesystem::canonical(executable));

    // Not executable: neither found nor launchable, and the failure names the file.
    EXPECT_FALSE(apps.exists(executable));
    try {
        apps.launch(executable);
        FAIL() << "a file without execute permission launched";
    } catch (const std::system_error& failure) {
        EXPECT_EQ(failure.code().value(), EACCES);
        EXPECT_NE(std::string(failure.what()).find(executable.string()), std::string::npos);
    }
    ::chmod(executable.c_str(), 0755);
    EXPECT_TRUE(apps.exists(executable));
    // Executable but not a program the kernel can start.
    EXPECT_THROW(apps.launch(executable), std::system_error);
}

#include "DaemonOptions.h"

#include <gtest/gtest.h>

using tarnel::daemon::DaemonOptions;

TEST(Options, ParsesTheCommandLineAndRefusesNonsense)
{
    auto options = DaemonOptions::parse({"--session", "--socket-dir", "/tmp/x", "--base-interval", "0.05", "--debug"});
    EXPECT_TRUE(options.session);
    EXPECT_TRUE(options.debug);
    EXPECT_EQ(options.socketDirectory, std::filesystem::path("/tmp/x"));
    EXPECT_EQ(options.baseInterval, 0.05);
    EXPECT_FALSE(DaemonOptions::parse({}).session);
    EXPECT_EQ(DaemonOptions::parse({}).idleExitSeconds, 60) << "a session daemon waits a minute by default";
    EXPECT_EQ(DaemonOptions::parse({"--idle-exit", "0.5"}).idleExitSeconds, 0.5);

    for (const auto& bad : std::vector<std::vector<std::string>>{
             {"--bogus"}, {"--socket-dir"}, {"--base-interval", "0"}, {"--base-interval", "-1"},
             {"--base-interval", "fast"}, {"--base-interval", "1s"}, {"--base-interval", "99999"},
             {"--idle-exit", "0"}, {"--idle-exit", "soon"}, {"--idle-exit"}})
        EXPECT_THROW(DaemonOptions::parse(bad), std::invalid_argument) << bad.front();
}

#include "QuendalFoundation/Runtime/Published.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace quendal;

TEST(Published, CombinedPublisherWithDuplicatesRemovedDeliversEachDistinctPairOnce)
{
    Published<int> level(0);
    Published<std::string> unit("celsius");
    std::vector<std::pair<int, std::string>> seen;
    Cancellables cancellables;
    combineLatest(level.publisher(), unit.publisher())
        .removeDuplicates()
        .sink([&](const auto& pair) { seen.push_back(pair); })
        .store(cancellables);

    level = 0;           // same pair again
    level = 1;
    unit = "celsius";    // same pair again
    unit = "fahrenheit";
    level = 1;           // same pair again
    level = 0;
    std::vector<std::pair<int, std::string>> expected{
        {0, "celsius"}, {1, "celsius"}, {1, "fahrenheit"}, {0, "fahrenheit"}};
    EXPECT_EQ(seen, expected);

    // Dropping the owner's cancellables ends the subscription on both sources.
    cancellables.clear();
    EXPECT_EQ(level.subscriberCount(), 0u);
    EXPECT_EQ(unit.subscriberCount(), 0u);
    level = 5;
    EXPECT_EQ(seen.size(), expected.size());
}

TEST(Published, SubscribersGetTheCurrentValueThenEveryChange)
{
    Published<int> value(3);
    std::vector<int> seen, later;
    auto first = value.publisher().sink([&](int v) { seen.push_back(v); });
    value = 4;
    auto second = value.publisher().dropFirst().map([](int v) { return v * 10; }).sink([&](int v) {
        later.push_back(v);
    });
    value = 5;
    first.cancel();
    value = 6;
    EXPECT_EQ(seen, (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(later, (std::vector<int>{50, 60}));

    // A publisher outliving its value subscribes to nothing.
    std::optional<Publisher<int>> orphan;
    {
        Published<int> shortLived(1);
        orphan = shortLived.publisher();
    }
    int calls = 0;
    auto none = orphan->sink([&](int) { ++calls; });
    EXPECT_EQ(calls, 0);
}

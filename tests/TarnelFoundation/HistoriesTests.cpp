#include "TarnelFoundation/Statistics/CappedCollection.h"
#include "TarnelFoundation/Statistics/ObservableArray.h"

#include "QuendalFoundation/Formatting/ByteCountFormatter.h"

#include <gtest/gtest.h>

using namespace tarnel;

TEST(Histories, CappedCollectionDropsTheOldestAndReturnsThem)
{
    CappedCollection<int> history(3);
    EXPECT_EQ(history.append(1), std::nullopt);
    history.append(2);
    history.append(3);
    EXPECT_EQ(history.append(4), 1);
    EXPECT_EQ(history.elements(), (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(history.append(std::vector<int>{5, 6}), (std::vector<int>{2, 3}));
    EXPECT_EQ(history.insert(0, 0), 0) << "inserted at the front, it is the oldest and goes at once";
    EXPECT_EQ(history.insert(std::vector<int>{7, 8}, 1), (std::vector<int>{4, 7}));
    EXPECT_EQ(history.elements(), (std::vector<int>{8, 5, 6}));
}

TEST(Histories, ObservableArrayForwardsElementChangesAndStampsThem)
{
    struct Item {
        quendal::Published<bool> changed{false};
        quendal::Publisher<bool> changes() const { return changed.publisher().dropFirst(); }
    };
    double clock = 100;
    TimestampedObservableArray<std::shared_ptr<Item>> array([&] { return Date{clock}; });
    std::vector<std::uint64_t> revisions;
    auto subscription = array.changes().sink([&](std::uint64_t r) { revisions.push_back(r); });
    auto a = std::make_shared<Item>(), b = std::make_shared<Item>();
    array.setItems({a, b});
    EXPECT_EQ(array.changeTimestamp(), 100);
    clock = 105;
    b->changed = true;
    EXPECT_EQ(array.changeTimestamp(), 105);
    array.setItems({a});
    EXPECT_EQ(array.subscriptionCount(), 1u);
    clock = 110;
    b->changed = false; // no longer in the array: no change
    EXPECT_EQ(array.changeTimestamp(), 105);
    EXPECT_EQ(revisions, (std::vector<std::uint64_t>{0, 1, 2, 3}));
}

TEST(Histories, ByteCountsReadAsThePlatformWritesThem)
{
    using quendal::ByteCountFormatter;
    EXPECT_EQ(ByteCountFormatter::string(0), "Zero KB");
    EXPECT_EQ(ByteCountFormatter::string(1), "1 byte");
    EXPECT_EQ(ByteCountFormatter::string(999), "999 bytes");
    EXPECT_EQ(ByteCountFormatter::string(1000), "1 KB");
    EXPECT_EQ(ByteCountFormatter::string(999499), "999 KB");
    EXPECT_EQ(ByteCountFormatter::string(999500), "1 MB");
    EXPECT_EQ(ByteCountFormatter::string(1500000), "1.5 MB");
    EXPECT_EQ(ByteCountFormatter::string(123456789), "123.5 MB");
    EXPECT_EQ(ByteCountFormatter::string(2000000000), "2 GB");
    EXPECT_EQ(ByteCountFormatter::string(512110190592), "512.11 GB");
    EXPECT_EQ(ByteCountFormatter::string(1024209543168), "1.02 TB");
    EXPECT_EQ(ByteCountFormatter::string(-1500000), "-1.5 MB");
}

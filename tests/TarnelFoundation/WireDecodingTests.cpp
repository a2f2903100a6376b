// Decoding records straight from wire bytes must keep every rule of decoding the value tree the
// bytes hold: the tree decoder of TarnelXPC is the reference here.
#include "SampleRecords.h"

#include "TarnelFoundation/Catalog/DisplayCatalog.h"
#include "TarnelFoundation/Codec/Record.h"
#include "TarnelXPC/Wire/ValueCoding.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

using namespace tarnel;
using tarnel::codec::DecodingError;

namespace {

template <class T>
std::string bytesOf(const T& record)
{
    return xpc::encodeValue(codec::encode(record));
}

std::string wireError(std::string_view bytes)
{
    try {
        codec::decodeWire<StatsUpdateBatch>(bytes);
    } catch (const DecodingError& e) {
        return e.what();
    }
    return "decoded";
}

// The batch as its canonical bytes, or nothing when the decoder refused them.
template <class Decode>
std::optional<std::string> outcome(Decode&& decode)
{
    try {
        return bytesOf(decode());
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

void expectSameOutcome(const std::string& bytes, const std::string& what)
{
    auto throughTree = outcome([&] { return codec::decode<StatsUpdateBatch>(xpc::decodeValue(bytes)); });
    auto straight = outcome([&] { return codec::decodeWire<StatsUpdateBatch>(bytes); });
    EXPECT_EQ(throughTree, straight) << what;
}

} // namespace

TEST(WireDecoding, RecordsRoundTripThroughBytes)
{
    const auto batch = tarnel::testing::fullBatch();
    EXPECT_EQ(codec::decodeWire<StatsUpdateBatch>(bytesOf(batch)), batch);
    EXPECT_EQ(codec::decodeWire<HardwareCatalogSnapshot>(bytesOf(tarnel::testing::laptopCatalog())),
              tarnel::testing::laptopCatalog());
    EXPECT_EQ(codec::decodeWire<SystemInventorySnapshot>(bytesOf(tarnel::testing::inventory())), tarnel::testing::inventory());

    DisplayCatalogItem display;
    display.identifier = "eDP-1";
    display.edid = Value::Bytes{0x00, 0xff, 0xff, 0x00};
    display.currentMode = DisplayModeSnapshot{1, 2560, 1440};
    const DisplayCatalogSnapshot displays{{display}, Date{785000000}};
    EXPECT_EQ(codec::decodeWire<DisplayCatalogSnapshot>(bytesOf(displays)), displays);

    // The statistics set has a codec written by hand: it decodes through its value tree.
    StatsSubscriptionRequest request(StatsClientID{}, StatsSubscriptionID{},
                                     WidgetStatisticsSet({WidgetStatistic::cpuUsage, WidgetStatistic::fanSpeed}),
                                     {DaemonService::cpu, DaemonService::sensors}, StatisticUpdateFrequency::slow);
    request.statistics.entries[WidgetStatistic::cpuCore] = {0, 1};
    EXPECT_EQ(codec::decodeWire<StatsSubscriptionRequest>(bytesOf(request)), request);
}

TEST(WireDecoding, KeepsTheDecodingRules)
{
    Value minimal = Value::dictionary();
    minimal.set("subscriptionID", codec::encode(StatsSubscriptionID{}));
    minimal.set("services", Value::array());
    minimal.set("values", Value::array());
    minimal.set("generatedAt", 1.0);
    auto batch = codec::decodeWire<StatsUpdateBatch>(xpc::encodeValue(minimal));
    EXPECT_TRUE(batch.processUsages.empty() && batch.fans.empty() && batch.storageVolumes.empty());
    EXPECT_FALSE(batch.battery);

    for (const auto* key : {"subscriptionID", "services", "values", "generatedAt"}) {
        Value missing = minimal;
        std::erase_if(*missing.asDictionary(), [&](const auto& e) { return e.first == key; });
        EXPECT_NE(wireError(xpc::encodeValue(missing)).find(std::string("\"") + key + "\" is missing"), std::string::npos)
            << key;
    }

    // Keys in another order, a key of no field with a nested value, and null for an optional.
    auto expected = tarnel::testing::fullBatch(3, 2, 1);
    Value shuffled = codec::encode(expected);
    std::reverse(shuffled.asDictionary()->begin(), shuffled.asDictionary()->end());
    shuffled.set("fromANewerDaemon", Value(Value::Dictionary{{"x", Value(Value::Array{Value(true), Value()})}}));
    shuffled.set("battery", Value());
    expected.battery.reset();
    EXPECT_EQ(codec::decodeWire<StatsUpdateBatch>(xpc::encodeValue(shuffled)), expected);

    Value bad = codec::encode(tarnel::testing::fullBatch(2, 2, 1));
    (*bad.find("values")->asArray())[1].set("statistic", "cpuWarpDrive");
    auto message = wireError(xpc::encodeValue(bad));
    EXPECT_NE(message.find("values[1].statistic: \"cpuWarpDrive\" is no case of WidgetStatistic"), std::string::npos)
        << message;

    auto withFrequency = codec::encode(StatsSubscriptionRequest());
    withFrequency.set("frequency", std::int64_t{7});
    EXPECT_THROW(codec::decodeWire<StatsSubscriptionRequest>(xpc::encodeValue(withFrequency)), DecodingError);

    Value volume = codec::encode(tarnel::testing::fullBatch(0, 0, 1).storageVolumes.front());
    volume.set("freeBytes", std::int64_t{5});
    try {
        codec::decodeWire<StatsStorageVolumeSnapshot>(xpc::encodeValue(volume));
        ADD_FAILURE() << "an int64 where a uint64 belongs decoded";
    } catch (const DecodingError& e) {
        EXPECT_STREQ(e.what(), "freeBytes: expected uint64, found int64");
    }
}

TEST(WireDecoding, RefusesWhatTheTreeDecoderRefuses)
{
    const auto bytes = bytesOf(tarnel::testing::fullBatch(2, 2, 1));

    // A record's key twice, a key of no field twice, a bool byte of 2, invalid UTF-8 in a
    // key of no field, bytes left over, nesting past 64 under a key of no field.
    Value twice = codec::encode(tarnel::testing::fullBatch(0, 0, 0));
    twice.asDictionary()->emplace_back("generatedAt", Value(2.0));
    EXPECT_NE(wireError(xpc::encodeValue(twice)).find("duplicate key \"generatedAt\""), std::string::npos);
    Value unknownTwice = codec::encode(tarnel::testing::fullBatch(0, 0, 0));
    unknownTwice.asDictionary()->emplace_back("extra", Value(true));
    unknownTwice.asDictionary()->emplace_back("extra", Value(false));
    EXPECT_NE(wireError(xpc::encodeValue(unknownTwice)).find("duplicate key \"extra\""), std::string::npos);
    Value deep;
    for (int i = 0; i < 70; ++i)
        deep = Value(Value::Array{std::move(deep)});
    Value withDeep = codec::encode(tarnel::testing::fullBatch(0, 0, 0));
    withDeep.set("extra", deep);
    EXPECT_NE(wireError(xpc::encodeValue(withDeep)).find("nesting deeper than 64"), std::string::npos);
    EXPECT_NE(wireError(bytes + '\0').find("1 bytes left over"), std::string::npos);

    // Every truncation, and every byte replaced by a few others, fails or succeeds alike.
    for (std::size_t n = 0; n < bytes.size(); ++n)
        EXPECT_NE(wireError(bytes.substr(0, n)), "decoded") << "cut at " << n;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        for (unsigned char replacement : {0x00, 0x02, 0x08, 0x80, 0xff}) {
            auto mutated = bytes;
            mutated[i] = static_cast<char>(replacement);
            expectSameOutcome(mutated, "byte " + std::to_string(i) + " = " + std::to_string(replacement));
        }
    }
}

TEST(WireDecoding, OutOfOrderKeysStillRefuseDuplicates)
{
    // "services" comes back when the next field in order is "services": the in-order shortcut
    // must not take a field twice.
    auto record = codec::encode(tarnel::testing::fullBatch(0, 0, 0));
    auto& entries = *record.asDictionary();
    auto services = *record.find("services");
    std::erase_if(entries, [](const auto& e) { return e.first == "services"; });
    entries.insert(entries.begin(), {"services", services});
    EXPECT_EQ(wireError(xpc::encodeValue(record)), "decoded");
    entries.insert(entries.begin() + 2, {"services", services});
    EXPECT_NE(wireError(xpc::encodeValue(record)).find("duplicate key \"services\""), std::string::npos);
}

TEST(WireDecoding, ReaderMatchesTheTreeDecoder)
{
    Value tree = Value::dictionary();
    tree.set("null", Value());
    tree.set("flag", true);
    tree.set("signed", std::int64_t{-5});
    tree.set("unsigned", std::uint64_t{18446744073709551615u});
    tree.set("real", 2.5);
    tree.set("text", "häuser €");
    tree.set("bytes", Value::Bytes{0, 1, 254});
    tree.set("list", Value(Value::Array{Value("a"), Value::dictionary(), Value::array()}));
    const auto bytes = xpc::encodeValue(tree);
    codec::WireReader reader(bytes);
    EXPECT_EQ(reader.readValue(), xpc::decodeValue(bytes));
    EXPECT_TRUE(reader.atEnd());

    auto refused = [](std::string input) {
        codec::WireReader r(input);
        try {
            r.skip();
            r.expectEnd();
        } catch (const DecodingError& e) {
            return std::string(e.what());
        }
        return std::string("read");
    };
    EXPECT_EQ(refused(std::string("\x09", 1)), "malformed value at byte 0: unknown tag 9");
    EXPECT_EQ(refused(std::string("\x05\x02\x00\x00\x00\xc0\xaf", 7)), "malformed value at byte 0: a string is not valid UTF-8")
        << "an overlong form";
    EXPECT_EQ(refused(std::string("\x05\x03\x00\x00\x00\xed\xa0\x80", 8)), "malformed value at byte 0: a string is not valid UTF-8")
        << "a surrogate";
    EXPECT_EQ(refused(std::string("\x07\xff\x00\x00\x00\x00", 6)), "malformed value at byte 0: a count of 255 with 1 bytes left");
    EXPECT_EQ(refused(std::string("\x01\x02", 2)), "malformed value at byte 0: a bool must be 0 or 1");
    EXPECT_EQ(refused(std::string("\x02\x01\x02", 3)), "malformed value at byte 1: 8 bytes wanted, 2 left");
}

TEST(WireDecoding, NamesAndKeysCompareExactly)
{
    // Every case name finds its case through the hashed index; near misses find nothing.
    for (std::size_t i = 0; i < widgetStatisticCount; ++i) {
        const auto name = codec::EnumNames<WidgetStatistic>::names[i];
        EXPECT_EQ(codec::caseNamed<WidgetStatistic>(name), static_cast<WidgetStatistic>(i)) << name;
        EXPECT_FALSE(codec::caseNamed<WidgetStatistic>(std::string(name) + "s")) << name;
        EXPECT_FALSE(codec::caseNamed<WidgetStatistic>(name.substr(1))) << name;
    }
    EXPECT_FALSE(codec::caseNamed<WidgetStatistic>(""));
    EXPECT_FALSE(codec::caseNamed<WidgetStatistic>("CPUUSAGE"));

    // Equal texts of every length up to 40, then one byte changed at every position.
    const std::string text = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";
    for (std::size_t n = 0; n <= text.size(); ++n) {
        const auto a = text.substr(0, n);
        EXPECT_TRUE(codec::sameText(a, std::string(a)));
        if (n < text.size()) {
            EXPECT_FALSE(codec::sameText(a, text.substr(0, n + 1)));
        }
        for (std::size_t i = 0; i < n; ++i) {
            auto b = a;
            b[i] = '_';
            EXPECT_FALSE(codec::sameText(a, b)) << n << " at " << i;
        }
    }
}

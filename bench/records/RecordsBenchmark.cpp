// Encoding and decoding of a realistic statistics batch (300 process rows, 40 sensors,
// 10 volumes): record to value tree, value tree to wire bytes, and back; and the bytes decoded
// straight into the record.
#include "SampleRecords.h"

#include "TarnelXPC/Wire/ValueCoding.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <vector>

using Clock = std::chrono::steady_clock;

template <class F>
double medianMicroseconds(F&& f, int runs = 2000)
{
    std::vector<double> samples;
    samples.reserve(static_cast<std::size_t>(runs));
    for (int i = 0; i < runs; ++i) {
        auto start = Clock::now();
        f();
        samples.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

int main(int argc, char** argv)
{
    using namespace tarnel;
    const auto batch = tarnel::testing::fullBatch(300, 40, 10);
    const auto tree = codec::encode(batch);
    const auto bytes = xpc::encodeValue(tree);
    const auto json = codec::toJson(batch);
    volatile std::size_t sink = 0;

    if (codec::decodeWire<StatsUpdateBatch>(bytes) != batch) {
        fmt::print(stderr, "the bytes do not decode to the batch\n");
        return 1;
    }

    // `bench_records tree|record|through-tree|wire`: repeats one step for a profiler, prints nothing.
    if (argc == 2) {
        const std::string_view step = argv[1];
        for (int i = 0; i < 20000; ++i) {
            if (step == "tree")
                sink = xpc::decodeValue(bytes).asDictionary()->size();
            else if (step == "record")
                sink = codec::decode<StatsUpdateBatch>(tree).processUsages.size();
            else if (step == "through-tree")
                sink = codec::decode<StatsUpdateBatch>(xpc::decodeValue(bytes)).processUsages.size();
            else
                sink = codec::decodeWire<StatsUpdateBatch>(bytes).processUsages.size();
        }
        return 0;
    }

    auto encodeTree = medianMicroseconds([&] { sink = codec::encode(batch).asDictionary()->size(); });
    auto encodeBytes = medianMicroseconds([&] { sink = xpc::encodeValue(codec::encode(batch)).size(); });
    auto decodeBytes = medianMicroseconds([&] { sink = xpc::decodeValue(bytes).asDictionary()->size(); });
    auto decodeRecord = medianMicroseconds([&] { sink = codec::decode<StatsUpdateBatch>(tree).processUsages.size(); });
    auto decodeThroughTree = medianMicroseconds(
        [&] { sink = codec::decode<StatsUpdateBatch>(xpc::decodeValue(bytes)).processUsages.size(); });
    auto decodeAll = medianMicroseconds([&] { sink = codec::decodeWire<StatsUpdateBatch>(bytes).processUsages.size(); });
    auto decodeJson = medianMicroseconds([&] { sink = codec::fromJson<StatsUpdateBatch>(json).processUsages.size(); }, 300);
    (void)sink;

    fmt::print("batch: {} bytes on the wire, {} bytes of JSON\n", bytes.size(), json.size());
    fmt::print("{:<40} {:>10.1f} µs\n", "record -> value tree", encodeTree);
    fmt::print("{:<40} {:>10.1f} µs\n", "record -> wire bytes", encodeBytes);
    fmt::print("{:<40} {:>10.1f} µs\n", "wire bytes -> value tree", decodeBytes);
    fmt::print("{:<40} {:>10.1f} µs\n", "value tree -> record", decodeRecord);
    fmt::print("{:<40} {:>10.1f} µs\n", "wire bytes -> value tree -> record", decodeThroughTree);
    fmt::print("{:<40} {:>10.1f} µs\n", "wire bytes -> record (whole decode)", decodeAll);
    fmt::print("{:<40} {:>10.1f} µs\n", "JSON text -> record (peer: nlohmann)", decodeJson);
    return 0;
}

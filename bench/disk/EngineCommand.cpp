// Runs one disk benchmark in a folder at the engine's real constants and prints
// "<write bytes/s> <read bytes/s> <write passes> <read passes>".
//   bench_disk_engine <folder>
#include "TarnelKit/Benchmark/DiskBenchmark.h"

#include "QuendalFoundation/Runtime/Runtime.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>

#include <cstdio>
#include <iostream>

using namespace tarnel;

namespace {

struct Printer : DiskBenchmarkListener {
    asio::io_context& context;
    int status = 1;
    explicit Printer(asio::io_context& c) : context(c) {}
    void benchmarkDidWrite(std::uint64_t s) override { std::cerr << "write pass " << s / 1e6 << " MB/s\n"; }
    void benchmarkDidRead(std::uint64_t s) override { std::cerr << "read pass " << s / 1e6 << " MB/s\n"; }
    void benchmarkDidStop(const std::optional<DiskBenchmarkError>& e) override
    {
        std::cerr << "stopped: " << (e ? e->what() : "by request") << "\n";
        context.stop();
    }
    void benchmarkDidFailToClean(const DiskBenchmarkError& e) override { std::cerr << "not cleaned: " << e.what() << "\n"; }
    void benchmarkDidFinish(const std::optional<HardwareDiskCatalogItem>&, const BenchResult& r) override
    {
        status = 0;
        result = r;
        context.stop();
    }
    BenchResult result;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: bench_disk_engine <folder>\n";
        return 2;
    }
    asio::io_context context;
    auto guard = asio::make_work_guard(context);
    quendal::Runtime::shared().setMainExecutor(context.get_executor());
    auto printer = std::make_shared<Printer>(context);
    {
        auto engine = DiskBenchmark::make();
        engine->add(printer);
        engine->run(std::nullopt, argv[1]);
        context.run();
        engine->waitUntilIdle();
        if (printer->status == 0)
            std::printf("%llu %llu %zu %zu\n", static_cast<unsigned long long>(printer->result.writeBytesPerSecond),
                        static_cast<unsigned long long>(printer->result.readBytesPerSecond), engine->writeResults().size(),
                        engine->readResults().size());
    }
    quendal::Runtime::shared().resetMainExecutor();
    return printer->status;
}

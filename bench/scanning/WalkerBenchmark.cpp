// In-process walks of a generated tree of 20,000 files in 2,000 folders, in both modes.
#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

using namespace tarnel;
namespace fs = std::filesystem;

namespace {

const fs::path& tree()
{
    static const fs::path root = [] {
        auto path = fs::temp_directory_path() / "tarnel-bench-walker-tree";
        if (fs::exists(path / ".complete"))
            return path;
        fs::remove_all(path);
        std::mt19937 random(7);
        std::vector<fs::path> folders{path};
        fs::create_directories(path);
        for (int i = 0; i < 20'000; ++i) {
            if (i % 10 == 0) {
                folders.push_back(folders[random() % folders.size()] / ("d" + std::to_string(i)));
                fs::create_directory(folders.back());
            }
            std::ofstream(folders[random() % folders.size()] / ("f" + std::to_string(i))) << std::string(random() % 4096, 'x');
        }
        std::ofstream(path / ".complete");
        return path;
    }();
    return root;
}

void walk(benchmark::State& state, bool buildTree)
{
    const auto root = tree().string(); // built once, outside the timing
    std::int64_t nodes = 0;
    for (auto _ : state) {
        std::shared_ptr<DiskWalkProcedure> unit;
        if (buildTree)
            unit = std::make_shared<DiskMapProcedure>(root, true, std::nullopt);
        else
            unit = std::make_shared<FileScanProcedure>(
                root, std::vector<std::shared_ptr<FileCollector>>{std::make_shared<FileCollector>()}, true,
                std::nullopt);
        ProcedureQueue queue;
        queue.addOperation(unit);
        unit->waitUntilFinished();
        nodes = (*unit->output().value()->value())->totalFilesScanned;
        benchmark::DoNotOptimize(nodes);
    }
    state.counters["nodes"] = static_cast<double>(nodes);
    state.SetItemsProcessed(state.iterations() * nodes);
}

void BM_WalkTreeMode(benchmark::State& state) { walk(state, true); }
void BM_WalkCollectorMode(benchmark::State& state) { walk(state, false); }

} // namespace

BENCHMARK(BM_WalkTreeMode)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_WalkCollectorMode)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();

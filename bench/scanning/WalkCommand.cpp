// Walks one folder and prints what the walk found: "<bytes> <nodes> <seconds>".
// --collector walks in collector mode with one collector that keeps every node.
#include "Scanning/Collectors/FileCollector.h"
#include "Scanning/Procedures/ProcedureQueue.h"
#include "Scanning/Walker/DiskWalkProcedure.h"

#include <cstdio>
#include <cstring>
#include <memory>

using namespace tarnel;

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <folder> [--collector]\n", argv[0]);
        return 2;
    }
    bool collectorMode = argc > 2 && std::strcmp(argv[2], "--collector") == 0;
    std::shared_ptr<DiskWalkProcedure> walk;
    auto collector = std::make_shared<FileCollector>();
    if (collectorMode)
        walk = std::make_shared<FileScanProcedure>(argv[1], std::vector<std::shared_ptr<FileCollector>>{collector},
                                                   true, std::nullopt);
    else
        walk = std::make_shared<DiskMapProcedure>(argv[1], true, std::nullopt);
    ProcedureQueue queue;
    queue.addOperation(walk);
    walk->waitUntilFinished();
    auto output = walk->output();
    if (!output.value() || !output.value()->isSuccess()) {
        std::fprintf(stderr, "the walk yielded no result\n");
        return 1;
    }
    const auto& result = **output.value()->value();
    std::int64_t bytes = result.root->size();
    if (collectorMode)
        for (const auto& node : collector->files())
            bytes += node->size();
    std::printf("%lld %lld %.6f\n", static_cast<long long>(bytes), static_cast<long long>(result.totalFilesScanned),
                result.elapsed);
    return 0;
}

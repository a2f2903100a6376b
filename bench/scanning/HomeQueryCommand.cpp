// Answers the home-folder queries of a Clean scan (installer packages, disk images, files over
// 100 MB) from one walk of a folder, and prints "<packages> <images> <large> <distinct paths>".
#include "Scanning/Collectors/MetadataQuery.h"
#include "Scanning/Procedures/ProcedureQueue.h"

#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

using namespace tarnel;

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <home>\n", argv[0]);
        return 2;
    }
    auto index = std::make_shared<HomeQueryWalk>(argv[1]);
    // The scan's name queries ignore case.
    auto anyOf = [](std::vector<std::string> patterns) {
        return MetadataQuery{[patterns](const FileNode& node) {
            for (const auto& pattern : patterns)
                if (fileNameMatches(pattern, node.name()))
                    return true;
            return false;
        }};
    };
    std::vector<std::shared_ptr<MetadataQueryProcedure>> queries{
        std::make_shared<MetadataQueryProcedure>(
            anyOf({"*.deb", "*.rpm", "*.pkg.tar.zst", "*.flatpakref", "*.snap"}), index),
        std::make_shared<MetadataQueryProcedure>(anyOf({"*.iso", "*.img", "*.dmg"}), index),
        std::make_shared<MetadataQueryProcedure>(MetadataQuery::sizeGreaterThan(100'000'000), index),
    };
    ProcedureQueue queue;
    for (const auto& query : queries)
        queue.addOperation(query);
    std::set<std::string> distinct;
    for (const auto& query : queries) {
        query->waitUntilFinished();
        auto output = query->output();
        if (!output.value() || !output.value()->isSuccess()) {
            std::fprintf(stderr, "a query yielded no answer\n");
            return 1;
        }
        std::printf("%zu ", (*output.value()->value()).size());
        for (const auto& node : *output.value()->value())
            distinct.insert(node->path());
    }
    std::printf("%zu\n", distinct.size());
    return index->walksRun() == 1 ? 0 : 1;
}

// Runs one whole Clean scan of a home folder (and the system logs of a root) and prints the
// number of items and bytes of each group, for compare-clean-scan.sh.
#include "Scanning/Clean/CleanScanner.h"
#include "FinishLatch.h"

#include <cstdio>
#include <memory>

using namespace tarnel;

namespace {

class Waiter : public CleanScannerListener, public bench::FinishLatch {
public:
    void cleanScannerDidStart() override {}
    void cleanScannerDidUpdate(const std::string&, double) override {}
    void cleanScannerDidFinish() override { open(); }
};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <home> [system root]\n", argv[0]);
        return 2;
    }
    auto locations = CleanLocations::from(SupportLocations::underHome(argv[1], argc > 2 ? argv[2] : "/"));
    CleanScanner scanner(locations);
    auto waiter = std::make_shared<Waiter>();
    scanner.addListener(waiter);
    scanner.start();
    waiter->wait();
    std::size_t items = 0;
    for (auto group : allCleanScanGroups) {
        auto set = scanner.group(group);
        items += set.size();
        std::printf("%s %zu %llu\n", std::string(rawValue(group)).c_str(), set.size(),
                    static_cast<unsigned long long>(set.totalSize()));
    }
    std::printf("total %zu\n", items);
    return 0;
}

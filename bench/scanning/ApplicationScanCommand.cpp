// Runs one whole application scan of this machine and prints each application found: kind,
// identifier, version text, size, and the number of support files.
#include "Scanning/Applications/ApplicationScanner.h"
#include "FinishLatch.h"

#include <cstdio>
#include <memory>

using namespace tarnel;

namespace {

class Waiter : public ApplicationScannerListener, public bench::FinishLatch {
public:
    void applicationScannerDidStart() override {}
    void applicationScannerDidUpdate(const std::string&, double) override {}
    void applicationScannerDidFinish() override { open(); }
};

} // namespace

int main()
{
    ApplicationScanner scanner;
    auto waiter = std::make_shared<Waiter>();
    scanner.addListener(waiter);
    scanner.start();
    waiter->wait();
    for (const auto& application : scanner.applications()) {
        std::size_t supportFiles = 0;
        for (const auto& group : application->resources)
            supportFiles += group.files.size();
        std::printf("%s\t%s\t%s\t%s\t%lld bytes\t%zu support files\n", std::string(rawValue(application->kind)).c_str(),
                    application->bundleInfo.identifier.c_str(), application->bundleInfo.name.c_str(),
                    application->bundleInfo.version.shortVersionString.value_or("-").c_str(),
                    static_cast<long long>(application->size()), supportFiles);
        for (const auto& group : application->allGroups())
            for (const auto& resource : group.files)
                std::printf("\t%s\t%s\t%lld\n", std::string(ApplicationResourceGroup::rawValue(group.category)).c_str(),
                            resource.url.c_str(), static_cast<long long>(resource.size));
    }
    std::printf("applications %zu\n", scanner.applications().size());
    return 0;
}

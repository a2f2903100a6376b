#include "Scanning/SupportFiles/SimpleMatchSupportingFilesProcedure.h"

#include "Scanning/SupportFiles/SupportFileMatcher.h"

#include <algorithm>
#include <initializer_list>

namespace tarnel {

namespace {

using Field = FileCollector::Files ApplicationSupportFiles::*;
using Category = ApplicationResourceGroup::Category;

struct Step {
    std::initializer_list<Field> sources;
    Category category;
};

bool isApplicationFile(std::string_view name)
{
    return name.ends_with(".AppImage") || name.ends_with(".app") || name.ends_with(".AppDir");
}

} // namespace

SimpleMatchSupportingFilesProcedure::SimpleMatchSupportingFilesProcedure(
    std::vector<ApplicationIdentity> bundles, std::shared_ptr<const ApplicationSupportFiles> supportFiles)
    : bundles_(std::move(bundles)), supportFiles_(std::move(supportFiles))
{
    setQualityOfService(QualityOfService::userInitiated);
}

std::vector<ApplicationResourceGroup>
SimpleMatchSupportingFilesProcedure::matchAll(const std::vector<ApplicationIdentity>& bundles,
                                              const ApplicationSupportFiles& files)
{
    using F = ApplicationSupportFiles;
    static const Step steps[] = {
        {{&F::libraryPreferences, &F::userLibraryPreferences}, Category::preferences},
        {{&F::userLibrarySavedApplicationState, &F::libraryApplicationSupport, &F::userLibraryApplicationSupport,
          &F::userLibraryCookies},
         Category::supportFiles},
        {{&F::libraryLogs, &F::libraryApplicationSupportCrashReporter, &F::userLibraryApplicationSupportCrashReporter},
         Category::logs},
        {{&F::userLibraryCaches}, Category::caches},
        {{&F::userLibraryContainers}, Category::containers},
        {{&F::userLibraryGroupContainers}, Category::groupContainers},
        {{&F::userLibraryApplicationScripts}, Category::scripts},
        {{&F::librarySecuritySecurityAgentsPlugins, &F::libraryInternetPlugins}, Category::plugins},
        {{&F::libraryPrivilegedHelperTools}, Category::helperTools},
        {{&F::libraryLaunchagents}, Category::loginItems},
        {{&F::applications, &F::applicationsUtilities}, Category::other},
    };
    // The lowered names and ids are made once for all steps.
    const SupportFileMatcher matcher(bundles);
    std::vector<ApplicationResourceGroup> groups;
    for (const auto& step : steps) {
        FileCollector::Files entries;
        for (auto field : step.sources)
            entries.insert(entries.end(), (files.*field).begin(), (files.*field).end());
        if (step.category == Category::other)
            // Next to applications lie their folders and loose files; the applications
            // themselves are binaries, not leftovers.
            std::erase_if(entries, [&bundles](const std::shared_ptr<FileNode>& entry) {
                if (isApplicationFile(entry->name()))
                    return true;
                auto path = entry->path();
                return std::any_of(bundles.begin(), bundles.end(), [&path](const ApplicationIdentity& bundle) {
                    return !bundle.applicationRoot.empty() && normalizedDirectoryPath(bundle.applicationRoot) == path;
                });
            });
        groups.push_back(ApplicationResourceGroup{step.category, matcher.match(entries)});
    }
    return groups;
}

void SimpleMatchSupportingFilesProcedure::execute()
{
    setOutputValue(matchAll(bundles_, *supportFiles_));
    finish();
}

} // namespace tarnel

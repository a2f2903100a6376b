#pragma once
// A system root in a temporary folder with a user's home inside it, for the scans that take both.
#include "ScanTestSupport.h"
#include "Scanning/SupportFiles/ApplicationResourceGroup.h"
#include "TestSupport.h"

#include <filesystem>
#include <set>
#include <string>

namespace tarnel::testing {

class MachineTree {
public:
    // A path as the tests write it: "~/..." in the home, "/..." under the root.
    std::string display(const std::string& path) const
    {
        if (path.starts_with(home.string()))
            return "~" + path.substr(home.string().size());
        return path.substr(root.string().size());
    }

    // The same for a file URL, which may end in a slash.
    std::string shown(const std::string& url) const
    {
        auto path = url.starts_with("file://") ? url.substr(7) : url;
        if (path.ends_with('/'))
            path.pop_back();
        return display(path);
    }

    // Adds a row for each file of `groups`, found for `application`.
    template <class Groups>
    void addRows(std::set<SupportFileRow>& rows, const std::string& application, const Groups& groups) const
    {
        for (const auto& group : groups)
            for (const auto& resource : group.files)
                rows.insert(SupportFileRow{application, std::string(ApplicationResourceGroup::rawValue(group.category)),
                                           shown(resource.url)});
    }

    TemporaryDirectory temporary;
    std::filesystem::path root = temporary.path() / "root";
    std::filesystem::path home = root / "home/user";

protected:
    static void dir(const std::filesystem::path& path) { std::filesystem::create_directories(path); }
    static void file(const std::filesystem::path& path) { writeFile(path, "trace"); }

    // What Quill, a distribution package whose folders bear its program's name, leaves about.
    void quillTraces() const
    {
        file(home / ".config/quill/quill");
        file(home / ".config/suite/quill");
        dir(root / "etc/quill");
        file(root / "etc/default/quill");
        dir(root / "var/lib/quill");
        file(root / "var/log/quill/quill");
        dir(home / ".cache/quill");
        file(home / ".cache/crash/quill");
        dir(home / "snap/quill/common");
        file(root / "usr/local/libexec/quill");
    }
};

} // namespace tarnel::testing

#pragma once

#include "QuendalFoundation/Runtime/Clock.h"
#include "Scanning/Collectors/FileCollectors.h"
#include "Scanning/Procedures/GroupProcedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"
#include "Scanning/Walker/DiskScanResult.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// One walk of `url` in collector mode, one collector per option; the output maps each
// collector's name to what it kept.
class SimpleFileScanProcedure : public GroupProcedure,
                                public ProcedureOutput<std::map<std::string, FileCollector::Files>> {
public:
    SimpleFileScanProcedure(std::string url, std::vector<FileCollectorOptions> options, int depth);
};

// Walks of several folders, strictly one after the other, sharing one list of collectors: each
// collector keeps the nodes of every folder, in folder order. The output has no root; it
// counts the nodes of all walks.
class GroupFileScanProcedure : public GroupProcedure, public ProcedureOutput<DiskScanResult> {
public:
    GroupFileScanProcedure(std::vector<std::string> urls, std::vector<std::shared_ptr<FileCollector>> collectors,
                           bool searchBundles, std::optional<int> depthLimit);

    std::vector<DiskScanResult> scanResults() const;

private:
    mutable std::mutex mutex_;
    std::vector<DiskScanResult> scanResults_;
    std::optional<quendal::Clock::TimePoint> startDate_;
};

// The logical size of everything below `url`, application roots included; 0 for a folder that
// can't be opened.
class SizeProcedure : public GroupProcedure, public ProcedureOutput<std::int64_t> {
public:
    explicit SizeProcedure(std::string url);
};

} // namespace tarnel

#pragma once

#include "Scanning/Procedures/Procedure.h"
#include "Scanning/Procedures/ProcedureOutput.h"
#include "Scanning/Walker/DiskScanResult.h"
#include "Scanning/Walker/DiskScanner.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

// A unit that runs one walk of `url` on its own thread and yields the DiskScanResult. Cancelled
// while it runs, it stops the walk and still yields what was found.
class DiskWalkProcedure : public Procedure, public ProcedureOutput<std::shared_ptr<DiskScanResult>> {
public:
    const std::string& url() const { return url_; }
    bool searchBundles() const { return searchBundles_; }
    const std::optional<int>& depthLimit() const { return depthLimit_; }
    // The running walk's scanner; null before and after.
    std::shared_ptr<DiskScanner> scanner() const;

protected:
    DiskWalkProcedure(std::string url, bool searchBundles, std::optional<int> depthLimit, bool buildTree,
                      std::vector<std::shared_ptr<FileCollector>> collectors);

    void execute() override;
    void procedureDidCancel(Error error) override;
    virtual void logDidCancel() = 0;

private:
    std::string url_;
    bool searchBundles_;
    std::optional<int> depthLimit_;
    bool buildTree_;
    std::vector<std::shared_ptr<FileCollector>> collectors_;
    mutable std::mutex scannerMutex_;
    std::shared_ptr<DiskScanner> scanner_;
};

// A walk in collector mode: no tree, every node shown to the collectors.
class FileScanProcedure : public DiskWalkProcedure {
public:
    FileScanProcedure(std::string url, std::vector<std::shared_ptr<FileCollector>> collectors, bool searchBundles,
                      std::optional<int> depthLimit);
    const std::vector<std::shared_ptr<FileCollector>>& collectors() const { return collectors_; }

protected:
    void logDidCancel() override;

private:
    std::vector<std::shared_ptr<FileCollector>> collectors_;
};

// A walk in tree mode, for the map of a disk.
class DiskMapProcedure : public DiskWalkProcedure {
public:
    DiskMapProcedure(std::string url, bool searchBundles, std::optional<int> depthLimit);

protected:
    void logDidCancel() override;
};

} // namespace tarnel

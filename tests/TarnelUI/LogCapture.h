#pragma once

#include "QuendalFoundation/Logging/AppLogger.h"
#include "QuendalFoundation/Logging/LogStore.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tarnel::testing {

// Keeps every line logged while it is installed, for tests that check log texts.
class LogCapture {
public:
    LogCapture() : store_(std::make_shared<Store>()) { quendal::AppLogger::setStore(store_); }
    ~LogCapture() { quendal::AppLogger::setStore(nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<quendal::LogRecord> records() const
    {
        std::lock_guard lock(store_->mutex);
        return store_->records;
    }
    // The lines at `level` that contain `text`.
    std::size_t count(quendal::LogLevel level, const std::string& text) const
    {
        auto all = records();
        return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](const quendal::LogRecord& record) {
            return record.level == level && record.text.find(text) != std::string::npos;
        }));
    }

private:
    struct Store final : quendal::LogStore {
        void write(const quendal::LogRecord& record) override
        {
            std::lock_guard lock(mutex);
            records.push_back(record);
        }
        std::vector<std::string> read(const quendal::LogPredicate&, double, std::optional<std::size_t>) override
        {
            return {};
        }
        mutable std::mutex mutex;
        std::vector<quendal::LogRecord> records;
    };
    std::shared_ptr<Store> store_;
};

} // namespace tarnel::testing

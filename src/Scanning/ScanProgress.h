#pragma once

#include "Scanning/Procedures/EventExecutor.h"

#include <asio/post.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

// What the Clean scan tells the screens: it started, it ended, and where it is.
class CleanScannerListener {
public:
    virtual ~CleanScannerListener() = default;
    virtual void cleanScannerDidStart() = 0;
    virtual void cleanScannerDidFinish() = 0;
    virtual void cleanScannerDidUpdate(const std::string& status, double progress) = 0;
};

// The same three calls, from the application scan.
class ApplicationScannerListener {
public:
    virtual ~ApplicationScannerListener() = default;
    virtual void applicationScannerDidStart() = 0;
    virtual void applicationScannerDidFinish() = 0;
    virtual void applicationScannerDidUpdate(const std::string& status, double progress) = 0;
};

// Listeners held weakly; every call is posted to the main actor, and a listener that died
// before its turn is skipped.
template <class Listener>
class ScanListeners {
public:
    void add(const std::shared_ptr<Listener>& listener)
    {
        std::lock_guard lock(mutex_);
        listeners_.push_back(listener);
    }
    void remove(const std::shared_ptr<Listener>& listener)
    {
        std::lock_guard lock(mutex_);
        std::erase_if(listeners_, [&](const auto& weak) {
            auto strong = weak.lock();
            return !strong || strong == listener;
        });
    }
    void post(std::function<void(Listener&)> call)
    {
        std::vector<std::weak_ptr<Listener>> listeners;
        {
            std::lock_guard lock(mutex_);
            listeners = listeners_;
        }
        asio::post(engineEventExecutor(), [listeners = std::move(listeners), call = std::move(call)] {
            for (const auto& weak : listeners)
                if (auto listener = weak.lock())
                    call(*listener);
        });
    }

private:
    std::mutex mutex_;
    std::vector<std::weak_ptr<Listener>> listeners_;
};

// "Digging through User Logs...": one of seventeen words, a blank, a title and "...".
class ScanStatusText {
public:
    struct Word {
        std::string_view key;
        std::string_view text;
    };
    static constexpr std::array<Word, 17> words{{
        {"clean_digging_through", "Digging through"},
        {"clean_browsing_through", "Browsing through"},
        {"clean_flipping_through", "Flipping through"},
        {"clean_inspecting", "Inspecting"},
        {"clean_subdividing", "Subdividing"},
        {"clean_partitioning", "Partitioning"},
        {"clean_assessing", "Assessing"},
        {"clean_studying", "Studying"},
        {"clean_exploring", "Exploring"},
        {"clean_probing", "Probing"},
        {"clean_scanning", "Scanning"},
        {"clean_skimming_through", "Skimming through"},
        {"clean_looking_in", "Looking in"},
        {"clean_investigating", "Investigating"},
        {"clean_traversing", "Traversing"},
        {"clean_mapping", "Mapping"},
        {"clean_collecting", "Collecting"},
    }};
    // Given the number of words, returns an index below it.
    using Picker = std::function<std::size_t(std::size_t)>;

    // Each word with equal chance.
    static Picker uniformPicker()
    {
        auto engine = std::make_shared<std::mt19937>(std::random_device{}());
        auto mutex = std::make_shared<std::mutex>();
        return [engine, mutex](std::size_t count) {
            std::lock_guard lock(*mutex);
            return std::uniform_int_distribution<std::size_t>(0, count - 1)(*engine);
        };
    }

    explicit ScanStatusText(Picker picker = uniformPicker()) : picker_(std::move(picker)) {}

    std::string about(std::string_view title) const
    {
        auto index = std::min(picker_(words.size()), words.size() - 1);
        return std::string(words[index].text) + " " + std::string(title) + "...";
    }

private:
    Picker picker_;
};

} // namespace tarnel

#include "LogCapture.h"

#include "TarnelUI/Panel/MonitorSettings.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

using namespace tarnel;
using namespace tarnel::ui;

namespace {

// Every object key of a document, as JSON pointers; of keys in the same place of elements of the
// same widget kind, the first only: the panels repeat each other's shapes.
void collectKeys(const Json& value, const Json::json_pointer& at, const std::string& shape,
                 std::set<std::string>& shapes, std::vector<Json::json_pointer>& keys)
{
    if (value.is_object()) {
        for (const auto& [key, child] : value.items()) {
            auto childShape = shape + "/" + key;
            if (shapes.insert(childShape).second)
                keys.push_back(at / key);
            collectKeys(child, at / key, childShape, shapes, keys);
        }
    } else if (value.is_array()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            auto kind = value[i].is_object() && value[i].contains("widget") ? value[i]["kind"].dump() : "*";
            collectKeys(value[i], at / i, shape + "/" + kind, shapes, keys);
        }
    }
}

// The document must decode to settings that write a document which decodes again to the same.
void expectUsable(const Json& document, const std::string& change)
{
    std::shared_ptr<MonitorSettings> settings;
    try {
        settings = MonitorSettings::decode(document);
    } catch (const ModelDecodingError&) {
        // Only the version may fail the whole document.
        EXPECT_TRUE(change.starts_with("/version")) << change;
        return;
    } catch (const std::exception& failure) {
        ADD_FAILURE() << change << ": " << failure.what();
        return;
    }
    auto written = settings->encode();
    EXPECT_EQ(MonitorSettings::decode(written)->encode(), written) << change;
    EXPECT_NE(settings->panelStore()->combinedPanel(), nullptr) << change;
}

} // namespace

TEST(CorruptDocuments, NoMissingKeyOrWrongValueBreaksTheSettings)
{
    tarnel::testing::LogCapture log; // the failures are logged; keep them out of the real log
    {
        // The document with a battery holds every widget kind.
        auto document = MonitorSettings(MonitorDeviceCapabilities{true}).encode();
        std::vector<Json::json_pointer> keys;
        std::set<std::string> shapes;
        collectKeys(document, Json::json_pointer{}, "", shapes, keys);
        ASSERT_GT(keys.size(), 100u);
        const std::vector<std::pair<std::string, Json>> replacements{
            {"null", nullptr}, {"a number", 7}, {"a string", "x"}, {"an object", Json::object({{"k", 1}})}};
        for (const auto& key : keys) {
            auto removed = document;
            removed[key.parent_pointer()].erase(key.back());
            expectUsable(removed, key.to_string() + " removed");
            for (const auto& [what, value] : replacements) {
                auto replaced = document;
                replaced[key] = value;
                expectUsable(replaced, key.to_string() + " as " + what);
            }
        }
    }
}

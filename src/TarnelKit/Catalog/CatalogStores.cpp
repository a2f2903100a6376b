#include "TarnelKit/Catalog/CatalogStores.h"

#include "TarnelKit/Stats/StatsClient.h"

namespace tarnel {

// The client is looked up at each load, so a client replaced after start-up is the one asked.
template <>
HardwareCatalogStore::Loader HardwareCatalogStore::daemonLoader()
{
    return []() -> asio::awaitable<HardwareCatalogSnapshot> {
        auto client = StatsClient::required();
        auto request = client->hardwareCatalog();
        auto snapshot = co_await std::move(request);
        co_return snapshot;
    };
}

template <>
SystemInventoryStore::Loader SystemInventoryStore::daemonLoader()
{
    return []() -> asio::awaitable<SystemInventorySnapshot> {
        auto client = StatsClient::required();
        auto request = client->systemInventory();
        auto snapshot = co_await std::move(request);
        co_return snapshot;
    };
}

template <>
DisplayCatalogStore::Loader DisplayCatalogStore::daemonLoader()
{
    return []() -> asio::awaitable<DisplayCatalogSnapshot> {
        auto client = StatsClient::required();
        auto request = client->displayCatalog();
        auto snapshot = co_await std::move(request);
        co_return snapshot;
    };
}

} // namespace tarnel

#pragma once

#include "TarnelFoundation/Catalog/SystemInventory.h"

#include "Platform/Statistics/SystemRoot.h"

#include <optional>
#include <string>

namespace tarnel::daemon {

// The machine, processor, memory, operating system, Bluetooth and USB, from DMI, /proc,
// /sys and /etc below a root. What the machine does not tell stays absent.
class SystemInventoryCollector {
public:
    struct Host {
        std::string machine;     // uname's machine: "x86_64"
        std::string release;     // uname's release: the kernel
        std::string hostName;
    };

    explicit SystemInventoryCollector(platform::SystemRoot root = {}, std::optional<Host> host = std::nullopt);

    SystemInventorySnapshot collect() const;

private:
    SystemMachineInventory machine() const;
    SystemCPUInventory cpu() const;
    SystemMemoryInventory memory() const;
    SystemOSInventory operatingSystem() const;
    SystemBluetoothInventory bluetooth() const;
    SystemUSBInventory usb() const;
    std::optional<std::string> attribute(std::string_view path) const;

    platform::SystemRoot root_;
    Host host_;
};

} // namespace tarnel::daemon

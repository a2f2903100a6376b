#pragma once

#include "Platform/Statistics/SystemRoot.h"
#include "TestSupport.h"

namespace tarnel::testing {

// A recorded machine under tests/fixtures: "build-vm" (this project's build machine),
// "laptop" (battery, NVMe, Wi-Fi, RAPL), "desktop" (no battery, SATA SSD under LVM, HDD, Ethernet,
// Radeon card) and "workstation" (two SATA disks in a RAID 1, an NVIDIA card).
inline platform::SystemRoot fixtureMachine(const char* name)
{
    return platform::SystemRoot(sourceDirectory() / "tests" / "fixtures" / name);
}

} // namespace tarnel::testing

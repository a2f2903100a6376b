#pragma once

#include "Platform/Statistics/SystemRoot.h"
#include "TestSupport.h"

namespace tarnel::testing {

// A recorded machine under tests/fixtures: "build-vm" (this project's build machine),
// "laptop" (battery, NVMe, Wi-Fi, RAPL) and "desktop" (no battery, SATA SSD under LVM, HDD, Ethernet).
inline platform::SystemRoot fixtureMachine(const char* name)
{
    return platform::SystemRoot(sourceDirectory() / "tests" / "fixtures" / name);
}

} // namespace tarnel::testing

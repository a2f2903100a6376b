#pragma once

#include "TarnelFoundation/Catalog/DisplayCatalog.h"

#include "Platform/Statistics/SystemRoot.h"

namespace tarnel::daemon {

// The connected displays of every DRM card, described by their connector and their EDID.
//
// Conventions of the items:
// - identifier is the connector's name ("card0-eDP-1");
// - displayID is the kernel's KMS connector id where sysfs tells it, else a 32-bit FNV-1a hash
//   of the connector name, so it stays the same for the same port across boots;
// - vendorID is the three-letter PNP id and productID the product code as four upper-case hex
//   digits ("A0C4"), both empty without a readable EDID;
// - unitNumber is the display's position in the catalogue.
class DisplayCatalogCollector {
public:
    explicit DisplayCatalogCollector(platform::SystemRoot root);

    // Empty but valid on a machine without DRM.
    DisplayCatalogSnapshot collect() const;

private:
    platform::SystemRoot root_;
};

} // namespace tarnel::daemon

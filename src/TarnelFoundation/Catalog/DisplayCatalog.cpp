#include "TarnelFoundation/Catalog/DisplayCatalog.h"
#include "TarnelFoundation/Codec/Record.h"

namespace tarnel {

TARNEL_RECORD(DisplayModeSnapshot, id, width, height, isUsableForDesktopGUI, isStretched, isSafeForHardware, isTVOutput,
              isBuiltIn, isNative, isDefault, ppi, depthFormat, samplesPerPixel, refreshRate, pixelEncoding)
TARNEL_RECORD(DisplayCatalogItem, identifier, displayID, name, vendorID, productID, serialNumber, edid, manufactureDate,
              backlight, isBacklit, isInternal, isAsleep, isActive, isMain, rotation, widthMillimeters, heightMillimeters,
              unitNumber, previewIconPath, currentMode, modes)
TARNEL_RECORD(DisplayCatalogSnapshot, displays, generatedAt)

} // namespace tarnel

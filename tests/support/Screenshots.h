#pragma once
// Screenshots of widgets, offscreen: into $TARNEL_SCREENSHOT_DIR (docs/screenshots when taken for
// review) or the test's build folder.
#include "TestSupport.h"

#include <QString>
#include <QWidget>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tarnel::testing {

inline std::filesystem::path screenshotDirectory()
{
    if (const char* chosen = std::getenv("TARNEL_SCREENSHOT_DIR"))
        return chosen;
    return binaryDirectory() / "screenshots";
}

inline void save(QWidget& widget, const std::string& name)
{
    std::filesystem::create_directories(screenshotDirectory());
    const auto file = screenshotDirectory() / (name + ".png");
    ASSERT_TRUE(widget.grab().save(QString::fromStdString(file.string())));
}

} // namespace tarnel::testing

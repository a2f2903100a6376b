// Takes the Monitor app's review screenshots under a real X server (Xvfb) with a tray host
// running: the status items in the tray, one panel popup, and the windows shown without a tray,
// in light and dark colours. Run by screenshots.sh; not a test.
#include "MonitorApp.h"
#include "PanelWindow.h"

#include "TarnelUI/Export/MonitorConfigurationStore.h"
#include "TarnelUI/Panel/MonitorSettings.h"

#include <QApplication>
#include <QPainter>
#include <QScreen>
#include <QStyleFactory>
#include <QTimer>

#include <cstdio>
#include <filesystem>

using namespace tarnel;

namespace {

QPalette darkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x25, 0x27, 0x2b));
    palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Base, QColor(0x1d, 0x1f, 0x22));
    palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Button, QColor(0x30, 0x33, 0x38));
    palette.setColor(QPalette::ButtonText, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9d, 0xa3));
    palette.setColor(QPalette::Mid, QColor(0x45, 0x48, 0x4e));
    palette.setColor(QPalette::Dark, QColor(0x15, 0x16, 0x18));
    palette.setColor(QPalette::Light, QColor(0x50, 0x53, 0x5a));
    return palette;
}

void wait(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

bool save(const QPixmap& image, const std::filesystem::path& file)
{
    const bool saved = image.save(QString::fromStdString(file.string()));
    std::printf("%s %s\n", saved ? "wrote" : "FAILED", file.c_str());
    return saved;
}

// The windows side by side on the window colour, as a desktop without a tray shows them.
QPixmap sideBySide(const std::vector<monitor::PanelWindow*>& windows, const QColor& background)
{
    int width = 16;
    int height = 0;
    std::vector<QPixmap> images;
    for (auto* window : windows) {
        window->adjustSize();
        images.push_back(window->grab());
        width += images.back().width() + 16;
        height = std::max(height, images.back().height());
    }
    QPixmap sheet(width, height + 32);
    sheet.fill(background);
    QPainter painter(&sheet);
    int x = 16;
    for (const auto& image : images) {
        painter.drawPixmap(x, 16, image);
        x += image.width() + 16;
    }
    return sheet;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s <configuration folder> <output folder>\n", argv[0]);
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    const std::filesystem::path directory = argv[1];
    const std::filesystem::path output = argv[2];
    std::filesystem::create_directories(output);
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        std::fprintf(stderr, "no tray host on this display\n");
        return 1;
    }

    // A laptop's default panels, each with its own status item.
    ui::MonitorSettings settings(ui::MonitorDeviceCapabilities{.hasBattery = true});
    settings.panelStore()->setEnabled(settings.panelStore()->combinedPanel()->id(), false);
    ui::MonitorConfigurationStore::saveSettings(settings, directory / ui::MonitorConfigurationStore::settingsFileName);

    bool ok = true;
    const auto lightPalette = QApplication::palette();
    for (bool dark : {false, true}) {
        QApplication::setPalette(dark ? darkPalette() : lightPalette);
        const std::string scheme = dark ? "dark" : "light";
        {
            monitor::MonitorApp tray({directory, true, true});
            tray.reload();
            wait(1500);
            auto* screen = QGuiApplication::primaryScreen();
            if (!dark) {
                // The tray host sits along the top edge.
                const int width = 360;
                ok = save(screen->grabWindow(0, screen->geometry().width() - width, 0, width, 40), output / "monitor-tray.png") && ok;
            }
            tray.activate(0);
            wait(800);
            auto* popup = tray.windows().front();
            const auto area = popup->frameGeometry().adjusted(-24, -56, 24, 24).intersected(screen->geometry());
            ok = save(screen->grabWindow(0, area.x(), 0, area.width(), area.bottom() + 1),
                      output / ("monitor-popup-" + scheme + ".png")) && ok;
        }
        {
            monitor::MonitorApp windows({directory, true, false});
            windows.reload();
            wait(300);
            ok = save(sideBySide(windows.windows(), QApplication::palette().color(QPalette::Dark)),
                      output / ("monitor-windows-" + scheme + ".png")) && ok;
        }
    }
    return ok ? 0 : 1;
}

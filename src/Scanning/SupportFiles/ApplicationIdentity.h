#pragma once

#include <string>
#include <vector>

namespace tarnel {

// What an application is known by on Linux, as far as its leftovers are concerned. Any field
// may be empty. The application scanner fills it from the desktop entry, the sandbox metadata
// and the package database.
struct ApplicationIdentity {
    std::string displayName;    // Name of the desktop entry, "Zeta Editor"
    std::string desktopFileId;  // "org.example.Zeta.desktop" or "zeta.desktop"
    // The program of the Exec line, a path or a bare name; for a sandboxed application the
    // command it runs inside, never the launcher ("flatpak" would claim every Flatpak file).
    std::string execProgram;
    std::string startupWMClass; // StartupWMClass of the desktop entry
    std::string sandboxId;      // Flatpak application id or Snap name
    std::string owningPackage;  // the distribution package that installed it
    // Where the application itself lives: a Flatpak deployment, an /opt folder, an AppImage.
    // Never offered as a leftover of itself.
    std::string applicationRoot;

    // Compared whole with a file name: display name, program file name, window class, package,
    // and any id that isn't reverse-domain (a Snap name, "zeta.desktop").
    std::vector<std::string> names() const;
    // Found anywhere inside a file name: reverse-domain ids, which are long and specific
    // enough ("org.example.Zeta" claims "org.example.Zeta.conf").
    std::vector<std::string> identifiers() const;
};

// "org.example.Zeta": three or more non-empty parts separated by dots.
bool isReverseDomainName(const std::string& id);

} // namespace tarnel

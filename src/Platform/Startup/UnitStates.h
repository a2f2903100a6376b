#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarnel::platform {

// Which service manager a unit belongs to.
enum class UnitScope {
    system,     // /etc/systemd/system
    globalUser, // /etc/systemd/user, the user units of every user
    user,       // $XDG_CONFIG_HOME/systemd/user
};

// A unit's enablement, as `systemctl is-enabled` prints it.
struct UnitState {
    std::string word; // "enabled", "disabled", "masked", "static", ...; empty when unknown
    std::string error; // what systemctl said when it gave no state

    bool known() const { return !word.empty(); }
    // Whether the unit is switched on; nullopt where the word says nothing about it.
    std::optional<bool> enabled() const;
    friend bool operator==(const UnitState&, const UnitState&) = default;
};

// Where unit states come from; tests put their own in.
class UnitStateSource {
public:
    virtual ~UnitStateSource() = default;
    virtual UnitState state(UnitScope scope, const std::string& unit) const = 0;
};

// Runs a program to completion without a shell: exit status (-1 when it could not start) and
// standard output and standard error together (the first MiB of it). PATH is searched for a bare name.
struct ProgramResult {
    int exitStatus = -1;
    std::string output;
};
ProgramResult runProgram(const std::vector<std::string>& command);

// `systemctl [--root=DIR] is-enabled UNIT`, one process per unit: several units in one call stop
// at the first that systemctl cannot read.
class SystemctlUnitStates final : public UnitStateSource {
public:
    explicit SystemctlUnitStates(std::optional<std::filesystem::path> root = std::nullopt,
                                 std::filesystem::path systemctl = "/usr/bin/systemctl");
    UnitState state(UnitScope scope, const std::string& unit) const override;

    // The command line for a unit, for the log and the tests.
    std::vector<std::string> command(UnitScope scope, const std::string& unit) const;
    // The state from systemctl's output and exit status.
    static UnitState parse(const ProgramResult& result);

private:
    std::optional<std::filesystem::path> root_;
    std::filesystem::path systemctl_;
};

} // namespace tarnel::platform

#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Platform/Apple/PropertyValue.h"
#include "Platform/Mac/MacMachine.h"

namespace zqm {

/// The libraries of a Mac's system. Their C functions answer from a machine of the seam, know nothing else, and count
/// what they hand out and what is given back. One at a time, on one thread.
class MacDouble final : public DynamicLibraries {
public:
    explicit MacDouble(const MachineServices& machine);
    ~MacDouble() override;
    void* open(const char* path) override;
    void* find(void* library, const char* symbol) override;

    /// What was misused, and what was handed out and not given back, a line each.
    std::string complaints() const;
    /// The paths of all libraries and the names of their functions and variables.
    static std::vector<std::string> symbols();

    std::set<std::string, std::less<>> missing;                    // those of them that this system lacks
    std::function<bool(std::string_view symbol)> fails = nullptr;  // asked in each call that may fail
    bool isIntel = false;
};

/// A described machine as it looks through the libraries of a Mac's system and the backend that reads them. Expects at
/// its end that everything was used and given back as it must be.
class DoubledMac final : public Machine {
public:
    DoubledMac(Machine& described, Clock& clock, const std::function<void(MacDouble&)>& prepare = nullptr);
    ~DoubledMac() override;
    MachineServices services() override;

private:
    MachineServices described_;
    MacDouble libraries_{described_};
    std::unique_ptr<MacMachine> machine_;
};

}  // namespace zqm

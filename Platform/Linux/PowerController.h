#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Apple/Registry.h"
#include "Platform/Linux/Hardware/Batteries.h"
#include "Platform/Linux/Hardware/EnergyZones.h"

namespace zqm {

/// Answers for a system management controller: the power of the whole machine under the key "PSTR", from the
/// processor's counter for it, else from what the battery gives while it is discharged. Callable from any thread.
class PowerController {
public:
    PowerController(EnergyZones& energy, Batteries& batteries) : energy_(energy), batteries_(batteries) {}

    /// Whether the machine has a source for it.
    bool exists();
    std::unique_ptr<UserClient> open();
    /// Watts; nullopt for other keys, and when it is not known.
    std::optional<float> read(std::string_view key);

private:
    EnergyZones& energy_;
    Batteries& batteries_;
};

}  // namespace zqm

#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "Platform/Described/MachineFile.h"

namespace zqm {

/// Whether `description` has the shape that docs/machine-format.md gives, unknown keys included; the fault's place is
/// the JSON pointer of the first wrong value. What passes can be read without another check.
std::optional<MachineFault> findFormatFault(const nlohmann::ordered_json& description);

}  // namespace zqm

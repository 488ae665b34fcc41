#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <variant>

namespace zqm {

/// One line that says what is wrong and where.
struct MachineFault {
    std::string message;
};

/// The whole file as text; a fault when it cannot be read or is larger than 16 MiB.
std::variant<std::string, MachineFault> readMachineFile(const std::filesystem::path& file);

/// The JSON value of `text`, its shape still unchecked. Faults name line and column. Nesting is bounded at 64 levels
/// and an object at 1024 members, so that a hostile file costs neither the stack nor minutes.
std::variant<nlohmann::ordered_json, MachineFault> parseMachine(std::string_view text);

}  // namespace zqm

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zqm {

/// Texts about the system and this program, for the diagnostics report. Callable from any thread.
class SystemFacts {
public:
    virtual ~SystemFacts() = default;
    /// A text of the program's own description, "CFBundleShortVersionString" or "CFBundleVersion".
    virtual std::optional<std::string> bundleText(std::string_view key) = 0;
    /// The operating system's name and version as a person reads them.
    virtual std::string systemVersion() = 0;
    /// What the machine's maker calls it, and the chip's maker the processor; nullopt when they are not told.
    virtual std::optional<std::string> hardwareModel() = 0;
    virtual std::optional<std::string> processorName() = 0;
};

}  // namespace zqm

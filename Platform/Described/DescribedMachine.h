#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>

#include "Platform/Described/MachineFile.h"
#include "Platform/Machine.h"

namespace zqm {

class Clock;

/// A machine read from a data file (docs/machine-format.md), its counters moving with the clock that it is given. It
/// outlives everything that its services hand out, and the clock outlives it.
class DescribedMachine final : public Machine {
public:
    using Result = std::variant<std::unique_ptr<DescribedMachine>, MachineFault>;

    /// The machine that the file describes, its time beginning now. The fault's message begins with the file's name.
    static Result load(const std::filesystem::path& file, Clock& clock);
    /// The same from the text of a file.
    static Result parse(std::string_view text, Clock& clock);
    ~DescribedMachine() override;

    MachineServices services() override;
    /// Registry entries, connections to drivers, sensors, samples and dictionaries of channels that were handed out and
    /// not yet given back. Any thread.
    std::size_t liveHandles() const;

private:
    struct Parts;
    explicit DescribedMachine(std::unique_ptr<Parts> parts);

    std::unique_ptr<Parts> parts_;
};

}  // namespace zqm

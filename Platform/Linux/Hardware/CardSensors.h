#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Linux/Hardware/EnergyCounter.h"
#include "Platform/Linux/Kernel/KernelFile.h"
#include "Platform/Linux/Kernel/RootDirectory.h"
#include "Platform/Machine/SourceReport.h"
#include "Platform/Process/Clock.h"

namespace zqm {

/// A clock as MHz, `unitsPerMegahertz` of which make one; nullopt when there is none or it is no card's (100 GHz).
std::optional<double> toMegahertz(std::optional<std::uint64_t> clock, double unitsPerMegahertz = 1);
/// The clock that a file shows.
std::optional<double> readMegahertz(KernelFile& file, double unitsPerMegahertz);

/// The hwmon chips of one graphics card. To make one asks the card nothing, so that one which sleeps is not woken.
/// One thread at a time.
class CardSensors {
public:
    /// `device` is the card's directory below the root.
    CardSensors(const RootDirectory& root, const std::string& device);

    std::optional<double> megahertz() { return clock_ ? readMegahertz(*clock_, 1e6) : std::nullopt; }
    /// Of the best sensor that tells, °C above 0 and up to 150.
    std::optional<double> celsius();
    /// Of several figures the mean comes before the momentary one. Up to 3 kW.
    std::optional<double> watts();
    /// Used since the first call, mJ; nullopt where it is not counted now.
    std::optional<double> millijoules(MonotonicTime now);
    /// The card sleeps: its counters may stand elsewhere when it wakes.
    void restartEnergy();
    /// Whether it is a part of a processor, as far as its chips tell: amdgpu shows the voltage of the northbridge
    /// ("in1_label": vddnb) of those alone.
    bool hasNorthbridge() const { return hasNorthbridge_; }
    bool isAmdgpu() const { return isAmdgpu_; }

    /// The file that is read for a family; null where there is none.
    const KernelFile* file(MetricFamily family) const;

private:
    void addChip(const RootDirectory& root, const std::string& directory);

    bool isAmdgpu_ = false, hasNorthbridge_ = false;
    std::optional<KernelFile> clock_;
    struct Sensor {
        int rank;
        KernelFile file;
    };
    std::vector<Sensor> temperatures_;     // the best first
    std::vector<KernelFile> powers_;       // likewise
    std::vector<EnergyCounter> energies_;  // likewise; the first that counts is the card's
    std::uint64_t microjoules_ = 0;
};

}  // namespace zqm

#include "Platform/Linux/Hardware/DevfreqGraphics.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Platform/Linux/Hardware/CardSensors.h"
#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

constexpr double hertzPerMegahertz = 1e6;

/// Where drivers show a load, and what the whole is there.
struct LoadFile {
    const char* name;
    double whole;
};
constexpr std::array loadFiles{LoadFile{"/load", 100},                        // Rockchip's kernels: "37@300000000Hz"
                               LoadFile{"/device/gpu_busy_percentage", 100},  // Qualcomm's: "37 %"
                               LoadFile{"/device/load", 1000}};               // NVIDIA's for its Tegra chips

}  // namespace

bool DevfreqGraphics::isGraphics(std::string_view name) {
    constexpr std::array<std::string_view, 8> kinds{"gpu",   "mali",  "g3d",   "kgsl-3d0",
                                                    "gm20b", "gp10b", "gv11b", "ga10b"};
    const auto separator = name.find_last_of(".:,");
    if (separator != std::string_view::npos) name.remove_prefix(separator + 1);
    return std::find(kinds.begin(), kinds.end(), name) != kinds.end();
}

DevfreqGraphics::DevfreqGraphics(const RootDirectory& root, std::string name)
    : name_(std::move(name)), clock_(root.path("/sys/class/devfreq/" + name_ + "/cur_freq")) {
    const std::string directory = "/sys/class/devfreq/" + name_;
    for (const auto& [file, whole] : loadFiles) {
        if (load_ || !root.exists(directory + file)) continue;
        load_.emplace(root.path(directory + file));
        wholeLoad_ = whole;
    }
    const std::string steps = root.text(directory + "/available_frequencies").value_or("");
    std::string_view rest = steps;
    auto most = toMegahertz(root.number(directory + "/max_freq"), hertzPerMegahertz);
    for (auto word = takeWord(rest); !word.empty(); word = takeWord(rest)) {
        most = std::max(most, toMegahertz(parseUnsigned(word), hertzPerMegahertz));
    }
    mostMegahertz_ = most;
}

GraphicsReading DevfreqGraphics::read() {
    GraphicsReading reading;
    reading.name = name_;
    reading.isIntegrated = true;
    reading.megahertz = readMegahertz(clock_, hertzPerMegahertz);
    reading.mostMegahertz = mostMegahertz_;
    std::string_view rest = load_ ? load_->read().value_or("") : "";
    const std::string_view line = takeLine(rest).value_or("");
    const auto load = parseUnsigned(line.substr(0, line.find_first_not_of("0123456789")));
    if (load && static_cast<double>(*load) <= wholeLoad_) reading.busy = static_cast<double>(*load) / wholeLoad_;
    return reading;
}

const KernelFile* DevfreqGraphics::file(MetricFamily family) const {
    if (family == MetricFamily::gpuFrequency) return &clock_;
    return family == MetricFamily::gpuUtilization && load_ ? &*load_ : nullptr;
}

}  // namespace zqm

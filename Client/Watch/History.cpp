#include "Client/Watch/History.h"

#include <limits>

#include "Client/Units.h"

namespace zqm {
namespace {

constexpr float gap = std::numeric_limits<float>::quiet_NaN();

}  // namespace

History::Ring History::emptyRing() {
    return Ring(capacity, gap);
}

void History::put(Quantity quantity, double value, bool isThere) {
    const auto index = static_cast<std::size_t>(quantity);
    if (rings_[index].empty()) rings_[index] = emptyRing();
    rings_[index][size_ % capacity] = isThere ? static_cast<float>(value) : gap;
    isKnown_[index] = isKnown_[index] || isThere;
}

void History::add(const SystemSnapshot& snapshot) {
    const GPUMetrics& gpu = snapshot.gpu;
    const PowerMetrics& power = snapshot.power;
    const double celsius = snapshot.cpu.temperatureC > 0 ? snapshot.cpu.temperatureC : gpu.temperatureC;
    const double watts = wholeWatts(power);
    levels_ = trail_.add(Levels(snapshot, usualLimits));
    put(Quantity::load, snapshot.load.value);
    put(Quantity::cpu, snapshot.cpu.totalUsage);
    put(Quantity::memory, usedShare(snapshot.memory));
    put(Quantity::gpu, gpu.utilization, hasGraphics(gpu));
    put(Quantity::download, snapshot.network.downloadBytesPerSecond);
    put(Quantity::upload, snapshot.network.uploadBytesPerSecond);
    put(Quantity::read, snapshot.disk.readBytesPerSecond);
    put(Quantity::write, snapshot.disk.writeBytesPerSecond);
    put(Quantity::temperature, celsius, celsius > 0);
    put(Quantity::power, watts, watts > 0);
    put(Quantity::battery, snapshot.battery.level, snapshot.battery.isPresent);
    const std::vector<double>& usage = snapshot.cpu.perCoreUsage;
    cores_.resize(usage.size(), emptyRing());
    for (std::size_t core = 0; core < usage.size(); ++core) {
        cores_[core][size_ % capacity] = static_cast<float>(usage[core]);
    }
    ++size_;
}

void History::addGap() {
    const auto leave = [this](Ring& ring) {
        if (!ring.empty()) ring[size_ % capacity] = gap;
    };
    for (Ring& ring : rings_) leave(ring);
    for (Ring& ring : cores_) leave(ring);
    ++size_;
}

std::vector<double> History::latest(Quantity quantity, std::size_t columns, std::size_t perColumn) const {
    return window(rings_[static_cast<std::size_t>(quantity)], columns, perColumn);
}

std::vector<double> History::latestOfCore(std::size_t core, std::size_t columns, std::size_t perColumn) const {
    return core < cores_.size() ? window(cores_[core], columns, perColumn) : window({}, columns, perColumn);
}

std::vector<double> History::window(const Ring& ring, std::size_t columns, std::size_t perColumn) const {
    const std::size_t count = columns * perColumn;
    std::vector<double> values(count, gap);
    if (ring.empty()) return values;
    const std::size_t end = (size_ + perColumn - 1) / perColumn * perColumn;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t back = count - i;  // slots before the end
        if (back > end) continue;
        const std::size_t slot = end - back;
        if (slot < size_ && size_ - slot <= capacity) values[i] = static_cast<double>(ring[slot % capacity]);
    }
    return values;
}

}  // namespace zqm

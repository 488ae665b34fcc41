// Stands in for NVIDIA's management library, with one card.

#include <cstdlib>
#include <cstring>

namespace {
int theCard;
int tell(void* card, unsigned value, unsigned* result) {
    if (card != &theCard) return 2;
    *result = value;
    return 0;
}
struct Sample {
    unsigned pid;
    unsigned long long time;
    unsigned cores, memory, encoder, decoder;
};
}  // namespace

extern "C" {
int nvmlInit_v2() {
    return 0;
}
int nvmlShutdown() {
    return 0;
}
int nvmlDeviceGetHandleByPciBusId_v2(const char* address, void** card) {
    *card = &theCard;
    return std::strcmp(address, "0000:01:00.0") == 0 ? 0 : 6;
}
int nvmlDeviceGetUtilizationRates(void* card, unsigned* gpuAndMemory) {
    gpuAndMemory[1] = 7;
    const char* percent = std::getenv("ZQM_FAKE_NVML_BUSY");
    return tell(card, percent ? static_cast<unsigned>(std::atoi(percent)) : 40, gpuAndMemory);
}
int nvmlDeviceGetClockInfo(void* card, int type, unsigned* megahertz) {
    return tell(card, type == 0 ? 1500 : 9000, megahertz);
}
int nvmlDeviceGetMaxClockInfo(void* card, int type, unsigned* megahertz) {
    return tell(card, type == 0 ? 1980 : 9500, megahertz);
}
int nvmlDeviceGetTemperature(void* card, int sensor, unsigned* celsius) {
    return tell(card, sensor == 0 ? 61 : 99, celsius);
}
int nvmlDeviceGetProcessUtilization(void* card, Sample* samples, unsigned* count, unsigned long long since) {
    const unsigned room = *count;
    static unsigned long long now = 0;
    now += 1000;
    const Sample told[]{{20, now, 30, 99, 55, 0}, {21, since, 90, 0, 0, 0}, {0, now, 80, 0, 0, 0}};
    for (unsigned i = 0; i < 3 && i < room; ++i) samples[i] = told[i];
    return tell(card, 3, count);
}
int nvmlDeviceGetPowerUsage(void* card, unsigned* milliwatts) {
    return tell(card, 70'500, milliwatts);
}
}

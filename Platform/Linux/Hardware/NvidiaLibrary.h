#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zqm {

/// What NVIDIA's management library tells of one card; what it does not tell is absent.
struct NvidiaReading {
    std::optional<double> busyPercent;
    std::optional<double> megahertz;
    std::optional<double> celsius;
    std::optional<double> watts;
};

/// How much of a card's parts a process used in the driver's latest sampling period.
struct NvidiaProcess {
    std::int32_t pid = 0;
    std::uint64_t microseconds = 0;  // when, by the driver's clock
    unsigned corePercent = 0, encoderPercent = 0, decoderPercent = 0;
};

/// NVIDIA's management library, opened when it is asked. One thread at a time.
///
/// To open it starts the driver's cards, and as long as it is open they stay awake: nothing is asked of a card before
/// the kernel says that the card is running, and it is closed when none is asked any more.
class NvidiaLibrary {
public:
    explicit NvidiaLibrary(std::string path);
    NvidiaLibrary(const NvidiaLibrary&) = delete;
    NvidiaLibrary& operator=(const NvidiaLibrary&) = delete;
    ~NvidiaLibrary();

    /// The card at a PCI address such as "0000:01:00.0"; all absent when the library or the card does not answer.
    NvidiaReading read(const std::string& address);
    /// The highest clock of its cores in MHz; nullopt when it is not told.
    std::optional<double> mostMegahertz(const std::string& address);
    /// The processes that worked after `since`, a time of the driver's; empty where it does not tell.
    std::vector<NvidiaProcess> processes(const std::string& address, std::uint64_t since);
    bool isOpen() const { return functions_ != nullptr; }
    void close();

private:
    struct Functions;
    void* device(const std::string& address);
    bool open();

    std::string path_;
    bool hasFailed_ = false;  // until it is closed the next time
    void* library_ = nullptr;
    std::unique_ptr<Functions> functions_;
};

}  // namespace zqm

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace zqm {

/// What NVIDIA's management library tells of one card; what it does not tell is absent.
struct NvidiaReading {
    std::optional<double> busyPercent;
    std::optional<double> megahertz;
    std::optional<double> celsius;
};

/// NVIDIA's management library, opened at run time. One thread at a time.
///
/// Its first call starts the driver's cards, and its questions keep them awake: nothing is asked of a card before the
/// kernel says that the card is running.
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

private:
    struct Functions;
    void* device(const std::string& address);
    bool open();

    std::string path_;
    bool isTried_ = false;
    void* library_ = nullptr;
    std::unique_ptr<Functions> functions_;
};

}  // namespace zqm

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Apple/PropertyValue.h"

namespace zqm {

/// An open connection to a driver. Destruction closes it.
class UserClient {
public:
    virtual ~UserClient() = default;
    /// Calls the driver's `selector` with one record in and one out; false when the call fails, `output` is then
    /// undefined.
    virtual bool callStruct(std::uint32_t selector, std::span<const std::uint8_t> input,
                            std::span<std::uint8_t> output) = 0;
};

/// A handle of one entry of the registry of devices. Destruction gives the handle back.
class RegistryEntry {
public:
    virtual ~RegistryEntry() = default;
    /// At most 127 bytes, as the kernel holds them; nullopt when it cannot be read.
    virtual std::optional<std::string> name() const = 0;
    /// The children in the service plane, in the registry's order; nullopt when the iterator cannot be made.
    virtual std::optional<std::vector<std::unique_ptr<RegistryEntry>>> children() const = 0;
    /// A copy of the property; nullopt when there is none.
    virtual std::optional<PropertyValue> property(std::string_view key) const = 0;
    /// Opens a connection of the given type for this process; null when the driver refuses.
    virtual std::unique_ptr<UserClient> open(std::uint32_t type) const = 0;
};

// clang-format off
/// The registry of devices and drivers. Callable from any thread.
///
/// | class                              | what it stands for                                                       |
/// |------------------------------------|--------------------------------------------------------------------------|
/// | "AppleARMPE"                       | the machine; children "cpuN" with "cluster-type" ("E", "P", "M") as bytes |
/// | "AppleARMIODevice"                 | devices; the one whose "name" is "pmgr" holds the frequency tables       |
/// | "IOBlockStorageDriver"             | a whole drive; "Statistics" with "Bytes (Read)" and "Bytes (Write)"; its |
/// |                                    | child, the medium, has a "BSD Name"                                      |
/// | "IOAccelerator"                    | a GPU; "PerformanceStatistics"                                           |
/// | "AppleSmartBattery"                | the battery's gauge                                                      |
/// | "AppleSMCKeysEndpoint", "AppleSMC" | the system management controller, opened as a user client                |
// clang-format on
class Registry {
public:
    virtual ~Registry() = default;
    /// Services of a class in the registry's order; nullopt when the lookup fails, empty when there is none.
    virtual std::optional<std::vector<std::unique_ptr<RegistryEntry>>> services(std::string_view className) = 0;
};

}  // namespace zqm

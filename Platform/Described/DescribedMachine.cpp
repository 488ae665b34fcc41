#include "Platform/Described/DescribedMachine.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Described/DescribedIOReport.h"
#include "Platform/Described/DescribedProcesses.h"
#include "Platform/Described/DescribedRegistry.h"
#include "Platform/Described/DescribedServices.h"
#include "Platform/Described/DescribedSources.h"
#include "Platform/Described/MachineFormat.h"
#include "Platform/Described/Reading.h"

namespace zqm {

struct DescribedMachine::Parts {
    Parts(Json checked, Clock& clock) : description(std::move(checked)), model(description, clock) {}

    const Json description;
    MachineModel model;
    DescribedHostStatistics hostStatistics{model};
    DescribedSysctl sysctl{model};
    DescribedNetworkInterfaces networkInterfaces{model};
    DescribedInterfaceAddresses interfaceAddresses{model};
    DescribedProxySettings proxySettings{model};
    DescribedSystemFacts systemFacts{model, sysctl};
    DescribedRegistry registry{model};
    DescribedIOReport ioReport{model};
    DescribedPowerSources powerSources{model};
    DescribedTemperatureSensors temperatureSensors{model};
    DescribedSources sources{model};
    DescribedTaskCounters taskCounters{model};
    DescribedCommands commands{model};
};

DescribedMachine::DescribedMachine(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}
DescribedMachine::~DescribedMachine() = default;

DescribedMachine::Result DescribedMachine::parse(std::string_view text, Clock& clock) {
    auto parsed = parseMachine(text);
    if (auto* fault = std::get_if<MachineFault>(&parsed)) return std::move(*fault);
    auto& description = std::get<Json>(parsed);
    if (auto fault = findFormatFault(description)) return std::move(*fault);
    return std::unique_ptr<DescribedMachine>(
        new DescribedMachine(std::make_unique<Parts>(std::move(description), clock)));
}

DescribedMachine::Result DescribedMachine::load(const std::filesystem::path& file, Clock& clock) {
    auto read = readMachineFile(file);
    auto* fault = std::get_if<MachineFault>(&read);
    Result result = fault ? Result(std::move(*fault)) : parse(std::get<std::string>(read), clock);
    if (auto* failed = std::get_if<MachineFault>(&result)) failed->message.insert(0, file.string() + ": ");
    return result;
}

MachineServices DescribedMachine::services() {
    return {{.hostStatistics = parts_->hostStatistics,
             .sysctl = parts_->sysctl,
             .networkInterfaces = parts_->networkInterfaces,
             .interfaceAddresses = parts_->interfaceAddresses,
             .proxySettings = parts_->proxySettings,
             .registry = parts_->registry,
             .ioReport = parts_->ioReport,
             .powerSources = parts_->powerSources,
             .temperatureSensors = parts_->temperatureSensors},
            nullptr,
            nullptr,
            &parts_->commands,
            parts_->taskCounters,
            parts_->systemFacts,
            parts_->sources};
}

std::size_t DescribedMachine::liveHandles() const {
    return parts_->model.liveHandles;
}

}  // namespace zqm

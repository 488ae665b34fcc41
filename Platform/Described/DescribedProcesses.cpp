#include "Platform/Described/DescribedProcesses.h"

#include <nlohmann/json.hpp>

#include "Platform/Described/Reading.h"

namespace zqm {
namespace {

/// A command that has printed everything before it is looked at.
class FinishedChild final : public Child {
public:
    FinishedChild(MachineModel& model, std::string output) : handle_(model), output_(std::move(output)) {}
    std::optional<std::string> read(Seconds) override { return std::exchange(output_, std::nullopt); }
    bool isRunning() override { return false; }
    void terminate() override {}
    void kill() override {}

private:
    CountedHandle handle_;
    std::optional<std::string> output_;
};

class DescribedTask final : public TaskName {
public:
    DescribedTask(MachineModel& model, const Json& process) : model_(model), process_(process), handle_(model) {}
    std::optional<TaskPower> power() const override {
        const auto nanojoules = Reading(model_).count(memberOf(&process_, "energy"));
        return nanojoules ? std::optional(TaskPower{.energy = *nanojoules}) : std::nullopt;
    }

private:
    MachineModel& model_;
    const Json& process_;
    CountedHandle handle_;
};

}  // namespace

std::unique_ptr<Child> DescribedCommands::launch(std::string_view path, const std::vector<std::string>&) {
    const Json* lines = Reading(model_).value(memberOf(&model_.description, "commands", path));
    if (!lines) return nullptr;
    std::string output;
    for (const Json& line : *lines) output += line.get_ref<const std::string&>() + "\n";
    return std::make_unique<FinishedChild>(model_, std::move(output));
}

const Json* DescribedTaskCounters::process(std::int32_t pid) const {
    return memberOf(&model_.description, "processes", std::to_string(pid));
}

std::unique_ptr<TaskName> DescribedTaskCounters::taskName(std::int32_t pid) {
    const Json* described = process(pid);
    return described ? std::make_unique<DescribedTask>(model_, *described) : nullptr;
}

std::optional<TaskDisk> DescribedTaskCounters::disk(std::int32_t pid) {
    const Json* described = process(pid);
    Reading reading(model_);
    const auto bytesRead = reading.count(memberOf(described, "bytesRead"));
    const auto bytesWritten = reading.count(memberOf(described, "bytesWritten"));
    if (!bytesRead || !bytesWritten) return std::nullopt;
    return TaskDisk{*bytesRead, *bytesWritten};
}

}  // namespace zqm

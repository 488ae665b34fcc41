#pragma once

#include "Platform/Described/MachineModel.h"
#include "Platform/Machine/TaskCounters.h"
#include "Platform/Process/Commands.h"

namespace zqm {

/// What the described commands print; a command that is not described cannot be started.
class DescribedCommands final : public Commands {
public:
    explicit DescribedCommands(MachineModel& model) : model_(model) {}
    std::unique_ptr<Child> launch(std::string_view path, const std::vector<std::string>& arguments) override;

private:
    MachineModel& model_;
};

class DescribedTaskCounters final : public TaskCounters {
public:
    explicit DescribedTaskCounters(MachineModel& model) : model_(model) {}
    std::unique_ptr<TaskName> taskName(std::int32_t pid) override;
    std::optional<TaskDisk> disk(std::int32_t pid) override;

private:
    const Json* process(std::int32_t pid) const;

    MachineModel& model_;
};

}  // namespace zqm

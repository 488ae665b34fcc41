#pragma once

#include <memory>

#include "Platform/Apple/IOReport.h"
#include "Platform/Described/MachineModel.h"

namespace zqm {

/// Whether `name` is an enumerator of `ReportOperation`.
bool isReportOperation(std::string_view name);

/// The "ioReport" section of a description: the counter library, its groups of channels and how it fails. Callable from
/// any thread.
class DescribedIOReport final : public IOReport {
public:
    explicit DescribedIOReport(MachineModel& model);
    ~DescribedIOReport() override;
    ReportLibrary* open(std::string_view path) override;

private:
    const Json* description_;  // null: there is no library
    std::unique_ptr<ReportLibrary> library_;
};

}  // namespace zqm

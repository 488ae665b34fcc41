#pragma once

#include <map>
#include <memory>
#include <string>

#include "Platform/Apple/IOReport.h"
#include "Platform/Mac/CoreValues.h"
#include "Support/Mutex.h"

namespace zqm {

/// The system's counter library, opened when it is first asked for. Callable from any thread.
class MacIOReport final : public IOReport {
public:
    MacIOReport(const CoreFoundation& core, DynamicLibraries& libraries) : core_(core), libraries_(libraries) {}
    ReportLibrary* open(std::string_view path) override;

private:
    const CoreFoundation& core_;
    DynamicLibraries& libraries_;
    Mutex mutex_;
    std::map<std::string, std::unique_ptr<ReportLibrary>, std::less<>> opened_ ZQM_GUARDED_BY(mutex_);
};

}  // namespace zqm

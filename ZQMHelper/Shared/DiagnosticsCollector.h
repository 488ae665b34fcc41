#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Platform.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"
#include "ZQMHelper/Shared/IOReportLoader.h"
#include "ZQMHelper/Shared/SMCBridge.h"

namespace zqm {

/// A plain-text report of the machine's hardware topology and of the raw sources behind frequencies and power. It holds
/// no serial number, no host, user or process name and no address.
///
/// Callable from several threads at once; building a report blocks its caller for about half a second. A source that is
/// missing becomes a fixed line.
class DiagnosticsCollector {
public:
    explicit DiagnosticsCollector(std::shared_ptr<SMCBridge> smc, Platform& platform = Platform::current());

    /// The last report, nullopt when there is none younger than 300 s (sleep included). Does not block.
    std::optional<std::string> cached();
    /// The report; `cached` is served again unless `forceRefresh`.
    std::string collect(bool forceRefresh);

private:
    using Lines = std::vector<std::string>;

    std::string collectFresh();
    Lines identity();
    Lines performanceLevels();
    Lines clusterTypes();
    Lines pmgrInfo();
    Lines ioreportChannels();
    Lines ioreportAllSubgroups();
    Lines smcKeys();

    Platform& platform_;
    IOReportLoader loader_;
    std::shared_ptr<SMCBridge> smc_;
    struct Report {
        std::string text;
        ContinuousTime at;
    };
    Mutex cacheLock_;
    std::optional<Report> cachedResult_ ZQM_GUARDED_BY(cacheLock_);
};

}  // namespace zqm

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/Platform.h"
#include "Platform/Process/Dispatch.h"
#include "ZQMHelper/HTTPServer.h"
#include "ZQMHelper/Shared/DiagnosticsCollector.h"

namespace zqm {

struct HttpReply;

/// Builds fresh diagnostics reports, posts them to the collection endpoint and answers with a small JSON text that says
/// how that went. Without a configured host nothing is sent.
///
/// Anybody may ask, and as often as they like: one report at a time is built and sent, for everybody who had asked
/// before its building began, and for nobody when they have all gone by then. At most `mostWaiting` callers wait; the
/// others get an error at once.
///
/// Lives on the listener's thread, and must outlive it.
class ReportUploads {
public:
    static constexpr std::size_t mostWaiting = 64;

    explicit ReportUploads(DiagnosticsCollector& collector, Platform& platform = Platform::current());

    /// Answers when the upload has ended, at most about ten seconds after its report was built.
    void ask(const Caller& caller);

private:
    void begin();
    void send(std::string report);
    void finish(std::string_view reply);

    DiagnosticsCollector& collector_;
    Platform& platform_;
    std::vector<Caller> waiting_;  // for a report whose building has not begun
    std::vector<Caller> sharing_;  // the outcome of the one that is being built or sent
    bool isBusy_ = false;
    std::unique_ptr<TaskQueue> builder_;  // last, so that its task ends while the rest is there
};

}  // namespace zqm

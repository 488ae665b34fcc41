#include "ZQMHelper/Shared/IOReportLoader.h"

namespace zqm {

ReportLibrary* IOReportLoader::library() {
    std::call_once(opened_, [this] { open(); });
    return library_;
}

bool IOReportLoader::isAvailable() {
    using enum ReportOperation;
    return has(copyChannelsInGroup, mergeChannels, createSubscription, createSamples, createSamplesDelta,
               channelGetChannelName, stateGetCount, stateGetName, stateGetResidency);
}

void IOReportLoader::open() {
    library_ = ioReport_.open("/usr/lib/libIOReport.dylib");
    if (!library_) library_ = ioReport_.open("/System/Library/PrivateFrameworks/IOReport.framework/IOReport");
    if (!library_) return;
    for (std::size_t i = 0; i < found_.size(); ++i) found_[i] = library_->has(static_cast<ReportOperation>(i));
}

}  // namespace zqm

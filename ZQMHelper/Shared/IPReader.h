#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Platform.h"
#include "Platform/Process/Clock.h"
#include "Support/Mutex.h"
#include "ZQMHelper/Shared/Metrics.h"

namespace zqm {

/// The flag of a two-letter country code in either case, as regional-indicator characters; a globe for any code that is
/// not among the known ones.
std::string flag(std::string_view countryCode);

/// The machine's network identity: its own address, a tunnel, a proxy, and how the outside sees it.
///
/// Local facts are read on every sample. Public ones are asked of the geolocation service in the background, at most
/// once a minute or at once when the proxy state changes, and served from a cache in between; without a configured host
/// nothing is asked. `sample` from one thread at a time; the cache is written on the main thread.
class IPReader {
public:
    struct LocalAddresses {
        std::string physical;  // of the interface that leads out, else of another; dotted decimal or empty
        std::string active;    // the first tunnel
    };
    struct Proxy {
        bool enabled = false;
        std::string host;
    };
    struct PublicFacts {
        std::string ip;
        std::string flag;
        std::string region;
    };

    explicit IPReader(Platform& platform = Platform::current());

    IPMetrics sample();

    static LocalAddresses localIPv4(Platform& platform);
    /// A proxy that the system's settings switch on, else a tunnel.
    static Proxy detectProxy(Platform& platform, const LocalAddresses& local);
    /// What the service's reply says; nullopt unless it is a JSON object with "success" true and an "ip" text.
    static std::optional<PublicFacts> parseReply(std::string_view body);

private:
    void fetchPublicInfo();

    struct Cache {
        Mutex lock;
        PublicFacts facts ZQM_GUARDED_BY(lock);
    };

    Platform& platform_;
    const std::optional<std::string> url_;
    std::shared_ptr<Cache> cache_ = std::make_shared<Cache>();  // an answer may come when the reader is gone
    std::optional<ContinuousTime> lastPublicFetch_;
    bool lastProxyState_ = false;
};

}  // namespace zqm

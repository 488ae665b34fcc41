#include "ZQMHelper/Shared/IPReader.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Apple/NetworkInterfaces.h"
#include "Platform/Apple/ProxySettings.h"
#include "Platform/Machine/MachineReadings.h"
#include "Platform/Process/HttpClient.h"
#include "Platform/Process/MainLoop.h"
#include "Platform/Process/SystemSettings.h"
#include "ZQMHelper/Shared/Deployment.h"

namespace zqm {
namespace {

constexpr Seconds refreshAfter(60);

constexpr std::array<std::string_view, 44> knownCodes{"CN", "HK", "TW", "MO", "US", "CA", "GB", "JP", "KR", "DE", "FR",
                                                      "IT", "ES", "NL", "CH", "SE", "NO", "FI", "DK", "AU", "NZ", "SG",
                                                      "IN", "BR", "RU", "MX", "AR", "ZA", "AE", "IL", "TR", "TH", "VN",
                                                      "MY", "ID", "PH", "PT", "AT", "BE", "IE", "PL", "GR", "CZ", "HU"};
constexpr std::string_view globe = "\U0001F310";

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string dottedDecimal(std::uint32_t address) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        if (!text.empty()) text += '.';
        text += std::to_string(address >> shift & 0xFF);
    }
    return text;
}

bool isTunnel(std::string_view name) {
    return name.starts_with("utun") || name.starts_with("ipsec") || name.starts_with("ppp");
}

bool isOn(const PropertyDictionary& settings, std::string_view key) {
    const PropertyValue* value = find(settings, key);
    const auto* integer = value ? std::get_if<std::int64_t>(value) : nullptr;
    return integer && *integer == 1;
}

ProxyReading systemProxy(ProxySettings& service) {
    const auto settings = service.proxySettings();
    if (!settings) return {};
    if (!isOn(*settings, "HTTPEnable") && !isOn(*settings, "HTTPSEnable") && !isOn(*settings, "SOCKSEnable")) return {};
    const std::string* host = asText(find(*settings, "HTTPProxy"));
    if (!host) host = asText(find(*settings, "SOCKSProxy"));
    return {.isOn = true, .host = host ? *host : std::string()};
}

std::string textOr(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

}  // namespace

std::string flag(std::string_view countryCode) {
    std::string code(countryCode);
    std::transform(code.begin(), code.end(), code.begin(), upperCase);
    if (std::find(knownCodes.begin(), knownCodes.end(), code) == knownCodes.end()) return std::string(globe);
    std::string characters;
    for (char letter : code) {
        characters += "\xF0\x9F\x87";  // U+1F1E6 and what follows it, for A and the letters after it
        characters += static_cast<char>(0xA6 + (letter - 'A'));
    }
    return characters;
}

IPReader::IPReader(Platform& platform)
    : platform_(platform), url_(secureUrl(geolocationHost(platform.systemSettings), "/")) {}

IPMetrics IPReader::sample() {
    const LocalAddresses local = localIPv4(platform_);
    const bool enabled = detectProxy(platform_, local).enabled;
    const bool changed = std::exchange(lastProxyState_, enabled) != enabled;
    // Read before a lookup is begun: its answer belongs to a later sample.
    const PublicFacts facts = [this] {
        const MutexLock hold(cache_->lock);
        return cache_->facts;
    }();
    const ContinuousTime now = platform_.clock.continuous();
    if (changed || !lastPublicFetch_ || now - *lastPublicFetch_ > refreshAfter) {
        lastPublicFetch_ = now;
        fetchPublicInfo();
    }
    return {.localIPv4 = local.physical,
            .publicIP = facts.ip,
            .regionFlag = facts.flag,
            .regionName = facts.region,
            .proxyDetected = enabled,
            .utunGateway = local.active != local.physical ? local.active : std::string()};
}

/// "en0" leads out, the other "en…" are the ones beside it.
IPReader::LocalAddresses IPReader::localIPv4(Platform& platform) {
    LocalAddresses local;
    if (platform.readings) {
        const AddressReading told = platform.readings->addresses();
        if (told.local) local.physical = dottedDecimal(*told.local);
        if (told.tunnel) local.active = dottedDecimal(*told.tunnel);
        return local;
    }
    const auto list = platform.interfaceAddresses.ipv4();
    if (!list) return local;
    for (const auto& [name, address] : *list) {
        const std::string text = dottedDecimal(address);
        if (text.starts_with("127.")) continue;
        if (name == "en0" || (name.starts_with("en") && local.physical.empty())) local.physical = text;
        if (isTunnel(name) && local.active.empty()) local.active = text;
    }
    return local;
}

IPReader::Proxy IPReader::detectProxy(Platform& platform, const LocalAddresses& local) {
    const ProxyReading told = platform.readings ? platform.readings->proxies() : systemProxy(platform.proxySettings);
    if (told.isOn) return {true, told.host};
    return {!local.active.empty(), local.active};
}

void IPReader::fetchPublicInfo() {
    if (!url_) return;
    HttpRequest request;
    request.url = *url_;
    platform_.httpClient.start(std::move(request),
                               [weak = std::weak_ptr(cache_), &loop = platform_.mainLoop](const HttpReply& reply) {
                                   auto facts = reply.error ? std::nullopt : parseReply(reply.body);
                                   if (!facts) return;
                                   loop.post([weak, facts = std::move(*facts)] {
                                       const auto cache = weak.lock();
                                       if (!cache) return;
                                       const MutexLock hold(cache->lock);
                                       cache->facts = facts;
                                   });
                               });
}

std::optional<IPReader::PublicFacts> IPReader::parseReply(std::string_view body) {
    const auto json = nlohmann::json::parse(body, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    const auto success = json.find("success");
    const auto ip = json.find("ip");
    if (success == json.end() || !success->is_boolean() || !success->get<bool>()) return std::nullopt;
    if (ip == json.end() || !ip->is_string()) return std::nullopt;
    return PublicFacts{ip->get<std::string>(), flag(textOr(json, "country_code")), textOr(json, "country")};
}

}  // namespace zqm

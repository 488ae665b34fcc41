#include "ZQMHelper/Shared/SettingsStore.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "Platform/Posix/JsonUserDefaults.h"
#include "fuzz/Fuzzing.h"
#include "tests/fakes/FakePlatform.h"

// Any bytes as the file of preferences: every setting is within its range, and one that is a plain value is taken.

namespace zqm {
namespace {

void checkRanges(const SettingsStore& settings) {
    for (const double value : {settings.updateInterval(), settings.iconTextGap(), settings.segmentGap()}) {
        require(value > 0 && std::isfinite(value), "times and gaps are positive");
    }
    require(settings.topProcessCount() >= 1 && settings.topProcessCount() <= 10, "one to ten processes are listed");
    const auto& order = settings.metricOrder();
    for (const MenuBarMetric metric : allCases<MenuBarMetric>()) {
        require(std::find(order.begin(), order.end(), metric) != order.end(), "every metric has its place");
    }
}

void checkPlainValues(const SettingsStore& settings, const nlohmann::json& file) {
    const auto value = [&](const char* key) { return file.is_object() && file.contains(key) ? file[key] : nullptr; };
    if (const auto interval = value("updateInterval"); interval.is_number()) {
        const double seconds = interval.get<double>();
        require(settings.updateInterval() == (seconds > 0 ? seconds : 1), "a positive interval is taken");
    }
    if (const auto count = value("topProcessCount"); count.is_number_unsigned()) {
        const auto stored = count.get<std::uint64_t>();
        const std::uint64_t taken = stored == 0 ? 5 : std::min<std::uint64_t>(stored, 10);
        require(static_cast<std::uint64_t>(settings.topProcessCount()) == taken, "a count is clamped");
    }
    if (const auto hours = value("use24Hour"); hours.is_boolean()) {
        require(settings.use24Hour() == hours.get<bool>(), "a flag is taken");
    }
    require(value("language") != "en" || settings.language() == AppLanguage::english, "a known language is taken");
}

}  // namespace
}  // namespace zqm

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace zqm;
    FakePlatform fakes;
    fakes.files.contents[""] = textOf(data, size);  // a store without a path keeps to memory
    JsonUserDefaults defaults(fakes.files, "");
    Platform platform{fakes.platform,
                      {fakes.commands, defaults, fakes.systemSettings, fakes.httpClient, fakes.files, fakes.clock,
                       fakes.loop, fakes.loop, fakes.listener, fakes.log}};
    SettingsStore settings(platform);
    checkRanges(settings);
    checkPlainValues(settings, nlohmann::json::parse(textOf(data, size), nullptr, false));
    settings.setUpdateInterval(2.5);
    require(SettingsStore(platform).updateInterval() == 2.5, "what is set is what is read");
    return 0;
}

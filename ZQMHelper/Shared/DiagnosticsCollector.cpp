#include "ZQMHelper/Shared/DiagnosticsCollector.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <utility>

#include "Platform/Apple/Sysctl.h"
#include "Platform/Machine/SystemFacts.h"
#include "Support/ByteOrder.h"
#include "Support/Decimal.h"
#include "Support/Hexadecimal.h"
#include "Support/Text.h"
#include "ZQMHelper/Shared/FrequencyTopology.h"

namespace zqm {
namespace {

constexpr Seconds cacheLifetime(300);
constexpr std::size_t recordSize = 8;  // of the power manager's tables
constexpr std::size_t mostEntries = 4;

/// "2025-11-16T20:24:11Z"
std::string iso8601(WallTime time) {
    using namespace std::chrono;
    const sys_seconds instant(seconds(static_cast<std::int64_t>(std::floor(time.time_since_epoch().count()))));
    const sys_days day = floor<days>(instant);
    const year_month_day date(day);
    const hh_mm_ss clock(instant - day);
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

/// Without the control characters at its ends.
std::optional<std::string> trimmedText(const RegistryEntry& entry, std::string_view key) {
    const auto text = utf8Text(entry, key);
    return text ? std::optional<std::string>(trimControlCharacters(*text)) : std::nullopt;
}

std::string clusterLine(const RegistryEntry& pmgr) {
    const auto property = pmgr.property("acc-clusters");
    const Bytes* bytes = property ? asBytes(&*property) : nullptr;
    if (!bytes) return "acc-clusters: (absent)";
    std::string line = "acc-clusters: ";
    for (std::size_t offset = 0; offset + recordSize <= bytes->size(); offset += recordSize) {
        constexpr std::string_view letters = "EMS";
        const std::uint8_t type = (*bytes)[offset + 1];
        if (offset > 0) line += ", ";
        line += "domain" + std::to_string((*bytes)[offset]) + '=';
        line += type < letters.size() ? letters[type] : '?';
    }
    return line;
}

/// One record of a voltage-state table: its bytes and its frequency word in MHz.
std::string tableEntry(const Bytes& bytes, std::size_t index) {
    const std::size_t offset = index * recordSize;
    std::string text = "[" + std::to_string(index) + "] ";
    for (std::size_t i = offset; i < offset + recordSize; ++i) appendHexadecimal(text, bytes[i]);
    std::array<char, 32> number;
    std::snprintf(number.data(), number.size(), "%.1f", littleEndian32(bytes, offset) / 1e6);
    return text + " → " + number.data() + "MHz";
}

std::optional<std::string> tableLine(const RegistryEntry& pmgr, const std::string& key) {
    const auto property = pmgr.property(key);
    const Bytes* bytes = property ? asBytes(&*property) : nullptr;
    if (!bytes) return std::nullopt;
    const std::size_t records = bytes->size() / recordSize;
    std::string line = key + ": " + std::to_string(records) + " states | ";
    for (std::size_t i = 0; i < std::min(records, mostEntries); ++i)
        line += (i > 0 ? "  " : "") + tableEntry(*bytes, i);
    return line;
}

}  // namespace

DiagnosticsCollector::DiagnosticsCollector(std::shared_ptr<SMCBridge> smc, Platform& platform)
    : platform_(platform), loader_(platform), smc_(std::move(smc)) {}

std::optional<std::string> DiagnosticsCollector::cached() {
    const MutexLock hold(cacheLock_);
    const bool isFresh = cachedResult_ && platform_.clock.continuous() - cachedResult_->at < cacheLifetime;
    return isFresh ? std::optional(cachedResult_->text) : std::nullopt;
}

std::string DiagnosticsCollector::collect(bool forceRefresh) {
    if (auto kept = forceRefresh ? std::nullopt : cached()) return *std::move(kept);
    // Outside the lock: two callers may build one each, and the last is kept.
    std::string text = collectFresh();
    const MutexLock hold(cacheLock_);
    cachedResult_ = Report{text, platform_.clock.continuous()};
    return text;
}

std::string DiagnosticsCollector::collectFresh() {
    struct Section {
        const char* title;
        Lines (DiagnosticsCollector::*lines)();
    };
    Lines report = identity();
    for (const auto& [title, lines] : {Section{"--- hw.perflevel ---", &DiagnosticsCollector::performanceLevels},
                                       {"--- AppleARMPE cluster-type ---", &DiagnosticsCollector::clusterTypes},
                                       {"--- pmgr ladders ---", &DiagnosticsCollector::pmgrInfo},
                                       {"--- IOReport channels ---", &DiagnosticsCollector::ioreportChannels},
                                       {"--- IOReport all subgroups ---", &DiagnosticsCollector::ioreportAllSubgroups},
                                       {"--- SMC keys ---", &DiagnosticsCollector::smcKeys}}) {
        report.emplace_back();
        report.emplace_back(title);
        Lines section = (this->*lines)();
        report.insert(report.end(), std::make_move_iterator(section.begin()), std::make_move_iterator(section.end()));
    }
    std::string text;
    for (const std::string& line : report) {
        if (&line != &report.front()) text += '\n';
        text += line;
    }
    return text;
}

DiagnosticsCollector::Lines DiagnosticsCollector::identity() {
    SystemFacts& facts = platform_.systemFacts;
    const auto told = [](std::optional<std::string> text) { return text.value_or("?"); };
    return {"=== Zephlon Diagnostics ===",
            "Date: " + iso8601(platform_.clock.wall()),
            "App: " + told(facts.bundleText("CFBundleShortVersionString")) + " (" +
                told(facts.bundleText("CFBundleVersion")) + ")",
            "macOS: " + facts.systemVersion(),
            "Model: " + told(facts.hardwareModel()),
            "Chip: " + told(facts.processorName())};
}

DiagnosticsCollector::Lines DiagnosticsCollector::performanceLevels() {
    constexpr std::int64_t mostLevels = 64;  // a wrong figure must not fill the report
    const auto integer = [this](const std::string& name) {
        return sysctlValue<std::int64_t>(platform_.sysctl, name).value_or(-1);
    };
    const std::int64_t levels = integer("hw.nperflevels");
    Lines lines{"nperflevels: " + std::to_string(levels)};
    for (std::int64_t i = 0; i < std::min(levels, mostLevels); ++i) {
        const std::string level = "perflevel" + std::to_string(i);
        lines.push_back(level + ": " + sysctlText(platform_.sysctl, "hw." + level + ".name").value_or("?") + " ×" +
                        std::to_string(integer("hw." + level + ".physicalcpu")));
    }
    return lines;
}

DiagnosticsCollector::Lines DiagnosticsCollector::clusterTypes() {
    const auto services = platform_.registry.services("AppleARMPE");
    if (!services) return {"(no AppleARMPE service)"};
    Lines lines;
    for (const auto& service : *services) {
        const auto children = service->children();
        if (!children) continue;
        for (const auto& child : *children) {
            const auto name = trimmedText(*child, "name");
            if (name && name->starts_with("cpu")) {
                lines.push_back(*name + ": " + trimmedText(*child, "cluster-type").value_or("?"));
            }
        }
    }
    if (lines.empty()) return {"(no cpuN children)"};
    std::sort(lines.begin(), lines.end());
    return lines;
}

DiagnosticsCollector::Lines DiagnosticsCollector::pmgrInfo() {
    if (!platform_.registry.services("AppleARMIODevice")) return {"(no AppleARMIODevice)"};
    const auto pmgr = findPMGRService(platform_.registry);
    if (!pmgr) return {"(no pmgr service)"};
    Lines lines{clusterLine(*pmgr)};
    for (int table : {1, 5, 9, 22, 23}) {
        if (auto line = tableLine(*pmgr, "voltage-states" + std::to_string(table) + "-sram")) lines.push_back(*line);
    }
    return lines;
}

DiagnosticsCollector::Lines DiagnosticsCollector::smcKeys() {
    Lines lines{std::string("available: ") + (smc_->SMCPowerAvailable() ? "1" : "0")};
    for (const char* key : {"PSTR", "PDBR", "PBwo"}) {
        std::string line = std::string(key) + ": ";
        appendDecimal(line, smc_->SMCPowerRead(key));
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace zqm

#include "tests/fakes/mac/MacDouble.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "Platform/Mac/Libraries/IOReportCalls.h"
#include "tests/fakes/mac/MacFrameworks.h"
#include "tests/fakes/mac/MacKernel.h"
#include "tests/fakes/mac/MacReports.h"
#include "tests/fakes/mac/MacUserFunctions.h"

namespace zqm {
namespace {

MacDouble*& now = MacFunctions::now;
struct Calls : MacFrameworks, MacReports, MacKernel, MacUserFunctions {};

/// What gives something back succeeds, and some fail in ways of their own.
constexpr std::string_view infallible =
    "IORegistryEntryGetName "
    "CFRelease CFStringGetLength CFDataGetLength IOServiceGetMatchingServices IOHIDEventSystemClientSetMatching "
    "IOHIDEventSystemClientCopyServices IOReportStateGetCount IOObjectRelease IOServiceClose mach_port_deallocate "
    "vm_deallocate freeifaddrs IOReportMergeChannels CFPreferencesSetAppValue objc_autoreleasePoolPush "
    "objc_autoreleasePoolPop CFDictionaryGetKeysAndValues";

template <class Result>
constexpr Result failure() {
    if constexpr (std::is_same_v<Result, double>) return std::numeric_limits<double>::quiet_NaN();
    if constexpr (std::is_same_v<Result, CFIndex>) return CFIndex{1} << 40;  // of elements
    return std::is_same_v<Result, KernelReturn> ? Result(5) : Result();
}

struct Name {
    template <std::size_t size>
    consteval Name(const char (&literal)[size]) {
        std::copy_n(literal, size, text);
    }
    char text[48] = {};
};

template <Name name, auto symbol>
struct Exported {  // a variable
    static void* address() { return const_cast<void*>(static_cast<const void*>(symbol)); }
};
template <Name name, class Result, class... Arguments, Result (*function)(Arguments...)>
struct Exported<name, function> {
    static Result call(Arguments... arguments) {
        constexpr bool mayFail = infallible.find(name.text) == infallible.npos;
        if constexpr (mayFail) {
            if (now->fails(name.text)) return failure<Result>();
        }
        return function(arguments...);
    }
    static void* address() { return reinterpret_cast<void*>(&call); }
};

/// The tables' own lists: what is called in another way than a table says does not compile.
#define EXPORT(name, ...) \
    {#name, Exported<#name, static_cast<std::add_pointer_t<__VA_ARGS__>>(&Calls::name)>::address()},
using Library = std::vector<std::pair<std::string_view, void*>>;
const std::map<std::string_view, Library> exported{
    {CoreFoundation::path, {ZQM_CORE_FOUNDATION(EXPORT) ZQM_BUNDLE(EXPORT) ZQM_PREFERENCES(EXPORT)}},
    {ObjectiveC::path, {ZQM_OBJECTIVE_C(EXPORT)}},
    {foundationPath, {}},
    {ioKitPath,
     {ZQM_REGISTRY(EXPORT) ZQM_USER_CLIENT(EXPORT) ZQM_POWER_SOURCES(EXPORT) ZQM_ADAPTER(EXPORT) ZQM_SENSORS(EXPORT)}},
    {IOReportCalls::path, {ZQM_IO_REPORT(EXPORT)}},
    {ioReportFramework, {ZQM_IO_REPORT(EXPORT)}},
    {libSystemPath,
     {ZQM_MACH(EXPORT) ZQM_HOST(EXPORT) ZQM_SYSCTL(EXPORT) ZQM_ADDRESSES(EXPORT) ZQM_TASKS(EXPORT)
          ZQM_DETAILS(EXPORT)}},
    {ProxyCalls::path, {ZQM_PROXIES(EXPORT)}}};

#define NAME(name, ...) #name,
const std::set<std::string_view> ofUser{ObjectiveC::path, foundationPath, ZQM_PREFERENCES(NAME) ZQM_OBJECTIVE_C(NAME)};

}  // namespace

MacDouble::MacDouble(Machine& described, Clock& clock, const std::function<void(MacDouble&)>& prepare)
    : machine(described.services()) {
    now = this;
    if (prepare) prepare(*this);
    backend_ = std::make_unique<MacMachine>(*this, clock);
}

MacDouble::~MacDouble() {
    backend_ = nullptr;
    if (bundle) release(bundle);
    for (const auto& [handle, object] : live) mistakes.push_back("kept: " + object.kind);
    EXPECT_EQ(mistakes, std::vector<std::string>());
    now = nullptr;
}

MachineServices MacDouble::services() {
    MachineServices services = backend_->services();
    services.printers = machine.printers;
    return services;
}

void* MacDouble::open(const char* path) {
    const auto found = exported.find(path);
    if (found == exported.end() || missing.contains(found->first)) return nullptr;
    if (std::string_view(path).ends_with("Report") || std::string_view(path).ends_with("Report.dylib")) {
        ReportLibrary* const opened = machine.ioReport.open(path);
        if (!opened) return nullptr;
        reports = opened;
    }
    return const_cast<Library*>(&found->second);
}

void* MacDouble::find(void* library, const char* symbol) {
    const auto& symbols = *static_cast<Library*>(library);
    for (std::size_t i = 0; i < symbols.size(); ++i) {
        if (symbols[i].first != symbol || missing.contains(symbol)) continue;
        const bool isReport = std::string_view(symbol).starts_with("IOReport");
        return isReport && !reports->has(static_cast<ReportOperation>(i)) ? nullptr : symbols[i].second;
    }
    return nullptr;
}

std::vector<std::string> MacDouble::symbols() {
    std::vector<std::string> names;
    for (const auto& [path, library] : exported) {
        if (path == ioReportFramework || ofUser.contains(path)) continue;
        names.emplace_back(path);
        for (const auto& [name, address] : library) {
            if (!ofUser.contains(name)) names.emplace_back(name);
        }
    }
    return names;
}

void MacDouble::mount(std::string_view type, std::string_view source, std::string_view point, unsigned flags,
                      int blocks) {
    FileSystemRecord& record = fileSystems.emplace_back();
    record = {4096, 0, static_cast<std::uint64_t>(blocks), 50, 40, 0, 0, {}, 0, 0, flags, 0, {}, {}, {}, {}};
    type.copy(record.typeName, sizeof record.typeName);
    source.copy(record.source, sizeof record.source);
    point.copy(record.mountPoint, sizeof record.mountPoint);
}

void MacDouble::run(int pid, std::string_view arguments) {
    const ProcessRecord record{12, 5, {}, pid, {}, "1234567890123456", {}, 4'000'000'001, {}};
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&record);
    numbered[{1, 14, 1, pid}] = {bytes, bytes + sizeof record};
    if (!arguments.empty()) numbered[{1, 49, pid}] = {arguments.begin(), arguments.end()};
}

void MacDouble::addTables(std::istream&& lines) {
    for (std::string line, kind, first, second, third; std::getline(lines, line);) {
        std::istringstream words(line);
        int number = 0, flags = 0;
        if (words >> kind && kind == "volume" && words >> number >> std::hex >> flags >> first >> second >> third)
            mount(first, second, third, static_cast<unsigned>(flags), number);
        if (kind != "process" || !(words >> number)) continue;
        std::int32_t count = 0;
        const bool isTold = static_cast<bool>(words >> count >> first);
        std::replace(first.begin(), first.end(), '|', '\0');
        run(number, isTold ? std::string(reinterpret_cast<char*>(&count), sizeof count) + first : "");
    }
}

}  // namespace zqm

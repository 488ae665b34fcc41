#include "Platform/Described/MachineFormat.h"

#include <nlohmann/json.hpp>

#include "Platform/Described/DescribedIOReport.h"
#include "Platform/Described/MachineShape.h"
#include "Platform/Posix/Sockets.h"

namespace zqm {
namespace {

using namespace shape;

void sysctlValue(const Json& value, const Place& place) {
    if (value.is_string()) return;
    require(value.is_object(), place, "must be a text, {\"integer\": …, \"width\": …} or {\"bytes\": …}");
    value.contains("bytes") ? record(value, place, {{"bytes", byteParts}}) : wordOfWidth(value, place);
}

void entryName(const Json& value, const Place& place) {
    text(value, place);
    require(value.get_ref<const std::string&>().size() <= 127, place, "must be at most 127 bytes");
}

void fourCharacters(const Json& value, const Place& place) {
    text(value, place);
    require(value.get_ref<const std::string&>().size() == 4, place, "must be a text of 4 bytes");
}

void controllerValue(const Json& value, const Place& place) {
    if (!value.is_object() || !value.contains("bytes")) return number(value, place);
    record(value, place, {{"bytes", byteParts}});
}

void resultCode(const Json& value, const Place& place) {
    require(value.is_number_unsigned() && value <= 255, place, "must be a whole number from 0 to 255");
}

void controllerKey(const Json& value, const Place& place) {
    record(
        value, place,
        {{"type", fourCharacters, true}, {"value", readable<controllerValue>, true}, {"result", readable<resultCode>}});
}

void controllerKeys(const Json& value, const Place& place) {
    membersOf<orNull<controllerKey>>(value, place);
    for (const auto& [name, key] : value.items()) {
        require(name.size() == 4, Place{&place, name}, "must be a key of 4 bytes");
    }
}

void entry(const Json& value, const Place& place) {
    record(value, place,
           {{"name", readable<entryName>, true},
            {"children", readable<arrayOf<entry>>},
            {"properties", membersOf<readable<property>>},
            {"userClient", readable<controllerKeys>}});
}

void processor(const Json& value, const Place& place) {
    record(value, place,
           {{"user", counter, true}, {"system", counter, true}, {"idle", counter, true}, {"nice", counter, true}});
}

void virtualMemory(const Json& value, const Place& place) {
    record(value, place,
           {{"active", counter, true},
            {"inactive", counter, true},
            {"speculative", counter, true},
            {"wired", counter, true},
            {"compressor", counter, true},
            {"purgeable", counter, true},
            {"external", counter, true}});
}

void hostStatistics(const Json& value, const Place& place) {
    record(value, place,
           {{"pageSize", counter},
            {"processors", readable<arrayOf<processor>>},
            {"virtualMemory", readable<virtualMemory>}});
}

void link(const Json& value, const Place& place) {
    record(value, place, {{"name", text, true}, {"received", counter}, {"sent", counter}});
    require(value.contains("received") == value.contains("sent"), place,
            "needs both \"received\" and \"sent\", or neither");
}

void dottedAddress(const Json& value, const Place& place) {
    text(value, place);
    require(parseIPv4(value.get_ref<const std::string&>()).has_value(), place,
            "must be an IPv4 address, as in \"192.168.1.10\"");
}

void address(const Json& value, const Place& place) {
    record(value, place, {{"name", text, true}, {"ipv4", dottedAddress, true}});
}

void operationName(const Json& value, const Place& place) {
    text(value, place);
    require(isReportOperation(value.get_ref<const std::string&>()), place, "is none of the library's operations");
}

void state(const Json& value, const Place& place) {
    record(value, place, {{"name", readable<text>, true}, {"residency", readable<movable<integer>>, true}});
}

void channel(const Json& value, const Place& place) {
    record(value, place,
           {{"name", readable<text>},
            {"unit", readable<text>},
            {"value", readable<movable<integer>>},
            {"states", arrayOf<state>}});
}

void channelGroup(const Json& value, const Place& place) {
    record(value, place,
           {{"group", text, true}, {"subgroup", text, true}, {"channels", readable<arrayOf<channel>>, true}});
}

void ioReport(const Json& value, const Place& place) {
    record(value, place,
           {{"paths", arrayOf<text>, true},
            {"missingOperations", arrayOf<operationName>},
            {"subscriptions", readable<flag>},
            {"samples", readable<flag>},
            {"deltas", readable<flag>},
            {"groups", arrayOf<channelGroup>, true}});
}

void dictionary(const Json& value, const Place& place) {
    require(value.is_object(), place, "must be an object");
    property(value, place);
}

void systemFacts(const Json& value, const Place& place) {
    record(value, place,
           {{"proxySettings", readable<dictionary>},
            {"bundle", membersOf<readable<text>>},
            {"systemVersion", readable<text>}});
}

void powerSources(const Json& value, const Place& place) {
    record(value, place, {{"sources", readable<arrayOf<readable<dictionary>>>}, {"adapter", readable<property>}});
}

void sensor(const Json& value, const Place& place) {
    record(value, place, {{"product", readable<text>}, {"temperature", readable<number>}});
}

void process(const Json& value, const Place& place) {
    record(value, place, {{"energy", counter}, {"bytesRead", counter}, {"bytesWritten", counter}});
}

void about(const Json& value, const Place& place) {
    value.is_array() ? arrayOf<text>(value, place) : text(value, place);
}

}  // namespace

std::optional<MachineFault> findFormatFault(const nlohmann::ordered_json& description) {
    try {
        record(description, Place{},
               {{"about", about},
                {"hostStatistics", hostStatistics},
                {"sysctl", membersOf<readable<sysctlValue>>},
                {"networkInterfaces", readable<arrayOf<link>>},
                {"interfaceAddresses", readable<arrayOf<address>>},
                {"systemFacts", systemFacts},
                {"registry", membersOf<readable<arrayOf<entry>>>},
                {"ioReport", ioReport},
                {"powerSources", powerSources},
                {"temperatureSensors", readable<arrayOf<sensor>>},
                {"commands", membersOf<readable<arrayOf<text>>>},
                {"processes", membersOf<process>}});
    } catch (const ShapeError& error) {
        return MachineFault{(error.pointer.empty() ? "the whole file" : error.pointer) + ": " + error.what};
    }
    return std::nullopt;
}

}  // namespace zqm

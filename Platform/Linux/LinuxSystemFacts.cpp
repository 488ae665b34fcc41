#include "Platform/Linux/LinuxSystemFacts.h"

#include <sys/utsname.h>

#include <initializer_list>

#include "Platform/Linux/Kernel/Assignments.h"
#include "Platform/Linux/Kernel/KernelText.h"
#include "Support/Text.h"

namespace zqm {
namespace {

/// The value of the first "key : value" line; nullopt when there is none.
std::optional<std::string> lineValue(std::string_view content, std::string_view key) {
    while (const auto line = takeLine(content)) {
        std::string_view value = *line;
        if (trimWhitespace(takeUntil(value, ':')) == key) return std::string(trimWhitespace(value));
    }
    return std::nullopt;
}

/// The first text that is there and not empty.
std::optional<std::string> firstText(std::initializer_list<std::optional<std::string>> texts) {
    for (const auto& text : texts) {
        if (text && !text->empty()) return repairUtf8(*text);
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> LinuxSystemFacts::bundleText(std::string_view key) {
    if (key == "CFBundleShortVersionString" || key == "CFBundleVersion") return version_;
    return std::nullopt;
}

std::string LinuxSystemFacts::systemVersion() {
    auto kernel = root_.text("/proc/sys/kernel/osrelease");
    utsname names{};
    if (!kernel && root_.isThisMachine() && ::uname(&names) == 0) kernel = names.release;
    const std::string system = kernel ? "Linux " + *kernel : "Linux";
    for (const std::string_view file : {"/etc/os-release", "/usr/lib/os-release"}) {
        const auto distribution = assigned(root_.text(file).value_or(""), "PRETTY_NAME");
        if (distribution && !distribution->empty()) return repairUtf8(*distribution + ", " + system);
    }
    return repairUtf8(system);
}

std::optional<std::string> LinuxSystemFacts::hardwareModel() {
    return firstText({root_.text("/sys/class/dmi/id/product_name"), root_.text("/proc/device-tree/model")});
}

/// On ARM "model name" tells only the architecture's version, so the system on the chip is asked first.
std::optional<std::string> LinuxSystemFacts::processorName() {
    const std::string content = root_.text("/proc/cpuinfo").value_or("") + "\n";
    const auto modelName = lineValue(content, "model name");
    if (!lineValue(content, "CPU implementer")) return firstText({modelName, lineValue(content, "cpu model")});
    return firstText({root_.text("/sys/devices/soc0/machine"), lineValue(content, "Hardware"), modelName});
}

}  // namespace zqm

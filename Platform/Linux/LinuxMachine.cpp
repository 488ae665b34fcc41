#include "Platform/Linux/LinuxMachine.h"

namespace zqm {
namespace {

/// It knows this machine's cards alone.
std::string nvidiaLibrary(const RootDirectory& root) {
    return root.isThisMachine() ? "libnvidia-ml.so.1" : "";
}

}  // namespace

LinuxMachine::LinuxMachine(std::string_view root, Clock& clock)
    : root_(root),
      readings_(root_, environment_, clock, nvidiaLibrary(root_)),
      processTable_(root_, clock, [this] { return readings_.packageMillijoules(); }),
      taskCounters_(root_, processTable_.known()),
      systemFacts_(root_, ZQM_VERSION),
      details_(root_, readings_, clock, nvidiaLibrary(root_)) {}

MachineServices LinuxMachine::services() {
    return {absentAppleServices(), &readings_, &processTable_, nullptr, taskCounters_, systemFacts_, *this};
}

SourceDescription LinuxMachine::describe(MetricFamily family) {
    using enum MetricFamily;
    if (family == processes || family == processSockets || family == processDisk) return processTable_.describe(family);
    return readings_.describe(family);
}

bool nativeMachineHasRoot() {
    return true;
}

std::unique_ptr<Machine> makeNativeMachine(std::string_view root) {
    return std::make_unique<LinuxMachine>(root);
}

}  // namespace zqm

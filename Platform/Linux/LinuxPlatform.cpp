#include "Platform/Linux/LinuxPlatform.h"

namespace zqm {

std::unique_ptr<Machine> makeNativeMachine(const std::filesystem::path& root) {
    return std::make_unique<LinuxMachine>(root.native());
}

}  // namespace zqm

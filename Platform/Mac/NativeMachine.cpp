#include <dlfcn.h>

#include "Platform/Mac/MacMachine.h"
#include "Platform/Posix/PosixClock.h"

namespace zqm {
namespace {

struct SystemLibraries final : DynamicLibraries {
    void* open(const char* path) override { return ::dlopen(path, RTLD_LAZY); }
    void* find(void* library, const char* symbol) override { return ::dlsym(library, symbol); }
};

class ThisMachine final : public Machine {
public:
    MachineServices services() override { return machine_.services(); }

private:
    SystemLibraries libraries_;
    PosixClock clock_;
    MacMachine machine_{libraries_, clock_};
};

}  // namespace

std::unique_ptr<Machine> makeNativeMachine(std::string_view) {
    return std::make_unique<ThisMachine>();
}

}  // namespace zqm

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

#include "Platform/Described/DescribedMachine.h"
#include "Platform/Machine.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/PosixServices.h"
#include "Platform/Process/UserDefaults.h"
#include "ZQMHelper/HelperAppDelegate.h"
#include "ZQMHelper/PortOption.h"
#include "ZQMHelper/SourcesReport.h"
#include "ZQMHelper/UsualPort.h"

namespace zqm {
namespace {

constexpr int badUsage = 2;

struct Options {
    std::uint16_t port = usualPort;
    std::filesystem::path root = "/";
    std::filesystem::path machine;
    bool sources = false;
};

/// One line on standard error, whatever the message holds.
int complain(std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::fprintf(stderr, "ZQMHelper: %s\n", message.c_str());
    return badUsage;
}

/// Why the directory is the root of no machine; empty when it may be one.
std::string rootFault(const std::string& directory) {
    std::error_code fault;
    for (const char* tree : {"proc", "sys"}) {
        std::error_code error;
        const std::filesystem::directory_iterator readable(std::filesystem::path(directory) / tree, error);
        if (!error) return {};
        if (error != std::errc::no_such_file_or_directory) fault = error;
    }
    return directory + (fault ? ": " + fault.message() : " holds neither proc nor sys");
}

/// Null where there is no such option: the machine is not read through files.
CLI::Option* declareRoot(CLI::App& app, Options& options) {
    if (!nativeMachineHasRoot()) return nullptr;
    return app.add_option("--root", options.root, "Read DIR/proc, DIR/sys and DIR/etc in place of the system's")
        ->option_text("DIR")
        ->check(rootFault, "");
}

void declare(CLI::App& app, Options& options) {
    app.set_version_flag("--version", "ZQMHelper " ZQM_VERSION);
    addPortOption(app, options.port, "Port on 127.0.0.1 to serve on");
    auto* root = declareRoot(app, options);
    auto* machine =
        app.add_option("--machine", options.machine, "Run on the machine that FILE describes")
            ->option_text("FILE")
            ->check(
                [](const std::string& file) { return file.empty() ? "the name of the file is empty" : std::string(); },
                "");
    if (root) machine->excludes(root);
    app.add_flag("--sources", options.sources, "Print where each figure comes from and what it is now, and exit");
}

int runOn(Machine& machine, PosixServices& process, const Options& options, const StoredDefaults& preferences) {
    Platform platform{machine.services(), process.services()};
    const ScopedPlatform current(platform);
    if (options.sources) {
        const bool isPrinted = std::fputs(sourcesReport(platform).c_str(), stdout) >= 0;
        return isPrinted && std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    HelperAppDelegate delegate(options.port, platform);
    for (const std::string& problem : preferences.problems()) {
        std::fprintf(stderr, "[ZQMHelper] %s\n", problem.c_str());
    }
    if (!delegate.applicationDidFinishLaunching()) return EXIT_FAILURE;
    platform.mainLoop.run();
    return EXIT_SUCCESS;
}

int run(int argc, char** argv) {
    fillStandardStreams();
    Options options;
    CLI::App app("Samples this machine and serves the latest sample as JSON on 127.0.0.1.", "ZQMHelper");
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return complain(error.what());
    }
    ignoreWriteSignals();
    raiseDescriptorLimit();
    shareOneHeap();
    const auto user = makeUserServices();
    PosixServices process(*user);
    const auto& preferences = user->userDefaults();
    if (options.machine.empty()) return runOn(*makeNativeMachine(options.root.native()), process, options, preferences);
    auto loaded = DescribedMachine::load(options.machine, process.clock);
    if (const auto* fault = std::get_if<MachineFault>(&loaded)) return complain(fault->message);
    return runOn(*std::get<std::unique_ptr<DescribedMachine>>(loaded), process, options, preferences);
}

}  // namespace
}  // namespace zqm

int main(int argc, char** argv) {
    return zqm::run(argc, argv);
}

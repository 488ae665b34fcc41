#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Client/ExitStatus.h"
#include "Client/HelperClient.h"
#include "Platform/Process/UserDefaults.h"
#include "Platform/UserServices.h"
#include "ZQMHelper/Shared/SettingsStore.h"
#include "ZQMHelper/UsualPort.h"

namespace CLI {
class App;
}

/// The commands of `zephlon`: each is declared to the parser of the command line, and leaves in the invocation what to
/// do when it was the one asked for. Main thread only.
namespace zqm {

/// What the command line asked for.
struct Invocation {
    std::uint16_t port = usualPort;
    std::string root = "/";  // of the machine that the helper reads
    std::function<ExitStatus()> command;
};

void declareStatus(CLI::App& app, Invocation& invocation);
void declareTop(CLI::App& app, Invocation& invocation);
void declareDiagnostics(CLI::App& app, Invocation& invocation);
void declareSources(CLI::App& app, Invocation& invocation);
void declareBar(CLI::App& app, Invocation& invocation);
void declareDefaults(CLI::App& app, Invocation& invocation);
void declareMetrics(CLI::App& app, Invocation& invocation);
void declareExporter(CLI::App& app, Invocation& invocation);
void declareHistory(CLI::App& app, Invocation& invocation);
void declareWeb(CLI::App& app, Invocation& invocation);
void declareWatch(CLI::App& app, Invocation& invocation);

// What they share.

/// One line on standard error, whatever the message holds; returns `status`.
ExitStatus complain(std::string message, ExitStatus status);

/// Says that `place` cannot be written, unless it is a reader that has seen enough, as `head`.
ExitStatus cannotWrite();

/// Prints the text, or says that it cannot.
ExitStatus printed(const std::string& text);

UserServices& userServices();
StoredDefaults& userDefaults();

/// The user's preferences as the helper would read them at its next start; says on standard error what of their file
/// cannot be used. The same object as long as the file has not changed.
std::shared_ptr<const SettingsStore> readSettings();

/// Asks the helper for its sample of now, without the processes that have ended since on this machine.
std::function<HelperAnswer()> questionOfNow(const Invocation& invocation, Seconds interval);

/// The rows of a ranking that the user wants, 1 to 10: all ten where nothing is stored.
std::size_t rankingRows();

}  // namespace zqm

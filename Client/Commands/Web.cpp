#include <unistd.h>

#include <CLI/CLI.hpp>

#include "Client/Commands/Commands.h"
#include "Client/History/HistoryKeeper.h"
#include "Client/Sources.h"
#include "Client/StateFolder.h"
#include "Client/Texts.h"
#include "Client/Web/WebDoor.h"
#include "Client/Web/WebServer.h"
#include "Platform/Posix/AsioListener.h"
#include "Platform/Posix/AsioMainLoop.h"
#include "Platform/Posix/LocalClient.h"
#include "Platform/Posix/PosixClock.h"
#include "Platform/Posix/PosixCommands.h"
#include "Platform/Posix/PosixProcess.h"
#include "Platform/Posix/ThreadQueues.h"

namespace zqm {
namespace {

struct Options {
    std::string listen = "127.0.0.1:9933";
    bool opens = false;
    bool tellsUrl = false;
};

/// Shows the page in the user's browser; false where there is no program for that. The shell leaves it to itself: where
/// no desktop runs the opener becomes the browser, which must outlive this.
bool openPage(const Folder& folder) {
    const auto opener = findProgram(documentOpener());
    if (!opener) return false;
    const auto shell =
        PosixCommands().launch("/bin/sh", {"-c", "\"$0\" \"$1\" >/dev/null 2>&1 &", *opener, webDoorPage(folder)});
    if (shell) shell->read(Seconds(10));
    return shell != nullptr;
}

/// Of a server that runs already.
ExitStatus showRunning(const Options& options, const Folder& folder, const WebAccess& running) {
    if (options.tellsUrl) return printed(webUrl(running) + "\n");
    if (!options.opens) {
        return complain(said("it runs already; zephlon web --open shows it, --url prints its address"),
                        ExitStatus::failure);
    }
    if (openPage(folder)) return ExitStatus::success;
    return complain(
        said("there is no {} to open a browser with; open {}", std::string(documentOpener()), webUrl(running)),
        ExitStatus::failure);
}

std::string tableOfSources() {
    PosixCommands commands;
    auto table = sourcesTable(commands);
    auto* const error = std::get_if<SourcesError>(&table);
    return error ? error->message : std::get<std::string>(std::move(table));
}

void announce(const WebAccess& access, Log& log) {
    // A log is read by more people than a terminal.
    const bool isSeenByUser = ::isatty(STDOUT_FILENO) == 1;
    log.print("zephlon: " + (isSeenByUser ? said("serving {}", webUrl(access))
                                          : said("serving {}; zephlon web --open shows it",
                                                 "http://" + access.address.text() + "/")));
    if (access.address.isLoopback()) return;
    log.print("zephlon: " + said("whoever reads along on the network learns the key to {} and the figures, since "
                                 "nothing is encrypted; ssh -L is the safe way",
                                 access.address.text()));
}

ExitStatus serve(const Invocation& invocation, const Options& options, Folder* folder, ListenAddress address) {
    raiseDescriptorLimit();
    shareOneHeap();
    Log& log = userServices().log();
    PosixClock clock;
    AsioMainLoop mainLoop;
    ThreadQueues queues;
    AsioNetworkListener listener(address.host);
    const auto settings = readSettings();
    const Seconds interval(std::max(settings->updateInterval(), 1.0));
    HistoryKeeper history(historyFolder(invocation.port), log);
    ThisMachine machine(invocation.root);
    WebServer server({questionOfNow(invocation, interval),
                      [&machine](const SystemSnapshot& sample) { return machine.factsBeside(sample); }, tableOfSources},
                     history, *settings, interval, {listener, queues, mainLoop, log, clock});
    const std::string key = newSecret();
    if (const auto error = server.start({address, key})) {
        return complain(said("cannot listen on {}: {}", address.text(), *error), ExitStatus::failure);
    }
    address.port = listener.port();
    const WebAccess access{address, key};
    std::optional<WebDoor> door;
    if (folder) door.emplace(*folder, access);
    if (door && door->problem()) log.print("zephlon: " + said("cannot write {}", *door->problem()));
    announce(access, log);
    if (options.opens && folder && !openPage(*folder)) {
        complain(said("there is no {} to open a browser with; open {}", std::string(documentOpener()),
                      "http://" + address.text() + "/"),
                 ExitStatus::failure);
    }
    mainLoop.run();
    return ExitStatus::success;
}

ExitStatus web(const Invocation& invocation, const Options& options) {
    const auto folder = stateFolder(invocation.port);
    const auto door = folder ? openWebDoor(*folder) : std::nullopt;
    // Of one that cannot be asked only its file is known.
    const bool wantsRunning = options.opens || options.tellsUrl;
    if (door && (isAskable(door->address) ? askWeb(*door, "/api/now").has_value() : wantsRunning))
        return showRunning(options, *folder, *door);
    if (options.tellsUrl) return complain(said("zephlon web does not run"), ExitStatus::failure);
    return serve(invocation, options, folder.get(), *parseListenAddress(options.listen));
}

}  // namespace

void declareWeb(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("web", "Keeps a history, and shows it with the machine live in a browser");
    auto options = std::make_shared<Options>();
    command->add_option("--listen", options->listen, "Address to serve on")
        ->option_text("ADDRESS:PORT")
        ->check(listenAddressFault)
        ->capture_default_str();
    command->add_flag("--open", options->opens, "Show the page in a browser, of the server that runs if one does");
    command->add_flag("--url", options->tellsUrl, "Print the address of the server that runs, with its key");
    command->footer(
        "The key in the address lets whoever has it see the figures until the server ends.\n"
        "From another machine: ssh -L 9933:127.0.0.1:9933 HOST, then open what zephlon web --url prints there.\n"
        "The history is kept in $XDG_STATE_HOME/zephlon (~/.local/state/zephlon).");
    command->callback(
        [&invocation, options] { invocation.command = [&invocation, options] { return web(invocation, *options); }; });
}

}  // namespace zqm

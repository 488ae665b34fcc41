#include "Platform/Posix/LocalClient.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif

#include "Platform/Posix/Descriptor.h"
#include "Platform/Posix/Problem.h"
#include "Support/Text.h"

namespace zqm {
namespace {

using Outcome = LocalReply::Outcome;
using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t mostFile = 16384;

/// One exchange with its deadline.
class Exchange {
public:
    Exchange(int socket, Seconds time)
        : socket_(socket), deadline_(SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(time)) {}

    /// Waits until the socket is ready for `events`; false when the time is over.
    bool wait(short events) const {
        pollfd watched{socket_, events, 0};
        int ready;
        do {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - SteadyClock::now()).count();
            ready = ::poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(left, 0)));
        } while (ready < 0 && errno == EINTR);
        return ready > 0;
    }

    std::optional<Outcome> connect(const sockaddr_in& address) const {
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return std::nullopt;
        if (errno == EINPROGRESS) {
            if (!wait(POLLOUT)) return Outcome::silent;
            socklen_t size = sizeof errno;
            ::getsockopt(socket_, SOL_SOCKET, SO_ERROR, &errno, &size);
            if (errno == 0) return std::nullopt;
        }
        return errno == ECONNREFUSED ? Outcome::absent : Outcome::broken;
    }

    std::optional<Outcome> send(std::string_view request) const {
        while (!request.empty()) {
            if (!wait(POLLOUT)) return Outcome::silent;
            const auto sent = ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL);
            if (sent > 0) request.remove_prefix(static_cast<std::size_t>(sent));
            if (sent < 0 && errno != EAGAIN && errno != EINTR) return Outcome::broken;
        }
        return std::nullopt;
    }

    Outcome receive(std::string& bytes, std::size_t mostBytes) const {
        std::array<char, 16384> block;
        for (;;) {
            if (!wait(POLLIN)) return Outcome::silent;
            const auto count = ::recv(socket_, block.data(), block.size(), 0);
            if (count == 0) return Outcome::complete;
            if (count < 0 && (errno == EAGAIN || errno == EINTR)) continue;
            if (count < 0) return Outcome::broken;
            if (bytes.size() + static_cast<std::size_t>(count) > mostBytes) return Outcome::tooLarge;
            bytes.append(block.data(), static_cast<std::size_t>(count));
        }
    }

private:
    const int socket_;
    const SteadyClock::time_point deadline_;
};

/// An address and port as the kernel's tables of sockets write them, word by word as they lie in memory.
std::string place(std::initializer_list<std::uint32_t> address, std::uint16_t port) {
    std::string text;
    std::array<char, 16> word;
    for (const std::uint32_t part : address) {
        text.append(word.data(), static_cast<std::size_t>(std::snprintf(word.data(), word.size(), "%08X", part)));
    }
    return text.append(word.data(), static_cast<std::size_t>(std::snprintf(word.data(), word.size(), ":%04X", port)));
}

/// Why nothing may be sent to 127.0.0.1:`port`: whoever can bind the port would be sent the user's secrets. nullopt too
/// where the kernel has no table. One that tells of no listener any more is not taken for silence, since it may have
/// gone on purpose.
std::optional<Outcome> refusalAt(std::uint16_t port) {
    constexpr std::string_view listening = "0A";
    const std::uint32_t loopback = htonl(INADDR_LOOPBACK);
    // A socket of the other family takes the connection where none of this one does.
    const std::array<std::pair<const char*, std::set<std::string>>, 2> tables{
        {{"/proc/net/tcp", {place({loopback}, port), place({0}, port)}},
         {"/proc/net/tcp6", {place({0, 0, htonl(0xFFFF), loopback}, port), place({0, 0, 0, 0}, port)}}}};
    bool isTold = false;
    for (const auto& [table, places] : tables) {
        std::ifstream rows(table);
        for (std::string row; std::getline(rows, row); isTold = true) {
            std::array<std::string_view, 8> words;  // number, address, peer, state, queues, timer, repetitions, user
            std::string_view rest = row;
            for (std::string_view& word : words) word = takeWord(rest);
            if (words[3] != listening || !places.contains(std::string(words[1]))) continue;
            return parseUnsigned(words[7]) == ::geteuid() ? std::nullopt : std::optional(Outcome::foreign);
        }
    }
    return isTold ? std::optional(Outcome::absent) : std::nullopt;
}

OwnFile refused(std::string problem, bool isMissing = false) {
    return {std::nullopt, std::move(problem), isMissing};
}

/// The file that this process runs; empty when the system does not tell.
std::filesystem::path ownExecutable() {
    std::error_code ignored;
#if defined(__APPLE__)
    std::array<char, 4096> path{};
    std::uint32_t size = path.size();
    if (::_NSGetExecutablePath(path.data(), &size) != 0) return {};
    return std::filesystem::canonical(path.data(), ignored);
#else
    return std::filesystem::read_symlink("/proc/self/exe", ignored);
#endif
}

bool isProgram(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(file, ignored) && ::access(file.c_str(), X_OK) == 0;
}

}  // namespace

LocalReply askLoopback(std::uint16_t port, std::string_view request, Seconds time, std::size_t mostBytes) {
    LocalReply reply{Outcome::broken, {}};
    const Descriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
    if (!socket || ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0) return reply;
    ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const Exchange exchange(socket.get(), time);
    auto failure = exchange.connect(address);
    if (!failure) failure = refusalAt(port);
    if (!failure) failure = exchange.send(request);
    reply.outcome = failure ? *failure : exchange.receive(reply.bytes, mostBytes);
    return reply;
}

OwnFile readOwnFile(const std::string& file) {
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!opened) return refused(problemWith(file, errno), errno == ENOENT);
    struct stat facts {};
    if (::fstat(opened.get(), &facts) != 0) return refused(problemWith(file, errno));
    if (!S_ISREG(facts.st_mode)) return refused(file + ": not a regular file");
    if (facts.st_uid != ::geteuid()) return refused(file + ": belongs to another user");
    std::array<char, mostFile> block;
    const auto count = ::read(opened.get(), block.data(), block.size());
    if (count < 0) return refused(problemWith(file, errno));
    if (count == mostFile) return refused(file + ": too large");
    return {std::string(block.data(), static_cast<std::size_t>(count)), {}, false};
}

std::optional<std::string> findProgram(std::string_view name) {
    const auto beside = ownExecutable().replace_filename(name);
    if (beside.is_absolute() && isProgram(beside)) return beside.string();
    const char* variable = std::getenv("PATH");
    std::string_view folders = variable ? variable : "";
    while (!folders.empty()) {
        const auto file = std::filesystem::path(takeUntil(folders, ':')) / name;
        if (file.is_absolute() && isProgram(file)) return file.string();
    }
    return std::nullopt;
}

bool isUnderSudo() {
    const char* const user = std::getenv("SUDO_UID");
    return ::geteuid() == 0 && user && std::string_view(user) != "0";
}

}  // namespace zqm

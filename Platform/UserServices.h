#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zqm {

class Folder;
class Log;
class StoredDefaults;
class SystemSettings;

/// What each system keeps for the user of a process in a way of its own.
class UserServices {
public:
    virtual ~UserServices() = default;
    // They live as long as this.
    virtual StoredDefaults& userDefaults() = 0;
    virtual SystemSettings& systemSettings() = 0;
    virtual Log& log() = 0;
    /// The preferences as they are kept at the time of the call, for who follows their changes.
    virtual std::unique_ptr<StoredDefaults> readDefaults() = 0;
    /// Another text whenever they have changed; nullopt: the system does not say so.
    virtual std::optional<std::string> defaultsState() = 0;
};

/// Those of the system that the program runs on; the backend that is linked in supplies them. Main thread.
std::unique_ptr<UserServices> makeUserServices();

/// The command that starts the helper as this user's service; empty where none is installed. Any thread.
std::string serviceStartCommand();

/// Where the helper keeps what it shares with the programs of its group; nullopt when the user has no such place. Makes
/// nothing. Any thread.
std::optional<std::string> sharedContainerPath(std::string_view identifier);

/// The folder of that name in which programs keep for this user what they would rather not lose; null without a home
/// directory. Any thread.
std::unique_ptr<Folder> userState(std::string_view name);

/// 128 random bits as 32 hexadecimal digits. Any thread.
std::string newSecret();

/// The program that shows a document in what the user has chosen for its kind, to be looked for on PATH.
std::string_view documentOpener();

}  // namespace zqm

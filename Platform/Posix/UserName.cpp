#include "Platform/Posix/UserName.h"

#include <pwd.h>

#include <array>

namespace zqm {

std::string userName(uid_t user) {
    std::array<char, 4096> buffer;
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found);
    return found ? found->pw_name : std::to_string(user);
}

}  // namespace zqm

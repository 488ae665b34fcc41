#pragma once

#include <sys/types.h>

#include <string>

namespace zqm {

/// The name of a user as the system's list of them has it, else the number.
std::string userName(uid_t user);

}  // namespace zqm

#pragma once

#include <string>
#include <system_error>

namespace zqm {

/// What went wrong with a file, for a person: "PATH: No space left on device". `error` is a value of errno.
inline std::string problemWith(const std::string& path, int error) {
    return path + ": " + std::generic_category().message(error);
}

}  // namespace zqm

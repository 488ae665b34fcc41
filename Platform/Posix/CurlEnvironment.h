#pragma once

#include <string>
#include <vector>

namespace zqm {

/// What in the variables that libcurl's transfers follow will keep every one of them from working: a line each, none
/// with the text of a proxy's variable, which may hold a password. Looks at ZQM_CA_FILE's file.
std::vector<std::string> curlEnvironmentObstacles();

}  // namespace zqm

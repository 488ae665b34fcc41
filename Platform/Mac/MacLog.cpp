#include "Platform/Mac/MacLog.h"

#include <syslog.h>

#include <algorithm>

namespace zqm {

void MacLog::system(std::string_view line) {
    constexpr std::size_t longest = 1024;  // bytes; the log would cut it there
    ::syslog(LOG_USER | LOG_DEBUG, "%.*s", static_cast<int>(std::min(line.size(), longest)), line.data());
}

}  // namespace zqm

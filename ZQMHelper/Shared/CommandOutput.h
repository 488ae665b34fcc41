#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Machine/ProcessTable.h"

namespace zqm {

/// The rows of "/bin/ps -Aceo pcpu=,pid=,rss=,comm=" in their order: percent, pid, KiB, name to the end of the line. A
/// line that does not hold these is dropped.
std::vector<ProcessRow> parseProcessRows(std::string_view output);

/// How many lines of "/usr/sbin/lsof -i -nP +c 0" each pid has, by the order of their first lines; the name is that of
/// the last.
std::vector<SocketOwner> parseSocketOwners(std::string_view output);

/// A command name as lsof prints it, its escapes "\xHH" turned back into bytes and what is not UTF-8 then repaired. A
/// text without any comes back unchanged.
std::string unescapeLsofName(std::string_view name);

}  // namespace zqm

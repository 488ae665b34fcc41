#pragma once

#include "Platform/IOReport.h"

namespace zqm {

/// The counter library as Linux presents it.
class LinuxIOReport final : public IOReport {
public:
    ReportLibrary* open(std::string_view path) override;
};

}  // namespace zqm

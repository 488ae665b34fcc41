#pragma once

#include <unistd.h>

#include "Support/UniqueHandle.h"

namespace zqm {

struct DescriptorTraits {
    using Value = int;
    static constexpr Value none = -1;
    static void release(Value descriptor) noexcept { ::close(descriptor); }
};

/// An open file descriptor, closed when it is dropped.
using Descriptor = UniqueHandle<DescriptorTraits>;

}  // namespace zqm

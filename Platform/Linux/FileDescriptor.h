#pragma once

#include <unistd.h>

#include "Support/UniqueHandle.h"

namespace zqm {

struct FileDescriptorTraits {
    using Value = int;
    static constexpr Value none = -1;
    static void release(Value descriptor) noexcept { ::close(descriptor); }
};
using FileDescriptor = UniqueHandle<FileDescriptorTraits>;

}  // namespace zqm

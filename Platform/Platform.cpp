#include "Platform/Platform.h"

#include <cassert>
#include <utility>

namespace zqm {
namespace {

Platform* currentPlatform = nullptr;

}  // namespace

Platform& Platform::current() {
    assert(currentPlatform && "main makes a platform current first");
    return *currentPlatform;
}

bool Platform::hasCurrent() {
    return currentPlatform != nullptr;
}

ScopedPlatform::ScopedPlatform(Platform& platform) : previous_(std::exchange(currentPlatform, &platform)) {}

ScopedPlatform::~ScopedPlatform() {
    currentPlatform = previous_;
}

}  // namespace zqm

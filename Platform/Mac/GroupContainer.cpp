#include "Platform/Mac/GroupContainer.h"

#include <utility>

#include "Platform/Mac/CoreValues.h"
#include "Platform/Mac/Libraries/ObjectiveC.h"
#include "Platform/Posix/UserDirectories.h"

namespace zqm {
namespace {

/// Methods give objects that end with the pool.
class Pool {
public:
    explicit Pool(const ObjectiveC& calls) : calls_(calls), pool_(calls.objc_autoreleasePoolPush()) {}
    ~Pool() { calls_.objc_autoreleasePoolPop(pool_); }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    /// Null from a null receiver, as the system has it.
    void* send(void* receiver, const char* selector, const void* argument = nullptr) const {
        return receiver ? calls_.objc_msgSend(receiver, calls_.sel_registerName(selector), argument) : nullptr;
    }

private:
    const ObjectiveC& calls_;
    void* pool_;
};

}  // namespace

std::optional<std::string> groupContainer(DynamicLibraries& libraries, std::string_view identifier) {
    const CoreFoundation core(libraries);
    const ObjectiveC calls(libraries);
    if (!core.isWhole() || !calls.isWhole() || !libraries.open(foundationPath)) return std::nullopt;
    const CFOwned name = makeText(core, identifier);
    if (!name) return std::nullopt;
    const Pool pool(calls);
    void* manager = pool.send(calls.objc_getClass("NSFileManager"), "defaultManager");
    void* url = pool.send(manager, "containerURLForSecurityApplicationGroupIdentifier:", name.get());
    auto path = textOf(core, pool.send(url, "path"));  // both kinds of text are one there
    return path && path->starts_with('/') ? std::move(path) : std::nullopt;
}

SharedContainer MacSettings::sharedContainer(std::string_view identifier) {
    auto container = groupContainer(libraries_, identifier);
    if (!container) return {std::nullopt, "the system tells of no container for it"};
    if (auto problem = makePrivateDirectory(*container)) return {std::nullopt, std::move(*problem)};
    return {std::move(container), {}};
}

}  // namespace zqm

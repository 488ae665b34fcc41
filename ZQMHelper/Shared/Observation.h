#pragma once

#include <functional>
#include <string_view>
#include <utility>

namespace zqm {

/// Tells one observer which properties of an object are read and which have changed. Not locked: belongs to the thread
/// of the object.
class ObservationRegistrar {
public:
    using Hook = std::function<void(std::string_view property)>;

    void onAccess(Hook hook) { accessed_ = std::move(hook); }
    void onChange(Hook hook) { changed_ = std::move(hook); }

    void access(std::string_view property) const {
        if (accessed_) accessed_(property);
    }
    /// Runs `mutation` and announces the change after it.
    template <class Mutation>
    void withMutation(std::string_view property, Mutation&& mutation) {
        std::forward<Mutation>(mutation)();
        if (changed_) changed_(property);
    }

private:
    Hook accessed_;
    Hook changed_;
};

}  // namespace zqm

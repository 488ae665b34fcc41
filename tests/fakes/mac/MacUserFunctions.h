#pragma once

#include <map>
#include <set>
#include <string>

#include "Platform/Mac/Libraries/ObjectiveC.h"
#include "Platform/Mac/Libraries/Preferences.h"
#include "tests/fakes/mac/MacDouble.h"

namespace zqm {

/// What a Mac keeps for its user: preferences by "domain key", and a container for each application group.
struct MacUserFunctions : MacFunctions {
    static inline std::map<std::string, PropertyValue> preferences;
    static inline Handle pool = 0;

    static std::string place(CFTypeRef key, CFTypeRef domain) {
        return valueOf<std::string>(domain) + " " + valueOf<std::string>(key);
    }
    static CFTypeRef CFPreferencesCopyAppValue(CFTypeRef key, CFTypeRef domain) {
        const auto found = preferences.find(place(key, domain));
        return found == preferences.end() ? nullptr : make(found->second);
    }
    static void CFPreferencesSetAppValue(CFTypeRef key, CFTypeRef value, CFTypeRef domain) {
        if (value) preferences[place(key, domain)] = at(value).value;
        if (!value) preferences.erase(place(key, domain));
    }
    static CFFlag CFPreferencesAppSynchronize(CFTypeRef domain) { return !valueOf<std::string>(domain).empty(); }
    static constexpr char kCFTypeArrayCallBacks = 3;
    static CFTypeRef CFArrayCreate(CFTypeRef, const CFTypeRef* values, CFIndex count, const void* callBacks) {
        require(callBacks == &kCFTypeArrayCallBacks, "elements that nobody keeps");
        PropertyArray array;
        for (CFIndex i = 0; i < count; ++i) array.push_back(at(values[i]).value);
        return make(array);
    }

    static void* pointer(CFTypeRef object) { return const_cast<void*>(object); }
    static void* objc_autoreleasePoolPush() { return pointer(refOf(pool = now->add({"pool"}))); }
    static void objc_autoreleasePoolPop(void* pushed) { now->release(handleOf(pushed)); }
    static void* objc_getClass(const char* name) { return pointer(lend(refOf(pool), std::string(name))); }
    static void* sel_registerName(const char* name) { return pointer(lend(refOf(pool), std::string(name))); }
    static void* objc_msgSend(void* receiver, void* selector, const void* argument) {
        const auto method = valueOf<std::string>(receiver) + " " + valueOf<std::string>(selector);
        if (method == "NSFileManager defaultManager") return receiver;
        if (method == "NSFileManager containerURLForSecurityApplicationGroupIdentifier:") {
            return pointer(lend(refOf(pool), "/tmp/containers/" + valueOf<std::string>(argument)));
        }
        require(method.starts_with("/tmp/") && method.ends_with(" path"), "a method that is not known");
        return receiver;
    }
};

}  // namespace zqm

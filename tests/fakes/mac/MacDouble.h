#pragma once

#include <array>
#include <functional>
#include <istream>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Apple/PropertyValue.h"
#include "Platform/Mac/MacMachine.h"

namespace zqm {

using Handle = std::uintptr_t;  // a number that is never used again, so that none is taken for another

/// What a handle stands for. `kind` says who gives it back and what `of` points at.
struct MacObject {
    std::string kind{};
    PropertyValue value{};        // what an object of CoreFoundation is, but for what is in it
    std::shared_ptr<void> of{};   // of the seam
    std::vector<Handle> parts{};  // owned: elements, keys and values in turn, what was lent
    int state = 0;
};

/// A described machine as it looks through a Mac's libraries and the backend that reads them. The C functions of these
/// libraries answer from the machine and know nothing else. They count what they hand out and what is given back; that
/// all of it was, and nothing misused, is expected at the end. One at a time, on one thread.
class MacDouble final : public Machine, public DynamicLibraries {
public:
    /// `prepare` may spoil the libraries before they are opened.
    MacDouble(Machine& described, Clock& clock, const std::function<void(MacDouble&)>& prepare = nullptr);
    ~MacDouble() override;
    MachineServices services() override;
    MachineDetails* details() override { return backend_->details(); }
    void* open(const char* path) override;
    void* find(void* library, const char* symbol) override;
    /// The paths of all libraries that a machine is read through, the names of their functions and variables.
    static std::vector<std::string> symbols();

    std::set<std::string, std::less<>> missing;                      // those of them that this system lacks
    std::function<bool(std::string_view symbol)> failing = nullptr;  // asked in each call that may fail
    bool isIntel = false;
    std::array<double, 3> loadAverages{1.5, 0.75, 0.25};
    std::vector<FileSystemRecord> fileSystems;
    std::map<std::vector<int>, Bytes> numbered;  // the kernel's values by their numbers, beside the interfaces

    void mount(std::string_view type, std::string_view source, std::string_view point, unsigned flags, int blocks);
    /// A process that began at 12.000005 s and is user 4000000001's, with what its record of arguments holds.
    void run(int pid, std::string_view arguments);
    /// What the lines of kernel-tables.txt tell, which explains itself.
    void addTables(std::istream&& lines);

    // For the functions.
    bool fails(std::string_view symbol) const { return failing && failing(symbol); }
    Handle add(MacObject object) { return live.emplace(++last_, std::move(object)).first->first; }
    MacObject& at(Handle handle, std::string_view kind) {
        const auto found = live.find(handle);
        const bool isThere = found != live.end() && (kind.empty() || found->second.kind == kind);
        if (!isThere) throw std::logic_error("not a live " + std::string(kind));
        return found->second;
    }
    void giveBack(Handle handle, std::string_view kind) {
        const auto found = live.find(handle);
        const bool isThere = found != live.end() && !found->second.kind.empty();
        isThere&& kind.find(found->second.kind) != kind.npos
            ? void(live.erase(found))
            : mistakes.push_back("not given back as a " + std::string(kind));
    }
    /// Gives back an object of CoreFoundation with what belongs to it.
    void release(Handle handle) {
        const auto found = live.find(handle);
        constexpr std::string_view others = "entry iterator connection port page addresses";
        const bool isThere =
            found != live.end() && (found->second.kind.empty() || others.find(found->second.kind) == others.npos);
        if (!isThere) return mistakes.push_back("released what is none of the caller's");
        for (const auto node = live.extract(found); const Handle part : node.mapped().parts) release(part);
    }
    Handle make(const PropertyValue& value) {
        MacObject object{"", value};
        if (const auto* array = std::get_if<PropertyArray>(&value)) {
            for (const auto& element : *array) object.parts.push_back(make(element));
        } else if (const auto* dictionary = asDictionary(&value)) {
            for (const auto& [key, member] : *dictionary) {
                object.parts.insert(object.parts.end(), {make(key), make(member)});
            }
        }
        return add(std::move(object));
    }

    MachineServices machine;
    std::map<std::string, Bytes> asked;  // values whose size was asked for
    ReportLibrary* reports = nullptr;
    Handle bundle = 0;
    std::map<Handle, MacObject> live;
    std::vector<std::string> mistakes;

private:
    Handle last_ = 0x1000;
    std::unique_ptr<MacMachine> backend_;
};

/// What the functions of the libraries, which C calls without a context, answer from.
struct MacFunctions {
    static inline MacDouble* now = nullptr;

    static Handle handleOf(const void* object) { return reinterpret_cast<Handle>(object); }
    static CFTypeRef refOf(Handle handle) { return reinterpret_cast<CFTypeRef>(handle); }
    static CFTypeRef add(MacObject object) { return refOf(now->add(std::move(object))); }
    static CFTypeRef make(const std::optional<PropertyValue>& value) {
        return value ? refOf(now->make(*value)) : nullptr;
    }
    static MacObject& at(CFTypeRef object, std::string_view kind = "") { return now->at(handleOf(object), kind); }
    template <class Type>
    static Type& valueOf(CFTypeRef object) {
        return std::get<Type>(at(object).value);
    }
    /// What the object of this kind stands for in the seam.
    template <class Type>
    static Type& seamOf(Handle handle, std::string_view kind) {
        return *static_cast<Type*>(now->at(handle, kind).of.get());
    }
    template <class Type>
    static std::shared_ptr<void> shared(std::unique_ptr<Type> of) {
        return std::shared_ptr<Type>(std::move(of));
    }
    /// Makes a value that belongs to `owner`.
    static CFTypeRef lend(CFTypeRef owner, const std::optional<PropertyValue>& value) {
        return value ? refOf(at(owner).parts.emplace_back(now->make(*value))) : nullptr;
    }
    static void require(bool condition, const char* what) {
        if (!condition) throw std::logic_error(what);
    }
    /// Hands out what the kernel keeps: entries, iterators, connections, ports.
    static KernelReturn give(MachPort* out, const char* kind, std::shared_ptr<void> of) {
        *out = of ? static_cast<MachPort>(now->add({kind, {}, of})) : 0;
        return of ? 0 : 5;
    }
};

}  // namespace zqm

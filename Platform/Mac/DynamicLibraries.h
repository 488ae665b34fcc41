#pragma once

namespace zqm {

/// Opens the system's libraries at run time: what this system lacks costs those who need it, not the program's start.
/// Callable from any thread.
class DynamicLibraries {
public:
    virtual ~DynamicLibraries() = default;
    /// The library at `path`, which stays open for ever; null when it cannot be opened.
    virtual void* open(const char* path) = 0;
    /// The address of a function or variable; null when the library has none of that name.
    virtual void* find(void* library, const char* symbol) = 0;
};

}  // namespace zqm

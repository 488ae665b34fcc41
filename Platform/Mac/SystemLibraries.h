#pragma once

#include <dlfcn.h>

#include <string_view>

#include "Platform/Mac/DynamicLibraries.h"

namespace zqm {

/// The libraries of the system that the program runs on.
struct SystemLibraries final : DynamicLibraries {
    void* open(const char* path) override { return ::dlopen(path, RTLD_LAZY); }
    void* find(void* library, const char* symbol) override {
        // On Intel's processors the plain name is that of older records, whose inodes have 32 bits.
        void* const wide = std::string_view(symbol) == "getfsstat" ? ::dlsym(library, "getfsstat$INODE64") : nullptr;
        return wide ? wide : ::dlsym(library, symbol);
    }
};

}  // namespace zqm

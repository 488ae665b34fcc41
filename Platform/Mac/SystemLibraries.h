#pragma once

#include <dlfcn.h>

#include "Platform/Mac/DynamicLibraries.h"

namespace zqm {

/// The libraries of the system that the program runs on.
struct SystemLibraries final : DynamicLibraries {
    void* open(const char* path) override { return ::dlopen(path, RTLD_LAZY); }
    void* find(void* library, const char* symbol) override { return ::dlsym(library, symbol); }
};

}  // namespace zqm

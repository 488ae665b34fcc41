#pragma once

#include <string>
#include <type_traits>

#include "Platform/Mac/DynamicLibraries.h"

namespace zqm {

/// What tables of a library's functions share. Immutable once made.
class CallTable {
public:
    bool isWhole() const { return missing_.empty(); }
    /// What this system lacks, for a person: the library, or the first of its symbols; empty when the table is whole.
    const std::string& missing() const { return missing_; }

protected:
    CallTable(DynamicLibraries& libraries, const char* path) : library_(libraries.open(path)) {
        if (!library_) missing_ = std::string(path) + " cannot be opened";
    }
    template <class Symbol>
    void find(DynamicLibraries& libraries, const char* symbol, Symbol*& slot) {
        if (library_) slot = reinterpret_cast<Symbol*>(libraries.find(library_, symbol));
        if (!slot && missing_.empty()) missing_ = "there is no " + std::string(symbol);
    }

private:
    void* library_;
    std::string missing_;
};

}  // namespace zqm

/// A table of pointers to what `SYMBOLS` lists, as SYMBOL(name, type), in the library at `place`: `table.name(…)` calls
/// it. A symbol that is missing is null. Whoever stands in for the library is checked against the same list.
// clang-format off
#define ZQM_CALL_TABLE(Table, place, SYMBOLS)                                                                 \
    struct Table : CallTable {                                                                                \
        static constexpr const char* path = place;                                                            \
        explicit Table(DynamicLibraries& libraries, const char* at = path) : CallTable(libraries, at) {       \
            SYMBOLS(ZQM_FIND_SYMBOL)                                                                          \
        }                                                                                                     \
        SYMBOLS(ZQM_SYMBOL_SLOT)                                                                              \
    }
#define ZQM_FIND_SYMBOL(name, ...) find(libraries, #name, name);
#define ZQM_SYMBOL_SLOT(name, ...) std::add_pointer_t<__VA_ARGS__> name = nullptr;
// clang-format on

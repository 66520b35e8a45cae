// Internals of the crash report: the module list and symbol table that the
// handler reads, the formatter it writes with, and the seam through which
// tests send the report file into a directory of their own.
#ifndef QORBASIC_SRC_PANIC_PANIC_INTERNAL_H
#define QORBASIC_SRC_PANIC_PANIC_INTERNAL_H

#include <cstddef>
#include <cstdint>

// One loaded module, as the dynamic linker listed it when the library was
// loaded. Records are never freed.
struct panic_module {
    uint32_t number;  // position in the dynamic linker's list, from 0
    bool used;        // a frame of the report resolved to this module
    uintptr_t base;   // load address
    const char* name;
    panic_module* next;
    uintptr_t strtab;
    uintptr_t symtab;
    uintptr_t hash;
    uint64_t strsz;
    uint64_t syment;
    uintptr_t gnu_hash;  // DT_GNU_HASH, which counts the symbols where DT_HASH is missing
};

// One symbol: its address is value + module->base, its name text + offset.
struct panic_symbol {
    panic_module* module;
    uint64_t value;
    const char* text;
    uint64_t offset;
};

namespace qor {
namespace detail {

// Builds the module list (once) and arms the handler; the library's last
// static initialiser calls it.
void panic_init();
void panic_arm_handler();

// Head of the module list, last module of the dynamic linker's list first.
panic_module* panic_modules();

// The entry for `address`: the entry with the greatest address at or below
// it, ties going to the entry that sorts first. The sorted table when it is
// built, else one pass over every module's symbols, which gives the same
// entry and needs no memory; the handler relies on that. Returns false
// before the module list exists.
bool panic_lookup(panic_symbol& out, uintptr_t address);
// The same through the pass over the symbols only, for tests to compare.
bool panic_lookup_by_walk(panic_symbol& out, uintptr_t address);
// Builds the sorted table if it is not built yet; thread-safe. Returns the
// number of entries, the sentinel included.
uint32_t panic_table_build();
const panic_symbol* panic_table();

inline const char* panic_symbol_name(const panic_symbol& entry) {
    return entry.text + entry.offset;
}

// The formatter: points at `buffer` (zeroing it), then appends formatted
// text, dropping what goes past the end. Not thread-safe: the handler is its
// only user once armed, under its mutex.
void panic_format_to(char* buffer, size_t size);
void panic_format(const char* format, ...);
// Where the next character would go.
char* panic_format_cursor();

// Redirects the report file to `directory` (no trailing "/") for tests;
// null brings back "/tmp". Call it before any crash, never from a handler.
void panic_set_report_dir(const char* directory);

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_PANIC_PANIC_INTERNAL_H

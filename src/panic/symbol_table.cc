// The module list and the symbol table of the crash report. The module list
// is taken from the dynamic linker when the library loads. The sorted table
// of every dynamic symbol (some ten thousand in a small C++ process) takes
// over a millisecond to build, ten times what arming may cost, so it is
// built on the first panic_resolve_sym instead of at every process start;
// the handler, when it finds no table, resolves its frames by one pass over
// the symbols, which gives the same entries without memory.
#include <elf.h>
#include <errno.h>
#include <execinfo.h>
#include <link.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <initializer_list>

#include "panic/panic_internal.h"
#include "qorbasic/panic.h"

namespace {

char null_text[] = "(null)";

// Owner of the sentinel, the table's first entry at address 0.
panic_module null_module = {0, false, 0, null_text, nullptr, reinterpret_cast<uintptr_t>(null_text),
                            0, 0,     0, 0,         0};
const panic_symbol sentinel = {&null_module, 0, null_text, 0};

panic_module* module_list = nullptr;
std::atomic<bool> ready{false};

pthread_mutex_t table_mutex = PTHREAD_MUTEX_INITIALIZER;
std::atomic<panic_symbol*> table{nullptr};
uint32_t table_count = 0;

uintptr_t address_of(const panic_symbol& entry) {
    return entry.value + entry.module->base;
}

// The order of the table: by address; among equal addresses the sentinel
// first, then by module number and name, so that the sorted table and the
// pass over the symbols settle ties alike.
bool sorts_before(const panic_symbol& a, const panic_symbol& b) {
    uintptr_t address_a = address_of(a);
    uintptr_t address_b = address_of(b);
    if (address_a != address_b) return address_a < address_b;
    if ((a.module == &null_module) != (b.module == &null_module)) return a.module == &null_module;
    if (a.module->number != b.module->number) return a.module->number < b.module->number;
    return qor::detail::panic_symbol_name(a) < qor::detail::panic_symbol_name(b);
}

// The dynamic linker hands out the tables as addresses.
template <class T>
const T* table_at(uintptr_t address) {
    return reinterpret_cast<const T*>(address);  // NOLINT(performance-no-int-to-ptr)
}

// Entries in a DT_GNU_HASH table: the highest symbol index of any bucket,
// followed along its chain to the end marker.
uint64_t gnu_hash_symbol_count(uintptr_t gnu_hash) {
    const uint32_t* header = table_at<uint32_t>(gnu_hash);
    const uint32_t bucket_count = header[0];
    const uint32_t symbol_offset = header[1];
    const uint32_t bloom_words = header[2];
    const uint32_t* buckets = reinterpret_cast<const uint32_t*>(
        reinterpret_cast<const uint64_t*>(header + 4) + bloom_words);
    const uint32_t* chain = buckets + bucket_count;
    uint32_t last = 0;
    for (uint32_t b = 0; b < bucket_count; ++b) {
        if (buckets[b] > last) last = buckets[b];
    }
    if (last < symbol_offset) return symbol_offset;
    while ((chain[last - symbol_offset] & 1) == 0) ++last;
    return static_cast<uint64_t>(last) + 1;
}

panic_module* make_module(const link_map* map, uint32_t number) {
    panic_module* module = static_cast<panic_module*>(calloc(1, sizeof(panic_module)));
    module->number = number;
    module->base = map->l_addr;
    module->name = map->l_name != nullptr && map->l_name[0] != '\0' ? map->l_name
                                                                    : program_invocation_short_name;
    for (const ElfW(Dyn)* dyn = map->l_ld; dyn != nullptr && dyn->d_tag != DT_NULL; ++dyn) {
        switch (dyn->d_tag) {
            case DT_HASH:
                module->hash = dyn->d_un.d_ptr;
                break;
            case DT_GNU_HASH:
                module->gnu_hash = dyn->d_un.d_ptr;
                break;
            case DT_STRTAB:
                module->strtab = dyn->d_un.d_ptr;
                break;
            case DT_SYMTAB:
                module->symtab = dyn->d_un.d_ptr;
                break;
            case DT_STRSZ:
                module->strsz = dyn->d_un.d_val;
                break;
            case DT_SYMENT:
                module->syment = dyn->d_un.d_val;
                break;
            default:
                break;
        }
    }
    // Some loaders (and the vDSO) leave these relative to the load address.
    for (uintptr_t* address :
         {&module->strtab, &module->hash, &module->symtab, &module->gnu_hash}) {
        if (*address != 0 && *address < module->base) *address += module->base;
    }
    return module;
}

// Entries of the module's symbol table, counted only when walked: that
// costs a pass over the GNU hash buckets, which no process start should pay.
uint64_t symbol_count(const panic_module* module) {
    if (module->hash != 0 && module->hash != module->base) {
        return table_at<uint32_t>(module->hash)[1];  // nchain
    }
    if (module->gnu_hash != 0 && module->gnu_hash != module->base) {
        return gnu_hash_symbol_count(module->gnu_hash);
    }
    // No hash table: linkers put the string table right behind the
    // symbols, which bounds the walk to the module's own table.
    if (module->strtab > module->symtab && module->syment != 0) {
        return (module->strtab - module->symtab) / module->syment;
    }
    return 0;
}

// Calls visit(entry) for each module and each defined, named symbol of each
// module in list order, until visit returns true.
template <class Visit>
void walk_symbols(Visit&& visit) {
    for (panic_module* module = module_list; module != nullptr; module = module->next) {
        if (visit(panic_symbol{module, 0, module->name, 0})) return;
        if (module->symtab == 0 || module->syment == 0) continue;
        const uint64_t count = symbol_count(module);
        for (uint64_t index = 0; index < count; ++index) {
            const ElfW(Sym)* symbol = table_at<ElfW(Sym)>(module->symtab + index * module->syment);
            if (symbol->st_name >= module->strsz) break;
            if (symbol->st_name == 0 || symbol->st_value == 0) continue;
            if (visit(panic_symbol{module, symbol->st_value, table_at<char>(module->strtab),
                                   symbol->st_name})) {
                return;
            }
        }
    }
}

// In-place heap sort: the table is sorted without any memory beyond itself
// (qsort may allocate a buffer of the table's size).
void sift_down(panic_symbol* entries, uint32_t root, uint32_t count) {
    for (;;) {
        uint32_t child = 2 * root + 1;
        if (child >= count) return;
        if (child + 1 < count && sorts_before(entries[child], entries[child + 1])) ++child;
        if (!sorts_before(entries[root], entries[child])) return;
        panic_symbol swap = entries[root];
        entries[root] = entries[child];
        entries[child] = swap;
        root = child;
    }
}

void heap_sort(panic_symbol* entries, uint32_t count) {
    for (uint32_t i = count / 2; i-- > 0;) sift_down(entries, i, count);
    for (uint32_t end = count; end-- > 1;) {
        panic_symbol swap = entries[0];
        entries[0] = entries[end];
        entries[end] = swap;
        sift_down(entries, 0, end);
    }
}

// Runs as the library's last static initialiser: the sources of this
// directory are linked after all others.
struct PanicInit {
    PanicInit() { qor::detail::panic_init(); }
} panic_init_at_load;

}  // namespace

namespace qor {
namespace detail {

void panic_init() {
    if (ready.load()) return;
    uint32_t number = 0;
    for (const link_map* map = _r_debug.r_map; map != nullptr; map = map->l_next) {
        panic_module* module = make_module(map, number++);
        module->next = module_list;
        module_list = module;
    }
    // The first backtrace loads the unwinder; doing it now keeps that out
    // of the handler.
    void* frame[1];
    backtrace(frame, 1);
    panic_arm_handler();
    ready.store(true);
}

panic_module* panic_modules() {
    return module_list;
}

bool panic_lookup_by_walk(panic_symbol& out, uintptr_t address) {
    if (!ready.load()) return false;
    out = sentinel;
    walk_symbols([&](const panic_symbol& entry) {
        uintptr_t entry_address = address_of(entry);
        if (entry_address <= address &&
            (entry_address > address_of(out) ||
             (entry_address == address_of(out) && sorts_before(entry, out)))) {
            out = entry;
        }
        return false;
    });
    return true;
}

bool panic_lookup(panic_symbol& out, uintptr_t address) {
    const panic_symbol* entries = table.load(std::memory_order_acquire);
    if (entries == nullptr) return panic_lookup_by_walk(out, address);
    // The last entry at or below the address, then the first of the
    // entries that share its address.
    int64_t low = 0;
    int64_t high = static_cast<int64_t>(table_count) - 1;
    while (low <= high) {
        int64_t middle = low + (high - low) / 2;
        if (address_of(entries[middle]) <= address) {
            low = middle + 1;
        } else {
            high = middle - 1;
        }
    }
    const uintptr_t found = address_of(entries[high]);
    while (high > 0 && address_of(entries[high - 1]) == found) --high;
    out = entries[high];
    return true;
}

uint32_t panic_table_build() {
    if (table.load(std::memory_order_acquire) != nullptr) return table_count;
    pthread_mutex_lock(&table_mutex);
    if (table.load(std::memory_order_relaxed) == nullptr) {
        uint32_t count = 1;
        walk_symbols([&](const panic_symbol&) {
            ++count;
            return false;
        });
        panic_symbol* entries = static_cast<panic_symbol*>(calloc(count, sizeof(panic_symbol)));
        if (entries != nullptr) {
            entries[0] = sentinel;
            uint32_t filled = 1;
            walk_symbols([&](const panic_symbol& entry) {
                entries[filled++] = entry;
                return filled == count;
            });
            heap_sort(entries, filled);
            table_count = filled;
            table.store(entries, std::memory_order_release);
        }
    }
    pthread_mutex_unlock(&table_mutex);
    return table_count;
}

const panic_symbol* panic_table() {
    return table.load(std::memory_order_acquire);
}

}  // namespace detail
}  // namespace qor

const char* panic_resolve_sym(unsigned long address) {
    if (!ready.load()) return "<init>";
    qor::detail::panic_table_build();
    panic_symbol entry;
    if (!qor::detail::panic_lookup(entry, address)) return "<unknown>";
    return qor::detail::panic_symbol_name(entry);
}

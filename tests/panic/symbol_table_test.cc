// Tests of the module symbol table and panic_resolve_sym.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "panic/panic_internal.h"
#include "qorbasic/panic.h"

namespace {

// Initialisers of this file run before the library's, which are linked
// after it.
const std::string resolved_before_load = panic_resolve_sym(0);

unsigned long address_of(const char* symbol) {
    return reinterpret_cast<unsigned long>(dlsym(RTLD_DEFAULT, symbol));
}

// Functions of libc and libstdc++, which have no DT_HASH on this kind of
// system: the name found at and inside a function is a symbol at exactly
// its address. Modules resolve to their names, 0 to the sentinel.
TEST(PanicSymbols, FunctionsModulesAndZeroResolve) {
    EXPECT_EQ(resolved_before_load, "<init>");
    for (const char* function : {"getpid", "fflush", "__cxa_demangle", "_ZSt9terminatev"}) {
        const unsigned long address = address_of(function);
        ASSERT_NE(address, 0u) << function;
        EXPECT_EQ(address_of(panic_resolve_sym(address)), address) << function;
        EXPECT_EQ(address_of(panic_resolve_sym(address + 1)), address) << function;
    }
    EXPECT_STREQ(panic_resolve_sym(0), "(null)");
    Dl_info libc;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&getpid), &libc), 0);
    EXPECT_STREQ(panic_resolve_sym(reinterpret_cast<unsigned long>(libc.dli_fbase)),
                 libc.dli_fname);
    // The main program, which the dynamic linker lists without a name.
    EXPECT_STREQ(panic_resolve_sym(_r_debug.r_map->l_addr), program_invocation_short_name);
}

// The handler resolves through a pass over the symbols when no table is
// built yet: both ways must find the same entry, ties included.
TEST(PanicSymbols, TableAndWalkFindTheSameEntries) {
    const uint32_t count = qor::detail::panic_table_build();
    const panic_symbol* table = qor::detail::panic_table();
    ASSERT_GT(count, 1000u);
    EXPECT_EQ(table[0].module->base + table[0].value, 0u);
    EXPECT_STREQ(panic_resolve_sym(~0UL), qor::detail::panic_symbol_name(table[count - 1]));
    for (uint32_t i = 0; i < count; i += 97) {
        const uintptr_t address = table[i].module->base + table[i].value;
        for (uintptr_t probe : {address - 1, address, address + 1}) {
            panic_symbol by_table, by_walk;
            ASSERT_TRUE(qor::detail::panic_lookup(by_table, probe));
            ASSERT_TRUE(qor::detail::panic_lookup_by_walk(by_walk, probe));
            EXPECT_EQ(by_table.module, by_walk.module) << probe;
            EXPECT_STREQ(qor::detail::panic_symbol_name(by_table),
                         qor::detail::panic_symbol_name(by_walk));
        }
    }
}

template <class... Args>
std::string format(const char* fmt, Args... args) {
    char buffer[64];
    qor::detail::panic_format_to(buffer, sizeof buffer);
    qor::detail::panic_format(fmt, args...);
    return std::string(buffer, qor::detail::panic_format_cursor());
}

template <class... Args>
void expect_like_printf(const char* fmt, Args... args) {
    char buffer[64];
    snprintf(buffer, sizeof buffer, fmt, args...);
    EXPECT_EQ(format(fmt, args...), buffer);
}

TEST(PanicFormat, AgreesWithPrintfWhereItShouldAndNotElsewhere) {
    expect_like_printf("%d|%5d|%-5d|%05d", -42, 42, 42, 42);
    expect_like_printf("%u %x %X %08x", 4000000000u, 0xbeefu, 0xbeefu, 0xbeefu);
    expect_like_printf("%ld %lld %lu %016llx", -9223372036854775807L - 1, 7LL, ~0UL, 0xabcULL);
    expect_like_printf("%*lx|%*s|%-*s|%2u:|%2d", 7, 0x5eUL, 6, "ab", 4, "c", 3u, 12345);
    EXPECT_EQ(format("%p", reinterpret_cast<void*>(0x1234)), "0000000000001234");
    EXPECT_EQ(format("%s|%5c|%q%d", static_cast<const char*>(nullptr), 'z', 5), "(null)|z|5");
    EXPECT_EQ(format("%04d|%-03d", -5, 7), "00-5|700");  // the fill goes outside the sign
}

TEST(PanicFormat, ZeroesItsBufferAndCutsAtTheEnd) {
    char buffer[8];
    memset(buffer, 'x', sizeof buffer);
    qor::detail::panic_format_to(buffer, 4);
    EXPECT_EQ(std::string(buffer, 8), std::string(4, '\0') + "xxxx");
    qor::detail::panic_format("%s%d", "abc", 12345);
    EXPECT_EQ(std::string(buffer, 8), "abc1xxxx");
}

}  // namespace

// Crash reports of libqorbasic.
//
// A process that loads the library gets a crash report without asking: the
// library's last static initialiser installs a handler for SIGABRT, SIGBUS,
// SIGFPE, SIGILL, SIGQUIT, SIGSEGV, SIGTRAP and SIGSYS. When one of them
// arrives, the handler writes the signal and its cause, the registers, the
// stack with a symbol for each frame, and the modules those frames lie in to
// /tmp/panic-<thread name>-<pid>.txt (mode 0600) and to standard error, then
// ends the process with SIGILL, so that a core file, where enabled, is still
// made. The report also stays in _panic_msg, which a core image holds.
//
// The same symbol table is open to clients:
//
//   unsigned long address = reinterpret_cast<unsigned long>(&panic_resolve_sym);
//   std::printf("%s\n", panic_resolve_sym(address));   // panic_resolve_sym
//
// The surprising cases:
// - The handler replaces whatever handler was there before and can't be
//   turned off; a client that installs its own handler for one of these
//   signals after loading takes that signal away from the report.
// - The table knows only dynamic (exported) symbols of the modules loaded
//   with the library; a static function resolves to the nearest exported
//   symbol below it, however far, and a module opened later with dlopen is
//   not in it at all.
// - The report file is never followed through a link nor written into a
//   file that is not the process's own; the report then goes to standard
//   error only. An older report of the same name keeps its longer tail.
// - A stack overflow ends the process without a report: the handler has no
//   stack of its own to run on.
#ifndef QORBASIC_PANIC_H
#define QORBASIC_PANIC_H

#include "qorbasic/export.h"

// The report buffer, zero until a crash. It stands in a section of its own,
// "._panic_msg", and opens with a marker that a core image can be searched for.
QOR_C_API char _panic_msg[8192];

// The name of the exported symbol nearest at or below `address`: an address
// inside a function gives the function's name, a module's load address the
// module's file name, 0 gives "(null)". Gives "<init>" when called before the
// library has finished loading. The text stays valid for the life of the
// process.
QOR_C_API const char* panic_resolve_sym(unsigned long address);

#endif  // QORBASIC_PANIC_H

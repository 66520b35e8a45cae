// The trivial client whose start process_start_bench measures: it uses the
// C++ runtime and, when built against the library, makes one call into it,
// so that the dynamic linker maps, relocates and initialises the library.
#include <string>

#ifdef QOR_START_CLIENT_USES_LIBRARY
#include "qorbasic/threads.h"
#endif

int main(int argc, char**) {
    std::string text(static_cast<size_t>(argc), 'x');
#ifdef QOR_START_CLIENT_USES_LIBRARY
    thread_nap(0);
#endif
    return text.size() == 1 ? 0 : 1;
}

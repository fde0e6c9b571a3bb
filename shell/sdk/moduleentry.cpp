// Entry points of the shared library. Linux hosts call ModuleEntry once per load with the
// library handle and ModuleExit before unloading; older hosts call InitDll/ExitDll. The calls
// are counted so that nested loads by one host stay balanced.

#include "shell/sdk/moduleentry.h"

#include <atomic>

namespace {
std::atomic<int> loadCount{0};
void* libraryHandle = nullptr;
} // namespace

namespace torvo {
void* moduleHandle() {
    return libraryHandle;
}
} // namespace torvo

extern "C" {

TORVO_EXPORT bool ModuleEntry(void* sharedLibraryHandle) {
    if (loadCount.fetch_add(1) == 0) libraryHandle = sharedLibraryHandle;
    return true;
}

TORVO_EXPORT bool ModuleExit() {
    const int before = loadCount.fetch_sub(1);
    if (before <= 0) {
        loadCount.store(0);
        return false;
    }
    if (before == 1) libraryHandle = nullptr;
    return true;
}

TORVO_EXPORT bool InitDll() {
    return ModuleEntry(nullptr);
}

TORVO_EXPORT bool ExitDll() {
    return ModuleExit();
}

} // extern "C"

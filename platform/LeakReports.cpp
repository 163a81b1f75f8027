#include "platform/LeakReports.h"

#if defined(__SANITIZE_ADDRESS__)
#include <dlfcn.h>
#include <link.h>

#include <cstring>
#endif

namespace platform {

#if defined(__SANITIZE_ADDRESS__)
namespace {

// Mesa's drivers live in ".../dri/"; newer Mesa puts them in libgallium.
bool isGlDriverLibrary(const char* path) {
    return std::strstr(path, "/dri/") || std::strstr(path, "libgallium") || std::strstr(path, "libLLVM");
}

int keepLoaded(dl_phdr_info* info, size_t, void*) {
    const char* path = info->dlpi_name;
    if (path && *path && isGlDriverLibrary(path)) {
        // RTLD_NOLOAD touches only what is already there; RTLD_NODELETE makes
        // every later dlclose leave it mapped.
        if (void* handle = dlopen(path, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE)) dlclose(handle);
    }
    return 0;
}

} // namespace

void keepGlDriverLoadedForLeakReports() { dl_iterate_phdr(keepLoaded, nullptr); }
#else
void keepGlDriverLoadedForLeakReports() {}
#endif

} // namespace platform

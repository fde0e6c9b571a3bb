// Workspace locator texts.
#include "presets/pathobject.h"

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    torvo::PathObject where;
    if (where.parse(std::string(reinterpret_cast<const char*>(data), size))) {
        torvo::PathObject again;
        if (!again.parse(where.toText()) || again.id != where.id || again.name != where.name)
            std::abort();
    }
    return 0;
}

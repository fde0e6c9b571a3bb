#include <gtest/gtest.h>

#include "support/alloccounter.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

// The plug-in and the tools it runs keep a configuration, a workspace and a cache in the
// user's folders. No test may read what the developer has there nor leave anything behind, so
// every variable they consult points into one scratch folder for the run.
char scratchRoot[64] = {};

void isolateUserFolders() {
    std::strcpy(scratchRoot, "/tmp/torvo-tests-XXXXXX");
    if (!mkdtemp(scratchRoot)) return;
    for (const char* var :
         {"HOME", "APPDATA", "LOCALAPPDATA", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        setenv(var, scratchRoot, 1);
    std::atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(scratchRoot, ignored);
    });
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    isolateUserFolders();
    return RUN_ALL_TESTS();
}

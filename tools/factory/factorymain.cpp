// torvo-factory <factory folder>: writes every sound of the factory table below the folder,
// one .tpf2 file per sound in its category's sub-folder.

#include "presets/bank.h"
#include "tools/factory/factorysounds.h"
#include "tools/factory/factorywriter.h"

#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: torvo-factory <factory presets folder>\n");
        return 2;
    }
    torvo::Bank bank;
    bank.initAllPresets();
    int written = 0;
    for (const torvo::factory::FactorySound& sound : torvo::factory::factorySounds()) {
        std::string error;
        if (!torvo::factory::writeFactorySound(sound, argv[1], bank, error)) {
            std::fprintf(stderr, "torvo-factory: %s\n", error.c_str());
            return 1;
        }
        ++written;
    }
    std::printf("%d presets written below %s\n", written, argv[1]);
    return 0;
}

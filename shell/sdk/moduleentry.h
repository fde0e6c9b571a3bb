#pragma once
// The library's exported entry points. The version script exports these names only.

#define TORVO_EXPORT __attribute__((visibility("default")))

namespace Steinberg {
class IPluginFactory;
}

extern "C" {
TORVO_EXPORT bool ModuleEntry(void* sharedLibraryHandle);
TORVO_EXPORT bool ModuleExit();
TORVO_EXPORT bool InitDll();
TORVO_EXPORT bool ExitDll();
TORVO_EXPORT Steinberg::IPluginFactory* GetPluginFactory();
}

namespace torvo {
/// The handle the host passed to ModuleEntry, or null.
void* moduleHandle();
} // namespace torvo

#pragma once
// Loads a VST3 bundle the way a Linux host does: dlopen the shared object inside the bundle,
// call its module entry, ask for the factory and read what it publishes. One loaded module
// serves any number of plug-in instances; it is unloaded when the last owner lets go.

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/base/smartpointer.h"

#include <memory>
#include <string>
#include <vector>

namespace torvo::host {

struct FactoryInfo {
    std::string vendor;
    std::string url;
    std::string email;
    Steinberg::int32 flags = 0;
};

struct ClassInfo {
    Steinberg::TUID cid = {};
    Steinberg::int32 cardinality = 0;
    std::string category;
    std::string name;
    // Filled from the second factory interface when the plug-in offers it.
    std::string subCategories;
    std::string vendor;
    std::string version;
    std::string sdkVersion;
    Steinberg::uint32 classFlags = 0;
};

/// Which pair of entry functions the module was opened with.
enum class EntryKind { None, ModuleEntry, InitDll };

class PluginModule {
public:
    /// Opens `path`, either a `.vst3` bundle folder or a shared object. Answers null and fills
    /// `error` when the file cannot be opened, has no factory or its entry refuses.
    /// A module already loaded from the same file is shared, not opened twice.
    static std::shared_ptr<PluginModule> load(const std::string& path,
                                              std::string* error = nullptr);
    /// The shared object inside a bundle folder (`X.vst3/Contents/x86_64-linux/X.so`); a path
    /// that is not a folder is answered unchanged.
    static std::string binaryPath(const std::string& bundlePath);

    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    Steinberg::IPluginFactory* factory() const { return factory_.get(); }
    const FactoryInfo& factoryInfo() const { return factoryInfo_; }
    const std::vector<ClassInfo>& classes() const { return classes_; }
    const ClassInfo* findClassByCategory(const std::string& category) const;
    const ClassInfo* findClassByName(const std::string& name) const;
    const ClassInfo* findClass(const Steinberg::TUID cid) const;

    /// An exported symbol of the shared object, or null.
    void* symbol(const char* name) const;
    const std::string& binary() const { return binary_; }
    EntryKind entryKind() const { return entryKind_; }

private:
    PluginModule() = default;
    bool open(const std::string& binary, std::string* error);
    bool enter(std::string* error);
    void readClasses();

    std::string binary_;
    void* handle_ = nullptr;
    EntryKind entryKind_ = EntryKind::None;
    Steinberg::IPtr<Steinberg::IPluginFactory> factory_;
    FactoryInfo factoryInfo_;
    std::vector<ClassInfo> classes_;
};

} // namespace torvo::host

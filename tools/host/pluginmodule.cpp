#include "host/pluginmodule.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

namespace torvo::host {

using namespace Steinberg;

namespace {

using ModuleEntryFunc = bool (*)(void*);
using ModuleExitFunc = bool (*)();
using InitDllFunc = bool (*)();
using GetFactoryFunc = IPluginFactory* (*)();

bool isDirectory(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string stem(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const auto slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const auto dot = name.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

void setError(std::string* error, std::string text) {
    if (error) *error = std::move(text);
}

// Modules in use, by the shared object's path, so that two instances share one entry call.
std::mutex& registryMutex() {
    static std::mutex m;
    return m;
}
std::map<std::string, std::weak_ptr<PluginModule>>& registry() {
    static std::map<std::string, std::weak_ptr<PluginModule>> r;
    return r;
}

} // namespace

std::string PluginModule::binaryPath(const std::string& bundlePath) {
    if (!isDirectory(bundlePath)) return bundlePath;
    std::string base = bundlePath;
    while (base.size() > 1 && base.back() == '/') base.pop_back();
    return base + "/Contents/x86_64-linux/" + stem(base) + ".so";
}

std::shared_ptr<PluginModule> PluginModule::load(const std::string& path, std::string* error) {
    const std::string binary = binaryPath(path);
    char resolved[4096];
    const std::string key = realpath(binary.c_str(), resolved) ? resolved : binary;

    std::lock_guard<std::mutex> lock(registryMutex());
    if (auto existing = registry()[key].lock()) return existing;

    std::shared_ptr<PluginModule> module(new PluginModule());
    if (!module->open(key, error) || !module->enter(error)) return nullptr;
    module->readClasses();
    registry()[key] = module;
    return module;
}

bool PluginModule::open(const std::string& binary, std::string* error) {
    binary_ = binary;
    // Kept mapped after unloading in sanitizer builds, or with TORVO_HOST_KEEP_LOADED set: the
    // plug-in's process-wide tables then stay reachable instead of counting as leaks, and a
    // real leak report can still name the plug-in's functions at exit.
#ifdef __SANITIZE_ADDRESS__
    const int keep = RTLD_NODELETE;
#else
    const int keep = std::getenv("TORVO_HOST_KEEP_LOADED") ? RTLD_NODELETE : 0;
#endif
    handle_ = dlopen(binary.c_str(), RTLD_LAZY | RTLD_LOCAL | keep);
    if (!handle_) {
        const char* why = dlerror();
        setError(error, "cannot open " + binary + ": " + (why ? why : "unknown error"));
        return false;
    }
    return true;
}

bool PluginModule::enter(std::string* error) {
    // Linux hosts call ModuleEntry with the library handle; InitDll is the older form.
    if (auto entry = reinterpret_cast<ModuleEntryFunc>(symbol("ModuleEntry"))) {
        if (!entry(handle_)) {
            setError(error, binary_ + ": ModuleEntry failed");
            return false;
        }
        entryKind_ = EntryKind::ModuleEntry;
    } else if (auto init = reinterpret_cast<InitDllFunc>(symbol("InitDll"))) {
        if (!init()) {
            setError(error, binary_ + ": InitDll failed");
            return false;
        }
        entryKind_ = EntryKind::InitDll;
    }
    auto getFactory = reinterpret_cast<GetFactoryFunc>(symbol("GetPluginFactory"));
    if (!getFactory) {
        setError(error, binary_ + ": no GetPluginFactory export");
        return false;
    }
    factory_ = owned(getFactory());
    if (!factory_) {
        setError(error, binary_ + ": GetPluginFactory answered null");
        return false;
    }
    return true;
}

void PluginModule::readClasses() {
    PFactoryInfo info;
    if (factory_->getFactoryInfo(&info) == kResultOk) {
        factoryInfo_.vendor = info.vendor;
        factoryInfo_.url = info.url;
        factoryInfo_.email = info.email;
        factoryInfo_.flags = info.flags;
    }
    FUnknownPtr<IPluginFactory2> factory2(factory_);
    const int32 count = factory_->countClasses();
    for (int32 i = 0; i < count; ++i) {
        PClassInfo basic;
        if (factory_->getClassInfo(i, &basic) != kResultOk) continue;
        ClassInfo entry;
        std::memcpy(entry.cid, basic.cid, sizeof(TUID));
        entry.cardinality = basic.cardinality;
        entry.category = basic.category;
        entry.name = basic.name;
        PClassInfo2 extended;
        if (factory2 && factory2->getClassInfo2(i, &extended) == kResultOk) {
            entry.subCategories = extended.subCategories;
            entry.vendor = extended.vendor;
            entry.version = extended.version;
            entry.sdkVersion = extended.sdkVersion;
            entry.classFlags = extended.classFlags;
        }
        classes_.push_back(entry);
    }
}

PluginModule::~PluginModule() {
    factory_ = nullptr;
    if (!handle_) return;
    if (entryKind_ == EntryKind::ModuleEntry) {
        if (auto exitFn = reinterpret_cast<ModuleExitFunc>(symbol("ModuleExit"))) exitFn();
    } else if (entryKind_ == EntryKind::InitDll) {
        if (auto exitFn = reinterpret_cast<ModuleExitFunc>(symbol("ExitDll"))) exitFn();
    }
    dlclose(handle_);
}

const ClassInfo* PluginModule::findClassByCategory(const std::string& category) const {
    for (const auto& c : classes_)
        if (c.category == category) return &c;
    return nullptr;
}

const ClassInfo* PluginModule::findClassByName(const std::string& name) const {
    for (const auto& c : classes_)
        if (c.name == name) return &c;
    return nullptr;
}

const ClassInfo* PluginModule::findClass(const TUID cid) const {
    for (const auto& c : classes_)
        if (FUnknownPrivate::iidEqual(c.cid, cid)) return &c;
    return nullptr;
}

void* PluginModule::symbol(const char* name) const {
    return handle_ ? dlsym(handle_, name) : nullptr;
}

} // namespace torvo::host

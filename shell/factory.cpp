// The factory that publishes the instrument's two classes.

#include "shell/plugcontroller.h"
#include "shell/plugids.h"
#include "shell/plugprocessor.h"
#include "shell/sdk/moduleentry.h"
#include "shell/sdk/pluginfactory.h"

#include <mutex>

using namespace Steinberg;

namespace {

PClassInfo2 classInfo(const TUID cid, const char* category, const char* name,
                      const char* subCategories) {
    return PClassInfo2(cid, PClassInfo::kManyInstances, category, name, 0, subCategories,
                       torvo::kVendor, torvo::kVersionString, torvo::kSdkVersionString);
}

template <typename Factory> Factory* makeFactory() {
    PFactoryInfo info(torvo::kVendor, torvo::kVendorUrl, torvo::kVendorEmail,
                      PFactoryInfo::kUnicode);
    auto* factory = new Factory(info);
    factory->registerClass(
        classInfo(torvo::kProcessorUID, kVstAudioEffectClass, "Torvo", "Instrument"),
        Vst::PlugProcessor::createInstance);
    factory->registerClass(
        classInfo(torvo::kControllerUID, kVstComponentControllerClass, "TorvoController", ""),
        Vst::PlugController::createInstance);
    return factory;
}

} // namespace

namespace {
/// The one factory of the module. It lives while the host holds a reference: the last
/// release deletes it, and the next request builds it anew.
class TorvoFactory : public CPluginFactory {
public:
    using CPluginFactory::CPluginFactory;
    ~TorvoFactory() override;
};

std::mutex factoryMutex;
TorvoFactory* factory = nullptr;

TorvoFactory::~TorvoFactory() {
    std::lock_guard<std::mutex> guard(factoryMutex);
    if (factory == this) factory = nullptr;
}
} // namespace

extern "C" TORVO_EXPORT IPluginFactory* GetPluginFactory() {
    {
        std::lock_guard<std::mutex> guard(factoryMutex);
        if (factory) {
            factory->addRef();
            return factory;
        }
    }
    TorvoFactory* built = makeFactory<TorvoFactory>();
    std::lock_guard<std::mutex> guard(factoryMutex);
    factory = built;
    return factory;
}

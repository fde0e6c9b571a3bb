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

CPluginFactory* buildFactory() {
    PFactoryInfo info(torvo::kVendor, torvo::kVendorUrl, torvo::kVendorEmail,
                      PFactoryInfo::kUnicode);
    auto* factory = new CPluginFactory(info);
    factory->registerClass(classInfo(torvo::kProcessorUID, kVstAudioEffectClass, "Torvo",
                                     "Instrument"),
                           Vst::PlugProcessor::createInstance);
    factory->registerClass(classInfo(torvo::kControllerUID, kVstComponentControllerClass,
                                     "TorvoController", ""),
                           Vst::PlugController::createInstance);
    return factory;
}

} // namespace

extern "C" TORVO_EXPORT IPluginFactory* GetPluginFactory() {
    static CPluginFactory* factory = buildFactory();
    factory->addRef();
    return factory;
}

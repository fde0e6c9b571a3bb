#include "shell/sdk/pluginfactory.h"

#include "pluginterfaces/base/ustring.h"

#include <cstring>

namespace Steinberg {

CPluginFactory::CPluginFactory(const PFactoryInfo& info) : factoryInfo(info) {}

CPluginFactory::~CPluginFactory() = default;

bool CPluginFactory::registerClass(const PClassInfo2& info, CreateFunction create, void* context) {
    if (!create) return false;
    classes.push_back(Entry{info, create, context});
    return true;
}

bool CPluginFactory::isClassRegistered(const FUID& cid) const {
    for (const Entry& e : classes)
        if (FUID::fromTUID(e.info.cid) == cid) return true;
    return false;
}

tresult PLUGIN_API CPluginFactory::queryInterface(const TUID queriedIid, void** obj) {
    if (!obj) return kInvalidArgument;
    if (FUnknownPrivate::iidEqual(queriedIid, IPluginFactory::iid) ||
        FUnknownPrivate::iidEqual(queriedIid, IPluginFactory2::iid) ||
        FUnknownPrivate::iidEqual(queriedIid, IPluginFactory3::iid) ||
        FUnknownPrivate::iidEqual(queriedIid, FUnknown::iid)) {
        addRef();
        *obj = static_cast<IPluginFactory3*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

uint32 PLUGIN_API CPluginFactory::addRef() {
    return FUnknownPrivate::atomicAdd(refCount, 1);
}

uint32 PLUGIN_API CPluginFactory::release() {
    const int32 left = FUnknownPrivate::atomicAdd(refCount, -1);
    if (left == 0) {
        delete this;
        return 0;
    }
    return left;
}

tresult PLUGIN_API CPluginFactory::getFactoryInfo(PFactoryInfo* info) {
    if (!info) return kInvalidArgument;
    std::memcpy(info, &factoryInfo, sizeof(PFactoryInfo));
    return kResultOk;
}

int32 PLUGIN_API CPluginFactory::countClasses() {
    return static_cast<int32>(classes.size());
}

tresult PLUGIN_API CPluginFactory::getClassInfo(int32 index, PClassInfo* info) {
    if (!info || index < 0 || index >= countClasses()) return kInvalidArgument;
    const PClassInfo2& c = classes[index].info;
    *info = PClassInfo(c.cid, c.cardinality, c.category, c.name);
    return kResultOk;
}

tresult PLUGIN_API CPluginFactory::getClassInfo2(int32 index, PClassInfo2* info) {
    if (!info || index < 0 || index >= countClasses()) return kInvalidArgument;
    std::memcpy(info, &classes[index].info, sizeof(PClassInfo2));
    return kResultOk;
}

tresult PLUGIN_API CPluginFactory::getClassInfoUnicode(int32 index, PClassInfoW* info) {
    if (!info || index < 0 || index >= countClasses()) return kInvalidArgument;
    info->fromAscii(classes[index].info);
    return kResultOk;
}

tresult PLUGIN_API CPluginFactory::createInstance(FIDString cid, FIDString interfaceId,
                                                  void** obj) {
    if (!obj) return kInvalidArgument;
    *obj = nullptr;
    if (!cid || !interfaceId) return kInvalidArgument;
    for (const Entry& e : classes) {
        if (!FUnknownPrivate::iidEqual(e.info.cid, cid)) continue;
        FUnknown* instance = e.create(e.context);
        if (!instance) return kOutOfMemory;
        const tresult r = instance->queryInterface(interfaceId, obj);
        instance->release();
        if (r != kResultOk) *obj = nullptr;
        return r;
    }
    return kNoInterface;
}

tresult PLUGIN_API CPluginFactory::setHostContext(FUnknown*) {
    return kNotImplemented;
}

} // namespace Steinberg

#pragma once
// The plug-in factory: publishes the classes of the module and creates their instances.
// A lean version with the SDK's name and contract (IPluginFactory3).

#include "pluginterfaces/base/ipluginbase.h"

#include <vector>

namespace Steinberg {

using CreateFunction = FUnknown* (*)(void* context);

class CPluginFactory : public IPluginFactory3 {
public:
    explicit CPluginFactory(const PFactoryInfo& info);
    virtual ~CPluginFactory();
    CPluginFactory(const CPluginFactory&) = delete;
    CPluginFactory& operator=(const CPluginFactory&) = delete;

    bool registerClass(const PClassInfo2& info, CreateFunction create, void* context = nullptr);
    bool isClassRegistered(const FUID& cid) const;

    //--- FUnknown
    tresult PLUGIN_API queryInterface(const TUID queriedIid, void** obj) SMTG_OVERRIDE;
    uint32 PLUGIN_API addRef() SMTG_OVERRIDE;
    uint32 PLUGIN_API release() SMTG_OVERRIDE;

    //--- IPluginFactory
    tresult PLUGIN_API getFactoryInfo(PFactoryInfo* info) SMTG_OVERRIDE;
    int32 PLUGIN_API countClasses() SMTG_OVERRIDE;
    tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) SMTG_OVERRIDE;
    tresult PLUGIN_API createInstance(FIDString cid, FIDString interfaceId,
                                      void** obj) SMTG_OVERRIDE;
    //--- IPluginFactory2
    tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) SMTG_OVERRIDE;
    //--- IPluginFactory3
    tresult PLUGIN_API getClassInfoUnicode(int32 index, PClassInfoW* info) SMTG_OVERRIDE;
    tresult PLUGIN_API setHostContext(FUnknown* context) SMTG_OVERRIDE;

private:
    struct Entry {
        PClassInfo2 info;
        CreateFunction create;
        void* context;
    };
    PFactoryInfo factoryInfo;
    std::vector<Entry> classes;
    int32 refCount = 1;
};

} // namespace Steinberg

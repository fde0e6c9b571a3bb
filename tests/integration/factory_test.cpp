// What a host reads before it creates anything: the module's exports, the factory's vendor
// and flags, and the two classes with their categories and version strings.

#include "integration/hostfixture.h"

#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"

namespace torvo::test {
namespace {

using namespace Steinberg;

class Factory : public ::testing::Test {
protected:
    void SetUp() override {
        isolateUserFolders();
        std::string error;
        module = host::PluginModule::load(TORVO_BUNDLE_PATH, &error);
        ASSERT_TRUE(module) << error;
    }
    std::shared_ptr<host::PluginModule> module;
};

TEST_F(Factory, ExportsTheEntryPointsOfBothPlatformConventions) {
    EXPECT_NE(module->symbol("GetPluginFactory"), nullptr);
    EXPECT_NE(module->symbol("InitDll"), nullptr);
    EXPECT_NE(module->symbol("ExitDll"), nullptr);
    // Linux hosts enter through these; the host library used them.
    EXPECT_NE(module->symbol("ModuleEntry"), nullptr);
    EXPECT_NE(module->symbol("ModuleExit"), nullptr);
    EXPECT_EQ(module->entryKind(), host::EntryKind::ModuleEntry);
}

TEST_F(Factory, NamesTheVendorAndIsUnicode) {
    EXPECT_EQ(module->factoryInfo().vendor, "Halden Works");
    EXPECT_EQ(module->factoryInfo().flags, PFactoryInfo::kUnicode);
    EXPECT_FALSE(module->factoryInfo().url.empty());
    EXPECT_FALSE(module->factoryInfo().email.empty());
}

TEST_F(Factory, PublishesTheProcessorAndTheController) {
    ASSERT_EQ(module->factory()->countClasses(), 2);
    ASSERT_EQ(module->classes().size(), 2u);

    const host::ClassInfo* processor = module->findClassByName("Torvo");
    ASSERT_NE(processor, nullptr);
    EXPECT_EQ(processor->category, "Audio Module Class");
    EXPECT_EQ(processor->subCategories, "Instrument");
    EXPECT_EQ(processor->version, "1.5.18.5339");
    EXPECT_EQ(processor->sdkVersion, "VST 3.7.3");
    EXPECT_EQ(processor->cardinality, PClassInfo::kManyInstances);

    const host::ClassInfo* controller = module->findClassByName("TorvoController");
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->category, "Component Controller Class");
    EXPECT_EQ(controller->version, "1.5.18.5339");
    EXPECT_EQ(controller->sdkVersion, "VST 3.7.3");
    EXPECT_EQ(controller->cardinality, PClassInfo::kManyInstances);

    EXPECT_FALSE(FUnknownPrivate::iidEqual(processor->cid, controller->cid));
}

TEST_F(Factory, ComponentNamesItsControllerClass) {
    const host::ClassInfo* processor = module->findClassByCategory(kVstAudioEffectClass);
    ASSERT_NE(processor, nullptr);
    Vst::IComponent* raw = nullptr;
    ASSERT_EQ(module->factory()->createInstance(processor->cid, Vst::IComponent::iid,
                                                reinterpret_cast<void**>(&raw)),
              kResultOk);
    IPtr<Vst::IComponent> component = owned(raw);
    TUID controllerCid = {};
    ASSERT_EQ(component->getControllerClassId(controllerCid), kResultOk);
    const host::ClassInfo* controller = module->findClass(controllerCid);
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->name, "TorvoController");
    // Two halves, not one object: the component is no edit controller itself.
    FUnknownPtr<Vst::IEditController> single(component);
    EXPECT_FALSE(single);
}

TEST_F(Factory, RefusesUnknownClassIds) {
    TUID unknown = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    void* obj = reinterpret_cast<void*>(1);
    EXPECT_NE(module->factory()->createInstance(unknown, Vst::IComponent::iid, &obj), kResultOk);
    EXPECT_EQ(obj, nullptr);
}

TEST(FactoryLifetime, InstancesComeAndGoWhileTheModuleStaysShared) {
    std::string error;
    auto first = loadTorvo(&error);
    ASSERT_TRUE(first) << error;
    auto second = host::Plugin::create(host::PluginModule::load(TORVO_BUNDLE_PATH, &error), &error,
                                       strictOptions());
    ASSERT_TRUE(second) << error;
    EXPECT_EQ(&first->module(), &second->module());
    first.reset();
    ASSERT_TRUE(second->setup(44100.0, 256));
    ASSERT_TRUE(second->activate());
    EXPECT_EQ(second->process(256).result, kResultOk);
    second.reset(); // deactivate, disconnect, terminate, release, module exit, unload
    auto third = loadTorvo(&error);
    ASSERT_TRUE(third) << "reloading after a full unload: " << error;
}

TEST(FactoryLifetime, HalvesMayAlsoBeConnectedDirectly) {
    host::LoadOptions options = strictOptions();
    options.useProxies = false;
    std::string error;
    auto plugin = loadTorvo(&error, options);
    ASSERT_TRUE(plugin) << error;
    ASSERT_TRUE(plugin->setup(48000.0, 128));
    ASSERT_TRUE(plugin->activate());
    EXPECT_EQ(plugin->process(128, {{0, 60, 0.8f}}).result, kResultOk);
    EXPECT_EQ(plugin->process(128, {{0, 60, 0.0f, false}}).result, kResultOk);
}

} // namespace
} // namespace torvo::test

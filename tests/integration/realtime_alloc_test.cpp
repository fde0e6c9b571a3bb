// The audio thread must not allocate once the instance is active: no heap use in process,
// with notes, automation and empty blocks alike. The host side of this test allocates
// nothing either (fixed event and change lists, pooled messages), so whatever the counter
// sees comes from the plug-in.

#include "integration/hostfixture.h"

#include "support/alloccounter.h"

namespace torvo::test {
namespace {

using namespace Steinberg;

constexpr int kBlock = 256;

class RealtimeAllocation : public HostedTorvo {
protected:
    /// One block of steady playing: notes coming and going, automation on several rows.
    void playBlock(int i) {
        host::EventList& events = plugin->events();
        host::ParameterChanges& changes = plugin->inputChanges();
        const int16 pitch = int16(48 + (i * 5) % 24);
        if (i % 4 == 0) events.addNoteOn(i % kBlock, pitch, 0.3f + (i % 7) / 10.0f);
        if (i % 4 == 2) events.addNoteOff(kBlock - 1 - i % kBlock, int16(48 + ((i - 2) * 5) % 24));
        changes.add(9, 0, 0.3 + (i % 5) / 10.0);       // volume
        changes.add(103, i % kBlock, (i % 11) / 10.0); // flt1_cut
        changes.add(721, 0, (i % 3) / 2.0);            // mod_wheel
        changes.add(720, kBlock / 2, (i % 9) / 8.0);   // bend_wheel
        changes.add(fourCharId("sust"), 0, i % 8 < 4 ? 1.0 : 0.0);
        ASSERT_EQ(plugin->processBlock(i % 3 == 0 ? kBlock : kBlock / 2 + i % 17), kResultOk);
    }
};

TEST_F(RealtimeAllocation, SteadyStateProcessingAllocatesNothing) {
    start(48000.0, kBlock);
    // Warm up: the first blocks may build what the engine builds lazily.
    for (int i = 0; i < 64; ++i) playBlock(i);

    size_t allocations = 0;
    {
        ScopedAllocCount counter;
        for (int i = 64; i < 1064; ++i) playBlock(i);
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(plugin->hostContext().heapMessages(), 0u)
        << "the message pool ran dry; messages were not returned";
    EXPECT_GT(plugin->messages().count("noteon"), 0u) << "messages were sent while counting";
}

TEST_F(RealtimeAllocation, BypassAndEmptyBlocksAllocateNothing) {
    start(48000.0, kBlock);
    for (int i = 0; i < 16; ++i) playBlock(i);
    size_t allocations = 0;
    {
        ScopedAllocCount counter;
        for (int i = 0; i < 200; ++i) {
            if (i % 50 == 0) plugin->inputChanges().add(kBypassId, 0, (i / 50) % 2 ? 0.0 : 1.0);
            if (i % 10 == 0) plugin->events().addNoteOn(0, 60, 0.8f);
            ASSERT_EQ(plugin->processBlock(i % 7 == 0 ? 0 : kBlock), kResultOk);
        }
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
}

TEST(RealtimeAllocationHost, CounterSeesAllocationsInsideThePlugin) {
    // Guards the test above: the counting operator new must also count what the plug-in's
    // own code allocates, or a zero would prove nothing. Creating an instance allocates.
    std::string error;
    isolateUserFolders();
    auto module = host::PluginModule::load(TORVO_BUNDLE_PATH, &error);
    ASSERT_TRUE(module) << error;
    const host::ClassInfo* info = module->findClassByCategory(kVstAudioEffectClass);
    ASSERT_NE(info, nullptr);
    void* obj = nullptr;
    size_t allocations = 0;
    {
        ScopedAllocCount counter;
        module->factory()->createInstance(info->cid, Vst::IComponent::iid, &obj);
        allocations = counter.count();
    }
    ASSERT_NE(obj, nullptr);
    static_cast<Vst::IComponent*>(obj)->release();
    EXPECT_GT(allocations, 0u);
}

} // namespace
} // namespace torvo::test

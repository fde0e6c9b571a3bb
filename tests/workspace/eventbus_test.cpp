// The bus, the id table and the browser state that travels in the host state.

#include "workspace/browserstate.h"
#include "workspace/eventbus.h"
#include "workspace/events.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace torvo {
namespace {

/// Writes its name and the event's id into a shared log on each call.
class LoggingProcessor : public IEventProcessor {
public:
    LoggingProcessor(std::string tag, std::vector<std::string>& sink)
        : name(std::move(tag)), log(sink) {}
    void process(IEvent& event) override { log.push_back(name + ":" + std::to_string(event.id())); }

private:
    std::string name;
    std::vector<std::string>& log;
};

TEST(EventBus, DeliversSynchronouslyInSubscriptionOrderPerId) {
    EventBus bus;
    std::vector<std::string> log;
    LoggingProcessor a("a", log), b("b", log), c("c", log);
    bus.subscribe(kSwitchPresetEvent, &b);
    bus.subscribe(kSwitchPresetEvent, &a);
    bus.subscribe(kOnPresetLoadedEvent, &c);
    bus.subscribe(kSwitchPresetEvent, &c);
    bus.subscribe(kSwitchPresetEvent, &b); // already present: no second call

    SwitchPresetEvent step;
    bus.publish(step);
    EXPECT_EQ(log, (std::vector<std::string>{"b:21", "a:21", "c:21"}));

    log.clear();
    OnPresetLoadedEvent loaded;
    bus.publish(loaded);
    EXPECT_EQ(log, (std::vector<std::string>{"c:19"}));

    log.clear();
    OnInitPresetEvent nobody;
    bus.publish(nobody);
    EXPECT_TRUE(log.empty());
}

TEST(EventBus, UnsubscribeRemovesOnePairAndUnsubscribeAllEveryPair) {
    EventBus bus;
    std::vector<std::string> log;
    LoggingProcessor a("a", log), b("b", log);
    for (int id : {kSwitchPresetEvent, kReloadChunkEvent, kAIErrorEvent}) {
        bus.subscribe(id, &a);
        bus.subscribe(id, &b);
    }
    bus.unsubscribe(kSwitchPresetEvent, &a);
    EXPECT_EQ(bus.subscriberCount(kSwitchPresetEvent), 1);
    EXPECT_EQ(bus.subscriberCount(kReloadChunkEvent), 2);

    bus.unsubscribeAll(&b);
    EXPECT_EQ(bus.subscriberCount(kSwitchPresetEvent), 0);
    EXPECT_EQ(bus.subscriberCount(kReloadChunkEvent), 1);
    EXPECT_EQ(bus.subscriberCount(kAIErrorEvent), 1);

    AIErrorEvent error;
    bus.publish(error);
    EXPECT_EQ(log, (std::vector<std::string>{"a:43"}));
    bus.unsubscribe(kAIErrorEvent, &b); // not present: harmless
    EXPECT_EQ(bus.subscriberCount(kAIErrorEvent), 1);
}

TEST(EventTable, HoldsIdsZeroToFortyFiveWithoutThirtyTwo) {
    const auto& table = eventTable();
    ASSERT_EQ(table.size(), 45u);
    int expected = 0;
    for (const EventTableRow& row : table) {
        if (expected == 32) ++expected;
        EXPECT_EQ(row.id, expected);
        ++expected;
    }
    EXPECT_EQ(eventClassNames(32), nullptr);
    EXPECT_EQ(eventClassNames(46), nullptr);
    EXPECT_STREQ(eventClassNames(19), "OnPresetLoadedEvent OnPresetReloadedEvent");
    EXPECT_STREQ(eventClassNames(45), "GetAISubscriptionInfoResponse");
}

TEST(EventTable, ClassesAnswerTheirIdsAndCastsFollowIds) {
    EXPECT_EQ(OnKeydownEvent().id(), 0);
    EXPECT_EQ(ShowMessageYesNoDialogEvent().id(), 2);
    EXPECT_EQ(ShowProgressDialogEvent().id(), 2);
    EXPECT_EQ(TextMessageDialogCloseResultEvent().id(), 8);
    EXPECT_EQ(LeftRowSelectedEvent().id(), 12);
    EXPECT_EQ(EndEditPresetInfoEvent().id(), 15);
    EXPECT_EQ(OnPresetReloadedEvent().id(), 19);
    EXPECT_EQ(SwitchPresetEvent().id(), 21);
    EXPECT_EQ(PresetsToBrowseListChangedEvent().id(), 26);
    EXPECT_EQ(SelectGlobalSearchRowEvent().id(), 31);
    EXPECT_EQ(CheckForUpdateEvent().id(), 33);
    EXPECT_EQ(SaveAITaskUUIDEvent().id(), 38);
    EXPECT_EQ(AIGenerationResultEvent().id(), 41);
    EXPECT_EQ(GetAISubscriptionInfoResponse().id(), 45);
    EXPECT_EQ(ShowMessageOkDialogEvent().buttons, DialogButtons::Ok);
    EXPECT_EQ(ShowMessageRetryCancelDialogEvent().buttons, DialogButtons::RetryCancel);

    UpdatePresetFilterEvent filter("lead");
    IEvent& plain = filter;
    ASSERT_NE(eventAs<UpdatePresetFilterEvent>(plain), nullptr);
    EXPECT_EQ(eventAs<UpdatePresetFilterEvent>(plain)->param, "lead");
    EXPECT_EQ(eventAs<UpdatePresetGlobalFilterEvent>(plain), nullptr);
    EXPECT_EQ(GetAISubscriptionInfoResponse().second.status, "Not available");
    AIErrorEvent error(401, "expired", "ID is not valid.");
    EXPECT_EQ(error.first, 401);
    EXPECT_EQ(error.third, "ID is not valid.");
    SaveAITaskUUIDEvent saved("task", WorkspacePath{false, "/AI"});
    EXPECT_EQ(saved.second.path, "/AI");
    AIDialogSubmitResultEvent submitted("Request is successfully submitted.");
    EXPECT_EQ(submitted.id(), 40);
}

TEST(BrowserState, RoundTripsEveryMemberInItsOrder) {
    BrowserState state;
    state.filter = "bass";
    state.fav_only = true;
    state.sel_folder = {7, "Leads", 3};
    state.from_history = true;
    state.show_history = false;
    state.sel_preset = {2, 41, 1, "Old Bass", 7};
    state.metadata[1].m_id = 5;
    state.metadata[1].m_type = 1;
    state.metadata[1].m_name = "Ann";
    state.metadata[1].md_id = 1;
    state.metadata[1].md_dir_id = 9;
    state.metadata[1].md_type = 1;
    state.metadata[1].md_is_factory = true;
    state.presets = {41, 42, 43};

    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    state.save(json);
    std::vector<std::string> keys;
    for (auto it = json.begin(); it != json.end(); ++it) keys.push_back(it.key());
    EXPECT_EQ(keys,
              (std::vector<std::string>{"filter", "fav_only", "sel_folder", "from_history",
                                        "show_history", "sel_preset", "metadata", "presets"}));
    EXPECT_EQ(json["sel_folder"]["label"], "Leads");
    EXPECT_EQ(json["metadata"].size(), 2u);

    BrowserState back;
    back.restore(nlohmann::ordered_json::parse(json.dump()));
    EXPECT_EQ(back.filter, "bass");
    EXPECT_TRUE(back.fav_only);
    EXPECT_EQ(back.sel_folder.id, 7);
    EXPECT_EQ(back.sel_folder.index, 3);
    EXPECT_TRUE(back.from_history);
    EXPECT_EQ(back.sel_preset.id, 41);
    EXPECT_EQ(back.sel_preset.name, "Old Bass");
    EXPECT_EQ(back.sel_preset.dir_id, 7);
    EXPECT_FALSE(back.metadata[0].selected());
    EXPECT_EQ(back.metadata[1].m_name, "Ann");
    EXPECT_EQ(back.metadata[1].md_dir_id, 9);
    EXPECT_TRUE(back.metadata[1].md_is_factory);
    EXPECT_EQ(back.presets, (std::vector<int64_t>{41, 42, 43}));
}

TEST(BrowserState, KeepsAtMost128IdsAndSkipsAbsentOrNullKeys) {
    BrowserState state;
    for (int i = 0; i < 200; ++i) state.presets.push_back(i);
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    state.save(json);
    EXPECT_EQ(json["presets"].size(), 128u);
    EXPECT_EQ(json["presets"][127], 127);

    BrowserState kept;
    kept.filter = "keep";
    kept.sel_folder.label = "Pads";
    kept.sel_preset.id = 12;
    kept.restore(nlohmann::ordered_json::parse(
        R"({"filter": null, "sel_folder": {"id": 4}, "fav_only": true, "unknown": 1})"));
    EXPECT_EQ(kept.filter, "keep");
    EXPECT_EQ(kept.sel_folder.id, 4);
    EXPECT_EQ(kept.sel_folder.label, "Pads");
    EXPECT_EQ(kept.sel_preset.id, 12);
    EXPECT_TRUE(kept.fav_only);
}

} // namespace
} // namespace torvo

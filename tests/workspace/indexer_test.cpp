// The indexer: tags inferred from names, what a walk puts into the database, what a second walk
// keeps and removes, single files through the new-file handle, and the background rescan.

#include "workspace/idleworkers.h"
#include "workspace/indexer.h"
#include "workspace/metadatastorage.h"
#include "workspace/rescanthread.h"
#include "workspace/taginference.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace torvo {
namespace {

using test::queryInt;
using test::queryText;

TEST(TagInference, EarliestWholeWordWins) {
    const TagInference rules;
    struct Case {
        const char* name;
        const char* tag;
    };
    const Case cases[] = {
        {"BS Growl", "Bass"},
        {"Hard Lead", "Lead"},
        {"LD-Saw", ""},
        {"Saw-LD", "Lead"},
        {"Acid Seq", "Synth"},
        {"dr", "Drum"},
        {"drum", "Drum"},
        {"Dr. Evil", ""},
        {"dr evil", "Drum"},
        {"Bass", "Bass"},
        {"bass 1", "Bass"},
        {"bassline", ""},
        {"a sub bass", "Bass"},
        {"subsub sub", ""},
        {"Warm Pad", "Pad"},
        {"12. Big Lead", "Lead"},
        {"Dark Atmos", "Atmosphere"},
        {"Chord Stab", "Chord"},
        {"Gate Keys", "Sequenced"},
        {"Org", "Keys"},
        {"Big FX riser", "FX"},
        {"Arp 1", "Arpeggio"},
        {"", ""},
        {"pluck/plk", "Pluck"},
    };
    for (const Case& c : cases) EXPECT_EQ(rules.inferTag(c.name), c.tag) << c.name;
}

TEST(TagInference, MatchWordFindsOnlyTheFirstOccurrence) {
    EXPECT_EQ(TagInference::matchWord("bass", "bass"), 0);
    EXPECT_EQ(TagInference::matchWord("hard lead", "lead"), 5);
    EXPECT_EQ(TagInference::matchWord("saw-ld", "ld"), 4);
    EXPECT_EQ(TagInference::matchWord("subsub sub", "sub"), -1);
    EXPECT_EQ(TagInference::matchWord("my,pad x", "pad"), 3) << "punctuation before is a border";
    EXPECT_EQ(TagInference::matchWord("ld-saw", "ld"), -1);
    // The rules are iterated in byte order of their keys.
    const TagInference rules;
    EXPECT_EQ(rules.rules().begin()->first, "acid");
    EXPECT_EQ(rules.rules().size(), 53u);
}

class Indexing : public ::testing::Test {
protected:
    void SetUp() override { library.write(); }
    bool start() {
        StorageStatus status;
        const bool done = store.setRoots(*library.bank, library.workspace, library.factory, status);
        EXPECT_TRUE(done) << status.message;
        return done;
    }
    std::string db() const { return library.workspace + "/workspace.db"; }
    long long count(const std::string& table) {
        return queryInt(db(), "SELECT COUNT(*) FROM " + table);
    }
    std::string tagsOf(const std::string& preset) {
        return queryText(
            db(), "SELECT group_concat(value, ',') FROM (SELECT lower(m.value) AS value FROM "
                  "vst_metadata m JOIN vst_preset_metadata pm ON pm.metadata_id=m.id "
                  "JOIN vst_preset p ON p.id=pm.preset_id WHERE m.type=0 AND "
                  "p.name='" +
                      preset + "' ORDER BY lower(m.value))");
    }

    test::TempFolder temp;
    test::FixtureLibrary library{temp};
    MetadataStorage store;
};

TEST_F(Indexing, WalkMirrorsFoldersBanksPresetsAndTags) {
    ASSERT_TRUE(start());
    EXPECT_EQ(count("vst_dir_tree"), 9);
    EXPECT_EQ(count("vst_preset"),
              test::FixtureLibrary::kWorkspacePresets + test::FixtureLibrary::kFactoryPresets);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE type=2"), 128);
    EXPECT_EQ(queryInt(db(), "SELECT MIN(`index`) FROM vst_preset WHERE type=2"), 0);
    EXPECT_EQ(queryInt(db(), "SELECT MAX(`index`) FROM vst_preset WHERE type=2"), 127);
    EXPECT_EQ(queryText(db(), "SELECT name FROM vst_preset WHERE type=2 AND `index`=0"),
              "1. Big Lead")
        << "one-based number, a full stop and a blank, never the bank's name";
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE filename='readme.txt'"), 0);

    EXPECT_EQ(tagsOf("Deep Sub"), "bass,dark") << "a .tpf2 keeps its own tags";
    EXPECT_EQ(tagsOf("Wobble"), "bass") << "case-insensitive reuse of the tag row";
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_metadata WHERE value='Bass' COLLATE "
                             "NOCASE"),
              1)
        << "whichever spelling came first, one row";
    EXPECT_EQ(tagsOf("Hard Lead"), "lead") << "inferred";
    EXPECT_EQ(tagsOf("Dr. Evil"), "");
    EXPECT_EQ(tagsOf("Saw-LD"), "lead") << "from the file, not from its name";
    EXPECT_EQ(tagsOf("1. Big Lead"), "lead");
    EXPECT_EQ(tagsOf("2. Soft Pad"), "pad");
    EXPECT_EQ(tagsOf("3. BS Growl"), "bass");
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_metadata WHERE type=1"), 2);
    EXPECT_EQ(queryInt(db(), "SELECT is_favorite FROM vst_preset WHERE name='Deep Sub'"), 1);
    EXPECT_EQ(queryInt(db(), "SELECT type FROM vst_dir_tree WHERE path='/Banks/Vault.tbf'"), 1);
    EXPECT_EQ(queryInt(db(), "SELECT parent_id FROM vst_dir_tree WHERE path='/Banks/Vault.tbf'"),
              queryInt(db(), "SELECT id FROM vst_dir_tree WHERE path='/Banks' AND is_factory=0"));
}

TEST_F(Indexing, RescanKeepsUnchangedRowsAndRemovesWhatVanished) {
    ASSERT_TRUE(start());
    StorageStatus status;
    const long long wobble = queryInt(db(), "SELECT id FROM vst_preset WHERE name='Wobble'");
    const long long item = queryInt(db(), "SELECT id FROM vst_preset WHERE name='5. init5'");
    ASSERT_GT(item, 0);
    ASSERT_TRUE(store.setFavorite(status, {item}, true));
    ASSERT_TRUE(store.addHistory(status, wobble));
    const long long deepSub = queryInt(db(), "SELECT id FROM vst_preset WHERE name='Deep Sub'");
    ASSERT_TRUE(store.addHistory(status, deepSub));

    std::filesystem::remove(library.workspace + "/Bass/Deep Sub.tpf2");
    std::filesystem::remove_all(library.workspace + "/Leads");
    auto writer = test::makeReadingBank();
    test::writeTbf(*writer, library.workspace + "/More/Vault.tbf", {"Other Keys"});

    ASSERT_TRUE(store.reindex(status, true, true)) << status.message;
    EXPECT_EQ(queryInt(db(), "SELECT id FROM vst_preset WHERE name='Wobble'"), wobble);
    EXPECT_EQ(queryInt(db(), "SELECT id FROM vst_preset WHERE name='5. init5' AND dir_id=(SELECT "
                             "id FROM vst_dir_tree WHERE path='/Banks/Vault.tbf')"),
              item);
    EXPECT_EQ(queryInt(db(), "SELECT is_favorite FROM vst_preset WHERE id=" + std::to_string(item)),
              1)
        << "a bank item's favourite lives only in the index and survives";
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Deep Sub'"), 0);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE path LIKE '/Leads%' AND "
                             "path NOT LIKE '/Leads2%'"),
              0);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_metadata WHERE value='Dark'"), 0)
        << "a tag nobody carries any more is gone";
    EXPECT_EQ(count("vst_preset_history"), 1) << "history of vanished presets is dropped";
    // Two banks of the same file name in different folders are different rows.
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_dir_tree WHERE name='Vault.tbf'"), 2);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE filename='Vault.tbf'"), 256);
    EXPECT_EQ(queryInt(db(), "SELECT preset_count FROM vst_dir_tree WHERE path='/' AND "
                             "is_factory=0"),
              2 + 256);
    EXPECT_EQ(count("vst_preset_metadata"),
              queryInt(db(), "SELECT COUNT(*) FROM vst_preset_metadata pm JOIN vst_preset p ON "
                             "p.id=pm.preset_id"))
        << "no link points at a removed preset";

    // Nothing to do without a reason.
    ASSERT_TRUE(store.reindex(status, false, true));
}

TEST_F(Indexing, SubPathVisitsOnlyItsItemsAndKeepsTheRest) {
    ASSERT_TRUE(start());
    test::writeTpf2(*library.bank, library.workspace + "/Bass/Growler.tpf2", "Ana Reyes", {"Bass"});
    std::filesystem::remove(library.workspace + "/Leads2/Saw-LD.tpf2");
    StorageStatus status;
    ASSERT_TRUE(store.reindex(status, true, true, "Bass"));
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Growler'"), 1);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Saw-LD'"), 1)
        << "outside the sub-path nothing is sought or removed";
    EXPECT_EQ(queryInt(db(), "SELECT preset_count FROM vst_dir_tree WHERE path='/Bass'"), 3);
}

TEST_F(Indexing, NewFileIndexerAddsSingleFilesAndCounts) {
    ASSERT_TRUE(start());
    test::writeTpf2(*library.bank, library.workspace + "/Imports/Deep/Keys One.tpf2", "Kay",
                    {"Keys"});
    test::writeTpf(*library.bank, library.workspace + "/Imports/Pluck 2.tpf", "Pluck 2");
    std::shared_ptr<NewFileIndexer> indexer = store.openIndexer(library.workspace, false);
    const int64_t id = indexer->addPath("/Imports/Deep/Keys One.tpf2", false);
    EXPECT_GT(id, 0);
    EXPECT_GT(indexer->addPath(library.workspace + "/Imports/Pluck 2.tpf", false), 0);
    EXPECT_EQ(indexer->addPath("/Imports/notes.txt", false), -1);
    EXPECT_EQ(indexer->addPath("/Imports/missing.tpf2", false), -1);
    EXPECT_EQ(indexer->inferTag("Big Pluck"), "Pluck");
    indexer->finish();
    EXPECT_FALSE(store.isOpen());

    EXPECT_EQ(queryText(db(), "SELECT path FROM vst_dir_tree d JOIN vst_preset p ON "
                              "p.dir_id=d.id WHERE p.id=" +
                                  std::to_string(id)),
              "/Imports/Deep");
    EXPECT_EQ(tagsOf("Pluck 2"), "pluck");
    EXPECT_EQ(queryInt(db(), "SELECT preset_count FROM vst_dir_tree WHERE path='/Imports'"), 2);
    EXPECT_EQ(queryInt(db(), "SELECT is_expandable FROM vst_dir_tree WHERE path='/Imports'"), 1);
    EXPECT_EQ(queryInt(db(), "SELECT preset_count FROM vst_dir_tree WHERE path='/' AND "
                             "is_factory=0"),
              test::FixtureLibrary::kWorkspacePresets + 2);

    // A handle on a file that cannot be opened does nothing.
    MetadataStorage unset;
    auto dead = unset.openIndexer(library.workspace, false);
    EXPECT_EQ(dead->addPath("/Bass/Wobble.tpf2", false), -1);
    EXPECT_EQ(dead->inferTag("Big Pluck"), "");
    dead->finish();
}

struct EndSignal {
    std::mutex m;
    std::condition_variable cv;
    bool ended = false;
    bool cancelled = false;
    StorageStatus status;
    void wait() {
        std::unique_lock<std::mutex> lock(m);
        cv.wait(lock, [this] { return ended; });
    }
};

TEST_F(Indexing, BackgroundRescanCommitsOrRollsBackOnCancel) {
    ASSERT_TRUE(start());
    test::writeTpf2(*library.bank, library.workspace + "/Late/Late Pad.tpf2", "A", {"Pad"});
    EndSignal signal;
    RescanWorkspaceThread rescan(store, [&](const StorageStatus& status, bool cancelled) {
        std::lock_guard<std::mutex> lock(signal.m);
        signal.ended = true;
        signal.cancelled = cancelled;
        signal.status = status;
        signal.cv.notify_all();
    });
    StorageStatus status;
    ASSERT_TRUE(rescan.start(status)) << status.message;
    signal.wait();
    rescan.join();
    EXPECT_FALSE(signal.cancelled);
    EXPECT_TRUE(signal.status.ok()) << signal.status.message;
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Late Pad'"), 1);
    EXPECT_FALSE(store.isOpen());

    // A cancel that arrives before the walk makes the run roll back: nothing changes.
    test::writeTpf2(*library.bank, library.workspace + "/Late/Later Pad.tpf2", "A", {"Pad"});
    EndSignal second;
    RescanWorkspaceThread cancelled(store, [&](const StorageStatus& s, bool wasCancelled) {
        std::lock_guard<std::mutex> lock(second.m);
        second.ended = true;
        second.cancelled = wasCancelled;
        second.status = s;
        second.cv.notify_all();
    });
    store.requestFullScan();
    ASSERT_TRUE(cancelled.start(status));
    second.wait();
    cancelled.join();
    EXPECT_FALSE(second.status.ok());
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Later Pad'"), 0);
    EXPECT_FALSE(store.fullScanRequested()) << "the request is spent";
    ASSERT_TRUE(store.reindex(status, true, true));
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE name='Later Pad'"), 1);
}

TEST_F(Indexing, RescanOfABusyWorkspaceIsReportedAtOnce) {
    ASSERT_TRUE(start());
    MetadataStorage other;
    StorageStatus status;
    ASSERT_TRUE(other.setRoots(*library.bank, library.workspace, library.factory, status));
    ASSERT_TRUE(other.beginExclusive(status));
    store.setBusyTimeout(20);
    RescanWorkspaceThread rescan(store, nullptr);
    EXPECT_FALSE(rescan.start(status));
    EXPECT_EQ(status.code, 5);
    EXPECT_EQ(status.message, "Workspace is locked by another Torvo. Please try later.");
    EXPECT_FALSE(rescan.running());
    ASSERT_TRUE(other.rollback(status));
}

TEST_F(Indexing, ScanTreeVisitsTheRootFirstAndOnlyDirectChildrenWhenNotRecursive) {
    struct Recorder : MetadataStorage::FileItemOp {
        int64_t onItem(const char* path, bool isFolder) override {
            items.emplace_back(path, isFolder);
            return -1;
        }
        void onFinished() override { ++finished; }
        std::vector<std::pair<std::string, bool>> items;
        int finished = 0;
    };
    Recorder flat;
    ASSERT_TRUE(store.scanTree(library.workspace, flat, false, {}));
    ASSERT_FALSE(flat.items.empty());
    EXPECT_EQ(flat.items.front(), std::make_pair(library.workspace, true));
    // The root, Bass, Leads, Leads2, Banks and readme.txt; nothing below them.
    EXPECT_EQ(flat.items.size(), 6u);
    EXPECT_EQ(flat.finished, 1);

    Recorder deep;
    ASSERT_TRUE(store.scanTree(library.workspace + "/", deep, true, "/Banks"));
    ASSERT_EQ(deep.items.size(), 2u);
    EXPECT_EQ(deep.items[0], std::make_pair(library.workspace + "/Banks", true));
    EXPECT_EQ(deep.items[1], std::make_pair(library.workspace + "/Banks/Vault.tbf", false));

    // A cancel request stops the walk before the next entry.
    Recorder stopped;
    store.requestFullScan();
    EXPECT_FALSE(store.scanTree(library.workspace, stopped, true, {}));
    EXPECT_EQ(stopped.items.size(), 1u);
    store.clearFullScanRequest();
}

TEST_F(Indexing, IdleWorkersRebuildCountersAndReloadTheSelection) {
    ASSERT_TRUE(start());
    // Counters drift when favourites change without them (a batch of quick clicks).
    ASSERT_TRUE(test::execOn(db(), "UPDATE vst_preset SET is_favorite=1 WHERE type=2"));
    EXPECT_EQ(queryInt(db(), "SELECT fav_preset_count FROM vst_dir_tree WHERE path='/Banks'"), 0);
    RebuildPresetCounterIdleWorker counters(store);
    IdleWorkerBase& job = counters;
    job.run();
    EXPECT_EQ(queryInt(db(), "SELECT fav_preset_count FROM vst_dir_tree WHERE path='/Banks'"), 128);
    EXPECT_FALSE(store.isOpen());

    int reloads = 0;
    FinishIndexingIdleWorker finish([&] { ++reloads; });
    finish.run();
    EXPECT_EQ(reloads, 1);
}

} // namespace
} // namespace torvo

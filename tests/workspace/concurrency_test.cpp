// Several instances on one workspace file: two stores in two threads, and two processes, write
// at once; every write lands, none is lost, and the file stays sound. A lock held longer than
// the wait is reported as busy, never as damage.

#include "workspace/metadatastorage.h"
#include "workspacefixture.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace torvo {
namespace {

using test::queryInt;
using test::queryText;

class SharedWorkspace : public ::testing::Test {
protected:
    static constexpr int kRounds = 40;

    void SetUp() override {
        library.write();
        StorageStatus status;
        MetadataStorage first;
        ASSERT_TRUE(first.setRoots(*library.bank, library.workspace, library.factory, status));
    }
    std::string db() const { return library.workspace + "/workspace.db"; }
    std::vector<int64_t> bankItems() {
        std::vector<int64_t> ids;
        for (int i = 0; i < 128; ++i)
            ids.push_back(queryInt(db(), "SELECT id FROM vst_preset WHERE type=2 AND `index`=" +
                                             std::to_string(i)));
        return ids;
    }

    /// One instance's share of the work: history rows, favourites in exclusive batches with
    /// their counters, and tasks. Answers the number of failed operations.
    int work(const std::string& who, const std::vector<int64_t>& items, int offset) {
        MetadataStorage store;
        StorageStatus status;
        int failures = 0;
        if (!store.setRoots(*library.bank, library.workspace, library.factory, status))
            return kRounds * 3;
        for (int i = 0; i < kRounds; ++i) {
            const int64_t item = items[std::size_t((offset + i) % 128)];
            if (!store.addHistory(status, item)) ++failures;
            if (!store.setFavorite(status, {item}, true)) ++failures;
            if (!store.addTask(status, {who + "-" + std::to_string(i), "{}", who})) ++failures;
        }
        return failures;
    }

    test::TempFolder temp;
    test::FixtureLibrary library{temp};
};

TEST_F(SharedWorkspace, TwoInstancesInTwoThreadsLoseNothing) {
    const std::vector<int64_t> items = bankItems();
    int failuresA = -1;
    int failuresB = -1;
    std::thread a([&] { failuresA = work("a", items, 0); });
    std::thread b([&] { failuresB = work("b", items, 64); });
    a.join();
    b.join();
    EXPECT_EQ(failuresA, 0);
    EXPECT_EQ(failuresB, 0);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset_history"), 2 * kRounds);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM ai_task_state"), 2 * kRounds);
    // Items 0..59 and 64..123 are favourites now, plus Deep Sub from its file.
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE is_favorite=1"),
              2 * kRounds + 1);
    EXPECT_EQ(queryInt(db(), "SELECT fav_preset_count FROM vst_dir_tree WHERE path='/' AND "
                             "is_factory=0"),
              2 * kRounds + 1)
        << "the last counter rebuild saw every favourite";
    EXPECT_EQ(queryText(db(), "PRAGMA integrity_check"), "ok");
}

TEST_F(SharedWorkspace, TwoProcessesLoseNothing) {
    const std::vector<int64_t> items = bankItems();
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        // The child reports its failures through its exit code and leaves no test state behind.
        const int failures = work("child", items, 64);
        ::_exit(failures > 100 ? 100 : failures);
    }
    const int parentFailures = work("parent", items, 0);
    int state = 0;
    ASSERT_EQ(::waitpid(child, &state, 0), child);
    ASSERT_TRUE(WIFEXITED(state));
    EXPECT_EQ(WEXITSTATUS(state), 0);
    EXPECT_EQ(parentFailures, 0);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset_history"), 2 * kRounds);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM ai_task_state WHERE plug_uuid='child'"),
              kRounds);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM ai_task_state WHERE plug_uuid='parent'"),
              kRounds);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset WHERE is_favorite=1"),
              2 * kRounds + 1);
    EXPECT_EQ(queryText(db(), "PRAGMA integrity_check"), "ok");
}

TEST_F(SharedWorkspace, ReindexInOneProcessWhileAnotherWrites) {
    const std::vector<int64_t> items = bankItems();
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        MetadataStorage store;
        StorageStatus status;
        int failures = 0;
        if (!store.setRoots(*library.bank, library.workspace, library.factory, status))
            ::_exit(100);
        for (int i = 0; i < 5; ++i)
            if (!store.reindex(status, true, true)) ++failures;
        ::_exit(failures);
    }
    const int failures = work("parent", items, 0);
    int state = 0;
    ASSERT_EQ(::waitpid(child, &state, 0), child);
    ASSERT_TRUE(WIFEXITED(state));
    EXPECT_EQ(WEXITSTATUS(state), 0);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset_history"), kRounds)
        << "rescans keep the rows of presets that still exist, so their history stays";
    EXPECT_EQ(queryInt(db(), "SELECT COUNT(*) FROM vst_preset"),
              test::FixtureLibrary::kWorkspacePresets + test::FixtureLibrary::kFactoryPresets);
    EXPECT_EQ(queryText(db(), "PRAGMA integrity_check"), "ok");
}

TEST_F(SharedWorkspace, LockHeldPastTheWaitIsReportedAsBusyAndChangesNothing) {
    MetadataStorage holder;
    MetadataStorage other;
    StorageStatus status;
    ASSERT_TRUE(holder.setRoots(*library.bank, library.workspace, library.factory, status));
    ASSERT_TRUE(other.setRoots(*library.bank, library.workspace, library.factory, status));
    other.setBusyTimeout(20);
    const int64_t item = bankItems()[3];
    ASSERT_TRUE(holder.beginExclusive(status));
    EXPECT_FALSE(other.setFavorite(status, {item}, true));
    EXPECT_EQ(status.code, 5);
    EXPECT_EQ(status.message, "Workspace is locked by another Torvo. Please try later.");
    EXPECT_FALSE(other.addHistory(status, item));
    EXPECT_EQ(status.code, 5);
    std::vector<FolderRow> rows;
    EXPECT_FALSE(other.listChildren(status, rows, -1, false)) << "even reading waits for it";
    EXPECT_FALSE(other.isOpen()) << "a failure leaves no handle behind";
    ASSERT_TRUE(holder.rollback(status));
    EXPECT_FALSE(holder.isOpen());

    ASSERT_TRUE(other.setFavorite(status, {item}, true));
    ASSERT_TRUE(other.listChildren(status, rows, -1, false));
    EXPECT_EQ(rows.size(), 1u);
    EXPECT_EQ(queryText(db(), "PRAGMA integrity_check"), "ok");
}

} // namespace
} // namespace torvo

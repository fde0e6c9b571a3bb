#pragma once
// A small handle for indexing single files outside a full scan: after a save, an import or a
// move, the browser adds the new files through it and finishes with the counters.

#include <cstdint>
#include <memory>
#include <string>

namespace torvo {

class Bank;
class MetadataStorage;
class ReindexerFileListItemOp;

class NewFileIndexer {
public:
    virtual ~NewFileIndexer() = default;
    /// Row id of the file or folder (relative to the root, or absolute below it), or -1.
    virtual int64_t addPath(const std::string& relativePath, bool isFolder) = 0;
    /// The tag inferred from a preset name, or an empty text.
    virtual std::string inferTag(const std::string& name) = 0;
    /// Closes the handle, after recomputing the stored counters if asked.
    virtual void finish(bool rebuildCounters) = 0;
    void finish() { finish(true); }
};

class NewFileIndexerImpl : public NewFileIndexer {
public:
    /// Opens the database; when that fails every operation does nothing.
    NewFileIndexerImpl(MetadataStorage& store, Bank* bank, const std::string& rootPath,
                       bool isFactory);
    ~NewFileIndexerImpl() override;

    int64_t addPath(const std::string& relativePath, bool isFolder) override;
    std::string inferTag(const std::string& name) override;
    void finish(bool rebuildCounters) override;
    using NewFileIndexer::finish;

private:
    MetadataStorage& store;
    std::unique_ptr<ReindexerFileListItemOp> op;
    /// This handle opened the database and closes it in finish.
    bool opened = false;
};

} // namespace torvo

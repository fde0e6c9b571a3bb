#pragma once
// The user's settings from one run to the next and across plug-in instances, in one JSON file
// "torvo_config.json" in the user's configuration folder. Every instance re-reads the file when
// it changed on disk (another instance wrote it), and every write replaces the file whole:
// written to a temporary file beside it, then renamed over it, so no reader ever sees half a
// file. Between instances the last writer wins.

#include "workspace/configvalues.h"
#include "workspace/mutex.h"

#include <cstdint>
#include <string>

namespace torvo {

class Config {
public:
    static constexpr const char* kFileName = "torvo_config.json";
    static constexpr const char* kCacheFileName = "E6DAD759A2812F3CE108A4E717AF21A6.dat";
    /// Seconds between two checks of the sale notice.
    static constexpr int kSaleCheckPeriod = 86000;

    /// The per-user folders of this machine.
    Config();
    /// Explicit folders (each with or without a trailing separator); the cache folder is
    /// created when missing.
    Config(const std::string& configFolder, const std::string& cacheFolder,
           const std::string& defaultWorkspace);

    /// Writes all settings; false (and the old file untouched) when the write failed.
    virtual bool save();
    /// Reads the file if it changed since this instance last read or wrote it, or always with
    /// `force`; true when the values were (re)taken.
    virtual bool load(bool force);
    virtual ~Config();

    ConfigValues& values() { return current; }
    const ConfigValues& values() const { return current; }
    const std::string& filePath() const { return jsonPath; }
    const std::string& cacheFilePath() const { return cachePath; }
    const std::string& defaultWorkspaceFolder() const { return workspaceDefault; }
    /// Where a file that could not be parsed was put aside, after load met one.
    const std::string& lastBrokenFile() const { return brokenPath; }
    /// The catalogue version the generator client sends; not stored.
    const std::string& catalogueVersion() const { return catalogue; }

    /// Seconds until the next sale-notice check: at once when the last one is older than the
    /// period, else a period, plus `randomValue` mod 20 so that many instances spread out.
    static int saleCheckDelay(double now, double lastCheck, int randomValue);

    /// Identity of the file on disk as last seen: a rename gives a new inode even when the
    /// time stamps of two writes coincide.
    struct FileStamp {
        int64_t modifiedNs = -1;
        uint64_t inode = 0;
        int64_t size = -1;
        bool operator==(const FileStamp& o) const {
            return modifiedNs == o.modifiedNs && inode == o.inode && size == o.size;
        }
    };

private:
    bool saveLocked();
    void takeJson(const std::string& text, bool& parsed);
    void readLegacyFiles();
    void keepBrokenFile();
    void useDefaultWorkspace();

    Mutex mutex;
    ConfigValues current;
    std::string folder;
    std::string jsonPath;
    std::string cachePath;
    std::string workspaceDefault;
    std::string brokenPath;
    std::string catalogue = "1.0";
    FileStamp seen;
};

} // namespace torvo

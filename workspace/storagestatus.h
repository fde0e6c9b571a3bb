#pragma once
// The status record every workspace-store operation hands back: the SQLite result code and the
// text the user is shown for it. Codes 0 (done), 100 (a row) and 101 (no more rows) count as
// success; nothing is ever thrown across the store's interface.

#include <string>

namespace torvo {

struct StorageStatus {
    int code = 0;
    std::string message;

    bool ok() const { return code == 0 || code == 100 || code == 101; }
    /// Takes `resultCode` (primary or extended) and derives the user's text from it.
    void set(int resultCode);
    void clear() { set(0); }
};

/// The user's text for a result code: empty on success, the locked text for busy and locked,
/// otherwise an invitation to rescan.
std::string storageStatusText(int code);

} // namespace torvo

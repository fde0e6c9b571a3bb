#include "workspace/storagestatus.h"

namespace torvo {

std::string storageStatusText(int code) {
    switch (code) {
    case 0:
    case 100:
    case 101:
        return {};
    case 5:
    case 6:
        return "Workspace is locked by another Torvo. Please try later.";
    default:
        return "Workspace index file error (" + std::to_string(code) +
               "). Please rescan workspace.";
    }
}

void StorageStatus::set(int resultCode) {
    // Extended codes (SQLITE_BUSY_SNAPSHOT and the like) carry the primary code in the low byte.
    code = resultCode & 0xff;
    message = storageStatusText(code);
}

} // namespace torvo

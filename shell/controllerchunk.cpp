#include "shell/controllerchunk.h"

#include "shell/controllertuning.h"
#include "shell/controllerworkspace.h"
#include "workspace/indexer.h"
#include "workspace/presetlibrary.h"
#include "workspace/presetmanagermodel.h"

namespace torvo {

ControllerChunk::ControllerChunk(Bank& b, ControllerTuning& t, ControllerWorkspace& w,
                                 PresetManagerModel& m)
    : bank(b), tuning(t), workspace(w), model(m) {}

ControllerChunk::~ControllerChunk() {
    closeIndexer();
}

std::string ControllerChunk::scalaState() {
    return tuning.stateText();
}

void ControllerChunk::applyScalaState(const std::string& text) {
    scalaSeen = true;
    tuning.applyStateText(text);
}

std::string ControllerChunk::workspaceUuid() {
    return workspace.availableForState() ? workspace.store().workspaceUuid() : std::string();
}

std::string ControllerChunk::presetManagerState() {
    return model.saveStateText();
}

void ControllerChunk::applyPresetManagerState(const std::string& text) {
    model.restoreStateText(text);
}

void ControllerChunk::refreshStore() {
    if (!workspace.availableForState()) return;
    StorageStatus status;
    workspace.store().openForQuery(status);
}

bool ControllerChunk::presetPathForRow(int id, std::string& path) {
    if (!workspace.availableForState() || id < 0) return false;
    StorageStatus status;
    PresetRecord row;
    if (!workspace.store().presetRow(status, id, row) || row.id < 0) return false;
    path = PresetLibrary(workspace.store(), bank).fileOf(row);
    return !path.empty();
}

std::string ControllerChunk::workspaceFolder() {
    return workspace.availableForState() ? workspace.store().workspaceFolder() : std::string();
}

bool ControllerChunk::openIndexer(const std::string& folder) {
    if (!workspace.availableForState()) return false;
    closeIndexer();
    indexer = workspace.store().openIndexer(folder, false);
    return indexer != nullptr;
}

std::string ControllerChunk::tagForName(const std::string& name) {
    return indexer ? indexer->inferTag(name) : std::string();
}

int ControllerChunk::registerFile(const std::string& relativePath) {
    return indexer ? int(indexer->addPath(relativePath, false)) : -1;
}

void ControllerChunk::closeIndexer() {
    if (!indexer) return;
    indexer->finish();
    indexer.reset();
}

} // namespace torvo

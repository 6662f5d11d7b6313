// What the open pipeline does to a freshly read collection: the `load.*` settings as the core sees them.
#pragma once

namespace velor {

struct LoadOptions {
    bool confirm = false;               // load.bConfirm: ask before items are deleted
    bool autoSplitStereo = false;       // load.bAutoSplitStereo
    bool autoMergeStereo = true;        // load.bAutoMergeStereo
    bool autoCompactLayers = true;      // load.bAutoCompactLayers
    bool autoRemoveDupWaves = true;     // load.bAutoRemoveDupWaves
    bool autoMoveArticulation = false;  // load.bAutoMoveArticulation
    bool autoMoveTriggerParams = true;  // load.bAutoMoveTriggerParams
    bool autoAppend32 = false;          // load.bAutoAppend32
    bool autoBid2Fwd = false;           // load.bAutoBid2Fwd
    bool autoSortColl = true;           // load.bAutoSortColl
    bool autoSortWaves = true;          // load.bAutoSortWaves
    bool ensureUniqueNames = true;      // load.bEnsureUniqueNames
};

}  // namespace velor

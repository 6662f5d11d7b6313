// Where the system keeps things for the user and for this program. Folders are named, not created.
#pragma once

#include <filesystem>
#include <string>

namespace velor {

// The user's home folder; the root folder when there is none.
std::filesystem::path homeFolder();
// Where programs keep the user's preferences: $XDG_CONFIG_HOME, else .config in the home folder; on Windows
// the roaming application data. Without a part that names this program, as are the next two.
std::filesystem::path configFolder();
// Where programs keep the user's data: $XDG_DATA_HOME, else .local/share; on Windows the roaming application
// data.
std::filesystem::path dataFolder();
// Where programs keep what can be large and belongs to this machine alone, such as an undo history:
// $XDG_STATE_HOME, else .local/state; on Windows the local application data.
std::filesystem::path stateFolder();
// Where files that may be lost can be put.
std::filesystem::path tempFolder();
// Windows: its system folder ("C:\Windows\System32"). Elsewhere empty.
std::filesystem::path systemFolder();
// The running program's own file; empty when the system does not tell.
std::filesystem::path executablePath();

// Value of an environment variable as UTF-8; empty when it is not set.
std::string environmentVariable(const char* name);

std::filesystem::path currentFolder();
// Makes `folder` the current folder, against which relative names count. Fails with "Could not change to the
// folder".
bool changeCurrentFolder(const std::filesystem::path& folder);

}  // namespace velor

// The terminal a program was started from: its command line, its streams and its Ctrl-C.
#pragma once

#include <string>
#include <vector>

namespace velor {

enum class StandardStream { Input, Output, Errors };

// True when a person reads or types there, false for a file, a pipe or nothing.
bool isTerminal(StandardStream stream);
// Columns of the terminal behind the error stream, else behind the output; 80 when neither is one.
int terminalWidth();

// The arguments as UTF-8, the program first. On Windows they come from the system's wide text, and those with
// wildcards outside quotation marks are replaced by the files they name, since its shells do not do that; an
// argument that names nothing, or that begins with a dash, stays as it is.
std::vector<std::string> commandLine(int argc, char** argv);

// Makes a Windows console show UTF-8 text. Nothing elsewhere.
void useUtf8Console();
// Sends bytes through a standard stream as they are, without a translation of line ends (Windows).
void useBinaryStream(StandardStream stream);

// From now on Ctrl-C and a request to end (SIGTERM, SIGHUP, closing the console) set a flag instead of ending
// the program; a second one ends it at once.
void installInterruptHandler();
// True once such a request came. Cheap enough for inner loops; from any thread.
bool interruptRequested() noexcept;
// Sets or clears the flag, for a shell that handled the request and for tests.
void setInterruptRequested(bool requested) noexcept;

}  // namespace velor

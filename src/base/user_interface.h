// The port through which the core talks to whoever runs it: a window, a command line, a test. The core never
// waits for a dialog of its own.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velor {

// A question with labelled buttons, as a reader puts it.
struct Question {
    std::string_view key;  // stable name, for answers given in advance ("raw.unrecognized")
    std::string text;
    std::vector<std::string> buttons;
    std::size_t defaultButton = 0;
};

// A fault that does not end the reading, with its place.
struct Warning {
    std::string text;
    std::string place;         // chunk or field, may be empty
    std::uint64_t offset = 0;  // byte position in the file, 0 when it does not matter
};

// Called on the thread that opens, processes or saves.
class UserInterface {
  public:
    virtual ~UserInterface() = default;

    // Returns the index of the chosen button. The default takes the default button.
    virtual std::size_t ask(const Question& question) { return question.defaultButton; }
    // A short line of what is being done ("Fixing up items...").
    virtual void status(std::string_view /*text*/) {}
    // Completed share of the running task, 0..1.
    virtual void progress(double /*share*/) {}
    // True when the user wants the running task to end. Long loops ask it at least every 50 ms.
    virtual bool aborted() { return false; }
    virtual void warn(const Warning& /*warning*/) {}
    // A completion message ("Done: Deleted 2 duplicate waveforms (8K samples freed)").
    virtual void report(std::string_view /*text*/) {}
};

}  // namespace velor

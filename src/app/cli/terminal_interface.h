// The core's questions, warnings and progress, answered by a command line: nothing waits for a person.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/user_interface.h"

namespace velor::cli {

class Terminal;

// Answers given in advance, by question key.
using Answers = std::map<std::string, std::string, std::less<>>;

// Reads KEY=LABEL texts. Returns a message when one is malformed, else an empty text.
std::string parseAnswers(const std::vector<std::string>& texts, Answers& answers);

class TerminalInterface final : public UserInterface {
  public:
    TerminalInterface(Terminal& terminal, const Answers& answers) : terminal_(terminal), answers_(answers) {}

    // What follows concerns this file: named in messages. Forgets the warnings of the file before.
    void setFile(std::string_view file);
    // Where in the current file's work the progress that the core reports lies.
    void setSpan(double from, double to);
    // The current file's warnings as texts, "text (place, byte N)".
    const std::vector<std::string>& warnings() const { return warnings_; }
    // Warnings and reports are kept but not printed.
    void setSilent(bool silent) { silent_ = silent; }

    std::size_t ask(const Question& question) override;
    void status(std::string_view text) override;
    void progress(double share) override;
    bool aborted() override;
    void warn(const Warning& warning) override;
    void report(std::string_view text) override;

  private:
    Terminal& terminal_;
    const Answers& answers_;
    std::string file_;
    std::vector<std::string> warnings_;
    double from_ = 0;
    double to_ = 1;
    bool silent_ = false;
};

}  // namespace velor::cli

// What the program says: data on standard output, talk on standard error.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velor::cli {

class Arguments;

// Text for standard output, gathered and written in large pieces: one write for a thousand small files.
class Output {
  public:
    Output() = default;
    ~Output() { flush(); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void add(std::string_view text) {
        text_ += text;
        if (text_.size() >= kFlushSize)
            flush();
    }
    // False once a write failed (a closed pipe, a full disk).
    bool flush();

  private:
    static constexpr std::size_t kFlushSize = 256 * 1024;
    std::string text_;
    bool failed_ = false;
};

enum class ProgressMode { None, Bar, Json };

// Messages and progress on standard error.
class Terminal {
  public:
    explicit Terminal(const Arguments& arguments);
    ~Terminal() { clearBar(); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool verbose() const { return verbose_; }
    bool quiet() const { return quiet_; }

    // "velor: FILE: MESSAGE"; without a file "velor: MESSAGE". Always shown.
    void failure(std::string_view file, std::string_view message);
    // Things to know that end nothing; not shown with --quiet.
    void note(std::string_view file, std::string_view message);
    // Shown with --verbose only.
    void detail(std::string_view file, std::string_view message);
    // Lines that another process of ours wrote to its standard error.
    void passOn(std::string_view lines);

    // File `index` (from 0) of `count` is being worked on.
    void startFile(std::string_view file, std::size_t index, std::size_t count);
    // Completed share of the current file, 0..1. Cheap: shown at most ten times a second.
    void progress(double share);
    void finishFile(bool ok);

  private:
    void line(std::string_view file, std::string_view message, const char* colour);
    void show(double share);
    void clearBar();

    bool quiet_ = false;
    bool verbose_ = false;
    bool colour_ = false;
    ProgressMode mode_ = ProgressMode::None;
    std::string file_;
    std::size_t index_ = 0;
    std::size_t count_ = 0;
    double lastShown_ = 0;  // seconds
    bool barShown_ = false;
};

// Prints data on standard output; returns an ExitCode.
int printText(std::string_view text);
// The shortest way to say that the command line is wrong; returns kExitUsage.
int usageError(std::string_view verb, std::string_view message);

}  // namespace velor::cli

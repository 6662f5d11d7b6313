#include "app/cli/terminal.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/json_documents.h"
#include "base/error.h"
#include "base/text.h"
#include "platform/console.h"
#include "platform/folders.h"

namespace velor::cli {

namespace {

void writeErrors(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

constexpr double kShowEvery = 0.1;  // seconds
constexpr const char* kRed = "\x1b[31m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kPlain = "\x1b[0m";
constexpr const char* kClearLine = "\r\x1b[K";

}  // namespace

bool Output::flush() {
    if (!text_.empty() && !failed_)
        failed_ = std::fwrite(text_.data(), 1, text_.size(), stdout) != text_.size();
    text_.clear();
    if (!failed_)
        failed_ = std::fflush(stdout) != 0;
    return !failed_;
}

Terminal::Terminal(const Arguments& arguments)
    : quiet_(arguments.has("quiet")), verbose_(arguments.has("verbose")) {
    const bool terminal = isTerminal(StandardStream::Errors);
    colour_ = terminal && environmentVariable("NO_COLOR").empty() && environmentVariable("TERM") != "dumb";
    const std::string mode = arguments.value("progress", "auto");
    if (equalNoCase(mode, "json"))
        mode_ = ProgressMode::Json;
    else if (equalNoCase(mode, "bar"))
        mode_ = ProgressMode::Bar;
    else if (equalNoCase(mode, "auto") && terminal && !quiet_)
        mode_ = ProgressMode::Bar;
}

void Terminal::line(std::string_view file, std::string_view message, const char* colour) {
    clearBar();
    std::string text;
    if (colour_)
        text += colour;
    text += "velor: ";
    if (colour_)
        text += kPlain;
    if (!file.empty())
        text += displayText(file) + ": ";
    text += displayText(message);
    text += '\n';
    writeErrors(text);
}

void Terminal::failure(std::string_view file, std::string_view message) {
    line(file, message, kRed);
}

void Terminal::note(std::string_view file, std::string_view message) {
    if (!quiet_)
        line(file, message, kYellow);
}

void Terminal::detail(std::string_view file, std::string_view message) {
    if (verbose_ && !quiet_)
        line(file, message, "");
}

void Terminal::passOn(std::string_view lines) {
    if (lines.empty())
        return;
    clearBar();
    writeErrors(lines);
}

void Terminal::startFile(std::string_view file, std::size_t index, std::size_t count) {
    file_ = displayText(file);
    index_ = index;
    count_ = count;
    lastShown_ = 0;
    if (mode_ != ProgressMode::None)
        show(0);
}

void Terminal::progress(double share) {
    if (mode_ == ProgressMode::None)
        return;
    const double time = now();
    if (time - lastShown_ < kShowEvery)
        return;
    lastShown_ = time;
    show(std::clamp(share, 0.0, 1.0));
}

void Terminal::finishFile(bool ok) {
    if (mode_ == ProgressMode::Json)
        writeErrors(progressLine(ok ? "done" : "failed", file_, index_, count_, 1));
    clearBar();
}

void Terminal::show(double share) {
    if (mode_ == ProgressMode::Json) {
        writeErrors(progressLine("progress", file_, index_, count_, share));
        return;
    }
    constexpr int kBarWidth = 24;
    const double whole = count_ ? (static_cast<double>(index_) + share) / static_cast<double>(count_) : share;
    const int filled = static_cast<int>(whole * kBarWidth + 0.5);
    std::string text = kClearLine + std::string("[") + std::string(static_cast<std::size_t>(filled), '#') +
                       std::string(static_cast<std::size_t>(kBarWidth - filled), '.') +
                       formatText("] %3.0f %% ", whole * 100);
    if (count_ > 1)
        text += formatText("%zu/%zu ", index_ + 1, count_);
    // A bar that wraps could not be wiped off again; cutting inside a character is avoided.
    const std::size_t room = static_cast<std::size_t>(std::max(terminalWidth() - 50, 10));
    std::string name = file_;
    if (name.size() > room) {
        std::size_t from = name.size() - room;
        while (from < name.size() && (static_cast<unsigned char>(name[from]) & 0xC0) == 0x80)
            ++from;
        name.erase(0, from);
    }
    writeErrors(text + name);
    barShown_ = true;
}

void Terminal::clearBar() {
    if (barShown_)
        writeErrors(kClearLine);
    barShown_ = false;
}

int printText(std::string_view text) {
    Output output;
    output.add(text);
    return output.flush() ? kExitDone : kExitFailed;
}

int usageError(std::string_view verb, std::string_view message) {
    std::string text = "velor: " + displayText(message) + "\nTry \"velor ";
    if (!verb.empty())
        text += std::string(verb) + ' ';
    writeErrors(text + "--help\".\n");
    return kExitUsage;
}

}  // namespace velor::cli

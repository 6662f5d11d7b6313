#include "app/cli/terminal_interface.h"

#include "app/cli/arguments.h"
#include "app/cli/terminal.h"
#include "base/error.h"
#include "base/text.h"
#include "platform/console.h"

namespace velor::cli {

std::string parseAnswers(const std::vector<std::string>& texts, Answers& answers) {
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0)
            return "--answer takes KEY=LABEL, not \"" + text + "\"";
        answers[text.substr(0, equals)] = text.substr(equals + 1);
    }
    return {};
}

void TerminalInterface::setFile(std::string_view file) {
    file_ = file;
    warnings_.clear();
    setSpan(0, 1);
}

void TerminalInterface::setSpan(double from, double to) {
    from_ = from;
    to_ = to;
}

std::size_t TerminalInterface::ask(const Question& question) {
    // A question is one paragraph here; its line breaks belong to a window.
    std::string text = question.text.substr(0, question.text.find('\n'));
    const auto given = answers_.find(question.key);
    if (given != answers_.end()) {
        for (std::size_t i = 0; i < question.buttons.size(); ++i) {
            if (equalNoCase(question.buttons[i], given->second))
                return i;
        }
        terminal_.failure(
            file_, unknownName("answer to " + std::string(question.key), given->second, question.buttons));
    }
    if (question.defaultButton < question.buttons.size()) {
        const std::string& button = question.buttons[question.defaultButton];
        std::string others;
        for (std::size_t i = 0; i < question.buttons.size(); ++i) {
            if (i != question.defaultButton)
                others += (others.empty() ? "" : ", ") + question.buttons[i];
        }
        terminal_.note(file_, text + " - taken: " + button +
                                  (others.empty() ? std::string()
                                                  : " (or --answer \"" + std::string(question.key) + "=" +
                                                        button + "\"; others: " + others + ")"));
    }
    return question.defaultButton;
}

void TerminalInterface::status(std::string_view text) {
    terminal_.detail(file_, text);
}

void TerminalInterface::progress(double share) {
    terminal_.progress(from_ + (to_ - from_) * share);
}

bool TerminalInterface::aborted() {
    return interruptRequested();
}

std::string labelledWarning(const std::string& text) {
    return text.starts_with("Warning: ") ? "warning: " + text.substr(9) : "warning: " + text;
}

void TerminalInterface::warn(const Warning& warning) {
    std::string text = displayText(warning.text);
    if (!warning.place.empty() || warning.offset != 0) {
        text += " (";
        text += displayText(warning.place);
        if (warning.offset != 0)
            text += formatText("%sbyte %llu", warning.place.empty() ? "" : ", ",
                               static_cast<unsigned long long>(warning.offset));
        text += ')';
    }
    if (!silent_)
        terminal_.note(file_, labelledWarning(text));
    warnings_.push_back(std::move(text));
}

void TerminalInterface::report(std::string_view text) {
    if (!silent_)
        terminal_.detail(file_, text);
}

}  // namespace velor::cli

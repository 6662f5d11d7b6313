#include "app/cli/convert_file.h"

#include <algorithm>
#include <system_error>

#include "app/cli/item_choice.h"
#include "app/cli/output_names.h"
#include "app/cli/read_input.h"
#include "app/cli/terminal.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/core/wave_writer.h"
#include "formats/framework/format_table.h"
#include "platform/console.h"

namespace velor::cli {

namespace fs = std::filesystem;

namespace {

bool writable(int row) {
    return writerBuilt(row) ||
           fail("Writing \"" + std::string(rowDescription(row)) + "\" files is not supported in this build");
}

// Fails early, and in a dry run at all, with what the row can not do.
bool checkTarget(Item& item, int row, const SaveOptions& choices) {
    const std::string description(rowDescription(row));
    if (!writable(row))
        return false;
    SaveOptions save = choices;
    const RowFlags flags = rowFlags(row);
    save.flags = flags.flags;
    save.variant = flags.variant;
    for (const Waveform* wave : item.owner().waveformsOf(item)) {
        if (save.encoding != SampleEncoding::None && encodingFor(save, *wave) != save.encoding)
            return fail("\"" + description + "\" files can not store " +
                        std::string(encodingName(save.encoding)) + "; they store " +
                        encodingList(save.flags));
        if (channelsFor(save, wave->channels) == 0)
            return fail(formatText("\"%s\" files can not store %d channel%s", description.c_str(),
                                   save.channels, pluralSuffix(static_cast<unsigned>(save.channels))));
    }
    return true;
}

ConvertTarget describeTarget(const fs::path& path, Item& item, int row, const SaveOptions& save) {
    ConvertTarget target;
    target.path = utf8FromPath(path);
    target.item = item.name();
    target.row = row;
    if (item.kind() == ItemKind::MidiSong && !(rowFlags(row).flags & encodingBit(SampleEncoding::Midi))) {
        // It will be rendered: two channels of 24 bits.
        target.encoding = encodingName(
            chooseEncoding(rowFlags(row).flags & format_flags::kEncodings, SampleEncoding::Pcm24, 24));
        target.channels = save.channels != 0 ? save.channels : outputChannels(rowFlags(row).flags, 2);
    } else {
        outputEncoding(row, item, target.encoding, save.quality);
        target.channels = save.channels != 0 ? save.channels : outputChannels(row, item);
    }
    if (save.encoding != SampleEncoding::None)
        target.encoding = encodingName(save.encoding);
    return target;
}

bool makeFolderFor(const ConvertTask& task, bool dryRun) {
    std::error_code error;
    if (fs::is_directory(task.folder, error))
        return true;
    const std::string shown = utf8FromPath(task.folder);
    if (fs::exists(task.folder, error))
        return fail(shown + " is a file, not a folder");
    if (!task.makeFolder)
        return fail("the folder " + shown + " does not exist");
    if (dryRun)
        return true;
    fs::create_directories(task.folder, error);
    return !error || fail("could not create the folder " + shown + ": " + error.message());
}

enum class Verdict { Write, Skip, Refuse };

class FileConverter {
  public:
    FileConverter(const ConvertTask& task, const ConvertRequest& request, TerminalInterface& ui,
                  Terminal& terminal, std::set<std::string>& written)
        : task_(task), request_(request), ui_(ui), terminal_(terminal), written_(written) {
        result_.input = task.shown;
    }

    ConvertResult run() {
        ui_.setFile(task_.shown);
        if (!task_.problem.empty())
            return failed(task_.problem);
        Collection collection;
        FileReport report;
        ui_.setSpan(0, request_.process ? 0.1 : 0.5);
        if (!readInput(collection, task_.input, request_.read, ui_, report))
            return notRead(report);
        if (request_.process) {
            // Before work that may be long and for nothing.
            ItemChoice untouched;
            if (namesOutput() && !request_.dryRun &&
                chooseItems(collection, request_, task_.extension, untouched) && !writable(untouched.row))
                return failed(LastErrorText);
            ui_.setSpan(0.1, 0.5);
            if (!processItems(collection, *request_.process, ui_, result_.process))
                return failed(LastErrorText);
            for (const ProcessItemReport& item : result_.process.run.items) {
                if (item.outcome == ProcessOutcome::Failed)
                    itemFailed(displayText(item.name) + ": " + item.error);
            }
            if (request_.reportOnly || (request_.dryRun && !namesOutput()))
                return finish();
        }
        ItemChoice choice;
        if (!chooseItems(collection, request_, task_.extension, choice))
            return failed(LastErrorText);
        if (task_.standardOutput && choice.items.size() > 1)
            return failed(
                formatText("gives %zu files, which do not fit on standard output; choose one "
                           "with --item",
                           choice.items.size()));
        services_.ui = &ui_;
        services_.load = request_.read.load;
        SongRendering songs(request_.read.render, request_.read.bank);
        services_.songs = &songs;
        for (std::size_t i = 0; i < choice.items.size() && !ui_.aborted(); ++i) {
            const double count = static_cast<double>(choice.items.size());
            ui_.setSpan(0.5 + 0.5 * static_cast<double>(i) / count,
                        0.5 + 0.5 * static_cast<double>(i + 1) / count);
            convertItem(*choice.items[i], choice.row, i + 1, choice.items.size());
        }
        return finish();
    }

  private:
    bool namesOutput() const {
        return !request_.output.empty() || !request_.folder.empty() || !request_.extension.empty();
    }

    ConvertResult failed(std::string message) {
        result_.error = std::move(message);
        return finish();
    }

    ConvertResult notRead(const FileReport& report) {
        // Folders hold notes and pictures too: what is no file type of ours is no failure there.
        const bool unknown = report.type.row < 0 || (report.type.row == 0 && report.type.confidence == 0);
        if (task_.foundInFolder && unknown && !ui_.aborted() && File::open(task_.input)) {
            result_.skipped = true;
            result_.skipReason = report.error;
            return finish();
        }
        return failed(report.error);
    }

    ConvertResult finish() {
        result_.warnings = ui_.warnings();
        result_.interrupted = ui_.aborted();
        if (result_.interrupted && result_.error.empty())
            result_.error = "interrupted";
        if (skippedItems_ > 0 && result_.targets.empty() && result_.error.empty()) {
            result_.skipped = true;
            result_.skipReason = "the output exists";
        }
        if (moreErrors_ > 0)
            result_.error += formatText(" (and %zu more)", moreErrors_);
        result_.ok = result_.error.empty();
        return std::move(result_);
    }

    void itemFailed(const std::string& message) {
        if (result_.error.empty())
            result_.error = message;
        else
            ++moreErrors_;
    }

    fs::path pathFor(const Item& item, std::size_t index, std::size_t count) const {
        if (count == 1 && request_.nameTemplate.empty())
            return task_.folder /
                   pathFromUtf8(task_.extension.empty() ? task_.stem : task_.stem + "." + task_.extension);
        const std::string& nameTemplate =
            request_.nameTemplate.empty() ? std::string(kDefaultNameTemplate) : request_.nameTemplate;
        return task_.folder /
               pathFromUtf8(fillTemplate(nameTemplate, {task_.stem, index, item.name(), task_.extension}));
    }

    // Settles the name under which an output is written.
    Verdict settlePath(fs::path& path) {
        const fs::path wanted = path;
        std::error_code ignored;
        const auto taken = [&](const fs::path& candidate) {
            return written_.count(pathKey(candidate)) != 0 ||
                   (request_.existing == ExistingOutputs::Rename && fs::exists(candidate, ignored));
        };
        for (std::size_t number = 2; taken(path); ++number)
            path = numberedPath(wanted, number);
        if (path != wanted)
            terminal_.note(task_.shown, "goes to " + utf8FromPath(path.filename()) + ", because " +
                                            utf8FromPath(wanted.filename()) + " exists");
        if (!fs::exists(path, ignored))
            return Verdict::Write;
        const std::string shown = utf8FromPath(path);
        const auto refuse = [](const std::string& message) {
            fail(message);
            return Verdict::Refuse;
        };
        if (sameFile(path, task_.input))
            return refuse("the output is the input itself");
        if (fs::is_directory(path, ignored))
            return refuse("the output " + shown + " is a folder");
        if (request_.existing == ExistingOutputs::Keep)
            return refuse("the output " + shown +
                          " exists already; --overwrite, --skip-existing or --rename says what to do");
        return request_.existing == ExistingOutputs::Skip ? Verdict::Skip : Verdict::Write;
    }

    void convertItem(Item& item, int row, std::size_t index, std::size_t count) {
        if (!checkTarget(item, row, request_.save)) {
            itemFailed(LastErrorText);
            return;
        }
        fs::path path = "-";
        if (!task_.standardOutput) {
            path = pathFor(item, index, count);
            if (!makeFolderFor(task_, request_.dryRun)) {
                itemFailed(LastErrorText);
                return;
            }
            const Verdict verdict = settlePath(path);
            if (verdict == Verdict::Refuse) {
                itemFailed(LastErrorText);
                return;
            }
            if (verdict == Verdict::Skip) {
                ++skippedItems_;
                terminal_.detail(task_.shown, utf8FromPath(path) + " exists: skipped");
                return;
            }
        }
        ConvertTarget target = describeTarget(path, item, row, request_.save);
        // Each output depends on its own input alone, in whatever order and number of processes a batch runs.
        resetWaveHeaderTemplate();
        if (!request_.dryRun && !saveItem(&item, row, path, services_, request_.save)) {
            itemFailed(count > 1 ? displayText(item.name()) + ": " + LastErrorText : LastErrorText);
            return;
        }
        if (!task_.standardOutput)
            written_.insert(pathKey(path));
        result_.targets.push_back(std::move(target));
    }

    const ConvertTask& task_;
    const ConvertRequest& request_;
    TerminalInterface& ui_;
    Terminal& terminal_;
    std::set<std::string>& written_;
    PipelineServices services_;
    ConvertResult result_;
    std::size_t skippedItems_ = 0;
    std::size_t moreErrors_ = 0;
};

}  // namespace

ConvertResult convertFile(const ConvertTask& task, const ConvertRequest& request, TerminalInterface& ui,
                          Terminal& terminal, std::set<std::string>& written) {
    return FileConverter(task, request, ui, terminal, written).run();
}

}  // namespace velor::cli

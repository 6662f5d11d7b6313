#include "app/cli/convert_plan.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <system_error>

#include "app/cli/arguments.h"
#include "app/cli/item_choice.h"
#include "app/cli/option_table.h"
#include "app/cli/output_names.h"
#include "app/cli/terminal.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/framework/format_table.h"
#include "platform/console.h"
#include "platform/folders.h"
#include "platform/process.h"

namespace velor::cli {

namespace fs = std::filesystem;

namespace {

fs::path absolutePath(const fs::path& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    return error ? path : absolute.lexically_normal();
}

// The row that --row and --type name, -1 when neither is given.
std::string readRow(const Arguments& arguments, ConvertRequest& request) {
    if (arguments.has("row")) {
        long long row = 0;
        if (!parseInteger(arguments.value("row"), row) || row < 0 || row >= kFormatRows)
            return formatText("--row takes a number from 0 to %d; see \"velor formats\"", kFormatRows - 1);
        request.row = static_cast<int>(row);
        if (!formatRow(request.row)->write)
            return formatText("row %d, \"%s\", can not be written", request.row,
                              formatRow(request.row)->description);
    } else if (arguments.has("type")) {
        const std::string extension =
            request.extension.empty() ? std::string(extensionOf(request.output)) : request.extension;
        request.row = findWriterByDescription(arguments.value("type"), extension);
    }
    return {};
}

std::string readExtension(const Arguments& arguments, ConvertRequest& request) {
    request.output = arguments.value("output");
    request.extension = arguments.value("to");
    if (request.extension.starts_with('.'))
        request.extension.erase(0, 1);
    if (std::string problem = readRow(arguments, request); !problem.empty())
        return problem;
    if (request.row >= 0) {
        if (request.extension.empty())
            request.extension = rowExtension(request.row);
        return {};
    }
    if (request.process && request.extension.empty() && request.output.empty()) {
        // The outputs are of the types of the inputs; processes that measure need none.
        if (arguments.has("dir") || arguments.has("dry-run"))
            return {};
        if (!request.process->process.row->process->measures)
            return "say where to write: -o FILE, --to EXT or -d DIR; --dry-run shows what would change";
        request.reportOnly = true;
        return {};
    }
    const bool toFile = !request.output.empty() && request.output != "-";
    if (request.extension.empty() && !toFile)
        return request.output == "-" ? "-o - needs --to, --type or --row"
                                     : "say what to write: -o FILE, --to EXT, --type or --row";
    const std::string fileName = utf8FromPath(pathFromUtf8(request.output).filename());
    if (request.extension.empty()) {
        if (fileName.find('.') == std::string::npos)
            return "\"" + request.output +
                   "\" has no extension: say with --to, --type or --row what to write";
        request.extension = extensionOf(fileName);
    }
    if (findWriterByExtension("x." + request.extension) < 0)
        return unknownName("extension to write", request.extension, choicesOf(ValueKind::WriteExtension, ""));
    return {};
}

// What the render verb may say beside the settings.
std::string readRendering(const Arguments& arguments, ReadChoices& choices) {
    RenderOptions& render = choices.render;
    if (arguments.has("bank")) {
        choices.bank = absolutePath(pathFromUtf8(arguments.value("bank")));
        std::error_code error;
        if (!fs::is_regular_file(choices.bank, error))
            return "there is no bank " + arguments.value("bank");
    }
    render.polyphony = static_cast<std::uint32_t>(
        std::clamp<long long>(arguments.whole("polyphony", render.polyphony), 1, 4096));
    render.effects = render.effects && !arguments.has("no-effects");
    render.normalisePeak = render.normalisePeak && !arguments.has("no-normalize");
    render.removeSilence = render.removeSilence && !arguments.has("keep-silence");
    render.tail = std::clamp(arguments.number("tail", 0), 0.0, 600.0);
    render.workers =
        static_cast<std::uint32_t>(std::clamp<long long>(arguments.whole("threads", render.workers), 1, 64));
    return {};
}

}  // namespace

std::string readConvertRequest(const Arguments& arguments, ConvertRequest& request) {
    if (std::string problem = readChoices(arguments, request.read); !problem.empty())
        return problem;
    if (std::string problem = readExtension(arguments, request); !problem.empty())
        return problem;
    if (arguments.has("output") && arguments.has("dir"))
        return "either -o FILE or -d DIR, not both";
    if (arguments.has("dir"))
        request.folder = absolutePath(pathFromUtf8(arguments.value("dir")));
    request.item = arguments.value("item");
    request.nameTemplate = arguments.value("name-template");
    if (std::string problem = checkTemplate(request.nameTemplate); !problem.empty())
        return problem;
    if (arguments.has("encoding"))
        request.save.encoding = *encodingFromName(arguments.value("encoding"));
    // Of the verbs that run a process it is that process's own.
    if (!request.process)
        request.save.rate = static_cast<std::uint32_t>(arguments.whole("rate", 0));
    request.save.channels = static_cast<int>(arguments.whole("channels", 0));
    request.save.quality = arguments.number("quality", -1);
    int policies = 0;
    for (const auto& [name, policy] :
         {std::pair{"overwrite", ExistingOutputs::Overwrite},
          std::pair{"skip-existing", ExistingOutputs::Skip}, std::pair{"rename", ExistingOutputs::Rename}}) {
        if (arguments.has(name)) {
            request.existing = policy;
            ++policies;
        }
    }
    if (policies > 1)
        return "--overwrite, --skip-existing and --rename exclude each other";
    request.recursive = arguments.has("recursive");
    request.dryRun = arguments.has("dry-run");
    if (std::string problem = readRendering(arguments, request.read); !problem.empty())
        return problem;
    if (request.save.rate != 0)
        request.read.render.sampleRate = request.save.rate;
    request.jobs = static_cast<unsigned>(std::min<long long>(arguments.whole("jobs", 0), 256));
    return {};
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty())
        fs::remove_all(path_, ignored);
}

bool TemporaryFolder::make() {
    if (!path_.empty())
        return true;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const fs::path candidate =
            tempFolder() / formatText("velor-%u-%d", static_cast<unsigned>(processId()), attempt);
        std::error_code error;
        if (fs::create_directory(candidate, error) && !error) {
            fs::permissions(candidate, fs::perms::owner_all, error);
            path_ = candidate;
            return true;
        }
    }
    return fail("Could not create a temporary folder");
}

namespace {

// Copies standard input to a file, since readers need to go back and forth.
bool storeStandardInput(const fs::path& path) {
    useBinaryStream(StandardStream::Input);
    const auto output = OutputFile::create(path);
    if (!output)
        return false;
    std::vector<Byte> buffer(1 << 16);
    for (;;) {
        const std::size_t got = std::fread(buffer.data(), 1, buffer.size(), stdin);
        if (got == 0)
            break;
        if (interruptRequested())
            return fail("Aborted");
        if (!output->write({buffer.data(), got}))
            return false;
    }
    return std::ferror(stdin) == 0 ? output->commit() : fail("Reading from standard input failed");
}

bool isInside(const fs::path& path, const fs::path& folder) {
    const auto [end, ignored] = std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
    return end == folder.end() || (std::next(end) == folder.end() && end->empty());
}

class Planner {
  public:
    Planner(const ConvertRequest& request, TemporaryFolder& spool, Terminal& terminal)
        : request_(request), spool_(spool), terminal_(terminal) {}

    void add(const std::string& input) {
        const fs::path path = absolutePath(pathFromUtf8(input));
        std::error_code error;
        if (input == "-")
            addStandardInput();
        else if (fs::is_directory(path, error))
            addFolder(input, path);
        else
            addFile(input, path, {}, false);
    }

    // Outputs that would fall on each other or on an input are told apart or refused once all are known.
    std::vector<ConvertTask> finish() {
        std::set<std::string> inputs;
        for (const ConvertTask& task : tasks_) {
            if (task.problem.empty())
                inputs.insert(pathKey(task.input));
        }
        std::map<std::string, std::string> takenBy;
        for (ConvertTask& task : tasks_) {
            if (!task.problem.empty() || task.standardOutput || namesNoOutput())
                continue;
            const fs::path wanted = outputOf(task);
            fs::path path = wanted;
            for (std::size_t number = 2; takenBy.count(pathKey(path)); ++number)
                path = numberedPath(wanted, number);
            if (path != wanted) {
                terminal_.note(task.shown, "goes to " + utf8FromPath(path.filename()) + ", because " +
                                               utf8FromPath(wanted.filename()) + " comes from " +
                                               takenBy[pathKey(wanted)]);
                task.stem = utf8FromPath(path.stem());
            }
            takenBy.emplace(pathKey(path), task.shown);
            if (request_.existing != ExistingOutputs::Rename && inputs.count(pathKey(path)))
                task.problem = sameFile(path, task.input)
                                   ? "the output is the input itself"
                                   : "the output " + utf8FromPath(path) + " is another input";
        }
        return std::move(tasks_);
    }

  private:
    // What only measures writes nothing, and a dry run may do without a place to write to.
    bool namesNoOutput() const {
        return request_.reportOnly || (request_.process && request_.dryRun && request_.output.empty() &&
                                       request_.folder.empty() && request_.extension.empty());
    }

    static fs::path outputOf(const ConvertTask& task) {
        return task.folder /
               pathFromUtf8(task.extension.empty() ? task.stem : task.stem + "." + task.extension);
    }

    ConvertTask& addTask(const std::string& shown, const fs::path& path) {
        ConvertTask& task = tasks_.emplace_back();
        task.shown = shown;
        task.input = path;
        return task;
    }

    void addFile(const std::string& shown, const fs::path& path, const fs::path& subFolder, bool found) {
        ConvertTask& task = addTask(shown, path);
        task.foundInFolder = found;
        if (request_.output == "-") {
            task.standardOutput = true;
        } else if (!request_.output.empty()) {
            const fs::path output = absolutePath(pathFromUtf8(request_.output));
            task.folder = output.parent_path();
            task.stem = utf8FromPath(output.stem());
            const std::string extension = utf8FromPath(output.extension());
            task.extension = extension.empty() ? extension : extension.substr(1);
            return;
        }
        task.stem = utf8FromPath(path.stem());
        task.extension = request_.extension;
        if (request_.process && task.extension.empty() && path.has_extension())
            task.extension = utf8FromPath(path.extension()).substr(1);
        task.folder = request_.folder.empty() ? path.parent_path() : request_.folder / subFolder;
        task.makeFolder = !request_.folder.empty();
    }

    void addStandardInput() {
        if (haveStandardInput_) {
            addTask("-", {}).problem = "standard input can be read only once";
            return;
        }
        haveStandardInput_ = true;
        const std::string extension = request_.read.from.empty() ? "raw" : request_.read.from;
        if (!spool_.make()) {
            addTask("-", {}).problem = LastErrorText;
            return;
        }
        const fs::path path = spool_.path() / pathFromUtf8("stdin." + extension);
        const bool stored = storeStandardInput(path);
        addFile("-", path, {}, false);
        ConvertTask& task = tasks_.back();
        if (!stored)
            task.problem = LastErrorText;
        if (request_.output.empty() && request_.folder.empty())
            task.folder = absolutePath(".");
    }

    void addFolder(const std::string& shown, const fs::path& root) {
        if (!request_.recursive) {
            addTask(shown, root).problem = "is a folder; -r converts whole folders";
            return;
        }
        const std::size_t before = tasks_.size();
        addFolderContent(shown, root, {});
        if (tasks_.size() == before)
            terminal_.note(shown, "no files in this folder");
    }

    void addFolderContent(const std::string& shown, const fs::path& folder, const fs::path& subFolder) {
        std::error_code error;
        std::vector<fs::directory_entry> entries;
        fs::directory_iterator end;
        for (fs::directory_iterator it(folder, error); !error && it != end; it.increment(error))
            entries.push_back(*it);
        if (error)
            addTask(shown, folder).problem = "could not list the folder: " + error.message();
        std::sort(entries.begin(), entries.end(),
                  [](const auto& a, const auto& b) { return a.path().native() < b.path().native(); });
        for (const fs::directory_entry& entry : entries) {
            const fs::path name = entry.path().filename();
            std::string each = shown;
            if (!each.ends_with('/') && !each.ends_with('\\'))
                each += '/';
            each += utf8FromPath(name);
            std::error_code ignored;
            if (entry.is_directory(ignored)) {
                // Neither in circles through links, nor through the results of an earlier run.
                const bool ownOutput = !request_.folder.empty() && isInside(entry.path(), request_.folder);
                if (!entry.is_symlink(ignored) && !ownOutput)
                    addFolderContent(each, entry.path(), subFolder / name);
            } else if (entry.is_regular_file(ignored)) {
                addFile(each, entry.path(), subFolder, true);
            }
        }
    }

    const ConvertRequest& request_;
    TemporaryFolder& spool_;
    Terminal& terminal_;
    std::vector<ConvertTask> tasks_;
    bool haveStandardInput_ = false;
};

}  // namespace

std::vector<ConvertTask> planTasks(const ConvertRequest& request, const std::vector<std::string>& inputs,
                                   TemporaryFolder& spool, Terminal& terminal) {
    Planner planner(request, spool, terminal);
    for (const std::string& input : inputs)
        planner.add(input);
    return planner.finish();
}

}  // namespace velor::cli

#include "app/cli/convert_workers.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include "app/cli/arguments.h"
#include "app/cli/json_documents.h"
#include "app/cli/option_table.h"
#include "app/cli/terminal.h"
#include "base/error.h"
#include "base/text.h"
#include "platform/console.h"
#include "platform/folders.h"
#include "platform/process.h"

namespace velor::cli {

namespace fs = std::filesystem;

namespace {

// Options that concern the whole batch and not one file.
bool isBatchOption(std::string_view name) {
    static constexpr std::array<std::string_view, 7> kBatch{"output", "to",       "jobs",     "json",
                                                            "type",   "progress", "recursive"};
    return std::find(kBatch.begin(), kBatch.end(), name) != kBatch.end();
}

std::vector<std::string> workerArguments(const Arguments& arguments, const ConvertRequest& request,
                                         const ConvertTask& task) {
    std::vector<std::string> result{arguments.verb->name, "--progress=none"};
    for (const auto& [name, values] : arguments.options) {
        if (isBatchOption(name))
            continue;
        const OptionSpec* option = findOption(*arguments.verb, name);
        for (const std::string& value : values)
            result.push_back("--" + name + (option->argument ? "=" + value : ""));
    }
    if (request.row >= 0 && !arguments.has("row"))
        result.push_back("--row=" + std::to_string(request.row));
    if (!request.extension.empty())
        result.push_back("--to=" + request.extension);
    result.push_back("--worker-folder=" + utf8FromPath(task.folder));
    result.push_back("--worker-stem=" + task.stem);
    result.push_back("--worker-extension=" + task.extension);
    result.push_back("--worker-shown=" + task.shown);
    if (task.makeFolder)
        result.push_back("--worker-make-folder");
    if (task.foundInFolder)
        result.push_back("--worker-found");
    result.push_back("--");
    if (arguments.verb->name == std::string_view("process"))  // its name comes first
        result.push_back(arguments.positionals.front());
    result.push_back(utf8FromPath(task.input));
    return result;
}

// A worker that was cut off leaves its unfinished output behind, named after the output and the worker.
void removeLeftOvers(const fs::path& folder, std::uint32_t worker) {
    const std::string mark = ".part" + std::to_string(worker) + "-";
    std::error_code error;
    std::vector<fs::path> found;
    fs::directory_iterator end;
    for (fs::directory_iterator it(folder, error); !error && it != end; it.increment(error)) {
        if (utf8FromPath(it->path().filename()).find(mark) != std::string::npos)
            found.push_back(it->path());
    }
    for (const fs::path& path : found)
        fs::remove(path, error);
}

struct Worker {
    std::unique_ptr<ChildProcess> process;
    std::size_t task = 0;
    std::string output;
    std::string errors;
};

class WorkerPool {
  public:
    WorkerPool(const Arguments& arguments, const ConvertRequest& request,
               const std::vector<ConvertTask>& tasks, Terminal& terminal,
               const std::function<void(const ConvertTask&, ConvertResult)>& done)
        : arguments_(arguments),
          request_(request),
          tasks_(tasks),
          terminal_(terminal),
          done_(done),
          results_(tasks.size()),
          talk_(tasks.size()),
          program_(executablePath()) {}

    void run() {
        while (reported_ < tasks_.size()) {
            while (!interruptRequested() && workers_.size() < request_.jobs && next_ < tasks_.size())
                startNext();
            if (interruptRequested()) {
                giveTimeToEnd();
                report();
                return;
            }
            collect();
            report();
        }
    }

  private:
    void startNext() {
        const std::size_t index = next_++;
        const ConvertTask& task = tasks_[index];
        ConvertResult result;
        result.input = task.shown;
        if (!task.problem.empty()) {
            result.error = task.problem;
            results_[index] = std::move(result);
            return;
        }
        ChildOptions options;
        options.program = program_;
        options.arguments = workerArguments(arguments_, request_, task);
        options.captureOutput = true;
        options.captureErrors = true;
        Worker worker;
        worker.task = index;
        worker.process = ChildProcess::start(options);
        if (!worker.process) {
            result.error = LastErrorText;
            results_[index] = std::move(result);
            return;
        }
        terminal_.startFile(task.shown, index, tasks_.size());
        workers_.push_back(std::move(worker));
    }

    // After Ctrl-C the workers, which got it too, have a moment to tidy up. What they finished counts.
    void giveTimeToEnd() {
        const auto deadline = std::chrono::steady_clock::now() + kEndingTime;
        for (Worker& worker : workers_) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (!worker.process->wait(static_cast<int>(std::max<std::int64_t>(left.count(), 0)))) {
                worker.process->kill();
                worker.process->wait();
            }
            worker.output += worker.process->readOutput();
            worker.errors += worker.process->readErrors();
            finish(worker);
        }
        workers_.clear();
    }

    void collect() {
        if (workers_.empty())
            return;
        std::vector<ChildProcess*> processes;
        for (const Worker& worker : workers_)
            processes.push_back(worker.process.get());
        ChildProcess::waitForAny(processes, kLookAgain);
        for (std::size_t i = 0; i < workers_.size();) {
            Worker& worker = workers_[i];
            const bool ended = worker.process->ended();
            worker.output += worker.process->readOutput();
            worker.errors += worker.process->readErrors();
            if (!ended) {
                ++i;
                continue;
            }
            finish(worker);
            workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    void finish(Worker& worker) {
        const ConvertTask& task = tasks_[worker.task];
        ConvertResult result;
        if (!convertResultFromText(worker.output, result)) {
            result = {};
            result.error =
                interruptRequested() ? "interrupted" : "the conversion " + worker.process->outcome();
            removeLeftOvers(task.folder, worker.process->id());
        }
        result.input = task.shown;
        talk_[worker.task] = std::move(worker.errors);
        results_[worker.task] = std::move(result);
    }

    void report() {
        while (reported_ < tasks_.size() && results_[reported_]) {
            terminal_.passOn(talk_[reported_]);
            done_(tasks_[reported_], std::move(*results_[reported_]));
            talk_[reported_].clear();
            ++reported_;
        }
    }

    static constexpr std::chrono::seconds kEndingTime{3};
    static constexpr int kLookAgain = 100;  // milliseconds

    const Arguments& arguments_;
    const ConvertRequest& request_;
    const std::vector<ConvertTask>& tasks_;
    Terminal& terminal_;
    const std::function<void(const ConvertTask&, ConvertResult)>& done_;
    std::vector<std::optional<ConvertResult>> results_;
    std::vector<std::string> talk_;
    fs::path program_;
    std::vector<Worker> workers_;
    std::size_t next_ = 0;
    std::size_t reported_ = 0;
};

}  // namespace

void convertInWorkers(const Arguments& arguments, const ConvertRequest& request,
                      const std::vector<ConvertTask>& tasks, Terminal& terminal,
                      const std::function<void(const ConvertTask&, ConvertResult)>& done) {
    WorkerPool(arguments, request, tasks, terminal, done).run();
}

bool isWorker(const Arguments& arguments, std::string_view input, ConvertTask& task) {
    if (!arguments.has("worker-folder"))
        return false;
    task.shown = arguments.value("worker-shown");
    task.input = pathFromUtf8(input);
    task.folder = pathFromUtf8(arguments.value("worker-folder"));
    task.stem = arguments.value("worker-stem");
    task.extension = arguments.value("worker-extension");
    task.makeFolder = arguments.has("worker-make-folder");
    task.foundInFolder = arguments.has("worker-found");
    return true;
}

}  // namespace velor::cli

#include "app/cli/option_table.h"

#include <algorithm>
#include <array>
#include <deque>

#include "app/cli/process_manual.h"
#include "app/cli/verbs.h"
#include "app/processing/catalogue.h"
#include "app/settings.h"
#include "base/text.h"
#include "formats/framework/format_table.h"
#include "items/sample_encoding.h"

namespace velor::cli {

namespace {

constexpr OptionSpec kCommon[] = {
    {"quiet", 'q', nullptr, "Say only what failed."},
    {"verbose", 'v', nullptr, "Also say what is being done."},
    {"progress", 0, "MODE",
     "How progress is shown on standard error: auto (a bar when that is a terminal), bar, json (one object "
     "per "
     "line) or none.",
     ValueKind::Words, "auto|bar|json|none"},
    {"answer", 0, "KEY=LABEL",
     "Answers the question KEY with the button LABEL. Without an answer the default button is taken and "
     "said.",
     ValueKind::Text, "", true},
    {"help", 'h', nullptr, "Show help and end."},
    {"version", 'V', nullptr, "Show the version and end."},
};

// How files are read: shared by every verb that reads what is in them.
constexpr OptionSpec kFrom{"from", 0, "EXT", "Read the inputs as files of this extension.",
                           ValueKind::ReadExtension};
constexpr OptionSpec kSource{
    "source", 0, "LAYOUT",
    "Read the inputs as raw samples of this layout: an encoding, then any of big, little, unsigned, signed, "
    "planar, interleaved, channels=1|2, rate=HZ, offset=BYTES, parted by commas."};
constexpr OptionSpec kLoad{
    "load",          0,  "KEY=VALUE", "Sets a load option for this run, for example load.bAutoSplitStereo=1.",
    ValueKind::Text, "", true};
constexpr OptionSpec kJson{"json", 0, nullptr, "Print one JSON document on standard output."};

// Where outputs go, what they are written as, and what happens to those that exist: of every verb that
// writes.
constexpr OptionSpec kOutput[] = {
    {"output", 'o', "FILE", "The file to write; - for standard output. Takes one input.", ValueKind::File},
    {"to", 0, "EXT", "Write files of this extension, named after their inputs.", ValueKind::WriteExtension},
    {"dir", 'd', "DIR", "Write into this folder, which is made when it is missing.", ValueKind::Folder},
};
constexpr OptionSpec kTarget[] = {
    {"type", 0, "DESCRIPTION", "Write this file type, where several share an extension.",
     ValueKind::WriteType},
    {"row", 0, "N", "Write this row of the format table (see \"velor formats\").", ValueKind::Text},
    {"encoding", 0, "NAME", "Store samples in this encoding, for example \"PCM 24-bit\" or pcm24.",
     ValueKind::Encoding},
    {"channels", 0, "N", "Store this many channels.", ValueKind::Words, "1|2"},
    {"quality", 0, "N", "Quality or bit rate of types that compress.", ValueKind::Number},
    {"item", 0, "NAME|#N", "Write only this item: by its name, or the Nth of its kind.", ValueKind::Text},
    {"name-template", 0, "TEMPLATE",
     "How files are named when an input gives several. Fields: {stem}, {index}, {index:03}, {name}, {ext}.",
     ValueKind::Text},
    {"recursive", 'r', nullptr, "Go through whole folders; sub-folders are kept below --dir."},
    {"dry-run", 0, nullptr, "Say what would be written and write nothing."},
    {"overwrite", 0, nullptr, "Replace outputs that exist."},
    {"skip-existing", 0, nullptr, "Leave inputs alone whose output exists."},
    {"rename", 0, nullptr, "Write under a numbered name when the output exists."},
};
constexpr OptionSpec kReading[] = {kFrom, kSource, kLoad, kJson};

constexpr OptionSpec kRate[] = {{"rate", 0, "HZ", "Store samples at this rate.", ValueKind::Whole}};

constexpr OptionSpec kJobs[] = {
    {"jobs", 'j', "N", "Work on N files at a time, each in a program of its own.", ValueKind::Whole},
    // A worker process gets its single task by these.
    {"worker-folder", 0, "DIR", "", ValueKind::Text, "", false, true},
    {"worker-stem", 0, "STEM", "", ValueKind::Text, "", false, true},
    {"worker-extension", 0, "EXT", "", ValueKind::Text, "", false, true},
    {"worker-shown", 0, "NAME", "", ValueKind::Text, "", false, true},
    {"worker-make-folder", 0, nullptr, "", ValueKind::Text, "", false, true},
    {"worker-found", 0, nullptr, "", ValueKind::Text, "", false, true},
};

constexpr OptionSpec kRender[] = {
    {"bank", 0, "FILE",
     "The bank that instruments come from which the file itself does not hold, of any type that can be read. "
     "Without "
     "it: the setting mid2wav.wszGMBank, else the first bank in the system's folders.",
     ValueKind::File},
    {"rate", 0, "HZ", "Render at this rate.", ValueKind::Whole},
    {"polyphony", 0, "N", "Sound at most this many notes at once.", ValueKind::Whole},
    {"no-effects", 0, nullptr, "Without reverb and chorus."},
    {"no-normalize", 0, nullptr, "Leave the level as it is; otherwise the peak is brought to full scale."},
    {"keep-silence", 0, nullptr, "Keep silence at the start and the end."},
    {"tail", 0, "SECONDS", "Let notes and effects ring on this long after the song.", ValueKind::Number},
    {"threads", 0, "N", "Render with N threads; the result is the same.", ValueKind::Whole},
};

constexpr OptionSpec kOnly{
    "only",
    0,
    "NAME|#N",
    "Process only this item: by its name, or the Nth of its kind. Everything else is written as "
    "it is.",
    ValueKind::Text,
    "",
    true};
constexpr OptionSpec kSelect{
    "select", 0, "FROM:TO",
    "The range to work on: in frames, or with s, ms or % behind the numbers. Either side may "
    "be left out.",
    ValueKind::Text};
constexpr OptionSpec kProcess[] = {
    {"set", 's', "KEY=VALUE", "Sets one of the process's settings; its --help lists them.", ValueKind::Text,
     "", true},
    kSelect,
    kOnly,
    {"list", 'l', nullptr, "List the processes; with --json also their settings."},
    {"manual", 0, nullptr, "", ValueKind::Text, "", false, true},
};
constexpr OptionSpec kProcessShort[] = {kOnly};

constexpr OptionSpec kInfo[] = {
    {"tree", 't', nullptr, "Show layers and regions too; with -v also what each of them sets."},
    kFrom,
    kSource,
    kLoad,
    kJson};

constexpr OptionSpec kIdentify[] = {{"explain", 0, nullptr, "Show every type that fits, best first."}, kJson};

constexpr OptionSpec kFormats[] = {
    {"readable", 0, nullptr, "Only types that this build reads."},
    {"writable", 0, nullptr, "Only types that this build writes."},
    kJson,
};

constexpr OptionSpec kSettings[] = {
    {"changed", 0, nullptr, "List only what differs from its default."},
    {"explain", 0, nullptr, "With get: also the kind, the default and the meaning."},
    kJson,
};

constexpr OptionSpec kDemo[] = {
    {"dir", 'd', "DIR", "The folder to write into (velor-demo when not given).", ValueKind::Folder}};

constexpr OptionSpec kHelp[] = {{"man", 0, nullptr, "Print the manual page (roff)."}};

constexpr PositionalSpec kFilesIn[] = {{"FILE", "A file.", ValueKind::File, "", 1, kAnyNumber}};
constexpr PositionalSpec kInputs[] = {
    {"IN", "A file, a folder (with -r), or - for standard input.", ValueKind::File, "", 0, kAnyNumber}};
constexpr PositionalSpec kProcessArguments[] = {
    {"NAME", "The process.", ValueKind::Process, "", 0, 1},
    {"IN", "A file, a folder (with -r), or - for standard input.", ValueKind::File, "", 0, kAnyNumber}};
constexpr PositionalSpec kFormatName[] = {
    {"NAME", "An extension or a part of a description.", ValueKind::Text, "", 0, 1}};
constexpr PositionalSpec kSettingsArguments[] = {
    {"ACTION", "list, get, set or reset.", ValueKind::Words, "list|get|set|reset", 1, 1},
    {"KEY", "The setting.", ValueKind::Setting, "", 0, 1},
    {"VALUE", "Its new value.", ValueKind::Text, "", 0, 1},
};
constexpr PositionalSpec kShell[] = {
    {"SHELL", "bash, zsh, fish or powershell.", ValueKind::Words, "bash|zsh|fish|powershell", 1, 1}};
constexpr PositionalSpec kHelpVerb[] = {{"VERB", "The verb to explain.", ValueKind::Verb, "", 0, 1},
                                        {"NAME", "Of \"process\": which.", ValueKind::Process, "", 0, 1}};

constexpr const char* kConvertExamples[] = {
    "velor convert kick.wav -o kick.aif --encoding \"PCM 24-bit\"",
    "velor convert -r disks/ --to wav -d out/ -j 4",
    "velor song.wav song.aif",
    "cat take.sw | velor convert - --from sw --to aif -o - > take.aif",
};
constexpr const char* kResampleExamples[] = {
    "velor resample take.wav -o take48.wav --rate 48000",
    "velor resample loop.aif -o loop.wav --length 65536 --method cubic",
};
constexpr const char* kRenderExamples[] = {
    "velor render song.mid -o song.wav",
    "velor render *.mid --to aif -d out/ --bank piano.sf2 --rate 44100",
    "velor song.mid song.wav",
};
constexpr const char* kProcessExamples[] = {
    "velor process normalize-volume --set loudness=-18 kick.wav -o kick-18.wav",
    "velor process statistics *.wav",
    "velor process cut-away-selection --select 0:1.5s take.wav -o cut.wav",
    "velor process --list",
};
constexpr const char* kTuneExamples[] = {"velor tune *.wav -d tuned/", "velor tune pad.wav --dry-run"};
constexpr const char* kLoopExamples[] = {"velor loop strings.wav -o looped.wav --crossfade"};
constexpr const char* kInfoExamples[] = {"velor info kick.wav --json", "velor info --tree bank.sf2"};
constexpr const char* kIdentifyExamples[] = {"velor identify --explain mystery.bin"};
constexpr const char* kFormatsExamples[] = {"velor formats wav", "velor formats --writable --json"};
constexpr const char* kSettingsExamples[] = {"velor settings list --changed",
                                             "velor settings set load.bAutoSplitStereo 1"};
constexpr const char* kDemoExamples[] = {"velor demo -d /tmp/velor-demo"};
constexpr const char* kCompletionExamples[] = {"source <(velor completion bash)"};
constexpr const char* kHelpExamples[] = {"velor help convert", "velor help --man > velor.1"};

using Options = std::vector<OptionSpec>;

Options joined(std::initializer_list<std::span<const OptionSpec>> groups) {
    Options options;
    for (const std::span<const OptionSpec> group : groups)
        options.insert(options.end(), group.begin(), group.end());
    return options;
}

// A process's settings as options of its short form.
Options optionsOf(std::string_view process) {
    static std::deque<std::string> helpTexts;  // which the options point to
    Options options;
    for (const ProcessParameter& parameter : findProcess(process).row->process->parameters) {
        const bool isSwitch = parameter.kind == ProcessValueKind::Switch;
        const bool isChoice = parameter.kind == ProcessValueKind::Choice;
        helpTexts.push_back(settingHelp(parameter, !isSwitch));
        const char* const valueName = *parameter.unit ? parameter.unit : "VALUE";
        options.push_back({parameter.key, 0, isSwitch ? nullptr : valueName, helpTexts.back().c_str(),
                           isChoice ? ValueKind::Words : ValueKind::Text, parameter.words});
    }
    return options;
}

std::vector<VerbSpec> makeVerbs() {
    static const Options convert = joined({kOutput, kTarget, kRate, kJobs, kReading});
    static const Options resample =
        joined({optionsOf("resample"), kProcessShort, kOutput, kTarget, kJobs, kReading});
    static const Options render = joined({kOutput, kRender, kTarget, kReading});
    static const Options process = joined({kProcess, kOutput, kTarget, kJobs, kReading});
    static const Options tune =
        joined({optionsOf("auto-tune"), kProcessShort, kOutput, kTarget, kJobs, kReading});
    static const Options loop =
        joined({optionsOf("auto-loop-finder"), kProcessShort, kOutput, kTarget, kJobs, kReading});
    return {
        {"convert", "Convert files from any readable to any writable type.",
         "IN... (-o FILE | --to EXT [-d DIR]) [options]",
         "Reads each input and writes it as another type. The type written follows from the extension of -o, "
         "from "
         "--to, or from --type or --row. A bank that goes to a type for single sounds gives one file per "
         "sound. "
         "Samples keep their encoding and rate wherever the new type allows it. Outputs that exist are kept, "
         "which "
         "counts as a failure, unless --overwrite, --skip-existing or --rename says otherwise. \"velor IN "
         "OUT\" "
         "is "
         "the short form for one file.",
         convert, kInputs, kConvertExamples, runConvert},
        {"resample", "Change the sample rate or the length of sounds.",
         "IN... (-o FILE | --to EXT | -d DIR) (--rate HZ | --length FRAMES) [options]",
         "Reads each sound at a new rate, or so that it gets a new length; pitch and duration stay with a "
         "rate. Loops and "
         "the loop points of regions move along. For sounds that are looped the cubic method, for others "
         "the filters are best.",
         resample, kInputs, kResampleExamples, runResample},
        {"render", "Play MIDI songs into waveforms.", "SONG... (-o FILE | --to EXT [-d DIR]) [options]",
         "Plays each song through the built-in synthesizer, with the instruments of the file itself where it "
         "has "
         "any, and of a General MIDI bank for the rest. The recording begins with the first note; \"velor "
         "SONG.mid "
         "SONG.wav\" is the short form.",
         render, kInputs, kRenderExamples, runRender},
        {"process", "Run one of the audio, MIDI or instrument processes.",
         "NAME [--set KEY=VALUE]... IN... (-o FILE | --to EXT | -d DIR)",
         "Runs a process over everything in each file that it works on, and writes the result; with -d alone "
         "as the type it "
         "was. Processes that only measure need no output. What was found and changed is shown as a table, "
         "or with --json; "
         "--dry-run shows it and writes nothing. \"velor process --list\" names the processes, \"velor "
         "process NAME --help\" "
         "explains one.",
         process, kProcessArguments, kProcessExamples, runProcess, false, processHelp},
        {"tune", "Tune sounds by the pitch they have.",
         "IN... (-o FILE | --to EXT | -d DIR) [--by key|fine|rate]",
         "Finds the fundamental pitch of each sound and sets root key and fine tune, the fine tune alone or "
         "the sample rate "
         "by it. --dry-run shows what would change.",
         tune, kInputs, kTuneExamples, runTune},
        {"loop", "Find loops that are not heard.", "IN... (-o FILE | --to EXT | -d DIR) [options]",
         "Gives each sound a loop between zero crossings whose surroundings are most alike, a whole number "
         "of periods long "
         "where the sound has a pitch. The similarity shown is 1 for a loop that can not be heard.",
         loop, kInputs, kLoopExamples, runLoop},
        {"info", "Show what is in files.", "FILE... [--tree] [--json]",
         "Reads each file and shows its type and its items: instruments, sounds with their loops, tuning and "
         "texts, "
         "songs.",
         kInfo, kFilesIn, kInfoExamples, runInfo},
        {"identify", "Name the type of files without reading them whole.", "FILE... [--explain] [--json]",
         "Looks at the name and the first bytes of each file.", kIdentify, kFilesIn, kIdentifyExamples,
         runIdentify},
        {"formats", "List the file types.", "[NAME] [--readable | --writable] [--json]",
         "Lists the format table: R and W tell what a type can do, in lower case what this build can not do "
         "yet.",
         kFormats, kFormatName, kFormatsExamples, runFormats},
        {"settings", "Show and change the settings.",
         "list [--changed] | get KEY | set KEY VALUE | reset KEY",
         "The desktop program uses the same settings. A list can be kept and used as a settings file. "
         "\"reset\" "
         "takes "
         "a setting, a group such as load, or all.",
         kSettings, kSettingsArguments, kSettingsExamples, runSettings},
        {"demo",
         "Convert an example sound and show what was kept.",
         "[-d DIR]",
         "Makes a short looped, tuned and tagged stereo sound, writes it as a WAVE file, converts that to "
         "other "
         "types, reads those again and compares.",
         kDemo,
         {},
         kDemoExamples,
         runDemo},
        {"completion",
         "Print a completion script for a shell.",
         "bash | zsh | fish | powershell",
         "Prints a script that completes verbs, options and their values.",
         {},
         kShell,
         kCompletionExamples,
         runCompletion},
        {"help", "Explain a verb.", "[VERB] [--man]", "Shows the help of a verb, or of all.", kHelp,
         kHelpVerb, kHelpExamples, runHelp},
    };
}

template <typename Value>
void addUnique(std::vector<std::string>& list, Value value) {
    if (std::find(list.begin(), list.end(), value) == list.end())
        list.emplace_back(value);
}

}  // namespace

std::span<const VerbSpec> verbTable() {
    static const std::vector<VerbSpec> verbs = makeVerbs();
    return verbs;
}

std::span<const OptionSpec> commonOptions() {
    return kCommon;
}

const VerbSpec* findVerb(std::string_view name) {
    const std::span<const VerbSpec> verbs = verbTable();
    const auto found =
        std::find_if(verbs.begin(), verbs.end(), [&](const VerbSpec& verb) { return verb.name == name; });
    return found == verbs.end() ? nullptr : &*found;
}

const OptionSpec* findOption(const VerbSpec& verb, std::string_view name) {
    for (const std::span<const OptionSpec> options : {verb.options, commonOptions()}) {
        for (const OptionSpec& option : options) {
            if (option.name == name)
                return &option;
        }
    }
    return nullptr;
}

std::vector<std::string> choicesOf(ValueKind kind, const char* words) {
    std::vector<std::string> choices;
    switch (kind) {
        case ValueKind::Words:
            for (const std::string_view word : split(words, '|'))
                choices.emplace_back(word);
            break;
        case ValueKind::Encoding:
            for (int code = 0; code < kSampleEncodings; ++code)
                choices.emplace_back(encodingName(static_cast<SampleEncoding>(code)));
            break;
        case ValueKind::ReadExtension:
        case ValueKind::WriteExtension:
        case ValueKind::WriteType:
            for (const FormatEntry& row : FormatTable()) {
                if (!(kind == ValueKind::ReadExtension ? row.read != nullptr : row.write != nullptr))
                    continue;
                if (kind == ValueKind::WriteType)
                    addUnique(choices, row.description);
                else if (std::string_view(row.extension).find_first_of("*?") == std::string_view::npos)
                    addUnique(choices, row.extension);
            }
            break;
        case ValueKind::Setting:
            for (const SettingRow& row : settingRows())
                choices.emplace_back(row.name);
            break;
        case ValueKind::Process:
            choices = processNames();
            break;
        case ValueKind::Verb:
            for (const VerbSpec& verb : verbTable()) {
                if (!verb.hidden)
                    choices.emplace_back(verb.name);
            }
            break;
        default:
            break;
    }
    return choices;
}

}  // namespace velor::cli

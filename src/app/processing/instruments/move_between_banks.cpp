#include "app/processing/instruments/processes.h"
#include "items/patch_numbers.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "from-msb",
     .label = "From bank MSB",
     .kind = ProcessValueKind::Whole,
     .least = -1,
     .most = 127,
     .standard = -1,
     .help = "-1 for any."},
    {.key = "from-lsb",
     .label = "From bank LSB",
     .kind = ProcessValueKind::Whole,
     .least = -1,
     .most = 127,
     .standard = -1,
     .help = "-1 for any."},
    {.key = "from",
     .label = "Move",
     .kind = ProcessValueKind::Choice,
     .words = "all|melodic|drums",
     .help = "Which of these instruments are moved."},
    {.key = "to-msb",
     .label = "To bank MSB",
     .kind = ProcessValueKind::Whole,
     .least = -1,
     .most = 127,
     .standard = -1,
     .help = "-1 for the one it has."},
    {.key = "to-lsb",
     .label = "To bank LSB",
     .kind = ProcessValueKind::Whole,
     .least = -1,
     .most = 127,
     .standard = -1,
     .help = "-1 for the one it has."},
    {.key = "to",
     .label = "Make them",
     .kind = ProcessValueKind::Choice,
     .words = "same|melodic|drums",
     .help = "Whether they become melodic instruments or drum kits; same for what they are."},
    {.key = "conflicts",
     .label = "Where another instrument has the number",
     .kind = ProcessValueKind::Choice,
     .words = "refuse|next-free|replace",
     .help =
         "Refuse stops before anything is moved, next-free takes the next free program of the bank, replace "
         "removes the other instrument."},
};

ProcessOutcome run(ProcessJob& job) {
    if (job.item.kind() != ItemKind::Collection)
        return ProcessOutcome::Unchanged;
    const ProcessSettings& set = job.settings;
    const auto bank = [&](std::string_view key) { return static_cast<int>(set.whole(key)); };
    const int moved = velor::moveBetweenBanks(
        job.collection(), {.fromMsb = bank("from-msb"),
                           .fromLsb = bank("from-lsb"),
                           .toMsb = bank("to-msb"),
                           .toLsb = bank("to-lsb"),
                           .from = static_cast<BankMove::Kind>(set.choice("from")),
                           .to = static_cast<BankMove::Kind>(set.choice("to")),
                           .conflict = static_cast<BankMove::Conflict>(set.choice("conflicts"))});
    if (moved < 0)
        return ProcessOutcome::Failed;
    return moved > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition moveBetweenBanks{run, kParameters,
                                                   "Moves the instruments of one bank, or of all, to another "
                                                   "one and keeps their program numbers. It can make "
                                                   "drum kits of melodic instruments and the other way "
                                                   "round. Layers, regions and waveforms stay as they are."};

}  // namespace velor::instrument_processes

#include <array>

#include "app/processing/audio/channel_edit.h"
#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

namespace {

constexpr std::size_t kMix = 4;

constexpr ProcessParameter kParameters[] = {
    {.key = "channel",
     .label = "Keep:",
     .kind = ProcessValueKind::Choice,
     .words = "mean|left|right|side|mix",
     .help = "\"mean\" is half of left plus right, \"side\" half of left minus right, \"mix\" what the two "
             "shares say."},
    {.key = "left",
     .label = "Share of left:",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = -200,
     .most = 200,
     .standard = 50,
     .help = "For \"mix\"."},
    {.key = "right",
     .label = "Share of right:",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .least = -200,
     .most = 200,
     .standard = 50,
     .help = "For \"mix\"."},
};

ProcessOutcome run(ProcessJob& job) {
    if (job.waveform().channels != 2)
        return ProcessOutcome::Unchanged;
    if (!job.waveform().loadSamples())
        return ProcessOutcome::Failed;
    static constexpr std::array<std::array<float, 2>, kMix> kShares = {
        {{0.5f, 0.5f}, {1, 0}, {0, 1}, {0.5f, -0.5f}}};
    const std::size_t channel = job.settings.choice("channel");
    const std::array<float, 2> shares =
        channel < kMix ? kShares[channel]
                       : std::array{static_cast<float>(job.settings.number("left") / 100),
                                    static_cast<float>(job.settings.number("right") / 100)};
    return changeChannels(job, 1, [=](std::span<const float> from, std::span<float> to) {
        if (shares[0] == 1 && shares[1] == 0) {
            for (std::size_t i = 0; i < to.size(); ++i)
                to[i] = from[2 * i];
        } else if (shares[0] == 0 && shares[1] == 1) {
            for (std::size_t i = 0; i < to.size(); ++i)
                to[i] = from[2 * i + 1];
        } else {
            for (std::size_t i = 0; i < to.size(); ++i)
                to[i] = shares[0] * from[2 * i] + shares[1] * from[2 * i + 1];
        }
    });
}

}  // namespace

constinit const ProcessDefinition convertToMono{
    run, kParameters,
    "Makes one channel of two. The mean loses what the channels have in opposite polarity. Mono waveforms, "
    "loops, keys and regions stay as they are."};

}  // namespace velor::audio_processes

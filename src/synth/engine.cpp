#include "synth/engine.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/error.h"
#include "items/midi_timeline.h"
#include "synth/flush_denormals.h"
#include "synth/interpolation.h"

namespace velor {

namespace {

// Voices are rendered in this many groups, which are added up two by two, the sums two by two again, and so
// on: the result is the same whether one worker does it all or each of two, four or eight a part of that
// tree.
constexpr std::uint32_t kGroups = 8;
// With fewer voices a second worker costs more than it brings.
constexpr std::size_t kVoicesToShare = 6;
// Room for layered instruments and for voices that fade out, before a pool has to grow.
constexpr std::uint32_t kVoicesPerNote = 8;

float defaultGain(std::uint32_t polyphony) {
    return std::min(1.0f, 2.5f / std::sqrt(static_cast<float>(std::max(polyphony, 1u))));
}

}  // namespace

SynthEngine::SynthEngine(std::uint32_t channels, std::uint32_t polyphony, std::uint32_t sampleRate,
                         float gain, const SynthOptions& options)
    : polyphony_(std::max(polyphony, 1u)),
      sampleRate_(std::max(sampleRate, 1u)),
      gain_(gain == 0 ? defaultGain(polyphony) : gain),
      options_(options),
      blocksPerSecond_(static_cast<float>(sampleRate_) / static_cast<float>(kBlockFrames)),
      channels_(channels),
      voices_(polyphony_ * kVoicesPerNote),
      // Notes that fade are beyond the polyphony.
      notes_(polyphony_ * kVoicesPerNote),
      workers_(options.workers),
      kernels_(&voiceKernels()),
      sounds_(channels) {
    InterpolationFilters::instance();
    active_.reserve(voices_.capacity());
    mixes_.resize(kGroups);
    sends_.clear();
    effects_.prepare(static_cast<float>(sampleRate_));
    for (std::uint32_t i = 0; i < channels; ++i)
        channels_[i].reset(i);
}

SynthEngine::~SynthEngine() = default;

// --- Instruments ---

bool SynthEngine::loadInstrument(Instrument& instrument, bool add) {
    disable();
    if (!add) {
        reset();
        instruments_.clear();
        samples_ = {};
        for (Channel& channel : channels_)
            channel.instrument.reset();
    }
    auto built = SynthInstrument::build(instrument, samples_);
    if (built)
        addInstrument(built);
    enable();
    clipped_.store(0);
    return built ? true : fail(kCouldNotCreateInstrument);
}

// With room for as many regions as one trigger could take.
void SynthEngine::addInstrument(std::shared_ptr<const SynthInstrument> built) {
    selected_.reserve(built->regions.size());
    instruments_.push_back(std::move(built));
}

bool SynthEngine::loadPatch(Collection& collection, PatchNumber patch) {
    for (Instrument* instrument : collection.all<Instrument>()) {
        if (instrument->patch != patch)
            continue;
        auto built = SynthInstrument::build(*instrument, samples_);
        if (!built)
            return fail(kCouldNotCreateInstrument);
        addInstrument(std::move(built));
        return true;
    }
    return fail(kCouldNotCreateInstrument);
}

bool SynthEngine::loadSongInstruments(Collection& collection, const MidiSong& song,
                                      std::vector<PatchNumber>* missing) {
    disable();
    bool all = true;
    const std::vector<Instrument*> instruments = collection.all<Instrument>();
    for (const PatchNumber patch : usedPatches(song)) {
        if (hasInstrument(patch))
            continue;
        const bool known =
            std::any_of(instruments.begin(), instruments.end(),
                        [&](const Instrument* instrument) { return instrument->patch == patch; });
        if (known)
            all = loadPatch(collection, patch) && all;
        else if (missing)
            missing->push_back(patch);
    }
    enable();
    clipped_.store(0);
    return all;
}

bool SynthEngine::hasInstrument(PatchNumber patch) const {
    return findInstrument(patch.value) != nullptr;
}

bool SynthEngine::requestRemove(PatchNumber patch) {
    const auto found = findInstrument(patch.value);
    const SynthInstrument* expected = nullptr;
    if (removeRequest_.load())
        return false;
    removed_.reset();  // the render thread is done with the one before
    return found && removeRequest_.compare_exchange_strong(expected, found.get());
}

bool SynthEngine::requestReplace(PatchNumber patch, Instrument& by) {
    if (replaceRequest_.load())
        return false;
    const auto found = findInstrument(patch.value);
    auto built = found ? SynthInstrument::build(by, samples_) : nullptr;
    if (!built)
        return fail(kCouldNotCreateInstrument);
    // The render thread is done with the one before; what it took out is let go of here.
    replacement_.reset();
    auto request = std::make_unique<Replacement>();
    request->old = found;
    request->by = std::move(built);
    replacement_ = std::move(request);
    replaceRequest_.store(replacement_.get());
    return true;
}

std::size_t SynthEngine::sampleBytes() const {
    return samples_.byteSize();
}

void SynthEngine::enable() {
    enabled_.store(1);
}

void SynthEngine::disable() {
    enabled_.store(0);
    while (rendering_.load())
        std::this_thread::yield();
}

void SynthEngine::reset() {
    while (firstNote_)
        freeNote(*firstNote_);
    for (Voice* voice : active_) {
        voice->forget();
        voices_.giveBack(voice);
    }
    active_.clear();
    for (std::uint32_t i = 0; i < channels_.size(); ++i) {
        auto instrument = std::move(channels_[i].instrument);
        channels_[i].reset(i);
        channels_[i].instrument = std::move(instrument);
    }
    EventRing::Entry entry;
    while (events_.peek(entry))
        events_.pop();
    sends_.clear();
    effects_.clear();
    carried_ = 0;
    sounding_.store(0);
    audible_.store(0);
}

// --- Messages ---

bool SynthEngine::queueEvent(MidiMessage message, std::uint32_t milliseconds) noexcept {
    const std::uint64_t time = (std::uint64_t{sampleRate_} * milliseconds + 500) / 64000;
    return events_.push(message, static_cast<std::uint32_t>(time));
}

bool SynthEngine::queueEventSeconds(MidiMessage message, double seconds) noexcept {
    const auto time = static_cast<std::uint64_t>(std::max(0.0, sampleRate_ * seconds)) >> 6;
    return events_.push(message, static_cast<std::uint32_t>(time));
}

void SynthEngine::processEvents() {
    EventRing::Entry entry;
    while (events_.peek(entry) && entry.time <= block_) {
        events_.pop();
        handle(entry.message);
    }
}

void SynthEngine::handleRequests() {
    if (const SynthInstrument* removed = removeRequest_.load()) {
        for (Note *note = firstNote_, *next; note; note = next) {
            next = note->next;
            if (note->voices && note->voices->instrument() == removed)
                freeNote(*note);
        }
        for (Channel& channel : channels_)
            if (channel.instrument.get() == removed)
                channel.instrument.reset();
        const auto held = std::find_if(instruments_.begin(), instruments_.end(),
                                       [&](const auto& instrument) { return instrument.get() == removed; });
        if (held != instruments_.end()) {
            removed_ = std::move(*held);  // freed by the control thread
            instruments_.erase(held);
        }
        removeRequest_.store(nullptr);
    }
    if (Replacement* replacement = replaceRequest_.load()) {
        for (Channel& channel : channels_)
            if (channel.instrument == replacement->old)
                channel.instrument = replacement->by;
        for (auto& held : instruments_)
            if (held == replacement->old)
                held = replacement->by;
        replaceRequest_.store(nullptr);
    }
}

// --- Sound ---

void SynthEngine::advanceControls() {
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        Channel& channel = channels_[i];
        for (SmoothedControl* control : {&channel.gain, &channel.modulation, &channel.pressure, &channel.bend,
                                         &channel.pan, &channel.reverb, &channel.chorus})
            control->advance();
        if (channel.glideBlocks > 0) {
            channel.glideKey += channel.glideStep;
            --channel.glideBlocks;
            for (Note* note = channel.firstNote; note; note = note->channelNext)
                for (Voice* voice = note->voices; voice; voice = voice->next)
                    voice->setGlide(channel.glideKey - static_cast<float>(note->key));
        }
        sounds_[i] = channel.sound();
        if (!options_.effects)
            sounds_[i].reverb = sounds_[i].chorus = 0;
    }
}

// Adds up the groups from `first` on, a power of two of them; sums of `step` groups each are there already.
void SynthEngine::addGroups(std::uint32_t first, std::uint32_t count, std::uint32_t step) {
    for (; step < count; step *= 2) {
        for (std::uint32_t group = first; group + step < first + count; group += 2 * step) {
            MixBuffers& to = mixes_[group];
            const MixBuffers& from = mixes_[group + step];
            if (from.empty)
                continue;
            kernels_->add(from.left, to.left);
            kernels_->add(from.right, to.right);
            for (int send = 0; send < kSends; ++send)
                if (from.used[send])
                    kernels_->add(from.sends[send], to.send(send));
        }
    }
}

// A part of the voices each. The last one also has the effects, on the sends of the block before: a delay of
// a millisecond that lets them run beside the voices.
void SynthEngine::runJob(void* context, std::uint32_t job) {
    auto& engine = *static_cast<SynthEngine*>(context);
    const FlushDenormals flush;
    const std::uint32_t groups = kGroups / engine.parts_;
    const std::uint32_t firstGroup = job * groups;
    const std::size_t voices = engine.active_.size();
    const std::size_t size = (voices + kGroups - 1) / kGroups;
    for (std::uint32_t group = firstGroup; group < firstGroup + groups; ++group) {
        MixBuffers& mix = engine.mixes_[group];
        const std::size_t first = std::min(voices, group * size);
        const std::size_t last = std::min(voices, first + size);
        mix.clear();
        mix.empty = first == last && group != 0;
        for (std::size_t i = first; i < last; ++i)
            engine.active_[i]->render(engine.sounds_[engine.active_[i]->channel()], *engine.kernels_, mix);
    }
    engine.addGroups(firstGroup, groups, 1);
    if (job + 1 == engine.parts_ && engine.options_.effects)
        engine.effects_.process(engine.sends_, engine.effectLeft_, engine.effectRight_);
}

void SynthEngine::renderVoices(float* out) {
    parts_ = active_.size() < kVoicesToShare ? 1 : std::bit_floor(std::min(workers_.workers(), kGroups));
    workers_.run(runJob, this, parts_);
    addGroups(0, kGroups, kGroups / parts_);
    MixBuffers& mix = mixes_[0];

    alignas(32) float left[kBlockFrames];
    alignas(32) float right[kBlockFrames];
    if (options_.effects) {
        std::copy_n(effectLeft_, kBlockFrames, left);
        std::copy_n(effectRight_, kBlockFrames, right);
        for (int send = 0; send < kSends; ++send) {
            if (mix.used[send])
                std::copy_n(mix.sends[send], kBlockFrames, sends_.sends[send]);
            else if (sends_.used[send])
                std::fill_n(sends_.sends[send], kBlockFrames, 0.0f);
            sends_.used[send] = mix.used[send];
        }
    } else {
        std::fill_n(left, kBlockFrames, 0.0f);
        std::fill_n(right, kBlockFrames, 0.0f);
    }
    kernels_->add(mix.left, left);
    kernels_->add(mix.right, right);
    for (std::uint32_t i = 0; i < kBlockFrames; ++i) {
        out[2 * i] = left[i] * gain_;
        out[2 * i + 1] = right[i] * gain_;
    }
}

// Voices that have ended go back to the pool, and notes with them.
void SynthEngine::sweep() {
    std::size_t kept = 0;
    for (Voice* voice : active_) {
        if (!voice->finished()) {
            active_[kept++] = voice;
            continue;
        }
        if (Note* note = voice->note) {
            Voice** link = &note->voices;
            while (*link != voice)
                link = &(*link)->next;
            *link = voice->next;
            if (!note->voices) {
                unlink(*note);
                notes_.giveBack(note);
            }
        }
        voice->forget();
        voices_.giveBack(voice);
    }
    active_.resize(kept);
    sounding_.store(static_cast<std::uint32_t>(kept), std::memory_order_relaxed);
}

bool SynthEngine::renderBlock(float* out) {
    rendering_.store(1);
    if (!enabled_.load()) {
        rendering_.store(0);
        std::fill_n(out, 2 * kBlockFrames, 0.0f);
        return false;
    }
    const FlushDenormals flush;
    handleRequests();
    processEvents();
    advanceControls();
    renderVoices(out);
    sweep();
    ++block_;

    float peak = 0;
    for (std::uint32_t i = 0; i < 2 * kBlockFrames; ++i)
        peak = std::max(peak, std::fabs(out[i]));
    const bool clipped = peak > 1;
    if (clipped)
        clipped_.store(1);
    audible_.store(peak > 0, std::memory_order_relaxed);
    rendering_.store(0);
    return clipped;
}

bool SynthEngine::render(float* out, std::uint32_t frames, std::uint32_t deviceChannels) {
    bool clipped = false;
    while (frames > 0) {
        if (carried_ == 0) {
            if (deviceChannels == 2 && frames >= kBlockFrames) {
                clipped |= renderBlock(out);
                out += 2 * kBlockFrames;
                frames -= kBlockFrames;
                continue;
            }
            clipped |= renderBlock(carry_.data());
            carried_ = kBlockFrames;
        }
        const std::uint32_t count = std::min(frames, carried_);
        const float* from = carry_.data() + 2 * (kBlockFrames - carried_);
        for (std::uint32_t i = 0; i < count; ++i, from += 2) {
            for (std::uint32_t channel = 0; channel < deviceChannels; ++channel)
                *out++ = channel < 2 ? from[channel] : 0.0f;
        }
        carried_ -= count;
        frames -= count;
    }
    return clipped;
}

std::string SynthEngine::statusText() {
    const std::uint32_t regions = sounding_.load(std::memory_order_relaxed);
    if (regions == 0 && !audible_.load(std::memory_order_relaxed))
        return {};
    std::string text = formatText("%d region%s", static_cast<int>(regions), pluralSuffix(regions));
    if (clipped_.exchange(0))
        text += " -CLIPPING-";
    return text;
}

}  // namespace velor

#include "synth/synth_sample.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

#include "base/error.h"
#include "items/region_loop.h"

namespace velor {

namespace {

constexpr std::uint32_t kChunk = 16384;  // frames decoded at a time

std::uint64_t fixedPoint(double frames) {
    return static_cast<std::uint64_t>(frames * 4294967296.0);
}

// Whether the frames are worth no more than 16 bits, so that 16-bit words hold them exactly.
bool fitsWords(const Waveform& waveform) {
    switch (waveform.format) {
        case SampleFormat::Pcm8:
        case SampleFormat::Pcm16:
        case SampleFormat::MuLaw:
        case SampleFormat::ALaw:
        case SampleFormat::Adpcm:
            return waveform.bits <= 16;
        default:
            return false;
    }
}

// Writes interleaved frames into the planes from `at` on.
class PlaneWriter {
  public:
    PlaneWriter(SynthSample& sample) : sample_(sample) {}

    void put(std::uint32_t at, const float* interleaved, std::uint32_t count) {
        for (int channel = 0; channel < sample_.channels; ++channel) {
            const std::size_t to =
                static_cast<std::size_t>(channel) * sample_.plane + SynthSample::kMargin + at;
            const float* from = interleaved + channel;
            const int channels = sample_.channels;
            if (!sample_.words16.empty()) {
                for (std::uint32_t i = 0; i < count; ++i) {
                    const float scaled = std::clamp(from[i * channels] * 32768.0f, -32768.0f, 32767.0f);
                    sample_.words16[to + i] = static_cast<std::int16_t>(scaled + (scaled < 0 ? -0.5f : 0.5f));
                }
            } else {
                for (std::uint32_t i = 0; i < count; ++i) {
                    const float value = from[i * channels];
                    sample_.words32[to + i] = std::isfinite(value) ? value : 0.0f;
                }
            }
        }
    }

  private:
    SynthSample& sample_;
};

bool decodeInto(Waveform& waveform, SynthSample& sample, std::uint32_t frames) {
    PlaneWriter planes(sample);
    if (!waveform.samplesLoaded() && waveform.source() && waveform.source()->canStream()) {
        const std::unique_ptr<FrameStream> stream = waveform.source()->openStream(waveform);
        std::vector<float> chunk(std::size_t{std::min(frames, kChunk)} * waveform.channels);
        for (std::uint32_t at = 0; at < frames; at += kChunk) {
            const std::uint32_t count = std::min(kChunk, frames - at);
            if (!stream || !stream->read(count, chunk.data()))
                return fail(stream ? LastErrorText : std::string(kReadFailed));
            planes.put(at, chunk.data(), count);
        }
        return true;
    }
    const bool wasLoaded = waveform.samplesLoaded();
    if (!waveform.loadSamples())
        return false;
    const std::span<const float> all = std::as_const(waveform).samples();
    planes.put(0, all.data(),
               static_cast<std::uint32_t>(std::min<std::size_t>(frames, all.size() / waveform.channels)));
    // What can be decoded again need not stay.
    if (!wasLoaded && waveform.source())
        waveform.releaseSamples();
    return true;
}

template <class Word>
void fillAfter(std::vector<Word>& words, std::size_t begin, std::uint32_t from, std::size_t count,
               double length) {
    // Behind the loop end comes the loop again; a length with a fraction falls between two frames.
    for (std::size_t i = 0; i < count; ++i) {
        const double x = static_cast<double>(from) + static_cast<double>(i) - length;
        const double whole = std::floor(x);
        const double f = x - whole;
        const auto index = static_cast<std::int64_t>(whole);
        const double a = index < 0 ? 0 : words[begin + static_cast<std::size_t>(index)];
        const double b = index + 1 < 0 ? 0 : words[begin + static_cast<std::size_t>(index + 1)];
        const double value = f == 0 ? a : a + f * (b - a);
        words[begin + from + i] =
            static_cast<Word>(std::is_integral_v<Word> ? std::floor(value + 0.5) : value);
    }
}

template <class Word>
void appendReversed(std::vector<Word>& words, std::size_t begin, std::uint32_t start, std::uint32_t end) {
    for (std::uint32_t i = 0; i < end - start; ++i)
        words[begin + end + i] = words[begin + end - 1 - i];
}

}  // namespace

std::shared_ptr<const SynthSample> SynthSampleCache::sample(Waveform& waveform,
                                                            const RegionOverrides& overrides) {
    LastErrorText.clear();
    const RegionLoop played = regionLoop(waveform, overrides);
    const Loop loop{played.on, played.mode, played.start, played.end, played.untilRelease};
    const auto key = std::make_pair(static_cast<const Waveform*>(&waveform), loop);
    if (const auto found = samples_.find(key); found != samples_.end())
        return found->second;
    std::shared_ptr<const SynthSample> built = build(waveform, loop);
    if (built)
        samples_.emplace(key, built);
    return built;
}

std::size_t SynthSampleCache::byteSize() const {
    std::size_t size = 0;
    for (const auto& [key, sample] : samples_)
        size += sample->byteSize();
    return size;
}

std::shared_ptr<const SynthSample> SynthSampleCache::build(Waveform& waveform, const Loop& loop) try {
    if (waveform.frames == 0 || waveform.channels == 0)
        return nullptr;
    auto sample = std::make_shared<SynthSample>();
    const auto loopStart = static_cast<std::uint32_t>(loop.start);
    const auto loopEnd = static_cast<std::uint32_t>(std::ceil(loop.end));
    const std::uint32_t needed = loop.on ? loopEnd : waveform.frames;
    // A loop that runs backwards, or there and back, is laid out as a forward loop over what is heard.
    const bool turned = loop.on && loop.mode != LoopMode::Forward;
    const std::uint32_t extra = turned ? loopEnd - loopStart : 0;
    if (std::uint64_t{needed} + extra > 0x7FFF0000) {
        fail(kOutOfMemory);
        return nullptr;
    }
    sample->channels = std::min<int>(waveform.channels, 2);
    sample->sampleRate = static_cast<float>(waveform.sampleRate);
    sample->frames = needed + extra;
    sample->plane = std::size_t{sample->frames} + 3 * SynthSample::kMargin;
    const std::size_t size = sample->plane * static_cast<std::size_t>(sample->channels);
    if (fitsWords(waveform))
        sample->words16.resize(size);
    else
        sample->words32.resize(size);
    if (!decodeInto(waveform, *sample, needed))
        return nullptr;

    if (loop.on) {
        double start = loop.start;
        double end = loop.end;
        if (turned) {
            start = loop.mode == LoopMode::Backward ? loopEnd : loopStart;
            end = static_cast<double>(sample->frames);
        }
        sample->looped = true;
        sample->loopStart = fixedPoint(start);
        sample->loopEnd = fixedPoint(end);
        sample->loopLength = sample->loopEnd - sample->loopStart;
        const auto from = static_cast<std::uint32_t>(std::ceil(end));
        const std::size_t after = sample->frames - from + 2 * SynthSample::kMargin;
        for (int channel = 0; channel < sample->channels; ++channel) {
            const std::size_t begin =
                static_cast<std::size_t>(channel) * sample->plane + SynthSample::kMargin;
            const auto lay = [&](auto& words) {
                if (turned)
                    appendReversed(words, begin, loopStart, loopEnd);
                fillAfter(words, begin, from, after, end - start);
            };
            if (sample->words16.empty())
                lay(sample->words32);
            else
                lay(sample->words16);
        }
        if (loop.untilRelease && loop.mode == LoopMode::Forward) {
            RegionOverrides unlooped;
            unlooped.flags = RegionOverrides::Looped;
            sample->afterRelease = this->sample(waveform, unlooped);
        }
    }
    return sample;
} catch (const std::bad_alloc&) {
    fail(kOutOfMemory);
    return nullptr;
}

}  // namespace velor

#include "formats/core/wave_reader.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/byte_reader.h"
#include "base/error.h"
#include "formats/core/id3.h"
#include "formats/core/wave_data.h"
#include "formats/core/wave_sampler.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

constexpr std::string_view kNotWave = "Not a RIFF WAVE file";
constexpr std::string_view kNoData = "No wave data found!";

// Limits that no honest file comes near; they bound the work and the memory that a made-up one can ask for.
constexpr int kDeepestNesting = 16;
constexpr std::uint32_t kMostChunks = 1u << 20;
constexpr std::size_t kMostFormatBytes = 1u << 17;
constexpr std::size_t kMostTextBytes = 1u << 20;
constexpr std::size_t kMostSamplerBytes = 1u << 20;
constexpr std::size_t kMostCueBytes = 1u << 22;  // some 170,000 cue points

struct Chunk {
    std::uint32_t id = 0;
    std::uint32_t size = 0;
    std::uint64_t payload = 0;  // file position
    std::uint64_t next = 0;     // of the chunk after it

    std::uint64_t end() const { return payload + size; }
};

// Walks the chunks of one WAVE image and fills its waveform.
class WaveWalker {
  public:
    // `limit` is where the image ends at the latest: the end of the file or of what it is embedded in.
    WaveWalker(OpenFile& file, Waveform& waveform, std::uint64_t limit)
        : file_(file), waveform_(waveform), limit_(std::min(limit, file.size())) {}

    bool read(std::uint64_t start) {
        if (!walk(start, limit_, 0))
            return false;
        if (sawRiff_)
            return true;
        return state_.hasFormat || state_.hasData ? finish() : fail(kNotWave);
    }

  private:
    // What one "RIFF" gathers from its chunks.
    struct State {
        bool hasFormat = false;
        bool hasData = false;
        WaveFormat format;
        std::uint64_t dataPosition = 0;
        std::uint64_t dataSize = 0;
        std::uint32_t skipFrames = 0;
        CueTable cues;
        bool hasCues = false;
        bool streamed = false;  // the writer never came back to fill in the sizes
    };

    bool walk(std::uint64_t position, std::uint64_t end, int depth) {
        if (depth > kDeepestNesting)
            return fail("The chunks of the WAVE file are nested too deeply");
        end = std::min(end, limit_);
        Chunk chunk;
        while (nextChunk(position, end, chunk)) {
            if (++chunks_ > kMostChunks)
                return fail("The WAVE file has too many chunks");
            if (chunk.id == fourCc("RIFF") || chunk.id == fourCc("SDSS"))
                return readRiff(chunk, end, depth);
            if (chunk.id == fourCc("meta")) {
                // The writers of this chunk left it, and what follows, out of the RIFF size.
                end = limit_;
                chunk.next = paddedEnd(chunk, end);
            } else if (!readChunk(chunk, end, depth)) {
                return false;
            }
            if (endsWalk(chunk))
                break;
            position = chunk.next;
        }
        return true;
    }

    static std::uint64_t paddedEnd(const Chunk& chunk, std::uint64_t end) {
        return std::min(chunk.payload + chunk.size + (chunk.size & 1), end);
    }

    // No progress, or the zeros that some writers leave behind the last chunk. An empty chunk with a proper
    // id is just empty.
    static bool endsWalk(const Chunk& chunk) {
        return chunk.next < chunk.payload || (chunk.size == 0 && (chunk.id & 0xFF) < ' ');
    }

    bool nextChunk(std::uint64_t position, std::uint64_t end, Chunk& chunk) const {
        std::array<Byte, 8> header;
        if (position > end || end - position < header.size() || !file_.read(position, header))
            return false;
        chunk.id = loadLe<std::uint32_t>(header.data());
        chunk.size = loadLe<std::uint32_t>(header.data() + 4);
        chunk.payload = position + header.size();
        chunk.next = paddedEnd(chunk, end);
        return true;
    }

    // The first bytes of a chunk's payload: no more than `most`, nor than the image holds.
    std::vector<Byte> payload(const Chunk& chunk, std::size_t most) const {
        const std::uint64_t there = limit_ > chunk.payload ? limit_ - chunk.payload : 0;
        return bytesAt(file_, chunk.payload,
                       static_cast<std::size_t>(std::min<std::uint64_t>({chunk.size, there, most})));
    }

    bool readChunk(Chunk& chunk, std::uint64_t end, int depth) {
        switch (chunk.id) {
            case fourCc("fmt "):
                return state_.hasFormat || readFormat(chunk);
            case fourCc("data"):
                if (!state_.hasData)
                    readData(chunk);
                return true;
            case fourCc("fact"):
                if (const auto bytes = payload(chunk, 4); bytes.size() == 4) {
                    if (const auto frames = loadLe<std::uint32_t>(bytes.data()))
                        waveform_.frames = frames;
                }
                return true;
            case fourCc("smpl"):
                if (!applySamplerChunk(payload(chunk, kMostSamplerBytes), waveform_, state_.skipFrames))
                    file_.warn("Warning: sampler chunk too short - ignored", "smpl", chunk.payload);
                return true;
            case fourCc("inst"):
                applyInstrumentChunk(payload(chunk, 7), waveform_);
                return true;
            case fourCc("wsmp"):
                applyDlsSampleChunk(payload(chunk, kMostSamplerBytes), waveform_);
                return true;
            case fourCc("cue "):
                if (!state_.hasCues) {
                    state_.cues.parse(payload(chunk, kMostCueBytes));
                    state_.hasCues = !state_.cues.empty();
                }
                return true;
            case fourCc("labl"):
                if (state_.hasCues && !waveform_.looped)
                    applyCueLabel(payload(chunk, 4 + 260), state_.cues, waveform_);
                return true;
            case fourCc("ltxt"):
                if (state_.hasCues && !waveform_.looped)
                    applyCueRegion(payload(chunk, 20), state_.cues, waveform_);
                return true;
            case fourCc("LIST"):
                return readList(chunk, end, depth);
            case fourCc("ID3 "):
            case fourCc("id3 "):
                applyId3(payload(chunk, kMostTextBytes), waveform_);
                return true;
            default:
                return true;
        }
    }

    bool readRiff(const Chunk& chunk, std::uint64_t end, int depth) {
        const bool streamed = chunk.size == 0;
        Chunk head = chunk;
        head.size = streamed ? 4 : chunk.size;
        const auto form = payload(head, 4);
        if (form.size() < 4 || loadLe<std::uint32_t>(form.data()) != fourCc("WAVE"))
            return fail(kNotWave);
        sawRiff_ = true;
        state_ = {};
        state_.streamed = streamed;
        if (!walk(chunk.payload + 4, streamed ? end : std::min(chunk.end(), end), depth + 1))
            return false;
        return finish();
    }

    bool readList(const Chunk& chunk, std::uint64_t end, int depth) {
        const auto form = payload(chunk, 4);
        if (form.size() < 4)
            return true;
        const std::uint64_t listEnd = std::min(chunk.end(), end);
        if (loadLe<std::uint32_t>(form.data()) == fourCc("INFO"))
            return readInfo(chunk.payload + 4, listEnd, depth + 1);
        return walk(chunk.payload + 4, listEnd, depth + 1);
    }

    bool readInfo(std::uint64_t position, std::uint64_t end, int depth) {
        if (depth > kDeepestNesting)
            return fail("The chunks of the WAVE file are nested too deeply");
        Chunk chunk;
        while (nextChunk(position, end, chunk)) {
            if (++chunks_ > kMostChunks)
                return fail("The WAVE file has too many chunks");
            if (chunk.id == fourCc("LIST")) {
                if (!readList(chunk, end, depth))
                    return false;
            } else {
                const auto bytes = payload(chunk, kMostTextBytes);
                const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                // An empty name says less than the name of the file.
                if (chunk.id != fourCc("INAM") || (!text.empty() && text.front() != '\0'))
                    waveform_.setInfoText(chunk.id, text);
            }
            if (endsWalk(chunk))
                break;
            position = chunk.next;
        }
        return true;
    }

    bool readFormat(const Chunk& chunk) {
        WaveFormat& format = state_.format;
        if (!parseWaveFormat(payload(chunk, kMostFormatBytes), format))
            return false;
        state_.hasFormat = true;
        if (format.rate == 0) {
            file_.warn(std::string(kNoRate), "fmt ", chunk.payload);
            format.rate = kRateTaken;
        }
        waveform_.frames = 0;
        applyWaveFormat(format, waveform_);
        deriveFrames();
        return true;
    }

    void readData(Chunk& chunk) {
        state_.hasData = true;
        state_.dataPosition = chunk.payload;
        state_.dataSize = chunk.size;
        const std::uint64_t there = limit_ > chunk.payload ? limit_ - chunk.payload : 0;
        if (chunk.size == 0 && state_.streamed) {
            state_.dataSize = there;
            chunk.next = limit_;
        } else if (chunk.size > there) {
            if (!warned_)
                file_.warn(std::string(kDataTruncated), "data", chunk.payload);
            warned_ = true;
            state_.dataSize = there;
        }
        deriveFrames();
    }

    // A count from a "fact" chunk stays, but for files whose format fixes it.
    void deriveFrames() {
        if (state_.hasFormat && state_.hasData &&
            (waveform_.frames <= 1 || waveFramesFixedByData(state_.format)))
            waveform_.frames = waveFramesIn(state_.format, state_.dataSize);
    }

    bool finish() {
        if (!state_.hasFormat || !state_.hasData)
            return fail(kNoData);
        const std::uint64_t skip = (std::uint64_t{waveform_.channels} * waveform_.bits + 7) / 8 *
                                   std::exchange(state_.skipFrames, 0);
        const std::uint64_t skipped = std::min(skip, state_.dataSize);
        state_.dataPosition += skipped;
        state_.dataSize -= skipped;
        attachWaveData(waveform_, state_.format, file_.input, state_.dataPosition, state_.dataSize);
        return true;
    }

    OpenFile& file_;
    Waveform& waveform_;
    std::uint64_t limit_;
    State state_;
    std::uint32_t chunks_ = 0;
    bool sawRiff_ = false;
    bool warned_ = false;
};

}  // namespace

bool readWaveImage(Collection& collection, OpenFile& file, std::uint64_t start, std::uint64_t end,
                   std::string_view name, Waveform*& result) {
    result = createWaveform(collection, file, name);
    if (!result)
        return false;
    if (WaveWalker(file, *result, end).read(start))
        return true;
    collection.remove(result->id());
    result = nullptr;
    return false;
}

bool readWave(Collection& collection, OpenFile& file, std::uint32_t) {
    Waveform* waveform = nullptr;
    return readWaveImage(collection, file, 0, file.size(), file.stem(), waveform);
}

}  // namespace velor
